#include "tools/harlune/BundleLocation.h"

#include <cstdlib>
#include <unistd.h>

namespace harlune::tools {

std::string LDefaultBundlePath() {
    if (const char* szEnv = std::getenv("HARLUNE_BUNDLE"); szEnv != nullptr && szEnv[0] != '\0') {
        return szEnv;
    }
    char szExe[4096] = {0};
    const ssize_t n = readlink("/proc/self/exe", szExe, sizeof szExe - 1);
    std::string szPath = n > 0 ? std::string(szExe, static_cast<std::size_t>(n)) : std::string("./harlune");
    // build/bin/harlune -> build/HarluneVirtualAudioDevice.driver
    for (int i = 0; i < 2; ++i) {
        const std::size_t nSlash = szPath.rfind('/');
        szPath = nSlash == std::string::npos ? std::string(".") : szPath.substr(0, nSlash);
    }
    return szPath + "/HarluneVirtualAudioDevice.driver";
}

} // namespace harlune::tools
