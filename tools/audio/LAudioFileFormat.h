// LAudioFileFormat.h: the file formats a recording is written in, chosen by
// name (--format) or by the file's extension, and their libsndfile codes.
//
// WAV files are written as RF64 with libsndfile's automatic downgrade: a
// file that stays under 4 GiB is a plain WAV, a longer one becomes RF64
// instead of wrapping its 32-bit sizes. Pure data and functions;
// thread-safe.
#ifndef HARLUNE_TOOLS_AUDIO_LAUDIOFILEFORMAT_H
#define HARLUNE_TOOLS_AUDIO_LAUDIOFILEFORMAT_H

#include <string>

namespace harlune::audio {

enum class LRecordFormat {
    WavFloat, // WAV, 32-bit IEEE float: the device's own samples, bit for bit
    Wav16,    // WAV, 16-bit integer
    Wav24,    // WAV, 24-bit integer
    Flac,     // FLAC, 24-bit
    Flac16,   // FLAC, 16-bit
    RawFloat, // headerless 32-bit float, little-endian, interleaved (for pipes)
};

// Parses a --format name: "wav" or "float" (WavFloat), "wav16" or "s16",
// "wav24" or "s24", "flac" or "flac24", "flac16", "raw". False for anything
// else.
bool LParseRecordFormat(const std::string& szName, LRecordFormat* peFormat);
// The format a file name's extension asks for (".wav", ".rf64" → WavFloat,
// ".flac" → Flac); false when the extension says nothing we write.
bool LRecordFormatFromPath(const std::string& szPath, LRecordFormat* peFormat);
// The names LParseRecordFormat takes, for messages.
const char* LRecordFormatNames();
// For people, e.g. "WAV, 24-bit integer".
std::string LDescribeRecordFormat(LRecordFormat eFormat);
// The libsndfile format code (major format | subtype).
int LSndfileFormat(LRecordFormat eFormat);
// The file extension, with its dot (".wav", ".flac", ".raw").
const char* LRecordFormatExtension(LRecordFormat eFormat);
// True for integer formats, which clip samples beyond full scale.
bool LIsIntegerFormat(LRecordFormat eFormat);
// True for formats that can be written to a pipe (no header to seek back to).
bool LCanStream(LRecordFormat eFormat);

} // namespace harlune::audio

#endif
