// LWavReader.h: reads a whole WAV file into interleaved stereo 32-bit
// float frames, the device's sample format.
//
// Accepted: integer PCM of 16, 24 or 32 bits and IEEE float of 32 or 64
// bits (also in the extensible form), mono or stereo. Mono is copied to
// both channels; integers are scaled to −1.0…1.0 (full scale / 2^(bits−1)).
// Anything else, and any malformed file, is refused with a message that
// names the file and the reason. Pure function; thread-safe.
#ifndef HARLUNE_TOOLS_WAV_LWAVREADER_H
#define HARLUNE_TOOLS_WAV_LWAVREADER_H

#include "tools/wav/LWavFormat.h"

#include <string>
#include <vector>

namespace harlune::wav {

struct LWavAudio {
    LWavDescription description; // the file's own format
    std::vector<float> arFrames; // stereo interleaved, converted
};

bool LReadWavFile(const std::string& szPath, LWavAudio* pAudio, std::string* pszError);
// The same from bytes in memory (szName names them in messages).
bool LReadWavBytes(const std::vector<unsigned char>& arBytes, const std::string& szName, LWavAudio* pAudio,
                   std::string* pszError);

} // namespace harlune::wav

#endif
