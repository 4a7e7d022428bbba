// LevelMeter.h: the levels shown on the recorder's live line: the peak of
// each channel since the line was last drawn, and the count of samples at
// or beyond full scale (which an integer file clips) since the start.
//
// Not thread-safe: the caller serialises Add and TakePeaks.
#ifndef HARLUNE_TOOLS_LEVELMETER_H
#define HARLUNE_TOOLS_LEVELMETER_H

#include <cstdint>
#include <string>
#include <vector>

namespace harlune::tools {

class LLevelMeter {
public:
    explicit LLevelMeter(int nChannels);

    // Measures nFrames interleaved frames.
    void Add(const float* pfFrames, std::uint64_t nFrames);
    // The peaks (absolute sample values) since the last call; resets them.
    std::vector<float> TakePeaks();
    std::uint64_t Clips() const { return m_nClips; }

    // A peak in dBFS, -120 for silence.
    static double Decibels(float fPeak);
    // A bar of nWidth characters for a peak: '#' up to the level on a
    // scale from -60 to 0 dBFS, '-' after it, '!' at the end when at or
    // beyond full scale.
    static std::string Bar(float fPeak, int nWidth);

private:
    std::vector<float> m_arPeaks; // per channel, since TakePeaks
    std::uint64_t m_nClips = 0;   // samples with |x| >= 1.0 since the start
};

} // namespace harlune::tools

#endif
