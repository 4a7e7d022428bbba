#include "tools/harlune/DeviceTree.h"

#include "host/LCFHelpers.h"

#include <cstdio>
#include <cstring>
#include <deque>
#include <set>

namespace harlune::tools {
namespace {

// The code as plain text for JSON: "lnam".
std::string CodeText(UInt32 dwCode) {
    std::string sz = LFourCCText(dwCode);
    return sz.size() == 6 && sz.front() == '\'' ? sz.substr(1, 4) : sz;
}

// Reads one property in the first scope the object admits it in.
bool ReadProperty(host::LHost& host, AudioObjectID dwObject, const LPropertyInfo& info, LTreeProperty* pOut,
                  std::vector<UInt8>* parRaw) {
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
        *parRaw = arData;
        pOut->szName = info.szName;
        pOut->dwSelector = info.dwSelector;
        pOut->dwScope = dwScope;
        // A CF answer is released by the describing call, so the JSON is
        // made from a second reading.
        pOut->szText = LDescribeValue(info.eKind, arData);
        std::vector<UInt8> arAgain(4096);
        UInt32 dwAgain = 0;
        host.Entries()->GetPropertyData(host.Driver(), dwObject, 0, &address, 0, nullptr,
                                        static_cast<UInt32>(arAgain.size()), &dwAgain, arAgain.data());
        arAgain.resize(dwAgain);
        pOut->szJson = LJsonValue(info.eKind, arAgain);
        return true;
    }
    return false;
}

// Reads a name that needs a qualifier (an item) or an element.
void ReadQualifiedName(host::LHost& host, LTreeObject& object, AudioObjectPropertySelector dwSelector,
                       UInt32 dwElement, const UInt32* pdwItem, const std::string& szLabel,
                       const std::string& szQualifier) {
    const AudioObjectPropertyAddress address = {dwSelector, kAudioObjectPropertyScopeGlobal, dwElement};
    CFStringRef name = nullptr;
    UInt32 dwOut = 0;
    if (host.Entries()->GetPropertyData(host.Driver(), object.dwID, 0, &address, pdwItem != nullptr ? 4 : 0, pdwItem,
                                        sizeof name, &dwOut, &name) != 0) {
        return;
    }
    const std::string szName = host::LStringFromCF(name);
    CFRelease(name);
    object.arProperties.push_back({szLabel, dwSelector, kAudioObjectPropertyScopeGlobal, szQualifier,
                                   "\"" + szName + "\"", LJsonString(szName)});
}

void ReadQualified(host::LHost& host, LTreeObject& object) {
    if (object.dwClass == kAudioDeviceClassID) {
        for (UInt32 dwElement = 0; dwElement <= 2; ++dwElement) {
            ReadQualifiedName(host, object, kAudioObjectPropertyElementName, dwElement, nullptr,
                              "Element " + std::to_string(dwElement) + " name", "element " + std::to_string(dwElement));
        }
    }
    if (object.dwClass == kAudioDataSourceControlClassID || object.dwClass == kAudioDataDestinationControlClassID) {
        for (UInt32 dwItem = 0; dwItem <= 3; ++dwItem) {
            ReadQualifiedName(host, object, kAudioSelectorControlPropertyItemName, 0, &dwItem,
                              "Item " + std::to_string(dwItem) + " name", "item " + std::to_string(dwItem));
        }
    }
}

int Depth(const std::vector<LTreeObject>& arObjects, const LTreeObject& object) {
    int nDepth = 0;
    for (AudioObjectID dwOwner = object.dwOwner; dwOwner != kAudioObjectUnknown && nDepth < 8; ++nDepth) {
        AudioObjectID dwNext = kAudioObjectUnknown;
        for (const LTreeObject& o : arObjects) {
            if (o.dwID == dwOwner) {
                dwNext = o.dwOwner;
            }
        }
        dwOwner = dwNext;
    }
    return nDepth;
}

} // namespace

const char* LClassName(UInt32 dwClass) {
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

std::vector<LTreeObject> LReadDeviceTree(host::LHost& host) {
    std::vector<LTreeObject> arObjects;
    std::set<AudioObjectID> seen = {kAudioObjectPlugInObject};
    std::deque<std::pair<AudioObjectID, AudioObjectID>> queue = {{kAudioObjectPlugInObject, kAudioObjectUnknown}};
    while (!queue.empty()) {
        auto [dwID, dwOwner] = queue.front();
        queue.pop_front();
        LTreeObject object;
        object.dwID = dwID;
        object.dwOwner = dwOwner;
        for (const LPropertyInfo& info : LKnownProperties()) {
            LTreeProperty property;
            std::vector<UInt8> arRaw;
            if (!ReadProperty(host, dwID, info, &property, &arRaw)) {
                continue;
            }
            if (info.dwSelector == kAudioObjectPropertyClass && arRaw.size() >= 4) {
                std::memcpy(&object.dwClass, arRaw.data(), 4);
            }
            if (info.dwSelector == kAudioObjectPropertyOwnedObjects) {
                for (std::size_t i = 0; i + 4 <= arRaw.size(); i += 4) {
                    AudioObjectID dwChild = 0;
                    std::memcpy(&dwChild, &arRaw[i], 4);
                    if (seen.insert(dwChild).second) {
                        queue.push_back({dwChild, dwID});
                    }
                }
            }
            object.arProperties.push_back(std::move(property));
        }
        ReadQualified(host, object);
        arObjects.push_back(std::move(object));
    }
    return arObjects;
}

void LPrintDeviceTree(const std::vector<LTreeObject>& arObjects) {
    for (const LTreeObject& object : arObjects) {
        const std::string szIndent(static_cast<std::size_t>(Depth(arObjects, object)) * 2, ' ');
        std::printf("%s%s %u\n", szIndent.c_str(), LClassName(object.dwClass), object.dwID);
        // Properties indent two more than their object.
        for (const LTreeProperty& p : object.arProperties) {
            std::printf("%s    %s: %s%s\n", szIndent.c_str(), p.szName.c_str(), p.szText.c_str(),
                        p.dwScope == kAudioObjectPropertyScopeGlobal
                            ? ""
                            : ("   [scope " + LFourCCText(p.dwScope) + "]").c_str());
        }
    }
}

std::string LDeviceTreeJson(const std::vector<LTreeObject>& arObjects) {
    std::string sz = "[";
    for (std::size_t i = 0; i < arObjects.size(); ++i) {
        const LTreeObject& object = arObjects[i];
        sz += std::string(i ? "," : "") + "\n{\"id\":" + std::to_string(object.dwID) +
              ",\"owner\":" + std::to_string(object.dwOwner) + ",\"kind\":" + LJsonString(LClassName(object.dwClass)) +
              ",\"class\":" + LJsonString(CodeText(object.dwClass)) + ",\"properties\":{";
        for (std::size_t j = 0; j < object.arProperties.size(); ++j) {
            const LTreeProperty& p = object.arProperties[j];
            sz += std::string(j ? "," : "") + LJsonString(p.szName) + ":{\"code\":" + LJsonString(CodeText(p.dwSelector));
            if (p.dwScope != kAudioObjectPropertyScopeGlobal) {
                sz += ",\"scope\":" + LJsonString(CodeText(p.dwScope));
            }
            if (!p.szQualifier.empty()) {
                sz += ",\"qualifier\":" + LJsonString(p.szQualifier);
            }
            sz += ",\"value\":" + p.szJson + "}";
        }
        sz += "}}";
    }
    return sz + "\n]";
}

} // namespace harlune::tools
