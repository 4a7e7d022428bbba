#include "alsa/LSampleConversion.h"

#include <bit>
#include <cstring>

namespace harlune::alsa {

static_assert(std::endian::native == std::endian::little,
              "the conversions read little-endian samples in the machine's own order");

namespace {

// 2^-15 and 2^-31: scaling by a power of two is exact, so the only rounding
// of the whole conversion is the one from a 32-bit integer to float.
constexpr float kScale16 = 1.0f / 32768.0f;
constexpr float kScale32 = 1.0f / 2147483648.0f;

inline float FromS16(const unsigned char* p) {
    std::int16_t s;
    std::memcpy(&s, p, sizeof s);
    return static_cast<float>(s) * kScale16;
}

inline float FromS32(const unsigned char* p) {
    std::int32_t s;
    std::memcpy(&s, p, sizeof s);
    return static_cast<float>(s) * kScale32;
}

inline float FromFloat(const unsigned char* p) {
    float f;
    std::memcpy(&f, p, sizeof f); // a copy of the bits, never an arithmetic operation
    return f;
}

template <float (*Convert)(const unsigned char*)>
void ConvertWith(const unsigned char* pSource, std::size_t nStep, float* pfDest, std::size_t nDestStep,
                 std::size_t nFrames) {
    for (std::size_t i = 0; i < nFrames; ++i) {
        *pfDest = Convert(pSource);
        pSource += nStep;
        pfDest += nDestStep;
    }
}

} // namespace

float LSampleToFloat(LSampleFormat eFormat, const void* pSample) {
    const auto* p = static_cast<const unsigned char*>(pSample);
    switch (eFormat) {
    case LSampleFormat::S16LE: return FromS16(p);
    case LSampleFormat::S32LE: return FromS32(p);
    case LSampleFormat::Float32LE: return FromFloat(p);
    }
    return 0.0f;
}

void LConvertChannel(LSampleFormat eFormat, const void* pSource, std::size_t nSourceStepBytes, float* pfDest,
                     std::size_t nDestStep, std::size_t nFrames) {
    if (pSource == nullptr || pfDest == nullptr) {
        return;
    }
    const auto* p = static_cast<const unsigned char*>(pSource);
    switch (eFormat) {
    case LSampleFormat::S16LE: ConvertWith<FromS16>(p, nSourceStepBytes, pfDest, nDestStep, nFrames); break;
    case LSampleFormat::S32LE: ConvertWith<FromS32>(p, nSourceStepBytes, pfDest, nDestStep, nFrames); break;
    case LSampleFormat::Float32LE: ConvertWith<FromFloat>(p, nSourceStepBytes, pfDest, nDestStep, nFrames); break;
    }
}

} // namespace harlune::alsa
