// LSampleConversion.h: converts the sample formats applications play in
// (signed 16-bit, signed 32-bit and 32-bit float, little-endian) into the
// device's format, 32-bit float.
//
// The conversions are exact in the sense that matters for a recording: a
// 16-bit sample s becomes s / 32768 (exactly representable), a 32-bit sample
// becomes s / 2147483648 rounded once to the nearest float, and a float
// sample is copied bit for bit (NaNs, infinities and negative zero
// included). Pure functions; thread-safe.
#ifndef HARLUNE_ALSA_LSAMPLECONVERSION_H
#define HARLUNE_ALSA_LSAMPLECONVERSION_H

#include <cstddef>
#include <cstdint>

namespace harlune::alsa {

enum class LSampleFormat {
    S16LE,    // signed 16-bit little-endian, full scale 32768
    S32LE,    // signed 32-bit little-endian, full scale 2147483648
    Float32LE // IEEE 754 single precision little-endian, full scale 1.0
};

// Bytes of one sample of eFormat.
constexpr std::size_t LSampleBytes(LSampleFormat eFormat) { return eFormat == LSampleFormat::S16LE ? 2 : 4; }

// One sample of eFormat at pSample (any alignment) as the device's float.
float LSampleToFloat(LSampleFormat eFormat, const void* pSample);

// Converts nFrames samples of one channel: the first at pSource, the next
// nSourceStepBytes further on each; each written to pfDest, the next
// nDestStep floats further on. Any alignment of the source is accepted.
void LConvertChannel(LSampleFormat eFormat, const void* pSource, std::size_t nSourceStepBytes, float* pfDest,
                     std::size_t nDestStep, std::size_t nFrames);

} // namespace harlune::alsa

#endif
