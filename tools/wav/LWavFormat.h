// LWavFormat.h: the RIFF/WAVE layout shared by the reader and the writer.
//
// A WAV file is "RIFF" <size> "WAVE" followed by chunks of a four-character
// id, a little-endian 32-bit size and the data (padded to an even length).
// The "fmt " chunk describes the samples; the "data" chunk holds them.
#ifndef HARLUNE_TOOLS_WAV_LWAVFORMAT_H
#define HARLUNE_TOOLS_WAV_LWAVFORMAT_H

#include <cstdint>

namespace harlune::wav {

inline constexpr std::uint16_t kWavFormatPCM = 1;        // integer samples
inline constexpr std::uint16_t kWavFormatIEEEFloat = 3;  // float samples
inline constexpr std::uint16_t kWavFormatExtensible = 0xFFFE;

// What the "fmt " chunk says about the samples.
struct LWavDescription {
    std::uint16_t nFormat = 0;        // kWavFormatPCM or kWavFormatIEEEFloat
    std::uint16_t nChannels = 0;      // interleaved channels per frame
    std::uint32_t nSampleRate = 0;    // frames per second
    std::uint16_t nBitsPerSample = 0; // 16, 24 or 32 (integer); 32 or 64 (float)
};

} // namespace harlune::wav

#endif
