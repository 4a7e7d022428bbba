// The percent encoding against a slow reference model: the whole text
// encoded without a limit, then cut at 8193 characters.
#include "diagnostics/LBugReport.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

std::string Reference(const std::string& szText) {
    std::string szOut;
    for (unsigned char c : szText) {
        if (isalnum(c) && c < 128) {
            szOut += static_cast<char>(c);
        } else if (c == '!' || c == '-' || c == '.' || c == '_' || c == '~') {
            szOut += static_cast<char>(c);
        } else {
            char sz[4];
            snprintf(sz, sizeof sz, "%%%02X", c);
            szOut += sz;
        }
    }
    return szOut.substr(0, kLBugReportTextMax);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    std::string szText(reinterpret_cast<const char*>(pData), nSize);
    szText = szText.substr(0, szText.find('\0')); // a C text ends at its first zero
    auto szOut = std::make_unique<char[]>(kLBugReportTextMax + 1);
    const size_t nLength = LDebugPercentEncode(szOut.get(), szText.c_str());
    const std::string szExpected = Reference(szText);
    if (nLength != szExpected.size() || szExpected != szOut.get()) abort();
    return 0;
}
