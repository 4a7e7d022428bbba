// XML load and write throughput on two generated 20 MB documents (a
// property-list-like one of many small elements, and a text-heavy one),
// beside pugixml's in-place parser in the same run. Prints "name: value"
// lines; xml_load_mb_per_s and xml_load_vs_pugixml_ratio are the headline
// figures (the property-list document, medians).
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include "xml/LXML.h"

namespace {

constexpr size_t kTargetBytes = 20u << 20;
constexpr int kRuns = 15;

std::string MakePlistLike() {
    std::string s = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
    for (unsigned i = 0; s.size() < kTargetBytes; ++i) {
        s += "\t<key>Setting" + std::to_string(i) + "</key>\n";
        switch (i % 4) {
        case 0: s += "\t<string>Value &amp; more " + std::to_string(i * 7) + "</string>\n"; break;
        case 1: s += "\t<integer>" + std::to_string(i * 31) + "</integer>\n"; break;
        case 2: s += "\t<dict>\n\t\t<key>Enabled</key>\n\t\t<true/>\n\t\t<key>Ratio</key>\n\t\t<real>0.75</real>\n\t</dict>\n"; break;
        default: s += "\t<array>\n\t\t<string>a</string>\n\t\t<string>b</string>\n\t</array>\n"; break;
        }
    }
    return s + "</dict>\n</plist>\n";
}

std::string MakeTextHeavy() {
    const std::string szParagraph =
        "The quick brown fox jumps over the lazy dog; \xC3\xA9t\xC3\xA9 \xE2\x82\xAC 42 &lt;tags&gt; stay text. ";
    std::string s = "<?xml version=\"1.0\"?>\n<book>\n";
    for (unsigned i = 0; s.size() < kTargetBytes; ++i) {
        s += "<chapter n=\"" + std::to_string(i) + "\" title=\"Chapter &quot;" + std::to_string(i) + "&quot;\">\n";
        for (int p = 0; p < 4; ++p) {
            s += "<p>";
            for (int k = 0; k < 12; ++k) {
                s += szParagraph;
            }
            s += "</p>\n";
        }
        s += "</chapter>\n";
    }
    return s + "</book>\n";
}

struct LFigures {
    double fMedian; // MB/s
    double fP99;    // MB/s of the slowest run but one in a hundred (here: the slowest of the runs)
};

template <typename Run>
LFigures Measure(size_t nBytes, Run&& run) {
    std::vector<double> arRates;
    for (int i = 0; i < kRuns; ++i) {
        const double fSeconds = run();
        arRates.push_back(static_cast<double>(nBytes) / (1024.0 * 1024.0) / fSeconds);
    }
    std::sort(arRates.begin(), arRates.end());
    // With 15 runs the 1st percentile of the rate is the slowest run.
    return {arRates[arRates.size() / 2], arRates.front()};
}

double Seconds(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

LFigures BenchOurLoad(const std::string& szText) {
    return Measure(szText.size(), [&] {
        LXMLDocument document;
        char szError[kXMLErrorBufferSize];
        const auto start = std::chrono::steady_clock::now();
        document.LoadFromText(szText.c_str(), szError);
        const double f = Seconds(start);
        if (szError[0] != '\0') {
            std::fprintf(stderr, "unexpected error: %s\n", szError);
        }
        return f;
    });
}

LFigures BenchOurWrite(const std::string& szText) {
    LXMLDocument document;
    char szError[kXMLErrorBufferSize];
    document.LoadFromText(szText.c_str(), szError);
    return Measure(szText.size(), [&] {
        LStringLongTemplate<char> out;
        const auto start = std::chrono::steady_clock::now();
        document.SaveDocumentToBuffer(out);
        return Seconds(start);
    });
}

LFigures BenchPugiLoad(const std::string& szText) {
    return Measure(szText.size(), [&] {
        std::string szCopy = szText; // in-place parsing changes its buffer
        pugi::xml_document document;
        const auto start = std::chrono::steady_clock::now();
        document.load_buffer_inplace(szCopy.data(), szCopy.size());
        return Seconds(start);
    });
}

LFigures BenchPugiWrite(const std::string& szText) {
    pugi::xml_document document;
    document.load_buffer(szText.data(), szText.size());
    return Measure(szText.size(), [&] {
        struct LSink : pugi::xml_writer {
            std::string s;
            void write(const void* p, size_t n) override { s.append(static_cast<const char*>(p), n); }
        } sink;
        const auto start = std::chrono::steady_clock::now();
        document.save(sink, "\t");
        return Seconds(start);
    });
}

void Print(const char* szName, const LFigures& f) {
    std::printf("%s_mb_per_s: %.1f\n%s_p99_mb_per_s: %.1f\n", szName, f.fMedian, szName, f.fP99);
}

} // namespace

int main() {
    const std::string szPlist = MakePlistLike();
    const std::string szText = MakeTextHeavy();
    std::printf("plist_like_bytes: %zu\ntext_heavy_bytes: %zu\nruns: %d\n", szPlist.size(), szText.size(), kRuns);

    const LFigures loadPlist = BenchOurLoad(szPlist);
    const LFigures pugiPlist = BenchPugiLoad(szPlist);
    const LFigures loadText = BenchOurLoad(szText);
    const LFigures pugiText = BenchPugiLoad(szText);
    Print("xml_load_plist", loadPlist);
    Print("pugixml_load_plist", pugiPlist);
    Print("xml_write_plist", BenchOurWrite(szPlist));
    Print("pugixml_write_plist", BenchPugiWrite(szPlist));
    Print("xml_load_text", loadText);
    Print("pugixml_load_text", pugiText);
    Print("xml_write_text", BenchOurWrite(szText));
    Print("pugixml_write_text", BenchPugiWrite(szText));
    std::printf("xml_load_text_vs_pugixml_ratio: %.2f\n", loadText.fMedian / pugiText.fMedian);
    std::printf("xml_load_mb_per_s: %.1f\n", loadPlist.fMedian);
    std::printf("xml_load_vs_pugixml_ratio: %.2f\n", loadPlist.fMedian / pugiPlist.fMedian);
    return 0;
}
