// LResampler.h: streaming sample-rate conversion of interleaved float
// frames through libsoxr.
//
// Frames go in as they come and converted frames come out with the
// converter's small delay; Flush() drains what is held back at the end. A
// converter whose two rates are equal is a plain copy. Not thread-safe: one
// caller converts one stream.
#ifndef HARLUNE_TOOLS_AUDIO_LRESAMPLER_H
#define HARLUNE_TOOLS_AUDIO_LRESAMPLER_H

#include <cstdint>
#include <string>
#include <vector>

struct soxr;

namespace harlune::audio {

enum class LResampleQuality { Quick, Low, Medium, High, VeryHigh };

// Parses "quick", "low", "medium", "high", "very-high"; false otherwise.
bool LParseResampleQuality(const std::string& szName, LResampleQuality* peQuality);

class LResampler {
public:
    LResampler() = default;
    ~LResampler();
    LResampler(const LResampler&) = delete;
    LResampler& operator=(const LResampler&) = delete;

    // Prepares a conversion of nChannels-channel frames from fInRate to
    // fOutRate (Hz); false with *pszError set when libsoxr refuses it.
    bool Create(double fInRate, double fOutRate, int nChannels, LResampleQuality eQuality, std::string* pszError);
    // Converts nFrames frames and appends the frames it gives to *parOut.
    bool Process(const float* pfIn, std::uint64_t nFrames, std::vector<float>* parOut, std::string* pszError);
    // Appends the frames still held back; the converter can then be reused
    // only after Create.
    bool Flush(std::vector<float>* parOut, std::string* pszError);

    double InRate() const { return m_fInRate; }
    double OutRate() const { return m_fOutRate; }

private:
    bool Run(const float* pfIn, std::uint64_t nFrames, std::vector<float>* parOut, std::string* pszError);
    void Destroy();

    soxr* m_pSoxr = nullptr; // null when the rates are equal
    double m_fInRate = 0, m_fOutRate = 0;
    int m_nChannels = 0;
};

} // namespace harlune::audio

#endif
