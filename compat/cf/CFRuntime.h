/*
 * CFRuntime.h (private): the object model behind every CF type.
 *
 * Each CF type is a C++ class deriving from harlune::cf::Object, named after
 * the opaque struct its public reference points to (struct __CFString and so
 * on), so a typed reference converts to the object without casts.
 *
 * The reference count is atomic, so retain and release are safe from any
 * thread. Immortal objects (constants) ignore both. Objects are created with
 * one reference owned by the creator and deleted when the count drops to 0.
 */
#ifndef HARLUNE_COMPAT_CF_RUNTIME_H
#define HARLUNE_COMPAT_CF_RUNTIME_H

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <new>
#include <string>
#include <utility>

namespace harlune::cf {

/* The type IDs of all CF types; distinct and stable within one process. */
enum : CFTypeID {
    kNotATypeID = 0,
    kTypeTypeID,
    kAllocatorTypeID,
    kNullTypeID,
    kStringTypeID,
    kBooleanTypeID,
    kNumberTypeID,
    kUUIDTypeID,
    kDataTypeID,
    kDateTypeID,
    kArrayTypeID,
    kDictionaryTypeID,
    kURLTypeID,
    kErrorTypeID,
    kBundleTypeID,
    kRunLoopTypeID,
    kLocaleTypeID,
    kTypeIDCount
};

/* Tag for the constructor of objects that live for the whole process. */
struct Immortal {};

class Object {
public:
    explicit Object(CFTypeID typeID) noexcept : typeID_(typeID), immortal_(false), refs_(1) {}
    constexpr Object(CFTypeID typeID, Immortal) noexcept : typeID_(typeID), immortal_(true), refs_(0) {}
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;
    virtual ~Object();

    CFTypeID typeID() const { return typeID_; }
    bool isImmortal() const { return immortal_; }

    void retain() const;
    /* Deletes the object when the last reference goes away. */
    void release() const;
    CFIndex retainCount() const;

    /* Called only with an object of the same type ID. Identity by default. */
    virtual bool equals(const Object &other) const;
    /* Must agree with equals(). The address by default. */
    virtual CFHashCode hash() const;
    /*
     * Appends a readable description. depth counts enclosing collections, so
     * nested contents can be indented and self-containing collections cut off.
     */
    virtual void describe(std::string &out, unsigned depth) const;

private:
    const CFTypeID typeID_;
    const bool immortal_;
    mutable std::atomic<CFIndex> refs_;
};

/* Storage for a constant object that is never destroyed, not even at exit,
 * so static destructors elsewhere may still use it. */
template <class T>
union NoDestroy {
    T value;
    template <class... Args>
    constexpr explicit NoDestroy(Args &&...args) : value(std::forward<Args>(args)...) {}
    ~NoDestroy() {}
};

/* The object behind a reference, or nullptr for NULL. */
inline const Object *object(CFTypeRef ref) { return static_cast<const Object *>(ref); }

/*
 * A reference of type T if ref is non-NULL and of T's type, else nullptr.
 * Public functions use this to turn a wrong-typed argument into a failure
 * result instead of undefined behaviour.
 */
template <class T>
T *as(CFTypeRef ref) {
    const Object *obj = object(ref);
    if (obj == nullptr || obj->typeID() != T::kTypeID) return nullptr;
    return const_cast<T *>(static_cast<const T *>(obj));
}

/* Creates an object, or returns nullptr if memory runs out. */
template <class T, class... Args>
T *make(Args &&...args) noexcept {
    try {
        return new (std::nothrow) T(std::forward<Args>(args)...);
    } catch (...) {
        return nullptr;
    }
}

/*
 * Runs body and returns its result, or failure if it threw. Every public
 * function that allocates runs its work through this, so that running out
 * of memory is reported by result and no exception crosses the C API.
 */
template <class R, class Body>
R guarded(R failure, Body &&body) noexcept {
    try {
        return body();
    } catch (...) {
        return failure;
    }
}

/* The same for functions without a result: the call then has no effect. */
template <class Body>
void guarded(Body &&body) noexcept {
    try {
        body();
    } catch (...) {
    }
}

/* Appends a description of any CF value, "(null)" for NULL. */
void describeValue(std::string &out, CFTypeRef value, unsigned depth);
/*
 * Appends a description of a collection element using the collection's
 * description callback: CF values (CFCopyDescription) describe themselves
 * with nesting, other callbacks are called, and without one the element's
 * address is shown.
 */
void describeElement(std::string &out, const void *value, unsigned depth, CFStringRef (*copyDescription)(const void *));
/* Four spaces per level of nesting. */
void appendIndent(std::string &out, unsigned depth);
/* Collections deeper than this are described as "..." to stop recursion. */
constexpr unsigned kMaxDescriptionDepth = 64;

/* Mixes a value into a hash, so equal sequences give equal hashes. */
inline CFHashCode hashCombine(CFHashCode seed, CFHashCode value) {
    return seed ^ (value + 0x9e3779b97f4a7c15UL + (seed << 6) + (seed >> 2));
}
CFHashCode hashBytes(const void *bytes, size_t length);

}  // namespace harlune::cf

#endif
