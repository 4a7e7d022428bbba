#include "tools/wav/LWavReader.h"

#include <cstdio>
#include <cerrno>
#include <cstring>

namespace harlune::wav {
namespace {

std::uint32_t LE(const unsigned char* p, int nBytes) {
    std::uint32_t v = 0;
    for (int i = 0; i < nBytes; ++i) {
        v |= static_cast<std::uint32_t>(p[i]) << (8 * i);
    }
    return v;
}

bool Fail(const std::string& szName, const std::string& szReason, std::string* pszError) {
    if (pszError != nullptr) {
        *pszError = "'" + szName + "': " + szReason;
    }
    return false;
}

// One sample at p in the file's format, as a float.
float Sample(const unsigned char* p, const LWavDescription& d) {
    if (d.nFormat == kWavFormatIEEEFloat) {
        if (d.nBitsPerSample == 32) {
            float f;
            std::memcpy(&f, p, 4);
            return f;
        }
        double f;
        std::memcpy(&f, p, 8);
        return static_cast<float>(f);
    }
    switch (d.nBitsPerSample) {
    case 16: return static_cast<float>(static_cast<std::int16_t>(LE(p, 2))) / 32768.0f;
    case 24: {
        std::int32_t v = static_cast<std::int32_t>(LE(p, 3) << 8) >> 8; // sign-extend
        return static_cast<float>(v) / 8388608.0f;
    }
    default: return static_cast<float>(static_cast<double>(static_cast<std::int32_t>(LE(p, 4))) / 2147483648.0);
    }
}

} // namespace

bool LReadWavBytes(const std::vector<unsigned char>& arBytes, const std::string& szName, LWavAudio* pAudio,
                   std::string* pszError) {
    const unsigned char* p = arBytes.data();
    const std::size_t nSize = arBytes.size();
    if (nSize < 12 || std::memcmp(p, "RIFF", 4) != 0 || std::memcmp(p + 8, "WAVE", 4) != 0) {
        return Fail(szName, "not a WAV file (no RIFF/WAVE header)", pszError);
    }
    LWavDescription d;
    bool bHaveFormat = false;
    const unsigned char* pData = nullptr;
    std::size_t nDataBytes = 0;
    for (std::size_t nPos = 12; nPos + 8 <= nSize;) {
        const std::size_t nChunk = LE(p + nPos + 4, 4);
        const std::size_t nBody = nPos + 8;
        // A data chunk that claims more than the file holds is read to the
        // end of the file: recorders that were cut off leave such files.
        const std::size_t nAvailable = nChunk > nSize - nBody ? nSize - nBody : nChunk;
        if (std::memcmp(p + nPos, "fmt ", 4) == 0) {
            if (nAvailable < 16) {
                return Fail(szName, "the format chunk is too short", pszError);
            }
            d.nFormat = static_cast<std::uint16_t>(LE(p + nBody, 2));
            d.nChannels = static_cast<std::uint16_t>(LE(p + nBody + 2, 2));
            d.nSampleRate = LE(p + nBody + 4, 4);
            d.nBitsPerSample = static_cast<std::uint16_t>(LE(p + nBody + 14, 2));
            if (d.nFormat == kWavFormatExtensible && nAvailable >= 26) {
                d.nFormat = static_cast<std::uint16_t>(LE(p + nBody + 24, 2)); // the sub-format's first word
            }
            bHaveFormat = true;
        } else if (std::memcmp(p + nPos, "data", 4) == 0) {
            pData = p + nBody;
            nDataBytes = nAvailable;
        }
        nPos = nBody + nAvailable + (nAvailable & 1);
    }
    if (!bHaveFormat) {
        return Fail(szName, "no format chunk", pszError);
    }
    if (pData == nullptr) {
        return Fail(szName, "no data chunk", pszError);
    }
    const bool bInteger = d.nFormat == kWavFormatPCM &&
                          (d.nBitsPerSample == 16 || d.nBitsPerSample == 24 || d.nBitsPerSample == 32);
    const bool bFloat = d.nFormat == kWavFormatIEEEFloat && (d.nBitsPerSample == 32 || d.nBitsPerSample == 64);
    if (!bInteger && !bFloat) {
        return Fail(szName,
                    "unsupported sample format (format " + std::to_string(d.nFormat) + ", " +
                        std::to_string(d.nBitsPerSample) + " bits); use 16, 24 or 32-bit integer or float",
                    pszError);
    }
    if (d.nChannels != 1 && d.nChannels != 2) {
        return Fail(szName, std::to_string(d.nChannels) + " channels; only mono and stereo are played", pszError);
    }
    if (d.nSampleRate == 0) {
        return Fail(szName, "a sample rate of 0", pszError);
    }
    const std::size_t nBytesPerFrame = static_cast<std::size_t>(d.nBitsPerSample / 8) * d.nChannels;
    const std::size_t nFrames = nDataBytes / nBytesPerFrame;
    pAudio->description = d;
    pAudio->arFrames.resize(nFrames * 2);
    const std::size_t nSampleBytes = d.nBitsPerSample / 8;
    for (std::size_t i = 0; i < nFrames; ++i) {
        const unsigned char* pFrame = pData + i * nBytesPerFrame;
        const float fLeft = Sample(pFrame, d);
        pAudio->arFrames[2 * i] = fLeft;
        pAudio->arFrames[2 * i + 1] = d.nChannels == 2 ? Sample(pFrame + nSampleBytes, d) : fLeft;
    }
    return true;
}

bool LReadWavFile(const std::string& szPath, LWavAudio* pAudio, std::string* pszError) {
    std::FILE* pFile = std::fopen(szPath.c_str(), "rb");
    if (pFile == nullptr) {
        return Fail(szPath, std::string("cannot open: ") + std::strerror(errno), pszError);
    }
    std::vector<unsigned char> arBytes;
    unsigned char buffer[65536];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, pFile)) > 0) {
        arBytes.insert(arBytes.end(), buffer, buffer + n);
    }
    const bool bError = std::ferror(pFile) != 0;
    std::fclose(pFile);
    if (bError) {
        return Fail(szPath, "read error", pszError);
    }
    return LReadWavBytes(arBytes, szPath, pAudio, pszError);
}

} // namespace harlune::wav
