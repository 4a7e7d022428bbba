// LStereoMix.h: turns frames of any channel count into the device's stereo.
//
// One channel goes to both sides unchanged; two pass unchanged (bit for
// bit). More channels are taken in the WAV order (left, right, centre,
// low-frequency, then surround pairs left/right): centre goes to both sides
// at −3 dB, the low-frequency channel is left out, and each further channel
// goes to its side at −3 dB (an odd last one to both). Each side is then
// scaled so that its weights sum to 1, so a downmix can never clip; it is
// quieter than the loudest source channel by at most that sum.
// Pure function; thread-safe.
#ifndef HARLUNE_TOOLS_AUDIO_LSTEREOMIX_H
#define HARLUNE_TOOLS_AUDIO_LSTEREOMIX_H

#include <cstdint>

namespace harlune::audio {

// Writes nFrames stereo frames to pfOut from nFrames frames of nChannels
// channels in pfIn. pfIn and pfOut must not overlap unless nChannels is 2.
void LMixToStereo(const float* pfIn, int nChannels, std::uint64_t nFrames, float* pfOut);

} // namespace harlune::audio

#endif
