#include "tools/audio/LAudioFileFormat.h"

#include <sndfile.h>

#include <algorithm>
#include <cctype>

namespace harlune::audio {
namespace {

struct FormatName {
    const char* szName;
    LRecordFormat eFormat;
};

constexpr FormatName kNames[] = {
    {"wav", LRecordFormat::WavFloat}, {"float", LRecordFormat::WavFloat}, {"f32", LRecordFormat::WavFloat},
    {"wav16", LRecordFormat::Wav16},  {"s16", LRecordFormat::Wav16},      {"wav24", LRecordFormat::Wav24},
    {"s24", LRecordFormat::Wav24},    {"flac", LRecordFormat::Flac},      {"flac24", LRecordFormat::Flac},
    {"flac16", LRecordFormat::Flac16}, {"raw", LRecordFormat::RawFloat},
};

std::string Lower(std::string sz) {
    std::transform(sz.begin(), sz.end(), sz.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return sz;
}

} // namespace

bool LParseRecordFormat(const std::string& szName, LRecordFormat* peFormat) {
    const std::string szLower = Lower(szName);
    for (const FormatName& name : kNames) {
        if (szLower == name.szName) {
            *peFormat = name.eFormat;
            return true;
        }
    }
    return false;
}

bool LRecordFormatFromPath(const std::string& szPath, LRecordFormat* peFormat) {
    const std::size_t nDot = szPath.rfind('.');
    const std::size_t nSlash = szPath.rfind('/');
    if (nDot == std::string::npos || (nSlash != std::string::npos && nDot < nSlash)) {
        return false;
    }
    const std::string szExtension = Lower(szPath.substr(nDot + 1));
    if (szExtension == "wav" || szExtension == "wave" || szExtension == "rf64") {
        *peFormat = LRecordFormat::WavFloat;
        return true;
    }
    if (szExtension == "raw") {
        *peFormat = LRecordFormat::RawFloat;
        return true;
    }
    if (szExtension == "flac") {
        *peFormat = LRecordFormat::Flac;
        return true;
    }
    return false;
}

const char* LRecordFormatNames() { return "wav (32-bit float), wav16, wav24, flac (24-bit), flac16, raw (32-bit float)"; }

std::string LDescribeRecordFormat(LRecordFormat eFormat) {
    switch (eFormat) {
    case LRecordFormat::WavFloat: return "WAV, 32-bit float";
    case LRecordFormat::Wav16: return "WAV, 16-bit integer";
    case LRecordFormat::Wav24: return "WAV, 24-bit integer";
    case LRecordFormat::Flac: return "FLAC, 24-bit";
    case LRecordFormat::Flac16: return "FLAC, 16-bit";
    case LRecordFormat::RawFloat: return "raw 32-bit float, little-endian";
    }
    return "unknown";
}

int LSndfileFormat(LRecordFormat eFormat) {
    switch (eFormat) {
    case LRecordFormat::WavFloat: return SF_FORMAT_RF64 | SF_FORMAT_FLOAT;
    case LRecordFormat::Wav16: return SF_FORMAT_RF64 | SF_FORMAT_PCM_16;
    case LRecordFormat::Wav24: return SF_FORMAT_RF64 | SF_FORMAT_PCM_24;
    case LRecordFormat::Flac: return SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
    case LRecordFormat::Flac16: return SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    case LRecordFormat::RawFloat: return SF_FORMAT_RAW | SF_FORMAT_FLOAT | SF_ENDIAN_LITTLE;
    }
    return 0;
}

const char* LRecordFormatExtension(LRecordFormat eFormat) {
    switch (eFormat) {
    case LRecordFormat::Flac:
    case LRecordFormat::Flac16: return ".flac";
    case LRecordFormat::RawFloat: return ".raw";
    default: return ".wav";
    }
}

bool LIsIntegerFormat(LRecordFormat eFormat) {
    return eFormat != LRecordFormat::WavFloat && eFormat != LRecordFormat::RawFloat;
}

bool LCanStream(LRecordFormat eFormat) {
    return eFormat == LRecordFormat::Flac || eFormat == LRecordFormat::Flac16 || eFormat == LRecordFormat::RawFloat;
}

} // namespace harlune::audio
