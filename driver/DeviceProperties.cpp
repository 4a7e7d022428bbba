// The device (ID 3): "Harlune Virtual Device", an output-only virtual
// device with one stream and four controls, running at 44100 or 48000 Hz.
#include "driver/DriverObjects.h"
#include "driver/PropertyChanges.h"
#include "driver/PropertyRows.h"

#include <iterator>

namespace harlune::driver {
namespace {

bool IsOutputScope(const LPropertyCall& call) { return call.address.mScope == kAudioObjectPropertyScopeOutput; }
bool IsGlobalScope(const LPropertyCall& call) { return call.address.mScope == kAudioObjectPropertyScopeGlobal; }

OSStatus Name(const LPropertyCall&, LPropertyWriter& writer) {
    return writer.PutCFType(CFSTR("Harlune Virtual Device"));
}
OSStatus Manufacturer(const LPropertyCall&, LPropertyWriter& writer) {
    return writer.PutCFType(CFSTR("Zental Works"));
}
OSStatus DeviceUID(const LPropertyCall&, LPropertyWriter& writer) {
    return writer.PutCFType(CFSTR("HarluneVirtualAudioDevice_UID"));
}
OSStatus ModelUID(const LPropertyCall&, LPropertyWriter& writer) {
    return writer.PutCFType(CFSTR("HarluneVirtualAudioDevice_ModelUID"));
}

// The size answers stay at 16 bytes: a caller that sizes first gets the
// stream and the first three controls in the global scope.
OSStatus OwnedObjectsSize(const LPropertyCall& call, UInt32* pdwSize) {
    *pdwSize = IsOutputScope(call) || IsGlobalScope(call) ? 16 : 0;
    return kAudioHardwareNoError;
}

OSStatus OwnedObjects(const LPropertyCall& call, LPropertyWriter& writer) {
    static constexpr AudioObjectID arOwned[] = {OutputStreamObject, OutputVolumeControl, OutputMuteControl,
                                                OutputDataSourceControl, PlayThroughDataDestinationControl};
    // The play-through destination lives in its own scope, so the output
    // scope lists only the first four.
    const UInt32 nCount = IsGlobalScope(call) ? 5 : (IsOutputScope(call) ? 4 : 0);
    return LAnswerIDs(writer, arOwned, nCount);
}

OSStatus StreamsSize(const LPropertyCall& call, UInt32* pdwSize) {
    *pdwSize = IsOutputScope(call) || IsGlobalScope(call) ? 4 : 0;
    return kAudioHardwareNoError;
}

OSStatus Streams(const LPropertyCall& call, LPropertyWriter& writer) {
    static constexpr AudioObjectID arStreams[] = {OutputStreamObject};
    return LAnswerIDs(writer, arStreams, IsOutputScope(call) || IsGlobalScope(call) ? 1 : 0);
}

OSStatus ControlList(const LPropertyCall&, LPropertyWriter& writer) {
    static constexpr AudioObjectID arControls[] = {OutputVolumeControl, OutputMuteControl, OutputDataSourceControl,
                                                   PlayThroughDataDestinationControl};
    return LAnswerIDs(writer, arControls);
}

OSStatus RelatedDevices(const LPropertyCall&, LPropertyWriter& writer) {
    static constexpr AudioObjectID arRelated[] = {DeviceObject};
    return LAnswerIDs(writer, arRelated);
}

OSStatus IsRunning(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(UInt32))) {
        return kAudioHardwareBadPropertySizeError;
    }
    return writer.PutUInt32(LReadLocked(DriverState.IORunningCount) != 0 ? 1 : 0);
}

OSStatus NominalSampleRate(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(Float64))) {
        return kAudioHardwareBadPropertySizeError;
    }
    return writer.PutFloat64(LReadLocked(DriverState.SampleRate));
}

OSStatus AvailableNominalSampleRates(const LPropertyCall&, LPropertyWriter& writer) {
    // One range at 44100 Hz although the size answer leaves room for two;
    // 48000 Hz is still accepted when set.
    static constexpr AudioValueRange arRanges[] = {{kSampleRate44100, kSampleRate44100}};
    return writer.PutList(arRanges, 1);
}

OSStatus Icon(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(CFURLRef))) {
        return kAudioHardwareBadPropertySizeError;
    }
    CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("com.zentalworks.driver.HarluneVirtualAudioDevice"));
    if (bundle == nullptr) {
        return kAudioHardwareUnspecifiedError;
    }
    CFURLRef url = CFBundleCopyResourceURL(bundle, CFSTR("DeviceIcon.icns"), nullptr, nullptr);
    if (url == nullptr) {
        return kAudioHardwareUnspecifiedError;
    }
    return writer.PutCFType(url);
}

