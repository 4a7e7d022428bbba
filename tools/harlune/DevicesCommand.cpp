#include "tools/harlune/Commands.h"

#include "host/LCFHelpers.h"
#include "host/LHost.h"
#include "tools/harlune/BundleLocation.h"
#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/PropertyCatalog.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <set>

namespace harlune::tools {
namespace {

const char kUsage[] =
    "usage: harlune devices [--json] [--bundle PATH] [--storage DIR]\n"
    "       harlune devices --set OBJECT SELECTOR VALUE [--bundle PATH] [--storage DIR]\n"
    "\n"
    "Loads the driver bundle as the audio server does and prints its objects\n"
    "(plug-in, box, device, stream, controls) with every readable property.\n"
    "\n"
    "  --json            print the tree as JSON\n"
    "  --set O S V       set property S (four characters, e.g. lcsv) of object O\n"
    "                    to V and show the notices the driver sent; V is a number,\n"
    "                    or text for names; for formats ('sfmt', 'pft ') the rate\n"
    "  --bundle PATH     the driver bundle (default: beside this program)\n"
    "  --storage DIR     the plug-in storage folder (default: the user's state folder)\n";

struct Options {
    bool bJson = false;
    bool bSet = false;
    std::string szObject, szSelector, szValue;
    host::LHostOptions host;
};

struct Property {
    const LPropertyInfo* pInfo;
    AudioObjectPropertyScope dwScope;
    std::vector<UInt8> arData;
};

struct Object {
    AudioObjectID dwID;
    AudioObjectID dwOwner;
    std::vector<Property> arProperties;
};

const char* ClassName(UInt32 dwClass) {
    switch (dwClass) {
    case kAudioPlugInClassID: return "Plug-in";
    case kAudioBoxClassID: return "Box";
    case kAudioDeviceClassID: return "Device";
    case kAudioStreamClassID: return "Stream";
    case kAudioVolumeControlClassID: return "Volume control";
    case kAudioMuteControlClassID: return "Mute control";
    case kAudioDataSourceControlClassID: return "Data source control";
    case kAudioDataDestinationControlClassID: return "Data destination control";
    default: return "Object";
    }
}

std::string StatusText(OSStatus status) { return status == 0 ? "ok" : LFourCCText(static_cast<UInt32>(status)); }

// Reads one property in the first scope the object admits it in.
bool ReadProperty(host::LHost& host, AudioObjectID dwObject, const LPropertyInfo& info, Property* pOut) {
    for (AudioObjectPropertyScope dwScope :
         {kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyScopeOutput, kAudioObjectPropertyScopeInput}) {
        const AudioObjectPropertyAddress address = {info.dwSelector, dwScope, kAudioObjectPropertyElementMain};
        if (!host.Entries()->HasProperty(host.Driver(), dwObject, 0, &address)) {
            continue;
        }
        // Lists are read with room to spare rather than at their size
        // answer, which for some lists is smaller than the whole list.
        std::vector<UInt8> arData(4096);
        UInt32 dwOut = 0;
        if (host.Entries()->GetPropertyData(host.Driver(), dwObject, 0, &address, 0, nullptr,
                                            static_cast<UInt32>(arData.size()), &dwOut, arData.data()) != 0) {
            return false;
        }
        arData.resize(dwOut);
        *pOut = Property{&info, dwScope, std::move(arData)};
        return true;
    }
    return false;
}

std::vector<Object> ReadTree(host::LHost& host) {
    std::vector<Object> arObjects;
    std::set<AudioObjectID> seen = {kAudioObjectPlugInObject};
    std::deque<std::pair<AudioObjectID, AudioObjectID>> queue = {{kAudioObjectPlugInObject, kAudioObjectUnknown}};
    while (!queue.empty()) {
        auto [dwID, dwOwner] = queue.front();
        queue.pop_front();
        Object object{dwID, dwOwner, {}};
        for (const LPropertyInfo& info : LKnownProperties()) {
            Property property;
            if (ReadProperty(host, dwID, info, &property)) {
                if (info.dwSelector == kAudioObjectPropertyOwnedObjects) {
                    for (std::size_t i = 0; i + 4 <= property.arData.size(); i += 4) {
                        AudioObjectID dwChild = 0;
                        std::memcpy(&dwChild, &property.arData[i], 4);
                        if (seen.insert(dwChild).second) {
                            queue.push_back({dwChild, dwID});
                        }
                    }
                }
                object.arProperties.push_back(std::move(property));
            }
        }
        arObjects.push_back(std::move(object));
    }
    return arObjects;
}

UInt32 ClassOf(const Object& object) {
    for (const Property& p : object.arProperties) {
        if (p.pInfo->dwSelector == kAudioObjectPropertyClass && p.arData.size() >= 4) {
            UInt32 dw = 0;
            std::memcpy(&dw, p.arData.data(), 4);
            return dw;
        }
    }
    return 0;
}

int Depth(const std::vector<Object>& arObjects, const Object& object) {
    int nDepth = 0;
    for (AudioObjectID dwOwner = object.dwOwner; dwOwner != kAudioObjectUnknown && nDepth < 8; ++nDepth) {
        AudioObjectID dwNext = kAudioObjectUnknown;
        for (const Object& o : arObjects) {
            if (o.dwID == dwOwner) {
                dwNext = o.dwOwner;
            }
        }
        dwOwner = dwNext;
    }
    return nDepth;
}

// Answers that need a qualifier or an element, shown after the plain ones.
void PrintQualified(host::LHost& host, const Object& object, const std::string& szIndent) {
    const UInt32 dwClass = ClassOf(object);
    if (dwClass == kAudioDeviceClassID) {
        for (UInt32 dwElement = 0; dwElement <= 2; ++dwElement) {
            const AudioObjectPropertyAddress address = {kAudioObjectPropertyElementName,
                                                        kAudioObjectPropertyScopeGlobal, dwElement};
            CFStringRef name = nullptr;
            UInt32 dwOut = 0;
            if (host.Entries()->GetPropertyData(host.Driver(), object.dwID, 0, &address, 0, nullptr, sizeof name,
                                                &dwOut, &name) == 0) {
                std::printf("%sElement %u name: \"%s\"\n", szIndent.c_str(), dwElement,
                            host::LStringFromCF(name).c_str());
                CFRelease(name);
            }
        }
    }
    if (dwClass == kAudioDataSourceControlClassID || dwClass == kAudioDataDestinationControlClassID) {
        for (UInt32 dwItem = 0; dwItem <= 3; ++dwItem) {
            const AudioObjectPropertyAddress address = {kAudioSelectorControlPropertyItemName,
                                                        kAudioObjectPropertyScopeGlobal, 0};
            CFStringRef name = nullptr;
            UInt32 dwOut = 0;
            if (host.Entries()->GetPropertyData(host.Driver(), object.dwID, 0, &address, sizeof dwItem, &dwItem,
                                                sizeof name, &dwOut, &name) == 0) {
                std::printf("%sItem %u name: \"%s\"\n", szIndent.c_str(), dwItem, host::LStringFromCF(name).c_str());
                CFRelease(name);
            }
        }
    }
}

void PrintText(host::LHost& host, const std::vector<Object>& arObjects) {
    for (const Object& object : arObjects) {
        const std::string szIndent(static_cast<std::size_t>(Depth(arObjects, object)) * 2, ' ');
        std::printf("%s%s %u\n", szIndent.c_str(), ClassName(ClassOf(object)), object.dwID);
        // Properties indent two more than their object.
        for (const Property& p : object.arProperties) {
            std::printf("%s    %s: %s%s\n", szIndent.c_str(), p.pInfo->szName,
                        LDescribeValue(p.pInfo->eKind, p.arData).c_str(),
                        p.dwScope == kAudioObjectPropertyScopeGlobal
                            ? ""
                            : ("   [scope " + LFourCCText(p.dwScope) + "]").c_str());
        }
        PrintQualified(host, object, szIndent + "    ");
    }
}

void PrintJson(const std::vector<Object>& arObjects) {
    std::printf("{\"objects\":[");
    for (std::size_t i = 0; i < arObjects.size(); ++i) {
        const Object& object = arObjects[i];
        std::printf("%s\n{\"id\":%u,\"owner\":%u,\"kind\":%s,\"properties\":{", i ? "," : "", object.dwID,
                    object.dwOwner, LJsonString(ClassName(ClassOf(object))).c_str());
        for (std::size_t j = 0; j < object.arProperties.size(); ++j) {
            const Property& p = object.arProperties[j];
            std::string szCode = LFourCCText(p.pInfo->dwSelector);
            if (szCode.size() == 6) {
                szCode = szCode.substr(1, 4);
            }
            std::printf("%s%s:%s", j ? "," : "", LJsonString(szCode).c_str(),
                        LJsonValue(p.pInfo->eKind, p.arData).c_str());
        }
        std::printf("}}");
    }
    std::printf("\n]}\n");
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
    std::printf("set %u %s = %s: %s\n", dwObject, LFourCCText(dwSelector).c_str(), options.szValue.c_str(),
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
    Property after;
    if (ReadProperty(host, dwObject, *pInfo, &after)) {
        std::printf("now: %s\n", LDescribeValue(pInfo->eKind, after.arData).c_str());
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
    const std::vector<Object> arObjects = ReadTree(*pHost);
    if (options.bJson) {
        PrintJson(arObjects);
    } else {
        PrintText(*pHost, arObjects);
    }
    return 0;
}

} // namespace harlune::tools
