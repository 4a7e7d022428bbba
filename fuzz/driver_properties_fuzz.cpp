// Fuzzes the driver's five property entries with arbitrary object IDs,
// selectors, scopes, elements, qualifier and data sizes and null pointers,
// and checks that a call that fails writes nothing: neither the caller's
// buffer nor its out size or flag.
//
// Input layout: a stream of 24-byte calls (entry, object, selector, scope,
// element, sizes, flags), the rest of the input feeding buffer contents.
// CF-typed qualifiers and values are always real objects from a small pool:
// a caller that hands the driver a wild pointer is outside its contract.
#include "driver/DriverState.h"
#include "driver/PropertyDispatch.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

using namespace harlune::driver;

namespace {

const AudioObjectPropertySelector kSelectors[] = {
    'bcls', 'clas', 'stdv', 'lnam', 'lmod', 'lmak', 'lchn', 'ownd', 'iden', 'snum', 'fwvn', 'cust', 'ctrl', 'dev#',
    'uidd', 'box#', 'uidb', 'rsrc', 'buid', 'tran', 'bhau', 'bhvi', 'bhmi', 'bpro', 'bxon', 'bxof', 'bdv#', 'uid ',
    'muid', 'akin', 'clkd', 'livn', 'goin', 'dflt', 'sflt', 'ltnc', 'stm#', 'saft', 'nsrt', 'nsr#', 'icon', 'hidn',
    'dch2', 'srnd', 'ring', 'sact', 'sdir', 'term', 'schn', 'sfmt', 'sfma', 'pft ', 'pfta', 'cscp', 'celm', 'lcsv',
    'lcdv', 'lcdr', 'lcsd', 'lcds', 'bcvl', 'scci', 'scai', 'scin', 'PCst', 'zzzz', 0};
const AudioObjectPropertyScope kScopes[] = {'glob', 'inpt', 'outp', 'ptru', '****', 0};

// Selectors whose data answer hands the caller a CF object to release.
bool AnswersCFObject(AudioObjectPropertySelector dw) {
    switch (dw) {
    case 'lnam': case 'lmod': case 'lmak': case 'lchn': case 'snum': case 'fwvn': case 'rsrc': case 'buid':
    case 'uid ': case 'muid': case 'icon': case 'scin': case 'PCst': return true;
    default: return false;
    }
}

// Selectors whose qualifier or set value is a CF object reference.
bool TakesCFObject(AudioObjectPropertySelector dw) { return dw == 'lnam' || dw == 'uidd' || dw == 'uidb' || dw == 'PCst'; }

CFTypeRef PoolObject(std::uint8_t n) {
    static const SInt32 nSeven = 7;
    static CFTypeRef arPool[] = {CFSTR("HarluneVirtualAudioDevice_UID"), CFSTR("other"),
                                 CFNumberCreate(nullptr, kCFNumberSInt32Type, &nSeven), kCFBooleanTrue, nullptr};
    return arPool[n % 5];
}

struct Reader {
    const std::uint8_t* p;
    std::size_t n;
    std::uint32_t U32() {
        std::uint32_t v = 0;
        for (int i = 0; i < 4 && n > 0; ++i, ++p, --n) {
            v |= static_cast<std::uint32_t>(*p) << (8 * i);
        }
        return v;
    }
    std::uint8_t U8() { return n > 0 ? (--n, *p++) : 0; }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    Reader in{pData, nSize};
    void* const driver = DriverState.DriverRef;
    while (in.n >= 24) {
        const std::uint8_t nEntry = in.U8() % 5;
        const std::uint8_t nFlags = in.U8();
        const AudioObjectID dwObject = in.U8() % 16;
        const AudioObjectPropertySelector dwSelector = kSelectors[in.U8() % (sizeof kSelectors / sizeof kSelectors[0])];
        const AudioObjectPropertyAddress address = {dwSelector, kScopes[in.U8() % 6], in.U32() % 5};
        std::uint32_t dwQualifierSize = in.U8() % 17;
        std::uint32_t dwDataSize = in.U32() % 130;
        std::uint8_t arQualifier[16];
        std::uint8_t arData[136];
        for (auto& b : arQualifier) b = in.U8();
        for (std::size_t i = 0; i < 8; ++i) arData[i] = in.U8();
        std::memset(arData + 8, 0xA5, sizeof arData - 8);
        if (TakesCFObject(dwSelector)) {
            const CFTypeRef object = PoolObject(arQualifier[0]);
            std::memcpy(arQualifier, &object, sizeof object);
            const CFTypeRef value = PoolObject(arData[0]);
            std::memcpy(arData, &value, sizeof value);
        }
        const AudioObjectPropertyAddress* pAddress = (nFlags & 1) ? nullptr : &address;
        const void* pQualifier = (nFlags & 2) ? nullptr : arQualifier;
        void* const pDriver = (nFlags & 4) ? static_cast<void*>(arData) : driver;
        auto* pDriverRef = static_cast<AudioServerPlugInDriverRef>(pDriver);

        if (nEntry == 0) {
            LDriverHasProperty(pDriverRef, dwObject, 0, pAddress);
        } else if (nEntry == 1) {
            Boolean b = 0x5A;
            const OSStatus s = LDriverIsPropertySettable(pDriverRef, dwObject, 0, pAddress, (nFlags & 8) ? nullptr : &b);
            if (s != 0 && b != 0x5A) std::abort();
        } else if (nEntry == 2) {
            std::uint32_t dwOut = 0xDEADBEEF;
            const OSStatus s = LDriverGetPropertyDataSize(pDriverRef, dwObject, 0, pAddress, dwQualifierSize, pQualifier,
                                                          (nFlags & 8) ? nullptr : &dwOut);
            if (s != 0 && dwOut != 0xDEADBEEF) std::abort();
        } else if (nEntry == 3) {
            std::vector<std::uint8_t> buffer(dwDataSize + 8, 0xEE);
            std::uint32_t dwOut = 0xDEADBEEF;
            const OSStatus s = LDriverGetPropertyData(pDriverRef, dwObject, 0, pAddress, dwQualifierSize, pQualifier,
                                                      dwDataSize, (nFlags & 8) ? nullptr : &dwOut,
                                                      (nFlags & 16) ? nullptr : buffer.data());
            if (s != 0) {
                for (std::uint8_t b : buffer) {
                    if (b != 0xEE) std::abort(); // a failing call wrote to the buffer
                }
                if (dwOut != 0xDEADBEEF) std::abort();
            } else {
                if (dwOut > dwDataSize) std::abort(); // answered more than the buffer holds
                for (std::size_t i = dwDataSize; i < buffer.size(); ++i) {
                    if (buffer[i] != 0xEE) std::abort(); // wrote past the buffer
                }
                if (AnswersCFObject(dwSelector) && dwOut == 8) {
                    CFTypeRef object = nullptr;
                    std::memcpy(&object, buffer.data(), sizeof object);
                    if (object != nullptr) CFRelease(object);
                }
            }
        } else {
            LDriverSetPropertyData(pDriverRef, dwObject, 0, pAddress, dwQualifierSize, pQualifier, dwDataSize,
                                   (nFlags & 16) ? nullptr : arData);
        }
    }
    return 0;
}
