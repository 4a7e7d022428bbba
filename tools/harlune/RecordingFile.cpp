#include "tools/harlune/RecordingFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace harlune::tools {
namespace {

// The label of a file that holds nothing: the device's start-up rate.
constexpr double kEmptyFileRate = 44100.0;

std::string RateText(double fRate) {
    char sz[32];
    std::snprintf(sz, sizeof sz, "%.0f Hz", fRate);
    return sz;
}

} // namespace

LRecordingFile::LRecordingFile(LRecordingOptions options, LNote note)
    : m_options(std::move(options)), m_note(std::move(note)) {}

bool LRecordingFile::CheckWritable(std::string* pszError) const {
    if (m_options.szPath == "-") {
        return true;
    }
    const std::size_t nSlash = m_options.szPath.rfind('/');
    const std::string szFolder = nSlash == std::string::npos ? "." : m_options.szPath.substr(0, std::max<std::size_t>(nSlash, 1));
    if (access(m_options.szPath.c_str(), F_OK) == 0 ? access(m_options.szPath.c_str(), W_OK) != 0
                                                     : access(szFolder.c_str(), W_OK | X_OK) != 0) {
        *pszError = "cannot write " + m_options.szPath + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

std::string LRecordingFile::TakePath(int nTake) const {
    if (nTake <= 1 || m_options.szPath == "-") {
        return m_options.szPath;
    }
    // take.wav → take-2.wav; without an extension the suffix goes last.
    const std::string& sz = m_options.szPath;
    const std::size_t nSlash = sz.rfind('/');
    const std::size_t nDot = sz.rfind('.');
    const bool bExtension = nDot != std::string::npos && nDot != 0 && (nSlash == std::string::npos || nDot > nSlash + 1);
    const std::string szSuffix = "-" + std::to_string(nTake);
    return bExtension ? sz.substr(0, nDot) + szSuffix + sz.substr(nDot) : sz + szSuffix;
}

bool LRecordingFile::OpenTake(double fDeviceRate, std::string* pszError) {
    const double fFileRate = m_options.fFixedRate > 0 ? m_options.fFixedRate : fDeviceRate;
    const std::string szPath = TakePath(m_nTake + 1);
    if (!m_writer.Open(szPath, m_options.eFormat, fFileRate, m_options.nChannels, pszError)) {
        return false;
    }
    ++m_nTake;
    m_fDeviceRate = fDeviceRate;
    if (m_options.fFixedRate > 0 &&
        !m_resampler.Create(fDeviceRate, fFileRate, m_options.nChannels, m_options.eQuality, pszError)) {
        return false;
    }
    if (m_nTake > 1 && m_note) {
        m_note("the device now runs at " + RateText(fDeviceRate) + "; recording on into " + szPath);
    }
    return true;
}

bool LRecordingFile::CloseTake(std::string* pszError) {
    if (!m_writer.IsOpen()) {
        return true;
    }
    bool bOk = true;
    if (m_options.fFixedRate > 0) {
        m_arConverted.clear();
        bOk = m_resampler.Flush(&m_arConverted, pszError);
        if (bOk && !m_arConverted.empty() && !m_bLimitReached) {
            bOk = Write(m_arConverted.data(), m_arConverted.size() / static_cast<std::size_t>(m_options.nChannels),
                        pszError) != LAppendResult::Failed;
        }
    }
    m_arDone.push_back({m_writer.Path(), m_writer.SampleRate(), m_writer.Frames()});
    m_fDoneSeconds += CurrentSeconds();
    std::string szCloseError;
    if (!m_writer.Close(&szCloseError) && bOk) {
        *pszError = szCloseError;
        bOk = false;
    }
    return bOk;
}

double LRecordingFile::CurrentSeconds() const {
    return m_writer.IsOpen() && m_writer.SampleRate() > 0 ? static_cast<double>(m_writer.Frames()) / m_writer.SampleRate()
                                                          : 0.0;
}

LAppendResult LRecordingFile::Write(const float* pfFrames, std::uint64_t nFrames, std::string* pszError) {
    std::uint64_t nTake = nFrames;
    if (m_options.nFrameLimit != 0) {
        nTake = std::min(nTake, m_options.nFrameLimit - std::min(m_options.nFrameLimit, m_nTotalFrames));
    }
    if (m_options.fSecondsLimit > 0) {
        const double fLeft = std::max(0.0, m_options.fSecondsLimit - TotalSeconds());
        nTake = std::min(nTake, static_cast<std::uint64_t>(std::llround(fLeft * m_writer.SampleRate())));
    }
    const std::uint64_t nBefore = m_writer.Frames();
    const bool bOk = nTake == 0 || m_writer.Write(pfFrames, nTake, pszError);
    m_nTotalFrames += m_writer.Frames() - nBefore;
    if (!bOk) {
        return LAppendResult::Failed;
    }
    if (nTake < nFrames || (m_options.nFrameLimit != 0 && m_nTotalFrames >= m_options.nFrameLimit)) {
        m_bLimitReached = true;
        return LAppendResult::LimitReached;
    }
    return LAppendResult::Written;
}

LAppendResult LRecordingFile::Append(const float* pfFrames, std::uint64_t nFrames, double fDeviceRate,
                                     std::string* pszError) {
    if (m_bLimitReached) {
        return LAppendResult::LimitReached;
    }
    if (!(fDeviceRate > 0)) {
        *pszError = "the device's sample rate is unknown";
        return LAppendResult::Failed;
    }
    if (m_writer.IsOpen() && fDeviceRate != m_fDeviceRate) {
        if (m_options.fFixedRate > 0) {
            // Resampled back to the fixed rate: the file goes on.
            m_arConverted.clear();
            if (!m_resampler.Flush(&m_arConverted, pszError) ||
                (!m_arConverted.empty() &&
                 Write(m_arConverted.data(), m_arConverted.size() / static_cast<std::size_t>(m_options.nChannels),
                       pszError) == LAppendResult::Failed) ||
                !m_resampler.Create(fDeviceRate, m_options.fFixedRate, m_options.nChannels, m_options.eQuality,
                                    pszError)) {
                return LAppendResult::Failed;
            }
            if (m_note) {
                m_note("the device now runs at " + RateText(fDeviceRate) + "; resampling to " +
                       RateText(m_options.fFixedRate));
            }
            m_fDeviceRate = fDeviceRate;
        } else if (m_options.szPath == "-") {
            *pszError = "the device's rate changed from " + RateText(m_fDeviceRate) + " to " + RateText(fDeviceRate) +
                        "; standard output holds one stream at one rate: pass --rate to resample";
            return LAppendResult::Failed;
        } else if (!CloseTake(pszError)) {
            return LAppendResult::Failed;
        }
    }
    if (!m_writer.IsOpen() && !OpenTake(fDeviceRate, pszError)) {
        return LAppendResult::Failed;
    }
    if (m_options.fFixedRate > 0 && m_options.fFixedRate != fDeviceRate) {
        m_arConverted.clear();
        if (!m_resampler.Process(pfFrames, nFrames, &m_arConverted, pszError)) {
            return LAppendResult::Failed;
        }
        return Write(m_arConverted.data(), m_arConverted.size() / static_cast<std::size_t>(m_options.nChannels),
                     pszError);
    }
    return Write(pfFrames, nFrames, pszError);
}

void LRecordingFile::UpdateHeader() { m_writer.UpdateHeader(); }

bool LRecordingFile::Finish(std::string* pszError) {
    // A recording that received nothing still leaves the file asked for,
    // empty; its rate says nothing about audio it does not hold. FLAC has
    // no valid form without a frame of audio, so there it leaves none.
    const bool bFlac = m_options.eFormat == audio::LRecordFormat::Flac || m_options.eFormat == audio::LRecordFormat::Flac16;
    if (m_nTake == 0 && m_options.szPath != "-" && !bFlac &&
        !OpenTake(m_options.fFixedRate > 0 ? m_options.fFixedRate : kEmptyFileRate, pszError)) {
        return false;
    }
    return CloseTake(pszError);
}

std::vector<LRecordingTake> LRecordingFile::Takes() const {
    std::vector<LRecordingTake> ar = m_arDone;
    if (m_writer.IsOpen()) {
        ar.push_back({m_writer.Path(), m_writer.SampleRate(), m_writer.Frames()});
    }
    return ar;
}

} // namespace harlune::tools
