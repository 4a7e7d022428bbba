#include "tools/audio/LLoadForDevice.h"

#include "tools/audio/LStereoMix.h"

namespace harlune::audio {

bool LLoadForDevice(LAudioFileReader& reader, double fDeviceRate, LResampleQuality eQuality,
                    std::vector<float>* parStereo, std::string* pszError) {
    constexpr std::uint64_t kChunkFrames = 16384;
    LResampler resampler;
    if (!resampler.Create(reader.SampleRate(), fDeviceRate, 2, eQuality, pszError)) {
        return false;
    }
    std::vector<float> arChunk(kChunkFrames * static_cast<std::uint64_t>(reader.Channels()));
    std::vector<float> arStereo(kChunkFrames * 2);
    for (;;) {
        const std::int64_t nRead = reader.Read(arChunk.data(), kChunkFrames, pszError);
        if (nRead < 0) {
            return false;
        }
        if (nRead == 0) {
            break;
        }
        const auto nFrames = static_cast<std::uint64_t>(nRead);
        LMixToStereo(arChunk.data(), reader.Channels(), nFrames, arStereo.data());
        if (!resampler.Process(arStereo.data(), nFrames, parStereo, pszError)) {
            return false;
        }
    }
    return resampler.Flush(parStereo, pszError);
}

} // namespace harlune::audio
