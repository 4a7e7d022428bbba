// DriverObjects.h: the driver's fixed object model and its constants.
//
// The driver publishes one plug-in, one box, one output-only device, its one
// output stream and four controls. The set, the IDs and the ownership never
// change at run time, so they are compile-time constants here. IDs 4 to 7
// belong to no object and are answered exactly like IDs outside the set.
#ifndef HARLUNE_DRIVER_DRIVEROBJECTS_H
#define HARLUNE_DRIVER_DRIVEROBJECTS_H

#include <CoreAudio/AudioServerPlugIn.h>

namespace harlune::driver {

enum : AudioObjectID {
    // kAudioObjectPlugInObject (1) is the platform's constant.
    BoxObject = 2,
    DeviceObject = 3,
    OutputStreamObject = 8,
    OutputVolumeControl = 9,
    OutputMuteControl = 10,
    OutputDataSourceControl = 11,
    PlayThroughDataDestinationControl = 12,
};

// The kinds of object the property entries route to; objects 11 and 12
// share the selector kind.
enum class LObjectKind { None, PlugIn, Box, Device, Stream, Volume, Mute, Selector };

// Maps an object ID to its kind; None for every ID that names no object.
constexpr LObjectKind LObjectKindOf(AudioObjectID dwObjectID) {
    switch (dwObjectID) {
    case kAudioObjectPlugInObject: return LObjectKind::PlugIn;
    case BoxObject: return LObjectKind::Box;
    case DeviceObject: return LObjectKind::Device;
    case OutputStreamObject: return LObjectKind::Stream;
    case OutputVolumeControl: return LObjectKind::Volume;
    case OutputMuteControl: return LObjectKind::Mute;
    case OutputDataSourceControl:
    case PlayThroughDataDestinationControl: return LObjectKind::Selector;
    default: return LObjectKind::None;
    }
}

// The two nominal sample rates the device runs at, in frames per second.
inline constexpr Float64 kSampleRate44100 = 44100.0;
inline constexpr Float64 kSampleRate48000 = 48000.0;

constexpr bool LIsSupportedSampleRate(Float64 fRate) {
    // Exact comparison on purpose: a NaN or a near miss is not a supported rate.
    return fRate == kSampleRate44100 || fRate == kSampleRate48000;
}

// Channels of the device and its stream.
inline constexpr UInt32 kChannelCount = 2;
// One frame of the output stream: two interleaved 32-bit float samples.
inline constexpr UInt32 BytesPerFrame = 8;
// Frames between two zero time stamps of the device's virtual clock.
inline constexpr UInt32 ZeroTimeStampPeriod = 16384;

// Identifier of the bundle that carries the driver and its icon.
inline constexpr const char* DriverBundleID = "com.zentalworks.driver.HarluneVirtualAudioDevice";

} // namespace harlune::driver

#endif
