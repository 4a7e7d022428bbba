#include "tools/harlune/DeviceSummary.h"

#include "host/LCFHelpers.h"
#include "host/LDevicePublication.h"
#include "tools/harlune/PropertyCatalog.h"

#include <unistd.h>

#include <CoreFoundation/CoreFoundation.h>

#include <cmath>
#include <cstdio>
#include <thread>

namespace harlune::tools {
namespace {

constexpr AudioObjectID kDevice = 3, kStream = 8, kVolume = 9, kMute = 10;

template <typename T>
bool Get(host::LHost& host, AudioObjectID dwObject, AudioObjectPropertySelector dwSelector, T* pValue,
         AudioObjectPropertyScope dwScope = kAudioObjectPropertyScopeGlobal) {
    const AudioObjectPropertyAddress address = {dwSelector, dwScope, kAudioObjectPropertyElementMain};
    UInt32 dwOut = 0;
    return host.Entries()->GetPropertyData(host.Driver(), dwObject, 0, &address, 0, nullptr, sizeof(T), &dwOut,
                                           pValue) == 0 &&
           dwOut == sizeof(T);
}

std::string GetText(host::LHost& host, AudioObjectID dwObject, AudioObjectPropertySelector dwSelector) {
    CFStringRef text = nullptr;
    if (!Get(host, dwObject, dwSelector, &text) || text == nullptr) {
        return {};
    }
    std::string sz = host::LStringFromCF(text);
    CFRelease(text);
    return sz;
}

std::string Number(double f) {
    char sz[32];
    std::snprintf(sz, sizeof sz, "%.10g", f);
    return sz;
}

std::string Code(UInt32 dwCode) {
    std::string sz = LFourCCText(dwCode);
    return sz.size() == 6 && sz.front() == '\'' ? sz.substr(1, 4) : sz;
}

std::string StateText(const LDeviceSummary& s) {
    std::string sz;
    for (const LRunningHost& h : s.arHosts) {
        sz += (sz.empty() ? "" : "; ") + std::string(h.bRunning ? "playing" : "loaded, idle") + " in process " +
              std::to_string(h.nPid) + " at " + Number(h.fSampleRate) + " Hz";
    }
    return sz.empty() ? "stopped (no host plays into it)" : sz;
}

std::string RecorderText(const LDeviceSummary& s) {
    switch (s.helper.eState) {
    case LHelperState::NotRunning: return "none: no helper service is running";
    case LHelperState::NoRecorder:
        return "none registered with the helper service (pid " + std::to_string(s.helper.nPid) + ")";
    case LHelperState::RecorderRegistered:
        return std::string(s.bPlugInConnected ? "connected" : "registered, not reached by the plug-in") +
               " (helper service pid " + std::to_string(s.helper.nPid) + ")";
    }
    return "unknown";
}

std::string RatesText(const std::vector<double>& arRates) {
    std::string sz;
    for (double f : arRates) {
        sz += (sz.empty() ? "" : ", ") + Number(f);
    }
    return sz;
}

} // namespace

LDeviceSummary LReadDeviceSummary(host::LHost& host) {
    LDeviceSummary s;
    s.szName = GetText(host, kDevice, kAudioObjectPropertyName);
    s.szUID = GetText(host, kDevice, kAudioDevicePropertyDeviceUID);
    s.szManufacturer = GetText(host, kDevice, kAudioObjectPropertyManufacturer);
    Get(host, kDevice, kAudioDevicePropertyNominalSampleRate, &s.fSampleRate);
    {
        const AudioObjectPropertyAddress address = {kAudioDevicePropertyAvailableNominalSampleRates,
                                                    kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
        AudioValueRange arRanges[16] = {};
        UInt32 dwOut = 0;
        if (host.Entries()->GetPropertyData(host.Driver(), kDevice, 0, &address, 0, nullptr, sizeof arRanges, &dwOut,
                                            arRanges) == 0) {
            for (UInt32 i = 0; i < dwOut / sizeof(AudioValueRange); ++i) {
                s.arRates.push_back(arRanges[i].mMinimum);
            }
        }
    }
    AudioStreamBasicDescription format = {};
    if (Get(host, kStream, kAudioStreamPropertyVirtualFormat, &format)) {
        s.szFormat = std::to_string(format.mChannelsPerFrame) + " ch, " + std::to_string(format.mBitsPerChannel) +
                     "-bit " + ((format.mFormatFlags & kAudioFormatFlagIsFloat) ? "float" : "integer");
    }
    Get(host, kVolume, kAudioLevelControlPropertyScalarValue, &s.fVolume);
    Get(host, kVolume, kAudioLevelControlPropertyDecibelValue, &s.fVolumeDb);
    UInt32 dwMuted = 0;
    s.bMuted = Get(host, kMute, kAudioBooleanControlPropertyValue, &dwMuted) && dwMuted != 0;
    for (pid_t nPid : host::LListDevicePublications()) {
        host::LPublishedDevice device;
        if (nPid != getpid() && device.Open(nPid)) {
            s.arHosts.push_back({nPid, device.SampleRate(), device.IsRunning()});
        }
    }
    s.helper = LProbeHelper(std::chrono::seconds(1));
    if (s.helper.eState == LHelperState::RecorderRegistered) {
        CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("com.zentalworks.driver.HarluneVirtualAudioDevice"));
        auto pfnConnected = bundle == nullptr ? nullptr
                                              : reinterpret_cast<bool (*)()>(CFBundleGetFunctionPointerForName(
                                                    bundle, CFSTR("LVADServerIsConnectionValid")));
        for (int i = 0; i < 100 && pfnConnected != nullptr && !(s.bPlugInConnected = pfnConnected()); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    return s;
}

void LPrintDeviceSummary(const LDeviceSummary& s) {
    std::printf("%s\n", s.szName.c_str());
    std::printf("    UID:       %s\n", s.szUID.c_str());
    std::printf("    state:     %s\n", StateText(s).c_str());
    std::printf("    rate:      %s Hz (can run at %s Hz)\n", Number(s.fSampleRate).c_str(), RatesText(s.arRates).c_str());
    std::printf("    format:    %s\n", s.szFormat.c_str());
    std::printf("    volume:    %.3f (%.1f dB)%s\n", static_cast<double>(s.fVolume), static_cast<double>(s.fVolumeDb),
                s.bMuted ? ", muted" : "");
    std::printf("    recorder:  %s\n", RecorderText(s).c_str());
}

std::string LDeviceSummaryJson(const LDeviceSummary& s) {
    auto entry = [](const char* szName, UInt32 dwCode, const std::string& szValue) {
        return LJsonString(szName) + ":{\"code\":" + LJsonString(Code(dwCode)) + ",\"value\":" + szValue + "}";
    };
    std::string szRates = "[";
    for (std::size_t i = 0; i < s.arRates.size(); ++i) {
        szRates += (i ? "," : "") + Number(s.arRates[i]);
    }
    szRates += "]";
    std::string szHosts = "[";
    for (std::size_t i = 0; i < s.arHosts.size(); ++i) {
        szHosts += std::string(i ? "," : "") + "{\"pid\":" + std::to_string(s.arHosts[i].nPid) +
                   ",\"rate\":" + Number(s.arHosts[i].fSampleRate) +
                   ",\"playing\":" + (s.arHosts[i].bRunning ? "true" : "false") + "}";
    }
    szHosts += "]";
    return "{" + entry("name", kAudioObjectPropertyName, LJsonString(s.szName)) + "," +
           entry("UID", kAudioDevicePropertyDeviceUID, LJsonString(s.szUID)) + "," +
           entry("manufacturer", kAudioObjectPropertyManufacturer, LJsonString(s.szManufacturer)) + "," +
           entry("rate", kAudioDevicePropertyNominalSampleRate, Number(s.fSampleRate)) + "," +
           entry("rates", kAudioDevicePropertyAvailableNominalSampleRates, szRates) + "," +
           entry("format", kAudioStreamPropertyVirtualFormat, LJsonString(s.szFormat)) + "," +
           entry("volume", kAudioLevelControlPropertyScalarValue, Number(s.fVolume)) + "," +
           entry("volume dB", kAudioLevelControlPropertyDecibelValue, Number(s.fVolumeDb)) + "," +
           entry("muted", kAudioBooleanControlPropertyValue, s.bMuted ? "true" : "false") + "," +
           "\"state\":{\"value\":" + LJsonString(StateText(s)) + ",\"hosts\":" + szHosts + "}," +
           "\"recorder\":{\"value\":" + LJsonString(RecorderText(s)) +
           ",\"registered\":" + (s.helper.eState == LHelperState::RecorderRegistered ? "true" : "false") +
           ",\"connected\":" + (s.bPlugInConnected ? "true" : "false") + ",\"helper pid\":" +
           std::to_string(s.helper.nPid) + "}}";
}

} // namespace harlune::tools
