#include "tools/audio/LResampler.h"

#include <soxr.h>

#include <cmath>

namespace harlune::audio {

bool LParseResampleQuality(const std::string& szName, LResampleQuality* peQuality) {
    struct Name {
        const char* sz;
        LResampleQuality e;
    };
    static constexpr Name kNames[] = {{"quick", LResampleQuality::Quick},
                                      {"low", LResampleQuality::Low},
                                      {"medium", LResampleQuality::Medium},
                                      {"high", LResampleQuality::High},
                                      {"very-high", LResampleQuality::VeryHigh}};
    for (const Name& name : kNames) {
        if (szName == name.sz) {
            *peQuality = name.e;
            return true;
        }
    }
    return false;
}

LResampler::~LResampler() { Destroy(); }

void LResampler::Destroy() {
    if (m_pSoxr != nullptr) {
        soxr_delete(m_pSoxr);
        m_pSoxr = nullptr;
    }
}

bool LResampler::Create(double fInRate, double fOutRate, int nChannels, LResampleQuality eQuality,
                        std::string* pszError) {
    Destroy();
    if (!(fInRate > 0) || !(fOutRate > 0) || nChannels < 1) {
        *pszError = "cannot convert " + std::to_string(nChannels) + " channels from " + std::to_string(fInRate) +
                    " Hz to " + std::to_string(fOutRate) + " Hz";
        return false;
    }
    m_fInRate = fInRate;
    m_fOutRate = fOutRate;
    m_nChannels = nChannels;
    if (fInRate == fOutRate) {
        return true;
    }
    unsigned long dwRecipe = SOXR_HQ;
    switch (eQuality) {
    case LResampleQuality::Quick: dwRecipe = SOXR_QQ; break;
    case LResampleQuality::Low: dwRecipe = SOXR_LQ; break;
    case LResampleQuality::Medium: dwRecipe = SOXR_MQ; break;
    case LResampleQuality::High: dwRecipe = SOXR_HQ; break;
    case LResampleQuality::VeryHigh: dwRecipe = SOXR_VHQ; break;
    }
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(dwRecipe, 0);
    soxr_error_t error = nullptr;
    m_pSoxr = soxr_create(fInRate, fOutRate, static_cast<unsigned>(nChannels), &error, &io, &quality, nullptr);
    if (m_pSoxr == nullptr || error != nullptr) {
        *pszError = std::string("the sample-rate converter refused: ") + (error != nullptr ? error : "unknown error");
        Destroy();
        return false;
    }
    return true;
}

bool LResampler::Run(const float* pfIn, std::uint64_t nFrames, std::vector<float>* parOut, std::string* pszError) {
    const std::size_t nChannels = static_cast<std::size_t>(m_nChannels);
    // Room for every frame the input can make, plus what the filter holds.
    std::size_t nRoom = static_cast<std::size_t>(std::ceil(static_cast<double>(nFrames) * m_fOutRate / m_fInRate)) + 1024;
    for (;;) {
        const std::size_t nBefore = parOut->size();
        parOut->resize(nBefore + nRoom * nChannels);
        std::size_t nUsed = 0, nMade = 0;
        const soxr_error_t error = soxr_process(m_pSoxr, pfIn, static_cast<std::size_t>(nFrames), &nUsed,
                                                parOut->data() + nBefore, nRoom, &nMade);
        parOut->resize(nBefore + nMade * nChannels);
        if (error != nullptr) {
            *pszError = std::string("sample-rate conversion failed: ") + error;
            return false;
        }
        if (pfIn != nullptr) {
            pfIn += nUsed * nChannels;
            nFrames -= nUsed;
        }
        // Done when the input is used up and (when flushing) nothing more comes.
        if ((pfIn != nullptr && nFrames == 0) || (pfIn == nullptr && nMade < nRoom)) {
            return true;
        }
    }
}

bool LResampler::Process(const float* pfIn, std::uint64_t nFrames, std::vector<float>* parOut, std::string* pszError) {
    if (m_nChannels == 0) {
        *pszError = "the converter is not prepared";
        return false;
    }
    if (m_pSoxr == nullptr) {
        parOut->insert(parOut->end(), pfIn, pfIn + nFrames * static_cast<std::uint64_t>(m_nChannels));
        return true;
    }
    if (nFrames == 0) {
        return true;
    }
    return Run(pfIn, nFrames, parOut, pszError);
}

bool LResampler::Flush(std::vector<float>* parOut, std::string* pszError) {
    if (m_pSoxr == nullptr) {
        return true;
    }
    return Run(nullptr, 0, parOut, pszError);
}

} // namespace harlune::audio
