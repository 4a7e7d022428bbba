// RecordingFile.h: the file side of a recording: what the device sends is
// written at the rate it was played at, never mislabelled.
//
// The file is made when the first buffer arrives, at the device's rate at
// that moment, or at a fixed --rate, to which every buffer is resampled.
// Without a fixed rate, a change of the device's rate ends the current file
// and starts the next one, named with a suffix: take.wav, take-2.wav,
// take-3.wav. Standard output cannot be split: there the change ends the
// recording with a message that says to pass --rate.
//
// The frame and duration limits count what is written, over all files.
// Not thread-safe: the caller serialises every call (the recorder's buffers
// come on XPC queues, its timer on the main thread).
#ifndef HARLUNE_TOOLS_RECORDINGFILE_H
#define HARLUNE_TOOLS_RECORDINGFILE_H

#include "tools/audio/LAudioFileWriter.h"
#include "tools/audio/LResampler.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace harlune::tools {

struct LRecordingOptions {
    std::string szPath;                    // the first file; "-" for standard output
    audio::LRecordFormat eFormat = audio::LRecordFormat::WavFloat;
    double fFixedRate = 0;                 // Hz; 0 follows the device
    audio::LResampleQuality eQuality = audio::LResampleQuality::High;
    std::uint64_t nFrameLimit = 0;         // frames to write in all; 0: no limit
    double fSecondsLimit = 0;              // seconds to write in all; 0: no limit
    int nChannels = 2;                     // the device's channels
};

// One finished or current file.
struct LRecordingTake {
    std::string szPath;
    double fSampleRate = 0;
    std::uint64_t nFrames = 0;
};

enum class LAppendResult {
    Written,      // everything was written
    LimitReached, // the limit was reached; nothing more is written
    Failed,       // a file could not be made or written; see the message
};

class LRecordingFile {
public:
    using LNote = std::function<void(const std::string&)>;

    // fNote receives lines for the log (a new file, a rate change).
    LRecordingFile(LRecordingOptions options, LNote note);

    // Checks before anything arrives that the file can be made where it is
    // asked for; false with *pszError set.
    bool CheckWritable(std::string* pszError) const;
    // Appends one buffer of the device's frames, played at fDeviceRate Hz.
    LAppendResult Append(const float* pfFrames, std::uint64_t nFrames, double fDeviceRate, std::string* pszError);
    // Makes the current file's header describe everything written.
    void UpdateHeader();
    // Completes the current file (flushing the converter); false with
    // *pszError set when it cannot be completed.
    bool Finish(std::string* pszError);

    // The files so far, the current one last, with what they hold.
    std::vector<LRecordingTake> Takes() const;
    std::uint64_t TotalFrames() const { return m_nTotalFrames; }
    double TotalSeconds() const { return m_fDoneSeconds + CurrentSeconds(); }
    // The rate of the current file; 0 before the first buffer.
    double FileRate() const { return m_writer.IsOpen() ? m_writer.SampleRate() : 0; }
    bool LimitReached() const { return m_bLimitReached; }

private:
    bool OpenTake(double fDeviceRate, std::string* pszError);
    bool CloseTake(std::string* pszError);
    LAppendResult Write(const float* pfFrames, std::uint64_t nFrames, std::string* pszError);
    double CurrentSeconds() const;
    std::string TakePath(int nTake) const;

    LRecordingOptions m_options;
    LNote m_note;
    audio::LAudioFileWriter m_writer;
    audio::LResampler m_resampler;        // prepared when the rate is fixed
    std::vector<float> m_arConverted;     // the resampler's output, reused
    double m_fDeviceRate = 0;             // the rate of the buffers now coming
    int m_nTake = 0;                      // files made so far
    std::vector<LRecordingTake> m_arDone; // completed files
    std::uint64_t m_nTotalFrames = 0;     // frames in all files
    double m_fDoneSeconds = 0;            // seconds in completed files
    bool m_bLimitReached = false;
};

} // namespace harlune::tools

#endif
