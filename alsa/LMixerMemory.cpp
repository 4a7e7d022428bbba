#include "alsa/LMixerMemory.h"

#include "host/LHostStorage.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace harlune::alsa {
namespace {

// Makes szFolder and its parents (mode 0700, as the host's storage).
void MakeFolders(const std::string& szFolder) {
    for (std::size_t n = 1; n <= szFolder.size(); ++n) {
        if (n == szFolder.size() || szFolder[n] == '/') {
            mkdir(szFolder.substr(0, n).c_str(), 0700);
        }
    }
}

} // namespace

bool LParseMixerState(const std::string& szText, LMixerState* pState) {
    if (pState == nullptr) {
        return false;
    }
    std::istringstream in(szText);
    std::string szLine;
    bool bHaveVolume = false, bHaveMute = false;
    LMixerState state;
    while (std::getline(in, szLine)) {
        char* pEnd = nullptr;
        if (szLine.rfind("volume ", 0) == 0) {
            const double f = std::strtod(szLine.c_str() + 7, &pEnd);
            if (pEnd == szLine.c_str() + 7 || *pEnd != '\0' || !(f >= 0.0 && f <= 1.0)) {
                return false;
            }
            state.fVolume = static_cast<float>(f);
            bHaveVolume = true;
        } else if (szLine == "mute 0" || szLine == "mute 1") {
            state.bMute = szLine[5] == '1';
            bHaveMute = true;
        } else if (!szLine.empty()) {
            return false;
        }
    }
    if (!bHaveVolume || !bHaveMute) {
        return false;
    }
    *pState = state;
    return true;
}

std::string LFormatMixerState(const LMixerState& state) {
    char sz[64];
    std::snprintf(sz, sizeof sz, "volume %.6f\nmute %d\n", static_cast<double>(state.fVolume), state.bMute ? 1 : 0);
    return sz;
}

std::string LMixerStatePath(const std::string& szFolder) {
    return (szFolder.empty() ? host::LHostStorage::DefaultFolder() : szFolder) + "/harlune-alsa-mixer";
}

bool LLoadMixerState(const std::string& szPath, LMixerState* pState) {
    std::ifstream in(szPath);
    if (!in) {
        return false;
    }
    std::stringstream text;
    text << in.rdbuf();
    return LParseMixerState(text.str(), pState);
}

bool LSaveMixerState(const std::string& szPath, const LMixerState& state) {
    const std::size_t nSlash = szPath.rfind('/');
    if (nSlash != std::string::npos && nSlash > 0) {
        MakeFolders(szPath.substr(0, nSlash));
    }
    const std::string szTemp = szPath + ".tmp." + std::to_string(getpid());
    {
        std::ofstream out(szTemp, std::ios::trunc);
        out << LFormatMixerState(state);
        if (!out.flush()) {
            unlink(szTemp.c_str());
            return false;
        }
    }
    if (rename(szTemp.c_str(), szPath.c_str()) != 0) {
        unlink(szTemp.c_str());
        return false;
    }
    return true;
}

} // namespace harlune::alsa
