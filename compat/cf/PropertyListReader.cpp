/*
 * The strict XML property-list reader: a recursive-descent parser over the
 * small part of XML that property lists use. Anything it does not expect is
 * an error reported with its line; it never trusts the input's nesting,
 * lengths or entities.
 */
#include "cf/PropertyListXML.h"

#include "cf/Base64.h"
#include "cf/CFStringInternal.h"
#include "cf/DateFormat.h"
#include "cf/Unicode.h"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <vector>

namespace harlune::cf {

namespace {

/* Owns the references it holds, so a failed parse leaks nothing. */
class RefList {
public:
    RefList() = default;
    RefList(const RefList &) = delete;
    RefList &operator=(const RefList &) = delete;
    ~RefList() {
        for (CFTypeRef ref : refs_) CFRelease(ref);
    }
    void push(CFTypeRef ref) { refs_.push_back(ref); }
    const void **data() { return refs_.data(); }
    CFIndex count() const { return static_cast<CFIndex>(refs_.size()); }

private:
    std::vector<const void *> refs_;
};

struct Tag {
    std::string_view name;
    bool selfClosing = false;
};

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool isNameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool isNameChar(char c) { return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; }

std::string_view trim(std::string_view text) {
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
    return text;
}

class Parser {
public:
    Parser(std::string_view xml, CFOptionFlags options) : in_(xml), options_(options) {}

    CFPropertyListRef parseDocument(std::string &error) {
        CFPropertyListRef result = document();
        if (result == nullptr) {
            size_t line = 1;
            for (size_t i = 0; i < pos_ && i < in_.size(); ++i) line += in_[i] == '\n';
            error = "Malformed property list at line " + std::to_string(line) + ": " + error_;
        }
        return result;
    }

private:
    bool fail(std::string message) {
        if (error_.empty()) error_ = std::move(message);
        return false;
    }
    std::nullptr_t failNull(std::string message) {
        fail(std::move(message));
        return nullptr;
    }

    bool atEnd() const { return pos_ >= in_.size(); }
    bool lookingAt(std::string_view text) const { return in_.substr(pos_).starts_with(text); }
    void skipSpace() {
        while (!atEnd() && isSpace(in_[pos_])) ++pos_;
    }

    /* Skips past the next occurrence of terminator; false if there is none. */
    bool skipPast(std::string_view terminator) {
        const size_t end = in_.find(terminator, pos_);
        if (end == std::string_view::npos) return false;
        pos_ = end + terminator.size();
        return true;
    }

    /* Whitespace, comments and processing instructions, as allowed between elements. */
    bool skipMisc() {
        for (;;) {
            skipSpace();
            if (lookingAt("<!--")) {
                if (!skipPast("-->")) return fail("unterminated comment");
            } else if (lookingAt("<?")) {
                if (!skipPast("?>")) return fail("unterminated processing instruction");
            } else {
                return true;
            }
        }
    }

    /* A DOCTYPE declaration, including an internal subset in brackets. */
    bool skipDoctype() {
        pos_ += 9;  // "<!DOCTYPE"
        char quote = 0;
        int brackets = 0;
        for (; !atEnd(); ++pos_) {
            const char c = in_[pos_];
            if (quote != 0) {
                if (c == quote) quote = 0;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '[') {
                ++brackets;
            } else if (c == ']') {
                --brackets;
            } else if (c == '>' && brackets <= 0) {
                ++pos_;
                return true;
            }
        }
        return fail("unterminated DOCTYPE");
    }

    std::string_view readName() {
        const size_t start = pos_;
        if (atEnd() || !isNameStart(in_[pos_])) return {};
        while (!atEnd() && isNameChar(in_[pos_])) ++pos_;
        return in_.substr(start, pos_ - start);
    }

    /* Reads "<name attr='v' ...>" or "<name .../>" at the current position. */
    bool readStartTag(Tag &tag) {
        if (!lookingAt("<") || lookingAt("</")) return fail("expected an element");
        ++pos_;
        tag.name = readName();
        if (tag.name.empty()) return fail("malformed element name");
        for (;;) {
            const size_t before = pos_;
            skipSpace();
            if (lookingAt("/>")) {
                pos_ += 2;
                tag.selfClosing = true;
                return true;
            }
            if (lookingAt(">")) {
                ++pos_;
                return true;
            }
            if (pos_ == before) return fail("malformed element <" + std::string(tag.name) + ">");
            if (readName().empty()) return fail("malformed attribute");
            skipSpace();
            if (!lookingAt("=")) return fail("attribute without a value");
            ++pos_;
            skipSpace();
            if (atEnd() || (in_[pos_] != '"' && in_[pos_] != '\'')) return fail("unquoted attribute value");
            const char quote = in_[pos_++];
            const size_t end = in_.find(quote, pos_);
            if (end == std::string_view::npos) return fail("unterminated attribute value");
            if (in_.substr(pos_, end - pos_).find('<') != std::string_view::npos) return fail("'<' in attribute");
            pos_ = end + 1;
        }
    }

