// LLoadForDevice.h: reads a whole audio file and converts it to what the
// device plays: interleaved stereo 32-bit float at the device's rate.
//
// Channels are mixed as LMixToStereo says; the rate is converted with
// libsoxr at the quality asked for. A stereo file at the device's rate goes
// through untouched: its samples reach the device bit for bit (for 32-bit
// float files, exactly the file's bits). Not thread-safe per reader.
#ifndef HARLUNE_TOOLS_AUDIO_LLOADFORDEVICE_H
#define HARLUNE_TOOLS_AUDIO_LLOADFORDEVICE_H

#include "tools/audio/LAudioFileReader.h"
#include "tools/audio/LResampler.h"

#include <string>
#include <vector>

namespace harlune::audio {

// Reads everything left in reader and appends it to *parStereo, converted
// to stereo at fDeviceRate. False with *pszError set on a read or
// conversion error (what was read so far stays in *parStereo).
bool LLoadForDevice(LAudioFileReader& reader, double fDeviceRate, LResampleQuality eQuality,
                    std::vector<float>* parStereo, std::string* pszError);

} // namespace harlune::audio

#endif
