#include "tools/audio/LAudioFileReader.h"

#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace harlune::audio {
namespace {

struct Encoding {
    const char* szName;
    int nSubtype;
};

constexpr Encoding kEncodings[] = {
    {"s8", SF_FORMAT_PCM_S8},  {"u8", SF_FORMAT_PCM_U8},  {"s16", SF_FORMAT_PCM_16}, {"s24", SF_FORMAT_PCM_24},
    {"s32", SF_FORMAT_PCM_32}, {"f32", SF_FORMAT_FLOAT}, {"f64", SF_FORMAT_DOUBLE},
};

int SubtypeOf(const std::string& szEncoding) {
    for (const Encoding& e : kEncodings) {
        if (szEncoding == e.szName) {
            return e.nSubtype;
        }
    }
    return 0;
}

std::string MajorName(int nFormat) {
    SF_FORMAT_INFO info = {};
    info.format = nFormat & SF_FORMAT_TYPEMASK;
    if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) == 0 && info.name != nullptr) {
        std::string sz = info.name;
        // "WAV (Microsoft)" → "WAV"
        const std::size_t nParen = sz.find(" (");
        return nParen == std::string::npos ? sz : sz.substr(0, nParen);
    }
    return "audio";
}

std::string SubtypeName(int nFormat) {
    switch (nFormat & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8: return "8-bit";
    case SF_FORMAT_PCM_16: return "16-bit";
    case SF_FORMAT_PCM_24: return "24-bit";
    case SF_FORMAT_PCM_32: return "32-bit integer";
    case SF_FORMAT_FLOAT: return "32-bit float";
    case SF_FORMAT_DOUBLE: return "64-bit float";
    default: return "compressed";
    }
}

} // namespace

bool LParseRawLayout(const std::string& szText, LRawLayout* pLayout, std::string* pszError) {
    const std::size_t nFirst = szText.find(',');
    const std::size_t nSecond = nFirst == std::string::npos ? std::string::npos : szText.find(',', nFirst + 1);
    if (nSecond == std::string::npos) {
        *pszError = "--raw takes ENCODING,RATE,CHANNELS, e.g. s16,44100,2";
        return false;
    }
    LRawLayout layout;
    layout.szEncoding = szText.substr(0, nFirst);
    if (SubtypeOf(layout.szEncoding) == 0) {
        *pszError = "--raw: unknown encoding '" + layout.szEncoding + "' (s8, u8, s16, s24, s32, f32, f64)";
        return false;
    }
    const std::string szRate = szText.substr(nFirst + 1, nSecond - nFirst - 1);
    const std::string szChannels = szText.substr(nSecond + 1);
    char* pEnd = nullptr;
    layout.fSampleRate = std::strtod(szRate.c_str(), &pEnd);
    if (szRate.empty() || *pEnd != '\0' || !(layout.fSampleRate >= 1000 && layout.fSampleRate <= 768000)) {
        *pszError = "--raw: the rate '" + szRate + "' must be a number from 1000 to 768000";
        return false;
    }
    const long nChannels = std::strtol(szChannels.c_str(), &pEnd, 10);
    if (szChannels.empty() || *pEnd != '\0' || nChannels < 1 || nChannels > 32) {
        *pszError = "--raw: the channel count '" + szChannels + "' must be a number from 1 to 32";
        return false;
    }
    layout.nChannels = static_cast<int>(nChannels);
    *pLayout = layout;
    return true;
}

LAudioFileReader::~LAudioFileReader() {
    if (m_pFile != nullptr) {
        sf_close(m_pFile);
    }
}

bool LAudioFileReader::Open(const std::string& szPath, const LRawLayout* pRaw, std::string* pszError) {
    m_szName = szPath == "-" ? std::string("standard input") : "'" + szPath + "'";
    if (m_pFile != nullptr) {
        *pszError = "cannot open " + m_szName + ": another file is still open";
        return false;
    }
    SF_INFO info = {};
    if (pRaw != nullptr) {
        info.samplerate = static_cast<int>(pRaw->fSampleRate);
        info.channels = pRaw->nChannels;
        info.format = SF_FORMAT_RAW | SubtypeOf(pRaw->szEncoding) | SF_ENDIAN_LITTLE;
    }
    m_pFile = szPath == "-" ? sf_open_fd(STDIN_FILENO, SFM_READ, &info, SF_FALSE)
                            : sf_open(szPath.c_str(), SFM_READ, &info);
    if (m_pFile == nullptr) {
        *pszError = "cannot read " + m_szName + ": " + sf_strerror(nullptr);
        return false;
    }
    if (info.channels < 1 || info.samplerate < 1) {
        *pszError = "cannot read " + m_szName + ": it declares " + std::to_string(info.channels) + " channels at " +
                    std::to_string(info.samplerate) + " Hz";
        sf_close(m_pFile);
        m_pFile = nullptr;
        return false;
    }
    m_fSampleRate = info.samplerate;
    m_nChannels = info.channels;
    m_bFloat32 = (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_FLOAT;
    // Samples beyond full scale in float files stay as they are; the
    // device takes them as the application gave them.
    sf_command(m_pFile, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
    m_szDescription = MajorName(info.format) + ", " + SubtypeName(info.format) + ", " + std::to_string(m_nChannels) +
                      " ch, " + std::to_string(info.samplerate) + " Hz";
    return true;
}

std::int64_t LAudioFileReader::Read(float* pfFrames, std::uint64_t nFrames, std::string* pszError) {
    if (m_pFile == nullptr) {
        *pszError = "no file is open";
        return -1;
    }
    const sf_count_t nRead = sf_readf_float(m_pFile, pfFrames, static_cast<sf_count_t>(nFrames));
    if (nRead < static_cast<sf_count_t>(nFrames) && sf_error(m_pFile) != SF_ERR_NO_ERROR) {
        *pszError = "cannot read " + m_szName + ": " + sf_strerror(m_pFile);
        return -1;
    }
    return nRead;
}

bool LReadAudioFile(const std::string& szPath, LAudioFileContents* pContents, std::string* pszError) {
    LAudioFileReader reader;
    if (!reader.Open(szPath, nullptr, pszError)) {
        return false;
    }
    pContents->fSampleRate = reader.SampleRate();
    pContents->nChannels = reader.Channels();
    pContents->arFrames.clear();
    constexpr std::uint64_t kChunkFrames = 16384;
    const std::size_t nChannels = static_cast<std::size_t>(reader.Channels());
    for (;;) {
        const std::size_t nBefore = pContents->arFrames.size();
        pContents->arFrames.resize(nBefore + kChunkFrames * nChannels);
        const std::int64_t nRead = reader.Read(pContents->arFrames.data() + nBefore, kChunkFrames, pszError);
        pContents->arFrames.resize(nBefore + static_cast<std::size_t>(std::max<std::int64_t>(nRead, 0)) * nChannels);
        if (nRead < 0) {
            return false;
        }
        if (nRead == 0) {
            return true;
        }
    }
}

} // namespace harlune::audio