    bool readEndTag(std::string_view name) {
        if (!lookingAt("</")) return fail("expected </" + std::string(name) + ">");
        pos_ += 2;
        if (readName() != name) return fail("mismatched end tag, expected </" + std::string(name) + ">");
        skipSpace();
        if (!lookingAt(">")) return fail("malformed end tag");
        ++pos_;
        return true;
    }

    /* Decodes the entity or character reference at '&'. */
    bool readReference(std::string &out) {
        const size_t semicolon = in_.find(';', pos_);
        if (semicolon == std::string_view::npos || semicolon - pos_ > 12) return fail("malformed entity");
        const std::string_view name = in_.substr(pos_ + 1, semicolon - pos_ - 1);
        pos_ = semicolon + 1;
        static const std::pair<std::string_view, char> named[] = {
            {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
        for (const auto &[entity, c] : named) {
            if (name == entity) {
                out.push_back(c);
                return true;
            }
        }
        if (name.size() < 2 || name[0] != '#') return fail("unknown entity &" + std::string(name) + ";");
        const bool hex = name[1] == 'x';
        const std::string_view digits = name.substr(hex ? 2 : 1);
        uint32_t cp = 0;
        const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), cp, hex ? 16 : 10);
        if (digits.empty() || ec != std::errc() || end != digits.data() + digits.size() || cp == 0 ||
            cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            return fail("invalid character reference &" + std::string(name) + ";");
        }
        appendUTF8(out, cp);
        return true;
    }

    /* The text content of the element just opened, through its end tag. */
    bool readText(const Tag &tag, std::string &out) {
        if (tag.selfClosing) return true;
        for (;;) {
            const size_t special = in_.find_first_of("<&", pos_);
            if (special == std::string_view::npos) return fail("unterminated <" + std::string(tag.name) + ">");
            out.append(in_.substr(pos_, special - pos_));
            pos_ = special;
            if (in_[pos_] == '&') {
                if (!readReference(out)) return false;
            } else if (lookingAt("<![CDATA[")) {
                const size_t end = in_.find("]]>", pos_);
                if (end == std::string_view::npos) return fail("unterminated CDATA section");
                out.append(in_.substr(pos_ + 9, end - pos_ - 9));
                pos_ = end + 3;
            } else if (lookingAt("<!--")) {
                if (!skipPast("-->")) return fail("unterminated comment");
            } else if (lookingAt("</")) {
                if (!readEndTag(tag.name)) return false;
                if (!validateUTF8(out, nullptr)) return fail("text is not UTF-8");
                return true;
            } else {
                return fail("unexpected element inside <" + std::string(tag.name) + ">");
            }
        }
    }

    CFPropertyListRef document() {
        if (lookingAt("\xEF\xBB\xBF")) pos_ += 3;
        if (!skipMisc()) return nullptr;
        if (lookingAt("<!DOCTYPE")) {
            if (!skipDoctype() || !skipMisc()) return nullptr;
        }
        Tag tag;
        if (!readStartTag(tag)) return nullptr;
        CFPropertyListRef root = nullptr;
        if (tag.name == "plist") {
            if (tag.selfClosing) return failNull("empty <plist>");
            if (!skipMisc()) return nullptr;
            Tag valueTag;
            if (!readStartTag(valueTag)) return nullptr;
            root = value(valueTag, 1);
            if (root != nullptr && (!skipMisc() || !readEndTag("plist"))) {
                CFRelease(root);
                return nullptr;
            }
        } else {
            root = value(tag, 1);
        }
        if (root != nullptr && (!skipMisc() || !atEnd())) {
            CFRelease(root);
            return failNull("content after the property list");
        }
        return root;
    }

    CFPropertyListRef value(const Tag &tag, unsigned depth) {
        if (depth > kMaxPropertyListDepth) return failNull("nesting too deep");
        const std::string_view name = tag.name;
        if (name == "dict") return dictionary(tag, depth);
        if (name == "array") return array(tag, depth);
        if (name == "true" || name == "false") {
            std::string text;
            if (!readText(tag, text)) return nullptr;
            if (!trim(text).empty()) return failNull("text inside <" + std::string(name) + ">");
            return name == "true" ? kCFBooleanTrue : kCFBooleanFalse;
        }
        std::string text;
        if (name != "string" && name != "integer" && name != "real" && name != "data" && name != "date") {
            return failNull(name == "key" ? "<key> outside a dictionary" : "unknown element <" + std::string(name) + ">");
        }
        if (!readText(tag, text)) return nullptr;
        if (name == "string") return string(std::move(text));
        if (name == "integer") return integer(trim(text));
        if (name == "real") return real(trim(text));
        if (name == "data") return data(text);
        return date(trim(text));
    }

    CFPropertyListRef string(std::string text) {
        CFStringRef string = makeString(std::move(text));
        if (string == nullptr || !(options_ & kCFPropertyListMutableContainersAndLeaves)) return string;
        CFMutableStringRef mutableString = CFStringCreateMutableCopy(nullptr, 0, string);
        CFRelease(string);
        return mutableString;
    }

