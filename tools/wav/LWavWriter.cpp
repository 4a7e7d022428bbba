#include "tools/wav/LWavWriter.h"

#include "tools/wav/LWavFormat.h"

#include <cerrno>
#include <cstring>

namespace harlune::wav {
namespace {

void PutLE(unsigned char* p, std::uint32_t v, int nBytes) {
    for (int i = 0; i < nBytes; ++i) {
        p[i] = static_cast<unsigned char>(v >> (8 * i));
    }
}

// The 44-byte header for nDataBytes of float samples.
void MakeHeader(unsigned char (&header)[44], std::uint32_t nSampleRate, std::uint16_t nChannels,
                std::uint32_t nDataBytes) {
    std::memcpy(header, "RIFF", 4);
    PutLE(header + 4, 36 + nDataBytes, 4);
    std::memcpy(header + 8, "WAVEfmt ", 8);
    PutLE(header + 16, 16, 4);
    PutLE(header + 20, kWavFormatIEEEFloat, 2);
    PutLE(header + 22, nChannels, 2);
    PutLE(header + 24, nSampleRate, 4);
    PutLE(header + 28, nSampleRate * nChannels * 4, 4); // bytes per second
    PutLE(header + 32, nChannels * 4u, 2);              // bytes per frame
    PutLE(header + 34, 32, 2);
    std::memcpy(header + 36, "data", 4);
    PutLE(header + 40, nDataBytes, 4);
}

} // namespace

LWavWriter::~LWavWriter() { Finish(); }

bool LWavWriter::Open(const std::string& szPath, std::uint32_t nSampleRate, std::uint16_t nChannels,
                      std::string* pszError) {
    Finish();
    if (nChannels == 0 || nSampleRate == 0) {
        if (pszError != nullptr) {
            *pszError = "a WAV file needs at least one channel and a sample rate";
        }
        return false;
    }
    m_pFile = std::fopen(szPath.c_str(), "w+b");
    if (m_pFile == nullptr) {
        if (pszError != nullptr) {
            *pszError = "cannot create '" + szPath + "': " + std::strerror(errno);
        }
        return false;
    }
    m_nChannels = nChannels;
    m_nFrames = 0;
    unsigned char header[44];
    MakeHeader(header, nSampleRate, nChannels, 0);
    // The rate is kept in the header itself until Finish rewrites the sizes.
    if (std::fwrite(header, 1, sizeof header, m_pFile) != sizeof header) {
        if (pszError != nullptr) {
            *pszError = "cannot write '" + szPath + "': " + std::strerror(errno);
        }
        std::fclose(m_pFile);
        m_pFile = nullptr;
        return false;
    }
    return true;
}

bool LWavWriter::Append(const float* pfFrames, std::uint64_t nFrames) {
    if (m_pFile == nullptr || (pfFrames == nullptr && nFrames > 0)) {
        return false;
    }
    const std::size_t nSamples = static_cast<std::size_t>(nFrames) * m_nChannels;
    if (std::fwrite(pfFrames, sizeof(float), nSamples, m_pFile) != nSamples) {
        return false;
    }
    m_nFrames += nFrames;
    return true;
}

bool LWavWriter::Finish() {
    if (m_pFile == nullptr) {
        return true;
    }
    // Sizes above 4 GiB cannot be said in a plain WAV header; they are
    // capped, and the data stays readable to the end of the file.
    const std::uint64_t nBytes = m_nFrames * m_nChannels * 4;
    const std::uint32_t nDataBytes = nBytes > 0xFFFFFFFFull - 36 ? 0xFFFFFFFFu - 36 : static_cast<std::uint32_t>(nBytes);
    unsigned char header[44];
    bool bOk = std::fseek(m_pFile, 24, SEEK_SET) == 0 && std::fread(header + 24, 1, 4, m_pFile) == 4;
    std::uint32_t nRate = 0;
    for (int i = 0; i < 4; ++i) {
        nRate |= static_cast<std::uint32_t>(header[24 + i]) << (8 * i);
    }
    MakeHeader(header, nRate, m_nChannels, nDataBytes);
    bOk = bOk && std::fseek(m_pFile, 0, SEEK_SET) == 0 && std::fwrite(header, 1, sizeof header, m_pFile) == 44;
    bOk = std::fclose(m_pFile) == 0 && bOk;
    m_pFile = nullptr;
    return bOk;
}

} // namespace harlune::wav
