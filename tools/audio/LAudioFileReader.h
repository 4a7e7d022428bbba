// LAudioFileReader.h: reads an audio file through libsndfile as
// interleaved 32-bit float frames in the file's own channel count: WAV of
// any sample format, RF64, AIFF, FLAC, Ogg Vorbis and Opus, and every other
// format libsndfile reads; headerless (raw) files with their layout given.
//
// "-" reads standard input. Integer samples are scaled to −1.0…1.0 as
// libsndfile does (full scale / 2^(bits−1)); float samples pass unchanged.
// Not thread-safe: one caller reads one file.
#ifndef HARLUNE_TOOLS_AUDIO_LAUDIOFILEREADER_H
#define HARLUNE_TOOLS_AUDIO_LAUDIOFILEREADER_H

#include <cstdint>
#include <string>
#include <vector>

struct sf_private_tag;

namespace harlune::audio {

// The layout of a headerless file: rate, channels and sample encoding.
struct LRawLayout {
    double fSampleRate = 0;  // Hz
    int nChannels = 0;
    std::string szEncoding;  // s8, s16, s24, s32, f32, f64 (little-endian)
};

// Parses "ENCODING,RATE,CHANNELS", e.g. "s16,44100,2"; false with
// *pszError saying what is wrong.
bool LParseRawLayout(const std::string& szText, LRawLayout* pLayout, std::string* pszError);

class LAudioFileReader {
public:
    LAudioFileReader() = default;
    ~LAudioFileReader();
    LAudioFileReader(const LAudioFileReader&) = delete;
    LAudioFileReader& operator=(const LAudioFileReader&) = delete;

    // Opens szPath ("-": standard input); pRaw, when not null, says the file
    // is headerless with that layout. False with *pszError naming the file
    // and the reason.
    bool Open(const std::string& szPath, const LRawLayout* pRaw, std::string* pszError);
    // Reads up to nFrames frames (nFrames × Channels() floats); returns the
    // frames read, 0 at the end, -1 on a read error (*pszError set).
    std::int64_t Read(float* pfFrames, std::uint64_t nFrames, std::string* pszError);

    double SampleRate() const { return m_fSampleRate; }
    int Channels() const { return m_nChannels; }
    // True when the file holds 32-bit float samples, which read back bit for bit.
    bool IsFloat32() const { return m_bFloat32; }
    // For people, e.g. "FLAC, 24-bit, 2 ch, 48000 Hz".
    const std::string& Description() const { return m_szDescription; }

private:
    sf_private_tag* m_pFile = nullptr;
    std::string m_szName;
    double m_fSampleRate = 0;
    int m_nChannels = 0;
    bool m_bFloat32 = false;
    std::string m_szDescription;
};

// Reads the whole of szPath: its frames as they are in the file (channels
// interleaved), its rate and channel count. False with *pszError set.
struct LAudioFileContents {
    double fSampleRate = 0;
    int nChannels = 0;
    std::vector<float> arFrames;
};
bool LReadAudioFile(const std::string& szPath, LAudioFileContents* pContents, std::string* pszError);

} // namespace harlune::audio

#endif
