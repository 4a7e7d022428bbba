// LPropertyValue.h: reading property answers back in tests: the raw bytes
// and the out size of one GetPropertyData call, and decoders for the shapes
// the driver answers (numbers, CF strings, ID lists).
#ifndef HARLUNE_TESTS_LPROPERTYVALUE_H
#define HARLUNE_TESTS_LPROPERTYVALUE_H

#include <CoreAudio/AudioServerPlugIn.h>

#include <cstring>
#include <string>
#include <vector>

namespace harlune::test {

struct LAnswer {
    OSStatus status = 0;
    UInt32 dwOutSize = 0;          // the driver's out data size
    std::vector<UInt8> arBytes;    // the caller's whole buffer after the call

    template <typename T>
    T As(std::size_t nOffset = 0) const {
        T value{};
        if (nOffset + sizeof(T) <= arBytes.size()) {
            std::memcpy(&value, arBytes.data() + nOffset, sizeof(T));
        }
        return value;
    }
    std::vector<UInt32> IDs() const {
        std::vector<UInt32> ar(dwOutSize / 4);
        if (!ar.empty()) {
            std::memcpy(ar.data(), arBytes.data(), ar.size() * 4);
        }
        return ar;
    }
    // Whether the buffer still holds only the fill byte it was handed with.
    bool Untouched(UInt8 fill = 0xEE) const {
        for (UInt8 b : arBytes) {
            if (b != fill) {
                return false;
            }
        }
        return true;
    }
    // The text of a CFString answer; releases the caller's reference.
    std::string TakeString() const {
        CFStringRef string = As<CFStringRef>();
        if (string == nullptr) {
            return "(null)";
        }
        char sz[512] = {0};
        CFStringGetCString(string, sz, sizeof sz, kCFStringEncodingUTF8);
        CFRelease(string);
        return sz;
    }
};

// One GetPropertyData call with a buffer of dwBufferSize bytes filled with
// 0xEE (one byte, still offered as 0 bytes, when dwBufferSize is 0).
inline LAnswer GetAnswer(AudioServerPlugInDriverRef driver, AudioObjectID dwObject,
                         const AudioObjectPropertyAddress& address, UInt32 dwBufferSize, UInt32 dwQualifierSize = 0,
                         const void* pQualifier = nullptr) {
    LAnswer answer;
    answer.arBytes.assign(dwBufferSize == 0 ? 1 : dwBufferSize, 0xEE);
    answer.dwOutSize = 0xA5A5A5A5;
    answer.status = (*driver)->GetPropertyData(driver, dwObject, 0, &address, dwQualifierSize, pQualifier,
                                               dwBufferSize, &answer.dwOutSize, answer.arBytes.data());
    return answer;
}

} // namespace harlune::test

#endif
