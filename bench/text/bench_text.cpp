// UTF-8 to UTF-16 conversion and UTF-8 validation throughput on 16 MB of
// Latin text (mostly ASCII with accented letters) and 16 MB of CJK text
// (three-byte characters with some ASCII), beside glibc's iconv converting
// the same input to UTF-16 in the same run.
//
// Each figure is the median and the slowest (the 99th percentile of 31 runs
// is the slowest run) of 31 timed runs over the whole 16 MB, after one
// warm-up run; MB/s counts input bytes (1 MB = 10^6 bytes). The library's
// and iconv's runs alternate, and runs are timed in the thread's CPU time,
// so that other work on a shared machine weighs on both alike; the
// wall-clock medians are printed beside. The library's
// conversion is timed as callers use it: LCopyUnicodeFromUTF8 into a buffer
// sized for the input, its UTF-32 temporary included. iconv is timed without
// iconv_open, which is done once.
//
// Prints per-corpus lines and then the two headline figures, each the lower
// of the two corpora:
//   utf8_to_utf16_vs_iconv_ratio: X   library MB/s over iconv MB/s (medians)
//   utf8_validate_mb_per_s: X         LCharsetsIsValidUTF8, median
#include <text/LText.h>

#include <iconv.h>

#include <algorithm>
#include <utility>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace {

constexpr size_t kInputBytes = 16 * 1000 * 1000;
constexpr int kRuns = 31;

// A small deterministic generator, so every run measures the same text.
struct LXorShift {
    uint32_t nState = 2463534242u;
    uint32_t Next() {
        nState ^= nState << 13;
        nState ^= nState >> 17;
        nState ^= nState << 5;
        return nState;
    }
};

void AppendUTF8(std::string &s, char32_t cp) {
    char arBytes[8];
    const char32_t arCp[2] = {cp, 0};
    LCopyUTF8FromUTF32Native(arBytes, arCp, sizeof(arBytes));
    s += arBytes;
}

// Words of 2 to 9 letters, about one letter in 12 accented (é, ü, ñ, ø...).
std::string MakeLatin() {
    static const char32_t kAccented[] = {0xE9, 0xE8, 0xFC, 0xF6, 0xE4, 0xF1, 0xF8, 0xE7, 0xDF, 0x153};
    LXorShift rng;
    std::string s;
    s.reserve(kInputBytes + 16);
    while (s.size() < kInputBytes) {
        const uint32_t nLetters = 2 + rng.Next() % 8;
        for (uint32_t i = 0; i < nLetters; ++i) {
            const uint32_t r = rng.Next();
            if (r % 12 == 0) {
                AppendUTF8(s, kAccented[(r >> 8) % 10]);
            } else {
                s += static_cast<char>('a' + (r >> 8) % 26);
            }
        }
        s += rng.Next() % 10 == 0 ? ". " : " ";
    }
    s.resize(kInputBytes - 8);
    while (!LCharsetsIsValidUTF8(s.c_str())) {
        s.pop_back();  // never end inside a character
    }
    return s;
}

// CJK ideographs and kana with ASCII digits and punctuation now and then.
std::string MakeCJK() {
    LXorShift rng;
    std::string s;
    s.reserve(kInputBytes + 16);
    while (s.size() < kInputBytes) {
        const uint32_t r = rng.Next();
        if (r % 20 == 0) {
            s += static_cast<char>('0' + (r >> 8) % 10);
        } else if (r % 20 == 1) {
            AppendUTF8(s, 0x3002);  // ideographic full stop
        } else if (r % 4 == 0) {
            AppendUTF8(s, 0x3041 + (r >> 8) % 0x56);  // hiragana
        } else {
            AppendUTF8(s, 0x4E00 + (r >> 8) % 0x5000);  // unified ideographs
        }
    }
    s.resize(kInputBytes - 8);
    while (!LCharsetsIsValidUTF8(s.c_str())) {
        s.pop_back();
    }
    return s;
}

struct LFigure {
    double fMedian;      // MB/s of the median run, CPU time
    double fSlowest;     // MB/s of the slowest run, CPU time
    double fWallMedian;  // MB/s of the median run, wall clock
};

double ThreadSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

