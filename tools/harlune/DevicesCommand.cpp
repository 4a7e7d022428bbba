#include "tools/harlune/Commands.h"

#include "host/LCFHelpers.h"
#include "host/LHost.h"
#include "tools/harlune/BundleLocation.h"
#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/DeviceSummary.h"
#include "tools/harlune/DeviceTree.h"
#include "tools/harlune/PropertyCatalog.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <set>

namespace harlune::tools {
namespace {

const char kUsage[] =
    "usage: harlune devices [-v] [--json] [--bundle PATH] [--storage DIR]\n"
    "       harlune devices --set OBJECT SELECTOR VALUE [--bundle PATH] [--storage DIR]\n"
    "\n"
    "Loads the driver bundle as the audio server does and shows the device: its\n"
    "name and UID, whether a host plays into it, its rate, format and volume, and\n"
    "whether a recorder is there to receive it.\n"
    "\n"
    "  -v, --verbose     also print every object (plug-in, box, device, stream,\n"
    "                    controls) with every readable property\n"
    "  --json            print the device and the whole tree as JSON, keyed by the\n"
    "                    names the text shows, with the four-character codes beside\n"
    "  --set O S V       set property S (four characters, e.g. lcsv) of object O\n"
    "                    to V and show the notices the driver sent; V is a number,\n"
    "                    or text for names; for formats ('sfmt', 'pft ') the rate\n"
    "  --bundle PATH     the driver bundle (default: beside this program)\n"
    "  --storage DIR     the plug-in storage folder (default: the user's state folder)\n";

struct Options {
    bool bJson = false;
    bool bVerbose = false;
    bool bSet = false;
    std::string szObject, szSelector, szValue;
    host::LHostOptions host;
};

// A driver status in words, with its code for those who look it up.
std::string StatusText(OSStatus status) {
    const char* szWords = nullptr;
    switch (static_cast<UInt32>(status)) {
    case 0: return "ok";
    case kAudioHardwareBadObjectError: szWords = "there is no such object"; break;
    case kAudioHardwareUnknownPropertyError: szWords = "the object has no such property"; break;
    case kAudioHardwareBadPropertySizeError: szWords = "the value has the wrong size for this property"; break;
    case kAudioHardwareIllegalOperationError: szWords = "the driver does not allow it"; break;
    case kAudioDeviceUnsupportedFormatError: szWords = "the device does not support that value"; break;
    case kAudioHardwareUnsupportedOperationError: szWords = "the property cannot be set"; break;
    case kAudioHardwareNotRunningError: szWords = "the host is not running"; break;
    case kAudioHardwareUnspecifiedError: szWords = "the driver failed without saying why"; break;
    default: szWords = "the driver refused"; break;
    }
    return std::string(szWords) + " (" + LFourCCText(static_cast<UInt32>(status)) + ")";
}

int SetProperty(host::LHost& host, const Options& options) {
    char* pEnd = nullptr;
    const unsigned long nObject = std::strtoul(options.szObject.c_str(), &pEnd, 10);
    UInt32 dwSelector = 0;
    if (options.szObject.empty() || *pEnd != '\0' || !LParseFourCC(options.szSelector, &dwSelector)) {
        std::fprintf(stderr, "harlune devices: --set needs an object number and a four-character selector\n");
        return 2;
    }
    const LPropertyInfo* pInfo = LFindProperty(dwSelector);
    if (pInfo == nullptr) {
        std::fprintf(stderr, "harlune devices: %s is not a property this command knows how to set\n",
                     LFourCCText(dwSelector).c_str());
        return 2;
    }
    const AudioObjectID dwObject = static_cast<AudioObjectID>(nObject);
    const AudioObjectPropertyAddress address = {dwSelector, kAudioObjectPropertyScopeGlobal, 0};
    std::vector<UInt8> arData;
    host::LCFOwned<CFStringRef> text;
    const double fValue = std::strtod(options.szValue.c_str(), &pEnd);
    const bool bNumber = !options.szValue.empty() && *pEnd == '\0';
    auto put = [&arData](const auto& value) {
        arData.resize(sizeof value);
        std::memcpy(arData.data(), &value, sizeof value);
    };
    switch (pInfo->eKind) {
    case LValueKind::String:
        text.reset(host::LCFString(options.szValue));
        put(text.get());
        break;
    case LValueKind::Float32:
    case LValueKind::VolumeScalar:
    case LValueKind::Decibels:
        if (!bNumber) {
            std::fprintf(stderr, "harlune devices: '%s' is not a number\n", options.szValue.c_str());
            return 2;
        }
        put(static_cast<Float32>(fValue));
        break;
    case LValueKind::Float64:
    case LValueKind::SampleRate:
        if (!bNumber) {
            std::fprintf(stderr, "harlune devices: '%s' is not a number\n", options.szValue.c_str());
            return 2;
        }
        put(fValue);
        break;
    case LValueKind::Format: {
        if (!bNumber) {
            std::fprintf(stderr, "harlune devices: give the format's sample rate, e.g. 48000\n");
            return 2;
        }
        const AudioStreamBasicDescription format = {fValue, kAudioFormatLinearPCM,
                                                    kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked, 8, 1, 8, 2,
                                                    32, 0};
        put(format);
        break;
    }
    default:
        if (!bNumber || fValue < 0 || fValue > 4294967295.0) {
            std::fprintf(stderr, "harlune devices: '%s' is not an unsigned number\n", options.szValue.c_str());
            return 2;
        }
        put(static_cast<UInt32>(fValue));
        break;
    }

    host.Notices().Clear();
    const std::size_t nChangesBefore = host.ConfigurationChanges().size();
    const OSStatus status = host.Entries()->SetPropertyData(host.Driver(), dwObject, 0, &address, 0, nullptr,
                                                            static_cast<UInt32>(arData.size()), arData.data());
    std::fprintf(status == 0 ? stdout : stderr, "%sset %u %s (%s) = %s: %s\n", status == 0 ? "" : "harlune devices: cannot ",
                 dwObject, LFourCCText(dwSelector).c_str(), pInfo->szName, options.szValue.c_str(),
                 StatusText(status).c_str());
    if (status == 0) {
        // Notices can come later from the driver's queue; identify's come
        // two seconds after the set.
        const auto wait = dwSelector == kAudioObjectPropertyIdentify ? std::chrono::milliseconds(2500)
                                                                     : std::chrono::milliseconds(300);
        host.Notices().WaitFor([](const host::LHostNotice&) { return false; }, wait);
        host.WaitForConfigurationChanges(nChangesBefore + 1, std::chrono::milliseconds(
                                                                 pInfo->eKind == LValueKind::SampleRate ||
                                                                         pInfo->eKind == LValueKind::Format
                                                                     ? 1000
                                                                     : 0));
    }
    for (const host::LHostNotice& notice : host.Notices().Snapshot()) {
        std::printf("notice: object %u:", notice.dwObjectID);
        for (const AudioObjectPropertyAddress& a : notice.arAddresses) {
            std::printf(" %s", LFourCCText(a.mSelector).c_str());
        }
        std::printf("\n");
    }
    const auto changes = host.ConfigurationChanges();
    for (std::size_t i = nChangesBefore; i < changes.size(); ++i) {
        std::printf("configuration change performed: device %u, action %llu: %s\n", changes[i].dwDeviceID,
                    static_cast<unsigned long long>(changes[i].qwChangeAction), StatusText(changes[i].status).c_str());
    }
    for (const LTreeObject& object : LReadDeviceTree(host)) {
        for (const LTreeProperty& p : object.arProperties) {
            if (object.dwID == dwObject && p.dwSelector == dwSelector && p.szQualifier.empty()) {
                std::printf("now: %s\n", p.szText.c_str());
            }
        }
    }
    return status == 0 ? 0 : 1;
}

} // namespace

int LRunDevicesCommand(const std::vector<std::string>& arArgs) {
    Options options;
    options.host.szBundlePath = LDefaultBundlePath();
    for (std::size_t i = 0; i < arArgs.size(); ++i) {
        const std::string& szArg = arArgs[i];
        const bool bHasNext = i + 1 < arArgs.size();
        if (szArg == "--help" || szArg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (szArg == "--version") {
            std::printf("%s\n", LVersionText());
            return 0;
        } else if (szArg == "-v" || szArg == "--verbose") {
            options.bVerbose = true;
        } else if (szArg == "--json") {
            options.bJson = true;
        } else if (szArg == "--bundle" && bHasNext) {
            options.host.szBundlePath = arArgs[++i];
        } else if (szArg == "--storage" && bHasNext) {
            options.host.szStorageFolder = arArgs[++i];
        } else if (szArg == "--set" && i + 3 < arArgs.size()) {
            options.bSet = true;
            options.szObject = arArgs[++i];
            options.szSelector = arArgs[++i];
            options.szValue = arArgs[++i];
        } else {
            std::fprintf(stderr, "harlune devices: unexpected argument '%s'\n\n%s", szArg.c_str(), kUsage);
            return 2;
        }
    }
    std::string szError;
    std::unique_ptr<host::LHost> pHost = host::LHost::Load(options.host, &szError);
    if (!pHost) {
        std::fprintf(stderr, "harlune devices: %s\n", szError.c_str());
        return 1;
    }
    if (const std::string szWarning = pHost->Storage().LastWarning(); !szWarning.empty()) {
        std::fprintf(stderr, "harlune devices: warning: %s\n", szWarning.c_str());
    }
    if (options.bSet) {
        return SetProperty(*pHost, options);
    }
    const LDeviceSummary summary = LReadDeviceSummary(*pHost);
    if (options.bJson) {
        std::printf("{\"device\":%s,\n\"objects\":%s}\n", LDeviceSummaryJson(summary).c_str(),
                    LDeviceTreeJson(LReadDeviceTree(*pHost)).c_str());
        return 0;
    }
    LPrintDeviceSummary(summary);
    if (options.bVerbose) {
        std::printf("\n");
        LPrintDeviceTree(LReadDeviceTree(*pHost));
    }
    return 0;
}

} // namespace harlune::tools
