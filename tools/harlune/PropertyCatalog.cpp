#include "tools/harlune/PropertyCatalog.h"

#include "driver/VolumeCurve.h"
#include "host/LCFHelpers.h"

#include <cstdio>
#include <cstring>

namespace harlune::tools {
namespace {

using K = LValueKind;

template <typename T>
std::vector<T> Items(const std::vector<UInt8>& arData) {
    std::vector<T> ar(arData.size() / sizeof(T));
    if (!ar.empty()) {
        std::memcpy(ar.data(), arData.data(), ar.size() * sizeof(T));
    }
    return ar;
}

template <typename T>
T One(const std::vector<UInt8>& arData) {
    T value{};
    if (arData.size() >= sizeof(T)) {
        std::memcpy(&value, arData.data(), sizeof(T));
    }
    return value;
}

std::string Number(double f) {
    char sz[64];
    std::snprintf(sz, sizeof sz, "%.10g", f);
    return sz;
}

std::string TakeCFText(CFTypeRef ref) {
    if (ref == nullptr) {
        return {};
    }
    std::string szText;
    if (CFGetTypeID(ref) == CFStringGetTypeID()) {
        szText = host::LStringFromCF(static_cast<CFStringRef>(ref));
    } else if (CFGetTypeID(ref) == CFURLGetTypeID()) {
        char sz[4096] = {0};
        if (CFURLGetFileSystemRepresentation(static_cast<CFURLRef>(ref), true, reinterpret_cast<UInt8*>(sz),
                                             sizeof sz)) {
            szText = sz;
        }
    }
    CFRelease(ref);
    return szText;
}

std::string DescribeFormat(const AudioStreamBasicDescription& f) {
    std::string szType = (f.mFormatFlags & kAudioFormatFlagIsFloat) ? "float" : "integer";
    std::string sz = std::to_string(f.mChannelsPerFrame) + " ch, " + std::to_string(f.mBitsPerChannel) + "-bit " +
                     szType + ", " + Number(f.mSampleRate) + " Hz";
    if (f.mFormatID != kAudioFormatLinearPCM) {
        sz += ", format " + LFourCCText(f.mFormatID);
    }
    return sz;
}

std::string JsonFormat(const AudioStreamBasicDescription& f) {
    return "{\"sampleRate\":" + Number(f.mSampleRate) + ",\"formatID\":" + LJsonString(LFourCCText(f.mFormatID)) +
           ",\"formatFlags\":" + std::to_string(f.mFormatFlags) + ",\"bytesPerPacket\":" +
           std::to_string(f.mBytesPerPacket) + ",\"framesPerPacket\":" + std::to_string(f.mFramesPerPacket) +
           ",\"bytesPerFrame\":" + std::to_string(f.mBytesPerFrame) + ",\"channelsPerFrame\":" +
           std::to_string(f.mChannelsPerFrame) + ",\"bitsPerChannel\":" + std::to_string(f.mBitsPerChannel) + "}";
}

template <typename T, typename F>
std::string Join(const std::vector<T>& ar, const char* szSeparator, F each) {
    std::string sz;
    for (std::size_t i = 0; i < ar.size(); ++i) {
        sz += (i ? szSeparator : "") + each(ar[i]);
    }
    return sz;
}

} // namespace

const std::vector<LPropertyInfo>& LKnownProperties() {
    static const std::vector<LPropertyInfo> properties = {
        {kAudioObjectPropertyClass, "Class", K::FourCC},
        {kAudioObjectPropertyBaseClass, "Base class", K::FourCC},
        {kAudioObjectPropertyOwner, "Owner", K::ObjectID},
        {kAudioObjectPropertyName, "Name", K::String},
        {kAudioObjectPropertyModelName, "Model name", K::String},
        {kAudioObjectPropertyManufacturer, "Manufacturer", K::String},
        {kAudioObjectPropertySerialNumber, "Serial number", K::String},
        {kAudioObjectPropertyFirmwareVersion, "Firmware version", K::String},
        {kAudioObjectPropertyOwnedObjects, "Owned objects", K::IDList},
        {kAudioObjectPropertyIdentify, "Identify", K::UInt32},
        {kAudioObjectPropertyCustomPropertyInfoList, "Custom properties", K::CustomInfo},
        {kAudioPlugInPropertyBoxList, "Boxes", K::IDList},
        {kAudioPlugInPropertyDeviceList, "Devices", K::IDList},
        {kAudioPlugInPropertyResourceBundle, "Resource bundle", K::String},
        {kAudioBoxPropertyBoxUID, "Box UID", K::String},
        {kAudioBoxPropertyHasAudio, "Has audio", K::Bool},
        {kAudioBoxPropertyHasVideo, "Has video", K::Bool},
        {kAudioBoxPropertyHasMIDI, "Has MIDI", K::Bool},
        {kAudioBoxPropertyIsProtected, "Is protected", K::Bool},
        {kAudioBoxPropertyAcquired, "Acquired", K::Bool},
        {kAudioBoxPropertyAcquisitionFailed, "Acquisition failed", K::Bool},
        {kAudioBoxPropertyDeviceList, "Box devices", K::IDList},
        {kAudioDevicePropertyDeviceUID, "Device UID", K::String},
        {kAudioDevicePropertyModelUID, "Model UID", K::String},
        {kAudioDevicePropertyTransportType, "Transport type", K::FourCC},
        {kAudioDevicePropertyRelatedDevices, "Related devices", K::IDList},
        {kAudioDevicePropertyClockDomain, "Clock domain", K::UInt32},
        {kAudioDevicePropertyDeviceIsAlive, "Is alive", K::Bool},
        {kAudioDevicePropertyDeviceIsRunning, "Is running", K::Bool},
        {kAudioDevicePropertyDeviceCanBeDefaultDevice, "Can be default device", K::Bool},
        {kAudioDevicePropertyDeviceCanBeDefaultSystemDevice, "Can be default system device", K::Bool},
        {kAudioDevicePropertyLatency, "Latency (frames)", K::UInt32},
        {kAudioDevicePropertySafetyOffset, "Safety offset (frames)", K::UInt32},
        {kAudioDevicePropertyZeroTimeStampPeriod, "Zero time stamp period (frames)", K::UInt32},
        {kAudioDevicePropertyNominalSampleRate, "Nominal sample rate", K::SampleRate},
        {kAudioDevicePropertyAvailableNominalSampleRates, "Available sample rates", K::ValueRanges},
        {kAudioDevicePropertyStreams, "Streams", K::IDList},
        {kAudioObjectPropertyControlList, "Controls", K::IDList},
        {kAudioDevicePropertyIcon, "Icon", K::URL},
        {kAudioDevicePropertyIsHidden, "Is hidden", K::Bool},
        {kAudioDevicePropertyPreferredChannelsForStereo, "Preferred stereo channels", K::ChannelPair},
        {kAudioDevicePropertyPreferredChannelLayout, "Preferred channel layout", K::ChannelLayout},
        {kAudioStreamPropertyIsActive, "Is active", K::Bool},
        {kAudioStreamPropertyDirection, "Direction (0 output)", K::UInt32},
        {kAudioStreamPropertyTerminalType, "Terminal type", K::FourCC},
        {kAudioStreamPropertyStartingChannel, "Starting channel", K::UInt32},
        {kAudioStreamPropertyVirtualFormat, "Virtual format", K::Format},
        {kAudioStreamPropertyAvailableVirtualFormats, "Available virtual formats", K::RangedFormats},
        {kAudioStreamPropertyPhysicalFormat, "Physical format", K::Format},
        {kAudioStreamPropertyAvailablePhysicalFormats, "Available physical formats", K::RangedFormats},
        {kAudioControlPropertyScope, "Scope", K::FourCC},
        {kAudioControlPropertyElement, "Element", K::UInt32},
        {kAudioLevelControlPropertyScalarValue, "Volume", K::VolumeScalar},
        {kAudioLevelControlPropertyDecibelValue, "Volume (dB)", K::Decibels},
        {kAudioLevelControlPropertyDecibelRange, "Decibel range", K::ValueRanges},
        {kAudioBooleanControlPropertyValue, "Value", K::Bool},
        {kAudioSelectorControlPropertyAvailableItems, "Available items", K::ItemList},
        {kAudioSelectorControlPropertyCurrentItem, "Current item", K::UInt32},
    };
    return properties;
}

const LPropertyInfo* LFindProperty(AudioObjectPropertySelector dwSelector) {
    for (const LPropertyInfo& info : LKnownProperties()) {
        if (info.dwSelector == dwSelector) {
            return &info;
        }
    }
    return nullptr;
}

std::string LFourCCText(UInt32 dwCode) {
    char sz[16];
    const char ar[4] = {char(dwCode >> 24), char(dwCode >> 16), char(dwCode >> 8), char(dwCode)};
    for (char c : ar) {
        if (c < 0x20 || c > 0x7E) {
            std::snprintf(sz, sizeof sz, "0x%08X", dwCode);
            return sz;
        }
    }
    std::snprintf(sz, sizeof sz, "'%c%c%c%c'", ar[0], ar[1], ar[2], ar[3]);
    return sz;
}

bool LParseFourCC(const std::string& szText, UInt32* pdwCode) {
    std::string sz = szText;
    if (sz.size() >= 2 && sz.front() == '\'' && sz.back() == '\'') {
        sz = sz.substr(1, sz.size() - 2);
    }
    if (sz.empty() || sz.size() > 4) {
        return false;
    }
    sz.resize(4, ' ');
    *pdwCode = (UInt32(UInt8(sz[0])) << 24) | (UInt32(UInt8(sz[1])) << 16) | (UInt32(UInt8(sz[2])) << 8) |
               UInt32(UInt8(sz[3]));
    return true;
}

std::string LJsonString(const std::string& szText) {
    std::string sz = "\"";
    for (unsigned char c : szText) {
        if (c == '"' || c == '\\') {
            sz += '\\';
            sz += static_cast<char>(c);
        } else if (c < 0x20) {
            char szEscape[8];
            std::snprintf(szEscape, sizeof szEscape, "\\u%04x", c);
            sz += szEscape;
        } else {
            sz += static_cast<char>(c);
        }
    }
    return sz + "\"";
}

std::string LDescribeValue(LValueKind eKind, const std::vector<UInt8>& arData) {
    switch (eKind) {
    case K::FourCC: return LFourCCText(One<UInt32>(arData));
    case K::ObjectID:
    case K::UInt32: return std::to_string(One<UInt32>(arData));
    case K::Bool: return One<UInt32>(arData) != 0 ? "yes" : "no";
    case K::Float32: return Number(One<Float32>(arData));
    case K::VolumeScalar: {
        const Float32 f = One<Float32>(arData);
        return Number(f) + " (" + Number(driver::ScalarToDecibels(f)) + " dB)";
    }
    case K::Decibels: return Number(One<Float32>(arData)) + " dB";
    case K::Float64: return Number(One<Float64>(arData));
    case K::SampleRate: return Number(One<Float64>(arData)) + " Hz";
    case K::String: return "\"" + TakeCFText(One<CFTypeRef>(arData)) + "\"";
    case K::URL: return TakeCFText(One<CFTypeRef>(arData));
    case K::IDList:
    case K::ItemList: {
        const auto ar = Items<UInt32>(arData);
        return ar.empty() ? "(none)" : Join(ar, ", ", [](UInt32 n) { return std::to_string(n); });
    }
    case K::ValueRanges:
        return Join(Items<AudioValueRange>(arData), ", ", [](const AudioValueRange& r) {
            return Number(r.mMinimum) + " to " + Number(r.mMaximum);
        });
    case K::Format: return DescribeFormat(One<AudioStreamBasicDescription>(arData));
    case K::RangedFormats:
        return Join(Items<AudioStreamRangedDescription>(arData), "; ", [](const AudioStreamRangedDescription& r) {
            return DescribeFormat(r.mFormat) + " (rates " + Number(r.mSampleRateRange.mMinimum) + " to " +
                   Number(r.mSampleRateRange.mMaximum) + ")";
        });
    case K::ChannelLayout: {
        const auto head = Items<UInt32>(arData);
        if (head.size() < 3) {
            return "(short)";
        }
        std::string sz = "tag " + std::to_string(head[0]) + ", " + std::to_string(head[2]) + " channels:";
        for (UInt32 i = 0; i < head[2] && 3 + i * 5 < head.size(); ++i) {
            const UInt32 dwLabel = head[3 + i * 5];
            sz += dwLabel == 1 ? " left" : dwLabel == 2 ? " right" : " label " + std::to_string(dwLabel);
        }
        return sz;
    }
    case K::ChannelPair: {
        const auto ar = Items<UInt32>(arData);
        return ar.size() >= 2 ? std::to_string(ar[0]) + " and " + std::to_string(ar[1]) : "(short)";
    }
    case K::CustomInfo:
        return Join(Items<AudioServerPlugInCustomPropertyInfo>(arData), ", ",
                    [](const AudioServerPlugInCustomPropertyInfo& i) {
                        return LFourCCText(i.mSelector) + " (value " + LFourCCText(i.mPropertyDataType) +
                               ", qualifier " + LFourCCText(i.mQualifierDataType) + ")";
                    });
    }
    return "?";
}

std::string LJsonValue(LValueKind eKind, const std::vector<UInt8>& arData) {
    switch (eKind) {
    case K::FourCC: {
        std::string szCode = LFourCCText(One<UInt32>(arData));
        if (szCode.size() == 6 && szCode.front() == '\'') {
            szCode = szCode.substr(1, 4); // plain "abcd" for machines
        }
        return LJsonString(szCode);
    }
    case K::ObjectID:
    case K::UInt32: return std::to_string(One<UInt32>(arData));
    case K::Bool: return One<UInt32>(arData) != 0 ? "true" : "false";
    case K::Float32:
    case K::VolumeScalar:
    case K::Decibels: return Number(One<Float32>(arData));
    case K::Float64:
    case K::SampleRate: return Number(One<Float64>(arData));
    case K::String:
    case K::URL: return LJsonString(TakeCFText(One<CFTypeRef>(arData)));
    case K::IDList:
    case K::ItemList:
    case K::ChannelPair:
        return "[" + Join(Items<UInt32>(arData), ",", [](UInt32 n) { return std::to_string(n); }) + "]";
    case K::ValueRanges:
        return "[" + Join(Items<AudioValueRange>(arData), ",", [](const AudioValueRange& r) {
                   return "[" + Number(r.mMinimum) + "," + Number(r.mMaximum) + "]";
               }) + "]";
    case K::Format: return JsonFormat(One<AudioStreamBasicDescription>(arData));
    case K::RangedFormats:
        return "[" + Join(Items<AudioStreamRangedDescription>(arData), ",", [](const AudioStreamRangedDescription& r) {
                   return "{\"format\":" + JsonFormat(r.mFormat) + ",\"rateRange\":[" +
                          Number(r.mSampleRateRange.mMinimum) + "," + Number(r.mSampleRateRange.mMaximum) + "]}";
               }) + "]";
    case K::ChannelLayout:
    case K::CustomInfo: return LJsonString(LDescribeValue(eKind, arData));
    }
    return "null";
}

} // namespace harlune::tools