OSStatus PreferredChannelsForStereo(const LPropertyCall&, LPropertyWriter& writer) {
    struct Pair {
        UInt32 dwLeft, dwRight;
    };
    return writer.Put(Pair{1, 2});
}

// The two-channel layout: 12-byte head and two 20-byte channel descriptions.
struct StereoLayout {
    AudioChannelLayoutTag mChannelLayoutTag;
    AudioChannelBitmap mChannelBitmap;
    UInt32 mNumberChannelDescriptions;
    AudioChannelDescription mChannelDescriptions[2];
};
static_assert(sizeof(StereoLayout) == 52);

OSStatus PreferredChannelLayout(const LPropertyCall&, LPropertyWriter& writer) {
    StereoLayout layout = {};
    layout.mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelDescriptions;
    layout.mNumberChannelDescriptions = 2;
    layout.mChannelDescriptions[0].mChannelLabel = kAudioChannelLabel_Left;
    layout.mChannelDescriptions[1].mChannelLabel = kAudioChannelLabel_Right;
    return writer.Put(layout);
}

OSStatus ElementName(const LPropertyCall& call, LPropertyWriter& writer) {
    switch (call.address.mElement) {
    case 0: return writer.PutCFType(CFSTR("MasterElementName"));
    case 1: return writer.PutCFType(CFSTR("LeftElementName"));
    case 2: return writer.PutCFType(CFSTR("RightElementName"));
    default: return writer.PutCFType(CFSTR("unknown")); // only for callers that skip HasProperty
    }
}

constexpr LScopeRule kInOut = LScopeRule::InputOrOutput;
constexpr LScopeRule kOutGlobal = LScopeRule::OutputOrGlobal;

const LPropertyRow kRows[] = {
    LRow(kAudioObjectPropertyBaseClass, 4, LAnswerUInt32<kAudioObjectClassID>),
    LRow(kAudioObjectPropertyClass, 4, LAnswerUInt32<kAudioDeviceClassID>),
    LRow(kAudioObjectPropertyOwner, 4, LAnswerUInt32<kAudioObjectPlugInObject>),
    LRow(kAudioObjectPropertyName, 8, Name),
    LRow(kAudioObjectPropertyManufacturer, 8, Manufacturer),
    LRow(kAudioObjectPropertyOwnedObjects, OwnedObjectsSize, OwnedObjects, kOutGlobal),
    LRow(kAudioDevicePropertyDeviceUID, 8, DeviceUID),
    LRow(kAudioDevicePropertyModelUID, 8, ModelUID),
    LRow(kAudioDevicePropertyTransportType, 4, LAnswerUInt32<kAudioDeviceTransportTypeVirtual>),
    LRow(kAudioDevicePropertyRelatedDevices, 4, RelatedDevices),
    LRow(kAudioDevicePropertyClockDomain, 4, LAnswerUInt32<0>),
    LRow(kAudioDevicePropertyDeviceIsAlive, 4, LAnswerUInt32<1>),
    LRow(kAudioDevicePropertyDeviceIsRunning, 4, IsRunning),
    LRow(kAudioDevicePropertyDeviceCanBeDefaultDevice, 4, LAnswerUInt32<1>, kInOut),
    LRow(kAudioDevicePropertyDeviceCanBeDefaultSystemDevice, 4, LAnswerUInt32<1>, kInOut),
    LRow(kAudioDevicePropertyLatency, 4, LAnswerUInt32<0>, kInOut),
    LRow(kAudioDevicePropertyStreams, StreamsSize, Streams, kOutGlobal),
    LRow(kAudioObjectPropertyControlList, 4, ControlList),
    LRow(kAudioDevicePropertySafetyOffset, 4, LAnswerUInt32<0>, kInOut),
    LSettableRow(kAudioDevicePropertyNominalSampleRate, 8, NominalSampleRate, LSetNominalSampleRate),
    LRow(kAudioDevicePropertyAvailableNominalSampleRates, 32, AvailableNominalSampleRates),
    LRow(kAudioDevicePropertyIcon, 8, Icon),
    LRow(kAudioDevicePropertyIsHidden, 4, LAnswerUInt32<0>),
    LRow(kAudioDevicePropertyPreferredChannelsForStereo, 8, PreferredChannelsForStereo, kInOut),
    LRow(kAudioDevicePropertyPreferredChannelLayout, 52, PreferredChannelLayout, kInOut),
    LRow(kAudioDevicePropertyZeroTimeStampPeriod, 4, LAnswerUInt32<ZeroTimeStampPeriod>),
    LRow(kAudioObjectPropertyElementName, 8, ElementName, LScopeRule::ChannelElement),
};

} // namespace

const LPropertyTable& LDevicePropertyTable() {
    static const LPropertyTable table = {kRows, std::size(kRows)};
    return table;
}

} // namespace harlune::driver
