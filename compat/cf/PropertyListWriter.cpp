/*
 * The XML property-list writer. Output matches the layout Apple's writer
 * produces: a tab per level, sorted dictionary keys, and base64 data split
 * into lines between its tags.
 */
#include "cf/PropertyListXML.h"

#include "cf/Base64.h"
#include "cf/CFStringInternal.h"
#include "cf/DateFormat.h"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace harlune::cf {

namespace {

/* Characters of base64 per line inside <data>. */
constexpr size_t kDataLineLength = 68;

class Writer {
public:
    explicit Writer(std::string &out) : out_(out) {}

    bool document(CFPropertyListRef plist) {
        out_ += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                "<plist version=\"1.0\">\n";
        if (!value(plist, 0)) return false;
        out_ += "</plist>\n";
        return true;
    }

    std::string error;

private:
    bool fail(std::string message) {
        if (error.empty()) error = std::move(message);
        return false;
    }

    void indent(unsigned depth) { out_.append(depth, '\t'); }

    void escaped(std::string_view text) {
        for (char c : text) {
            switch (c) {
            case '&': out_ += "&amp;"; break;
            case '<': out_ += "&lt;"; break;
            case '>': out_ += "&gt;"; break;
            default: out_.push_back(c); break;
            }
        }
    }

    void element(unsigned depth, std::string_view name, std::string_view text) {
        indent(depth);
        out_ += "<";
        out_ += name;
        out_ += ">";
        escaped(text);
        out_ += "</";
        out_ += name;
        out_ += ">\n";
    }

    bool value(CFTypeRef plist, unsigned depth) {
        if (depth >= kMaxPropertyListDepth) return fail("property list nested too deeply (or containing itself)");
        const CFTypeID type = CFGetTypeID(plist);
        if (type == CFStringGetTypeID()) {
            element(depth, "string", stringText(plist));
        } else if (type == CFBooleanGetTypeID()) {
            indent(depth);
            out_ += CFBooleanGetValue(static_cast<CFBooleanRef>(plist)) ? "<true/>\n" : "<false/>\n";
        } else if (type == CFNumberGetTypeID()) {
            number(static_cast<CFNumberRef>(plist), depth);
        } else if (type == CFDateGetTypeID()) {
            std::string text;
            if (!formatISO8601(CFDateGetAbsoluteTime(static_cast<CFDateRef>(plist)), text)) {
                return fail("date out of range");
            }
            element(depth, "date", text);
        } else if (type == CFDataGetTypeID()) {
            data(static_cast<CFDataRef>(plist), depth);
        } else if (type == CFArrayGetTypeID()) {
            return array(static_cast<CFArrayRef>(plist), depth);
        } else if (type == CFDictionaryGetTypeID()) {
            return dictionary(static_cast<CFDictionaryRef>(plist), depth);
        } else {
            return fail(plist == nullptr ? "NULL in a property list" : "object that is not a property-list type");
        }
        return true;
    }

    void number(CFNumberRef number, unsigned depth) {
        char text[64];
        if (!CFNumberIsFloatType(number)) {
            int64_t value = 0;
            CFNumberGetValue(number, kCFNumberSInt64Type, &value);
            element(depth, "integer", std::string_view(text, std::to_chars(text, text + sizeof text, value).ptr));
            return;
        }
        double value = 0;
        CFNumberGetValue(number, kCFNumberFloat64Type, &value);
        if (std::isnan(value)) {
            element(depth, "real", "nan");
        } else if (std::isinf(value)) {
            element(depth, "real", value > 0 ? "+infinity" : "-infinity");
        } else if (CFNumberGetType(number) == kCFNumberFloat32Type) {
            // The shortest text that reads back as the same float.
            const auto end = std::to_chars(text, text + sizeof text, static_cast<float>(value)).ptr;
            element(depth, "real", std::string_view(text, static_cast<size_t>(end - text)));
        } else {
            const auto end = std::to_chars(text, text + sizeof text, value).ptr;
            element(depth, "real", std::string_view(text, static_cast<size_t>(end - text)));
        }
    }

    void data(CFDataRef data, unsigned depth) {
        const std::string encoded =
            base64Encode(CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data)));
        indent(depth);
        out_ += "<data>\n";
        for (size_t pos = 0; pos < encoded.size(); pos += kDataLineLength) {
            indent(depth);
            out_.append(encoded, pos, kDataLineLength);
            out_ += "\n";
        }
        indent(depth);
        out_ += "</data>\n";
    }

    bool array(CFArrayRef array, unsigned depth) {
        const CFIndex count = CFArrayGetCount(array);
        indent(depth);
        if (count == 0) {
            out_ += "<array/>\n";
            return true;
        }
        out_ += "<array>\n";
        for (CFIndex i = 0; i < count; ++i) {
            if (!value(CFArrayGetValueAtIndex(array, i), depth + 1)) return false;
        }
        indent(depth);
        out_ += "</array>\n";
        return true;
    }

    bool dictionary(CFDictionaryRef dict, unsigned depth) {
        const auto count = static_cast<size_t>(CFDictionaryGetCount(dict));
        indent(depth);
        if (count == 0) {
            out_ += "<dict/>\n";
            return true;
        }
        std::vector<const void *> keys(count), values(count);
        CFDictionaryGetKeysAndValues(dict, keys.data(), values.data());
        std::vector<size_t> order(count);
        for (size_t i = 0; i < count; ++i) {
            if (CFGetTypeID(keys[i]) != CFStringGetTypeID()) return fail("dictionary key that is not a string");
            order[i] = i;
        }
        std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
            return CFStringCompare(static_cast<CFStringRef>(keys[a]), static_cast<CFStringRef>(keys[b]), 0) ==
                   kCFCompareLessThan;
        });
        out_ += "<dict>\n";
        for (size_t i : order) {
            element(depth + 1, "key", stringText(keys[i]));
            if (!value(values[i], depth + 1)) return false;
        }
        indent(depth);
        out_ += "</dict>\n";
        return true;
    }

    std::string &out_;
};

}  // namespace

bool writeXMLPropertyList(CFPropertyListRef plist, std::string &out, std::string &error) {
    try {
        Writer writer(out);
        if (writer.document(plist)) return true;
        error = writer.error;
    } catch (...) {
        error = "out of memory writing the property list";
    }
    return false;
}

}  // namespace harlune::cf
