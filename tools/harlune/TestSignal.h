// TestSignal.h: the generated signal `harlune play` and `harlune demo`
// play when no file is given: a 440 Hz tone on the left and 660 Hz on the
// right at −12 dBFS, with a low-level pseudo-random dither, so that every
// sample differs from its neighbours and a lost, repeated or reordered
// buffer cannot go unnoticed in a bit-exact comparison. Deterministic: the
// same frame index always gives the same two floats. Pure; thread-safe.
#ifndef HARLUNE_TOOLS_TESTSIGNAL_H
#define HARLUNE_TOOLS_TESTSIGNAL_H

#include <cstdint>

namespace harlune::tools {

// Writes frames [nFirstFrame, nFirstFrame + nFrames) of the signal at
// fSampleRate as interleaved stereo floats.
void LFillTestSignal(float* pfFrames, std::uint64_t nFirstFrame, std::uint32_t nFrames, double fSampleRate);

} // namespace harlune::tools

#endif
