#include "driver/StreamFormat.h"

#include "driver/DriverObjects.h"

namespace harlune::driver {

AudioStreamBasicDescription LStreamFormat(Float64 fSampleRate) {
    AudioStreamBasicDescription format = {};
    format.mSampleRate = fSampleRate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
    format.mBytesPerPacket = BytesPerFrame;
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = BytesPerFrame;
    format.mChannelsPerFrame = kChannelCount;
    format.mBitsPerChannel = 32;
    format.mReserved = 0;
    return format;
}

AudioStreamRangedDescription LAvailableStreamFormat() {
    AudioStreamRangedDescription ranged = {};
    ranged.mFormat = LStreamFormat(kSampleRate44100);
    ranged.mSampleRateRange = {kSampleRate44100, kSampleRate44100};
    return ranged;
}

} // namespace harlune::driver