LFigure Figure(size_t nBytes, std::vector<double> arCPU, std::vector<double> arWall) {
    std::sort(arCPU.begin(), arCPU.end());
    std::sort(arWall.begin(), arWall.end());
    const double fMB = static_cast<double>(nBytes) / 1e6;
    return {fMB / arCPU[arCPU.size() / 2], fMB / arCPU.back(), fMB / arWall[arWall.size() / 2]};
}

/* Times the functions' runs interleaved, so that both meet the same load on
 * a shared machine; returns one figure per function. */
template <typename F, typename G>
std::pair<LFigure, LFigure> MeasurePair(size_t nBytes, F &&first, G &&second) {
    first();  // warm-up: page in buffers and tables
    second();
    std::vector<double> arCPU[2], arWall[2];
    for (int i = 0; i < kRuns; ++i) {
        for (int k = 0; k < 2; ++k) {
            const auto start = std::chrono::steady_clock::now();
            const double fStart = ThreadSeconds();
            if (k == 0) {
                first();
            } else {
                second();
            }
            arCPU[k].push_back(ThreadSeconds() - fStart);
            arWall[k].push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        }
    }
    return {Figure(nBytes, arCPU[0], arWall[0]), Figure(nBytes, arCPU[1], arWall[1])};
}

struct LCorpusResult {
    double fRatio;     // library over iconv, medians
    double fValidate;  // validation MB/s, median
};

LCorpusResult RunCorpus(const char *szName, const std::string &sText) {
    std::vector<char16_t> arOut(sText.size() + 1);
    unsigned long nSink = 0;  // keeps results observable
    iconv_t h = iconv_open("UTF-16LE", "UTF-8");
    std::vector<char16_t> arIconv(sText.size() + 1);
    bool bAllValid = true;
    const auto [library, glibc] = MeasurePair(
        sText.size(), [&] { nSink += LCopyUnicodeFromUTF8(arOut.data(), sText.c_str(), arOut.size()); },
        [&] {
            char *pIn = const_cast<char *>(sText.data());
            size_t nIn = sText.size();
            char *pOut = reinterpret_cast<char *>(arIconv.data());
            size_t nOut = arIconv.size() * 2;
            iconv(h, nullptr, nullptr, nullptr, nullptr);
            iconv(h, &pIn, &nIn, &pOut, &nOut);
            arIconv[(arIconv.size() * 2 - nOut) / 2] = 0;
        });
    const LFigure validate =
        MeasurePair(sText.size(), [&] { bAllValid = LCharsetsIsValidUTF8(sText.c_str()) && bAllValid; }, [] {})
            .first;
    const std::u16string sLibrary(arOut.data());
    iconv_close(h);
    if (sLibrary != std::u16string(arIconv.data())) {
        fprintf(stderr, "%s: the library and iconv disagree\n", szName);
    }

    printf("%s (%.1f MB, %zu UTF-16 units)%s\n", szName, sText.size() / 1e6, sLibrary.size(),
           bAllValid && nSink == 0 ? "" : " [unexpected result]");
    const char *szFormat = "  %-20s median %8.1f MB/s, slowest %8.1f MB/s (wall-clock median %8.1f MB/s)\n";
    printf(szFormat, "library utf8->utf16", library.fMedian, library.fSlowest, library.fWallMedian);
    printf(szFormat, "iconv utf8->utf16", glibc.fMedian, glibc.fSlowest, glibc.fWallMedian);
    printf(szFormat, "library validate", validate.fMedian, validate.fSlowest, validate.fWallMedian);
    return {library.fMedian / glibc.fMedian, validate.fMedian};
}

}  // namespace

int main() {
    const LCorpusResult latin = RunCorpus("latin", MakeLatin());
    const LCorpusResult cjk = RunCorpus("cjk", MakeCJK());
    printf("latin ratio %.2f, cjk ratio %.2f\n", latin.fRatio, cjk.fRatio);
    printf("utf8_to_utf16_vs_iconv_ratio: %.2f\n", std::min(latin.fRatio, cjk.fRatio));
    printf("utf8_validate_mb_per_s: %.1f\n", std::min(latin.fValidate, cjk.fValidate));
    return 0;
}
