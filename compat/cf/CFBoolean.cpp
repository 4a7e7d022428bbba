/* The two immortal booleans. */
#include <CoreFoundation/CFNumber.h>

#include "cf/CFRuntime.h"

struct __CFBoolean final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kBooleanTypeID;
    constexpr explicit __CFBoolean(bool value) : Object(kTypeID, harlune::cf::Immortal{}), value(value) {}

    // Only two booleans exist, so identity is equality; the hash is fixed so
    // that it does not depend on where the objects happen to live.
    CFHashCode hash() const override { return value ? 1 : 0; }
    void describe(std::string &out, unsigned) const override { out += value ? "true" : "false"; }

    const bool value;
};

namespace {
constinit harlune::cf::NoDestroy<__CFBoolean> trueObject(true);
constinit harlune::cf::NoDestroy<__CFBoolean> falseObject(false);
}  // namespace

extern "C" {

const CFBooleanRef kCFBooleanTrue = &trueObject.value;
const CFBooleanRef kCFBooleanFalse = &falseObject.value;

CFTypeID CFBooleanGetTypeID(void) { return __CFBoolean::kTypeID; }

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    auto *object = harlune::cf::as<__CFBoolean>(boolean);
    return object != nullptr && object->value;
}

}  // extern "C"
