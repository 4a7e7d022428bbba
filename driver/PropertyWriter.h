// PropertyWriter.h: writes a property's data answer into the caller's
// buffer under the common answer rules.
//
// A single value needs room for the whole value, or '!siz' is returned and
// nothing is written. A list is never an error for size: the first
// min(items, capacity / item size) items are written. Written() is the out
// data size. Not thread-safe; one writer per call.
#ifndef HARLUNE_DRIVER_PROPERTYWRITER_H
#define HARLUNE_DRIVER_PROPERTYWRITER_H

#include <CoreAudio/AudioServerPlugIn.h>

#include <cstring>
#include <type_traits>

namespace harlune::driver {

class LPropertyWriter {
public:
    LPropertyWriter(void* pData, UInt32 dwCapacity) : m_pData(static_cast<UInt8*>(pData)), m_dwCapacity(dwCapacity) {}

    UInt32 Capacity() const { return m_dwCapacity; }
    UInt32 Written() const { return m_dwWritten; }
    // The caller's buffer, for in-place conversions; only read after a
    // capacity check.
    const void* Data() const { return m_pData; }

    // Whether a single value of dwSize bytes fits.
    bool Fits(UInt32 dwSize) const { return m_dwCapacity >= dwSize && m_pData != nullptr; }

    // Writes one fixed-size value (a number, a record, a CF reference).
    template <typename T>
    OSStatus Put(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        if (!Fits(sizeof(T))) {
            return kAudioHardwareBadPropertySizeError;
        }
        std::memcpy(m_pData, &value, sizeof(T));
        m_dwWritten = sizeof(T);
        return kAudioHardwareNoError;
    }

    OSStatus PutUInt32(UInt32 dwValue) { return Put(dwValue); }
    OSStatus PutFloat32(Float32 fValue) { return Put(fValue); }
    OSStatus PutFloat64(Float64 fValue) { return Put(fValue); }

    // Hands out a CF reference the caller will release: constant strings as
    // they are, others already retained or created for the caller.
    OSStatus PutCFType(CFTypeRef value) { return Put(value); }

    // Writes the first items of a list that fit; never an error.
    template <typename T>
    OSStatus PutList(const T* pItems, UInt32 nItems) {
        static_assert(std::is_trivially_copyable_v<T>);
        UInt32 nFit = m_pData == nullptr ? 0 : m_dwCapacity / static_cast<UInt32>(sizeof(T));
        if (nFit > nItems) {
            nFit = nItems;
        }
        if (nFit > 0) {
            std::memcpy(m_pData, pItems, nFit * sizeof(T));
        }
        m_dwWritten = nFit * static_cast<UInt32>(sizeof(T));
        return kAudioHardwareNoError;
    }

private:
    UInt8* m_pData;       // the caller's buffer
    UInt32 m_dwCapacity;  // its size in bytes
    UInt32 m_dwWritten = 0; // bytes of the answer
};

} // namespace harlune::driver

#endif
