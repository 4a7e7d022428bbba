// PropertyCatalog.h: the audio object properties the harlune command knows
// by name, with the shape of their values, and the decoding of a raw answer
// into text for people and into JSON for machines.
//
// Pure data and functions; thread-safe.
#ifndef HARLUNE_TOOLS_PROPERTYCATALOG_H
#define HARLUNE_TOOLS_PROPERTYCATALOG_H

#include <CoreAudio/AudioServerPlugIn.h>

#include <string>
#include <vector>

namespace harlune::tools {

// How a property's data is laid out.
enum class LValueKind {
    FourCC,        // one UInt32 read as four characters
    ObjectID,      // one AudioObjectID
    UInt32,        // one unsigned number
    Bool,          // one UInt32, 0 or 1
    Float32,       // one Float32
    VolumeScalar,  // one Float32 scalar, shown with its decibels
    Decibels,      // one Float32 in dB
    Float64,       // one Float64
    SampleRate,    // one Float64 in Hz
    String,        // one CFStringRef (caller releases)
    URL,           // one CFURLRef (caller releases)
    IDList,        // AudioObjectIDs
    ItemList,      // UInt32 item IDs
    ValueRanges,   // AudioValueRanges
    Format,        // one AudioStreamBasicDescription
    RangedFormats, // AudioStreamRangedDescriptions
    ChannelLayout, // one AudioChannelLayout
    ChannelPair,   // two UInt32 channel numbers
    CustomInfo,    // AudioServerPlugInCustomPropertyInfo records
};

struct LPropertyInfo {
    AudioObjectPropertySelector dwSelector;
    const char* szName; // for people, e.g. "Nominal sample rate"
    LValueKind eKind;
};

// Every property the catalog knows, in display order.
const std::vector<LPropertyInfo>& LKnownProperties();
// The entry for a selector, or null.
const LPropertyInfo* LFindProperty(AudioObjectPropertySelector dwSelector);

// "'abcd'" for printable codes, else the number in hex.
std::string LFourCCText(UInt32 dwCode);
// Parses a four-character code given as "abcd" or "'abcd'" (shorter codes
// padded with spaces); false when it is longer than four characters.
bool LParseFourCC(const std::string& szText, UInt32* pdwCode);

// The answer decoded for people, e.g. "2 ch, 32-bit float, 44100 Hz".
// Releases any CF object the answer hands over.
std::string LDescribeValue(LValueKind eKind, const std::vector<UInt8>& arData);
// The same answer as a JSON value. Releases any CF object it hands over
// (call one of the two per answer).
std::string LJsonValue(LValueKind eKind, const std::vector<UInt8>& arData);
// A JSON string literal for szText.
std::string LJsonString(const std::string& szText);

} // namespace harlune::tools

#endif