    CFPropertyListRef integer(std::string_view text) {
        bool negative = false;
        if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
            negative = text[0] == '-';
            text.remove_prefix(1);
        }
        int base = 10;
        if (text.starts_with("0x") || text.starts_with("0X")) {
            base = 16;
            text.remove_prefix(2);
        }
        uint64_t magnitude = 0;
        const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
        if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return failNull("invalid <integer>");
        const uint64_t limit = negative ? uint64_t(1) << 63 : (uint64_t(1) << 63) - 1;
        if (magnitude > limit) return failNull("<integer> out of range");
        const int64_t value = negative ? static_cast<int64_t>(0 - magnitude) : static_cast<int64_t>(magnitude);
        return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
    }

    CFPropertyListRef real(std::string_view text) {
        double value = 0;
        bool negative = false;
        if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
            negative = text[0] == '-';
            text.remove_prefix(1);
        }
        if (text == "inf" || text == "infinity" || text == "Infinity") {
            value = std::numeric_limits<double>::infinity();
        } else if (text == "nan" || text == "NaN") {
            value = std::numeric_limits<double>::quiet_NaN();
        } else {
            const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
            // Out-of-range values parse to infinity or zero rather than failing.
            if (text.empty() || end != text.data() + text.size() ||
                (ec != std::errc() && ec != std::errc::result_out_of_range)) {
                return failNull("invalid <real>");
            }
        }
        if (negative) value = -value;
        return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value);
    }

    CFPropertyListRef data(std::string_view text) {
        std::vector<uint8_t> bytes;
        if (!base64Decode(text, bytes)) return failNull("invalid base64 in <data>");
        const auto length = static_cast<CFIndex>(bytes.size());
        if (options_ & kCFPropertyListMutableContainersAndLeaves) {
            CFMutableDataRef mutableData = CFDataCreateMutable(nullptr, 0);
            CFDataAppendBytes(mutableData, bytes.data(), length);
            return mutableData;
        }
        return CFDataCreate(nullptr, bytes.data(), length);
    }

    CFPropertyListRef date(std::string_view text) {
        CFAbsoluteTime time = 0;
        if (!parseISO8601(text, time)) return failNull("invalid <date>");
        return CFDateCreate(nullptr, time);
    }

    bool mutableContainers() const {
        return (options_ & (kCFPropertyListMutableContainers | kCFPropertyListMutableContainersAndLeaves)) != 0;
    }

    CFPropertyListRef array(const Tag &tag, unsigned depth) {
        RefList values;
        if (!tag.selfClosing) {
            for (;;) {
                if (!skipMisc()) return nullptr;
                if (lookingAt("</")) {
                    if (!readEndTag("array")) return nullptr;
                    break;
                }
                Tag child;
                if (!readStartTag(child)) return nullptr;
                CFPropertyListRef item = value(child, depth + 1);
                if (item == nullptr) return nullptr;
                values.push(item);
            }
        }
        if (!mutableContainers()) return CFArrayCreate(nullptr, values.data(), values.count(), &kCFTypeArrayCallBacks);
        CFMutableArrayRef result = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
        for (CFIndex i = 0; i < values.count(); ++i) CFArrayAppendValue(result, values.data()[i]);
        return result;
    }

    CFPropertyListRef dictionary(const Tag &tag, unsigned depth) {
        RefList keys;
        RefList values;
        if (!tag.selfClosing) {
            for (;;) {
                if (!skipMisc()) return nullptr;
                if (lookingAt("</")) {
                    if (!readEndTag("dict")) return nullptr;
                    break;
                }
                Tag keyTag;
                if (!readStartTag(keyTag)) return nullptr;
                if (keyTag.name != "key") return failNull("dictionary key is <" + std::string(keyTag.name) + ">, not <key>");
                std::string keyText;
                if (!readText(keyTag, keyText)) return nullptr;
                CFStringRef key = makeString(std::move(keyText));
                if (key == nullptr) return failNull("out of memory");
                keys.push(key);
                if (!skipMisc()) return nullptr;
                if (lookingAt("</")) return failNull("<key> without a value");
                Tag valueTag;
                if (!readStartTag(valueTag)) return nullptr;
                CFPropertyListRef item = value(valueTag, depth + 1);
                if (item == nullptr) return nullptr;
                values.push(item);
            }
        }
        CFMutableDictionaryRef result = CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                  &kCFTypeDictionaryValueCallBacks);
        if (result == nullptr) return failNull("out of memory");
        // A repeated key keeps its last value.
        for (CFIndex i = 0; i < keys.count(); ++i) CFDictionarySetValue(result, keys.data()[i], values.data()[i]);
        if (mutableContainers()) return result;
        CFDictionaryRef immutable = CFDictionaryCreateCopy(nullptr, result);
        CFRelease(result);
        return immutable;
    }

    std::string_view in_;
    size_t pos_ = 0;
    CFOptionFlags options_;
    std::string error_;
};

}  // namespace

CFPropertyListRef parseXMLPropertyList(std::string_view xml, CFOptionFlags options, std::string &error) {
    try {
        return Parser(xml, options).parseDocument(error);
    } catch (...) {
        error = "out of memory reading the property list";
        return nullptr;
    }
}

}  // namespace harlune::cf
