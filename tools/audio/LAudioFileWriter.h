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
// Frames are gathered and handed to libsndfile in blocks of kBlockFrames
// (a system call per device buffer would cost more than the audio itself);
// UpdateHeader() and Close() write what is gathered first, so the header
// never describes frames that are not in the file.
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
#include <vector>

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
    // Whether "-" can take eFormat: false with *pszError set when standard
    // output is a pipe or terminal and the format needs to seek.
    static bool CanWriteToStandardOutput(LRecordFormat eFormat, std::string* pszError);
    // Frames gathered before they are written: 16384 (0.37 s at 44100 Hz,
    // 128 KiB of stereo float).
    static constexpr std::uint64_t kBlockFrames = 16384;

    // Appends nFrames frames; false with *pszError set on a write error
    // (the frames that did reach the file are counted).
    bool Write(const float* pfFrames, std::uint64_t nFrames, std::string* pszError);
    // Writes what is gathered and makes the header describe every frame;
    // false with *pszError set on a write error.
    bool UpdateHeader(std::string* pszError);
    // Completes and closes the file; false with *pszError set on an error.
    bool Close(std::string* pszError);

    // Frames appended, written or gathered.
    std::uint64_t Frames() const { return m_nFrames + m_arBlock.size() / static_cast<std::size_t>(m_nChannels > 0 ? m_nChannels : 1); }
    double SampleRate() const { return m_fSampleRate; }
    const std::string& Path() const { return m_szPath; }

    // Standard output when it is a pipe: written straight through, and the
    // header rewrites a format makes at the end (which a pipe cannot take
    // back) are dropped instead of landing after the audio.
    struct PipeOutput {
        int fd = -1;
        std::int64_t nWritten = 0;   // bytes sent down the pipe
        std::int64_t nPosition = 0;  // where the format believes it writes
        bool bFailed = false;        // a write to the pipe failed
    };

private:
    bool Flush(std::string* pszError);

    sf_private_tag* m_pFile = nullptr;
    std::vector<float> m_arBlock;  // gathered frames, not yet written
    std::string m_szPath;
    LRecordFormat m_eFormat = LRecordFormat::WavFloat;
    int m_nChannels = 0;
    double m_fSampleRate = 0;
    std::uint64_t m_nFrames = 0;  // frames written to the file
    bool m_bSeekable = false;     // the header can be rewritten
    PipeOutput m_pipe;            // used when writing to a pipe
};

} // namespace harlune::audio

#endif
