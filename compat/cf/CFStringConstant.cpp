/*
 * The table of constant strings behind CFSTR. Each distinct text is made
 * into one immortal string the first time it is asked for; later requests
 * for the same text return that object, from any thread.
 */
#include "cf/CFStringInternal.h"

#include "cf/Unicode.h"

#include <mutex>
#include <string_view>
#include <unordered_map>

namespace {

struct ConstantTable {
    std::mutex lock;
    // Keys view the text of their own immortal strings, which never move.
    std::unordered_map<std::string_view, CFStringRef> strings;
};

ConstantTable &constantTable() {
    // Deliberately never destroyed: constants must outlive every static
    // destructor that might still use one.
    static ConstantTable *table = new ConstantTable;
    return *table;
}

}  // namespace

extern "C" CFStringRef __CFStringMakeConstantString(const char *cStr) {
    if (cStr == nullptr) return nullptr;
    const std::string_view text(cStr);
    CFIndex length = 0;
    if (!harlune::cf::validateUTF8(text, &length)) return nullptr;

    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        ConstantTable &table = constantTable();
        std::lock_guard<std::mutex> guard(table.lock);
        if (auto found = table.strings.find(text); found != table.strings.end()) return found->second;
        auto *string = harlune::cf::make<__CFString>(std::string(text), length, harlune::cf::Immortal{});
        if (string == nullptr) return nullptr;
        try {
            table.strings.emplace(std::string_view(string->utf8), string);
        } catch (...) {
            // Without room in the table the string still works; it is merely
            // not shared with later requests for the same text.
        }
        return string;
    });
}
