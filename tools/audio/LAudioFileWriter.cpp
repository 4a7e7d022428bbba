#include "tools/audio/LAudioFileWriter.h"

#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>

namespace harlune::audio {
namespace {

// libsndfile's "System error : No space left on device." as the system says it.
std::string SystemWords(const char* szMessage) {
    std::string sz = szMessage != nullptr ? szMessage : "unknown error";
    const std::string szPrefix = "System error : ";
    if (sz.rfind(szPrefix, 0) == 0) {
        sz.erase(0, szPrefix.size());
    }
    if (!sz.empty() && sz.back() == '.') {
        sz.pop_back();
    }
    return sz;
}

} // namespace

LAudioFileWriter::~LAudioFileWriter() {
    std::string szIgnored;
    Close(&szIgnored);
}

bool LAudioFileWriter::Open(const std::string& szPath, LRecordFormat eFormat, double fSampleRate, int nChannels,
                            std::string* pszError) {
    const std::string szName = szPath == "-" ? std::string("standard output") : szPath;
    if (m_pFile != nullptr) {
        *pszError = "cannot open " + szName + ": another file is still open";
        return false;
    }
    if (!(fSampleRate >= 1.0 && fSampleRate <= 768000.0) || nChannels < 1 || nChannels > 8) {
        *pszError = "cannot write " + szName + " at " + std::to_string(fSampleRate) + " Hz with " +
                    std::to_string(nChannels) + " channels";
        return false;
    }
    SF_INFO info = {};
    info.samplerate = static_cast<int>(std::lround(fSampleRate));
    info.channels = nChannels;
    info.format = LSndfileFormat(eFormat);
    SNDFILE* pFile = nullptr;
    if (szPath == "-") {
        struct stat st {};
        m_bSeekable = fstat(STDOUT_FILENO, &st) == 0 && S_ISREG(st.st_mode);
        if (!m_bSeekable && !LCanStream(eFormat)) {
            *pszError = "standard output is not a file: " + LDescribeRecordFormat(eFormat) +
                        " needs to seek back to its header; write to a pipe with --format flac or --format raw";
            return false;
        }
        pFile = sf_open_fd(STDOUT_FILENO, SFM_WRITE, &info, SF_FALSE);
    } else {
        m_bSeekable = true;
        pFile = sf_open(szPath.c_str(), SFM_WRITE, &info);
    }
    if (pFile == nullptr) {
        *pszError = "cannot write " + szName + ": " + SystemWords(sf_strerror(nullptr));
        return false;
    }
    if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_RF64) {
        // Plain WAV until the file outgrows 4 GiB.
        sf_command(pFile, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    }
    if (LIsIntegerFormat(eFormat)) {
        sf_command(pFile, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    }
    m_pFile = pFile;
    m_szPath = szName;
    m_eFormat = eFormat;
    m_nChannels = nChannels;
    m_fSampleRate = fSampleRate;
    m_nFrames = 0;
    return true;
}

bool LAudioFileWriter::Write(const float* pfFrames, std::uint64_t nFrames, std::string* pszError) {
    if (m_pFile == nullptr || (pfFrames == nullptr && nFrames != 0)) {
        *pszError = "no file is open";
        return false;
    }
    const sf_count_t nWritten = sf_writef_float(m_pFile, pfFrames, static_cast<sf_count_t>(nFrames));
    if (nWritten > 0) {
        m_nFrames += static_cast<std::uint64_t>(nWritten);
    }
    if (nWritten != static_cast<sf_count_t>(nFrames)) {
        *pszError = "cannot write to " + m_szPath + ": " + SystemWords(sf_strerror(m_pFile));
        UpdateHeader();
        return false;
    }
    return true;
}

void LAudioFileWriter::UpdateHeader() {
    if (m_pFile != nullptr && m_bSeekable) {
        sf_command(m_pFile, SFC_UPDATE_HEADER_NOW, nullptr, 0);
    }
}

bool LAudioFileWriter::Close(std::string* pszError) {
    if (m_pFile == nullptr) {
        return true;
    }
    const int nError = sf_close(m_pFile);
    m_pFile = nullptr;
    if (nError != 0) {
        *pszError = "cannot complete " + m_szPath + ": " + sf_error_number(nError);
        return false;
    }
    return true;
}

} // namespace harlune::audio
