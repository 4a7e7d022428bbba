#include "tools/audio/LAudioFileWriter.h"

#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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

sf_count_t PipeLength(void* pUser) { return static_cast<LAudioFileWriter::PipeOutput*>(pUser)->nWritten; }

sf_count_t PipeSeek(sf_count_t nOffset, int nWhence, void* pUser) {
    auto* p = static_cast<LAudioFileWriter::PipeOutput*>(pUser);
    const sf_count_t nTarget = nWhence == SEEK_SET ? nOffset : nWhence == SEEK_CUR ? p->nPosition + nOffset
                                                                                  : p->nWritten + nOffset;
    p->nPosition = nTarget < 0 ? 0 : nTarget;
    return p->nPosition;
}

sf_count_t PipeRead(void*, sf_count_t, void*) { return 0; }

sf_count_t PipeWrite(const void* pData, sf_count_t nBytes, void* pUser) {
    auto* p = static_cast<LAudioFileWriter::PipeOutput*>(pUser);
    if (p->nPosition != p->nWritten) {
        // A rewrite of bytes already sent: dropped.
        p->nPosition += nBytes;
        return nBytes;
    }
    const auto* pBytes = static_cast<const char*>(pData);
    sf_count_t nDone = 0;
    while (nDone < nBytes) {
        const ssize_t n = write(p->fd, pBytes + nDone, static_cast<std::size_t>(nBytes - nDone));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            p->bFailed = true;
            break;
        }
        nDone += n;
    }
    p->nWritten += nDone;
    p->nPosition = p->nWritten;
    return nDone;
}

sf_count_t PipeTell(void* pUser) { return static_cast<LAudioFileWriter::PipeOutput*>(pUser)->nPosition; }

} // namespace

LAudioFileWriter::~LAudioFileWriter() {
    std::string szIgnored;
    Close(&szIgnored);
}

bool LAudioFileWriter::CanWriteToStandardOutput(LRecordFormat eFormat, std::string* pszError) {
    struct stat st {};
    if (LCanStream(eFormat) || (fstat(STDOUT_FILENO, &st) == 0 && S_ISREG(st.st_mode))) {
        return true;
    }
    *pszError = "standard output is not a file, and " + LDescribeRecordFormat(eFormat) +
                " needs to seek back to its header: give --format flac or --format raw for a pipe";
    return false;
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
        if (!CanWriteToStandardOutput(eFormat, pszError)) {
            return false;
        }
        struct stat st {};
        m_bSeekable = fstat(STDOUT_FILENO, &st) == 0 && S_ISREG(st.st_mode);
        if (m_bSeekable) {
            pFile = sf_open_fd(STDOUT_FILENO, SFM_WRITE, &info, SF_FALSE);
        } else {
            static SF_VIRTUAL_IO pipeIO = {PipeLength, PipeSeek, PipeRead, PipeWrite, PipeTell};
            m_pipe = PipeOutput{STDOUT_FILENO, 0, 0, false};
            pFile = sf_open_virtual(&pipeIO, SFM_WRITE, &info, &m_pipe);
        }
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
    m_arBlock.clear();
    m_arBlock.reserve(kBlockFrames * static_cast<std::uint64_t>(nChannels) + 8192);
    return true;
}

bool LAudioFileWriter::Write(const float* pfFrames, std::uint64_t nFrames, std::string* pszError) {
    if (m_pFile == nullptr || (pfFrames == nullptr && nFrames != 0)) {
        *pszError = "no file is open";
        return false;
    }
    m_arBlock.insert(m_arBlock.end(), pfFrames, pfFrames + nFrames * static_cast<std::uint64_t>(m_nChannels));
    return m_arBlock.size() < kBlockFrames * static_cast<std::uint64_t>(m_nChannels) || Flush(pszError);
}

bool LAudioFileWriter::Flush(std::string* pszError) {
    if (m_arBlock.empty()) {
        return true;
    }
    const sf_count_t nFrames = static_cast<sf_count_t>(m_arBlock.size() / static_cast<std::size_t>(m_nChannels));
    const sf_count_t nWritten = sf_writef_float(m_pFile, m_arBlock.data(), nFrames);
    m_arBlock.clear();
    if (nWritten > 0) {
        m_nFrames += static_cast<std::uint64_t>(nWritten);
    }
    if (nWritten != nFrames) {
        *pszError = "cannot write to " + m_szPath + ": " + SystemWords(sf_strerror(m_pFile));
        if (m_bSeekable) {
            sf_command(m_pFile, SFC_UPDATE_HEADER_NOW, nullptr, 0);
        }
        return false;
    }
    return true;
}

bool LAudioFileWriter::UpdateHeader(std::string* pszError) {
    if (m_pFile == nullptr) {
        return true;
    }
    const bool bOk = Flush(pszError);
    if (m_bSeekable) {
        sf_command(m_pFile, SFC_UPDATE_HEADER_NOW, nullptr, 0);
    }
    return bOk;
}

bool LAudioFileWriter::Close(std::string* pszError) {
    if (m_pFile == nullptr) {
        return true;
    }
    const bool bFlushed = Flush(pszError);
    const int nError = sf_close(m_pFile);
    m_pFile = nullptr;
    if (nError != 0 && bFlushed) {
        *pszError = "cannot complete " + m_szPath + ": " + sf_error_number(nError);
        return false;
    }
    return bFlushed;
}

} // namespace harlune::audio
