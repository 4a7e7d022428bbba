// LWavWriter.h: writes interleaved 32-bit float frames to a WAV file.
//
// The header is written first with zero sizes and completed by Finish(),
// so a file is a valid WAV once finished; until then it holds the frames
// written so far behind a header that says "empty". Not thread-safe: the
// caller serialises Append and Finish.
#ifndef HARLUNE_TOOLS_WAV_LWAVWRITER_H
#define HARLUNE_TOOLS_WAV_LWAVWRITER_H

#include <cstdint>
#include <cstdio>
#include <string>

namespace harlune::wav {

class LWavWriter {
public:
    LWavWriter() = default;
    ~LWavWriter(); // finishes the file if it is open
    LWavWriter(const LWavWriter&) = delete;
    LWavWriter& operator=(const LWavWriter&) = delete;

    // Creates (or replaces) szPath for IEEE float samples; false with
    // *pszError set when the file cannot be made.
    bool Open(const std::string& szPath, std::uint32_t nSampleRate, std::uint16_t nChannels, std::string* pszError);
    // Appends nFrames frames (nFrames × channels floats); false on a write error.
    bool Append(const float* pfFrames, std::uint64_t nFrames);
    // Completes the header and closes the file; false on a write error.
    bool Finish();

    std::uint64_t Frames() const { return m_nFrames; }

private:
    std::FILE* m_pFile = nullptr;
    std::uint16_t m_nChannels = 0;
    std::uint64_t m_nFrames = 0; // frames appended so far
};

} // namespace harlune::wav

#endif
