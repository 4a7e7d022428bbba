// LAudioFileWriter.h: writes interleaved float frames to an audio file
// through libsndfile, in one of the recording formats (LAudioFileFormat.h).
//
// The header is kept true while the file grows: UpdateHeader() rewrites the
// sizes in place (the recorder calls it every second), so a process killed
// mid-recording leaves a file that every reader opens with all but the last
// moments. Integer formats clip samples beyond full scale rather than wrap.
// A failed write (a full disk) is reported with the system's message; the
// header is then brought in line with what reached the disk.
//
// "-" writes to standard output: any format into a regular file, and FLAC
// or raw into a pipe (a WAV header must be rewritten at the end, which a
// pipe cannot take back).
//
// Not thread-safe: one caller, or the caller's lock, serialises every call.
#ifndef HARLUNE_TOOLS_AUDIO_LAUDIOFILEWRITER_H
#define HARLUNE_TOOLS_AUDIO_LAUDIOFILEWRITER_H

#include "tools/audio/LAudioFileFormat.h"

#include <cstdint>
#include <string>

struct sf_private_tag;

namespace harlune::audio {

class LAudioFileWriter {
public:
    LAudioFileWriter() = default;
    ~LAudioFileWriter(); // closes the file if it is open
    LAudioFileWriter(const LAudioFileWriter&) = delete;
    LAudioFileWriter& operator=(const LAudioFileWriter&) = delete;

    // Creates (or replaces) szPath, or takes standard output for "-". False
    // with *pszError naming the file and the reason.
    bool Open(const std::string& szPath, LRecordFormat eFormat, double fSampleRate, int nChannels,
              std::string* pszError);
    bool IsOpen() const { return m_pFile != nullptr; }
    // Appends nFrames frames; false with *pszError set on a write error
    // (the frames that did reach the file are counted).
    bool Write(const float* pfFrames, std::uint64_t nFrames, std::string* pszError);
    // Makes the header describe every frame written so far.
    void UpdateHeader();
    // Completes and closes the file; false with *pszError set on an error.
    bool Close(std::string* pszError);

    std::uint64_t Frames() const { return m_nFrames; }
    double SampleRate() const { return m_fSampleRate; }
    const std::string& Path() const { return m_szPath; }

private:
    sf_private_tag* m_pFile = nullptr;
    std::string m_szPath;
    LRecordFormat m_eFormat = LRecordFormat::WavFloat;
    int m_nChannels = 0;
    double m_fSampleRate = 0;
    std::uint64_t m_nFrames = 0;  // frames in the file
    bool m_bSeekable = false;     // the header can be rewritten
};

} // namespace harlune::audio

#endif
