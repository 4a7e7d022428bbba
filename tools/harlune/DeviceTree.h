// DeviceTree.h: the driver's objects with every property the catalog knows,
// read through the host as the audio server would, for `harlune devices -v`
// and its JSON.
//
// Each answer is decoded for people and for JSON when it is read (CF values
// are released then), so the tree can be printed either way afterwards.
// Not thread-safe; the host must outlive the reading only.
#ifndef HARLUNE_TOOLS_DEVICETREE_H
#define HARLUNE_TOOLS_DEVICETREE_H

#include "host/LHost.h"
#include "tools/harlune/PropertyCatalog.h"

#include <string>
#include <vector>

namespace harlune::tools {

struct LTreeProperty {
    std::string szName;                  // for people, e.g. "Nominal sample rate" or "Element 1 name"
    AudioObjectPropertySelector dwSelector;
    AudioObjectPropertyScope dwScope;    // the scope it was found in
    std::string szQualifier;             // "element 1" or "item 2" for qualified answers; else empty
    std::string szText;                  // the value for people
    std::string szJson;                  // the value as JSON
};

struct LTreeObject {
    AudioObjectID dwID = 0;
    AudioObjectID dwOwner = 0;           // kAudioObjectUnknown for the plug-in
    UInt32 dwClass = 0;                  // the class's four-character code
    std::vector<LTreeProperty> arProperties; // plain answers first, then qualified ones
};

// "Device", "Volume control", ...
const char* LClassName(UInt32 dwClass);
// Every object reachable from the plug-in through owned objects, in
// breadth-first order.
std::vector<LTreeObject> LReadDeviceTree(host::LHost& host);
// The tree as text, one object a line with its properties indented below.
void LPrintDeviceTree(const std::vector<LTreeObject>& arObjects);
// The tree as a JSON array of objects; each property is keyed by its name,
// with its four-character code beside the value.
std::string LDeviceTreeJson(const std::vector<LTreeObject>& arObjects);

} // namespace harlune::tools

#endif
