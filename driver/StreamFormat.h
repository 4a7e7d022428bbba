// StreamFormat.h: the output stream's one format: interleaved 32-bit float
// stereo, 8 bytes per frame, at the device's rate. Pure functions.
#ifndef HARLUNE_DRIVER_STREAMFORMAT_H
#define HARLUNE_DRIVER_STREAMFORMAT_H

#include <CoreAudio/CoreAudioTypes.h>

namespace harlune::driver {

// The format at fSampleRate; mReserved is 0.
AudioStreamBasicDescription LStreamFormat(Float64 fSampleRate);
// The one entry of the available-format lists: the format at 44100 Hz,
// offered at 44100 Hz only.
AudioStreamRangedDescription LAvailableStreamFormat();

} // namespace harlune::driver

#endif
