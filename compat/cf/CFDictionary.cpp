/*
 * Dictionaries: a hash table whose key hashing, key equality and ownership
 * of keys and values follow the callbacks given at creation.
 */
#include <CoreFoundation/CFDictionary.h>

#include "cf/CFRuntime.h"

#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace {

const void *retainValue(CFAllocatorRef, const void *value) { return CFRetain(value); }
const void *copyStringKey(CFAllocatorRef, const void *value) {
    return CFStringCreateCopy(nullptr, static_cast<CFStringRef>(value));
}
void releaseValue(CFAllocatorRef, const void *value) { CFRelease(value); }

}  // namespace

extern "C" {
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {0, retainValue, releaseValue, CFCopyDescription,
                                                                CFEqual, CFHash};
const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {0, copyStringKey, releaseValue,
                                                                      CFCopyDescription, CFEqual, CFHash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {0, retainValue, releaseValue, CFCopyDescription,
                                                                    CFEqual};
}

struct __CFDictionary final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kDictionaryTypeID;

    struct Hash {
        const CFDictionaryKeyCallBacks *callBacks;
        size_t operator()(const void *key) const {
            return callBacks->hash != nullptr ? callBacks->hash(key) : reinterpret_cast<uintptr_t>(key);
        }
    };
    struct KeyEqual {
        const CFDictionaryKeyCallBacks *callBacks;
        bool operator()(const void *a, const void *b) const {
            return a == b || (callBacks->equal != nullptr && callBacks->equal(a, b));
        }
    };
    using Table = std::unordered_map<const void *, const void *, Hash, KeyEqual>;

    __CFDictionary(const CFDictionaryKeyCallBacks *keys, const CFDictionaryValueCallBacks *values, bool isMutable)
        : Object(kTypeID), table(0, Hash{&keyCallBacks}, KeyEqual{&keyCallBacks}), isMutable(isMutable) {
        if (keys != nullptr) keyCallBacks = *keys;
        if (values != nullptr) valueCallBacks = *values;
    }

    ~__CFDictionary() override {
        for (const auto &[key, value] : table) {
            releaseKey(key);
            releaseValue(value);
        }
    }

    const void *retainKey(const void *key) const {
        return keyCallBacks.retain != nullptr ? keyCallBacks.retain(nullptr, key) : key;
    }
    const void *retainValue(const void *value) const {
        return valueCallBacks.retain != nullptr ? valueCallBacks.retain(nullptr, value) : value;
    }
    void releaseKey(const void *key) const {
        if (keyCallBacks.release != nullptr) keyCallBacks.release(nullptr, key);
    }
    void releaseValue(const void *value) const {
        if (valueCallBacks.release != nullptr) valueCallBacks.release(nullptr, value);
    }
    bool valuesEqual(const void *a, const void *b) const {
        return a == b || (valueCallBacks.equal != nullptr && valueCallBacks.equal(a, b));
    }

    /* Inserts a pair known to be absent, retaining both. */
    void insertNew(const void *key, const void *value) { table.emplace(retainKey(key), retainValue(value)); }

    /* Replaces the value of an existing pair, keeping its key. */
    void replace(Table::iterator entry, const void *value) {
        const void *retained = retainValue(value);
        releaseValue(entry->second);
        entry->second = retained;
    }

    bool equals(const Object &other) const override {
        const auto &that = static_cast<const __CFDictionary &>(other);
        if (table.size() != that.table.size()) return false;
        for (const auto &[key, value] : table) {
            auto found = that.table.find(key);
            if (found == that.table.end() || !valuesEqual(value, found->second)) return false;
        }
        return true;
    }

    // The count is stable under CFEqual whatever the callbacks are.
    CFHashCode hash() const override { return table.size(); }

    void describe(std::string &out, unsigned depth) const override {
        // Sorted by key description, so the text does not depend on hashing.
        std::vector<std::pair<std::string, std::string>> lines;
        for (const auto &[key, value] : table) {
            std::string keyText, valueText;
            harlune::cf::describeElement(keyText, key, depth + 1, keyCallBacks.copyDescription);
            harlune::cf::describeElement(valueText, value, depth + 1, valueCallBacks.copyDescription);
            lines.emplace_back(std::move(keyText), std::move(valueText));
        }
        std::sort(lines.begin(), lines.end());
        out += "{\n";
        for (const auto &[keyText, valueText] : lines) {
            harlune::cf::appendIndent(out, depth + 1);
            out += keyText + " = " + valueText + ";\n";
        }
        harlune::cf::appendIndent(out, depth);
        out += "}";
    }

    CFDictionaryKeyCallBacks keyCallBacks = {0, nullptr, nullptr, nullptr, nullptr, nullptr};
    CFDictionaryValueCallBacks valueCallBacks = {0, nullptr, nullptr, nullptr, nullptr};
    Table table;
    const bool isMutable;
};

namespace {

using harlune::cf::as;

__CFDictionary *mutableDictionary(CFMutableDictionaryRef dict) {
    auto *object = as<__CFDictionary>(dict);
    return (object != nullptr && object->isMutable) ? object : nullptr;
}

void setValue(__CFDictionary *dict, const void *key, const void *value) {
    auto found = dict->table.find(key);
    if (found != dict->table.end()) {
        dict->replace(found, value);
    } else {
        dict->insertNew(key, value);
    }
}

__CFDictionary *copyDictionary(const __CFDictionary *source, bool isMutable) {
    auto *copy = harlune::cf::make<__CFDictionary>(&source->keyCallBacks, &source->valueCallBacks, isMutable);
    if (copy == nullptr) return nullptr;
    for (const auto &[key, value] : source->table) copy->insertNew(key, value);
    return copy;
}

}  // namespace

extern "C" {

CFTypeID CFDictionaryGetTypeID(void) { return __CFDictionary::kTypeID; }

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void **keys, const void **values, CFIndex numValues,
                                   const CFDictionaryKeyCallBacks *keyCallBacks,
                                   const CFDictionaryValueCallBacks *valueCallBacks) {
    return harlune::cf::guarded<CFDictionaryRef>(nullptr, [&]() -> CFDictionaryRef {
        if (numValues < 0 || (numValues > 0 && (keys == nullptr || values == nullptr))) return nullptr;
        auto *dict = harlune::cf::make<__CFDictionary>(keyCallBacks, valueCallBacks, false);
        if (dict == nullptr) return nullptr;
        for (CFIndex i = 0; i < numValues; ++i) setValue(dict, keys[i], values[i]);
        return dict;
    });
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef theDict) {
    return harlune::cf::guarded<CFDictionaryRef>(nullptr, [&]() -> CFDictionaryRef {
        auto *dict = as<__CFDictionary>(theDict);
        if (dict == nullptr) return nullptr;
        if (!dict->isMutable) return static_cast<CFDictionaryRef>(CFRetain(dict));
        return copyDictionary(dict, false);
    });
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks *keyCallBacks,
                                                 const CFDictionaryValueCallBacks *valueCallBacks) {
    if (capacity < 0) return nullptr;
    return harlune::cf::make<__CFDictionary>(keyCallBacks, valueCallBacks, true);
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFDictionaryRef theDict) {
    return harlune::cf::guarded<CFMutableDictionaryRef>(nullptr, [&]() -> CFMutableDictionaryRef {
        auto *dict = as<__CFDictionary>(theDict);
        if (dict == nullptr || capacity < 0) return nullptr;
        return copyDictionary(dict, true);
    });
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) {
    auto *dict = as<__CFDictionary>(theDict);
    return dict == nullptr ? 0 : static_cast<CFIndex>(dict->table.size());
}

CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef theDict, const void *key) {
    return CFDictionaryContainsKey(theDict, key) ? 1 : 0;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void *key) {
    auto *dict = as<__CFDictionary>(theDict);
    return dict != nullptr && dict->table.find(key) != dict->table.end();
}

Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void *value) {
    auto *dict = as<__CFDictionary>(theDict);
    if (dict == nullptr) return false;
    for (const auto &entry : dict->table) {
        if (dict->valuesEqual(entry.second, value)) return true;
    }
    return false;
}

const void *CFDictionaryGetValue(CFDictionaryRef theDict, const void *key) {
    const void *value = nullptr;
    return CFDictionaryGetValueIfPresent(theDict, key, &value) ? value : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void *key, const void **value) {
    auto *dict = as<__CFDictionary>(theDict);
    if (dict == nullptr) return false;
    auto found = dict->table.find(key);
    if (found == dict->table.end()) return false;
    if (value != nullptr) *value = found->second;
    return true;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void **keys, const void **values) {
    auto *dict = as<__CFDictionary>(theDict);
    if (dict == nullptr) return;
    size_t i = 0;
    for (const auto &[key, value] : dict->table) {
        if (keys != nullptr) keys[i] = key;
        if (values != nullptr) values[i] = value;
        ++i;
    }
}

void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier, void *context) {
    auto *dict = as<__CFDictionary>(theDict);
    if (dict == nullptr || applier == nullptr) return;
    for (const auto &[key, value] : dict->table) applier(key, value, context);
}

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void *key, const void *value) {
    harlune::cf::guarded([&] {
        auto *dict = mutableDictionary(theDict);
        if (dict != nullptr && dict->table.find(key) == dict->table.end()) dict->insertNew(key, value);
    });
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void *key, const void *value) {
    harlune::cf::guarded([&] {
        auto *dict = mutableDictionary(theDict);
        if (dict != nullptr) setValue(dict, key, value);
    });
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void *key, const void *value) {
    auto *dict = mutableDictionary(theDict);
    if (dict == nullptr) return;
    auto found = dict->table.find(key);
    if (found != dict->table.end()) dict->replace(found, value);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void *key) {
    auto *dict = mutableDictionary(theDict);
    if (dict == nullptr) return;
    auto found = dict->table.find(key);
    if (found == dict->table.end()) return;
    const void *storedKey = found->first;
    const void *storedValue = found->second;
    // Erase before releasing: releasing may free the key the table hashes.
    dict->table.erase(found);
    dict->releaseKey(storedKey);
    dict->releaseValue(storedValue);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict) {
    harlune::cf::guarded([&] {
        auto *dict = mutableDictionary(theDict);
        if (dict == nullptr) return;
        __CFDictionary::Table removed(0, __CFDictionary::Hash{&dict->keyCallBacks},
                                      __CFDictionary::KeyEqual{&dict->keyCallBacks});
        removed.swap(dict->table);
        for (const auto &[key, value] : removed) {
            dict->releaseKey(key);
            dict->releaseValue(value);
        }
    });
}

}  // extern "C"
