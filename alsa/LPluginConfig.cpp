#include "alsa/LPluginConfig.h"

#include "alsa/LDeviceBridge.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace harlune::alsa {
namespace {

std::string ParentFolder(const std::string& szPath) {
    const std::size_t nSlash = szPath.rfind('/');
    return nSlash == std::string::npos ? std::string(".") : szPath.substr(0, nSlash);
}

int Invalid(const char* szId, const char* szWhy, std::string* pszError) {
    if (pszError != nullptr) {
        *pszError = std::string("invalid setting '") + szId + "': " + szWhy;
    }
    return -EINVAL;
}

} // namespace

std::string LDefaultBundlePath() {
    if (const char* szEnv = std::getenv("HARLUNE_BUNDLE"); szEnv != nullptr && szEnv[0] != '\0') {
        return szEnv;
    }
    Dl_info info = {};
    if (dladdr(reinterpret_cast<void*>(&LDefaultBundlePath), &info) != 0 && info.dli_fname != nullptr) {
        return ParentFolder(ParentFolder(info.dli_fname)) + "/HarluneVirtualAudioDevice.driver";
    }
    return "HarluneVirtualAudioDevice.driver";
}

int LReadPluginConfig(snd_config_t* conf, LPluginConfig* pConfig, std::string* pszError) {
    if (pConfig == nullptr) {
        return -EINVAL;
    }
    bool bBundleGiven = false;
    snd_config_iterator_t i, next;
    snd_config_for_each(i, next, conf) {
        snd_config_t* pNode = snd_config_iterator_entry(i);
        const char* szId = nullptr;
        if (snd_config_get_id(pNode, &szId) < 0 || szId == nullptr) {
            continue;
        }
        if (std::strcmp(szId, "comment") == 0 || std::strcmp(szId, "type") == 0 || std::strcmp(szId, "hint") == 0) {
            continue;
        }
        if (std::strcmp(szId, "bundle") == 0 || std::strcmp(szId, "storage") == 0) {
            const char* szValue = nullptr;
            if (snd_config_get_string(pNode, &szValue) < 0 || szValue == nullptr || szValue[0] == '\0') {
                return Invalid(szId, "expected a path", pszError);
            }
            if (szId[0] == 'b') {
                pConfig->szBundlePath = szValue;
                bBundleGiven = true;
            } else {
                pConfig->szStorageFolder = szValue;
            }
        } else if (std::strcmp(szId, "rate") == 0) {
            long nValue = 0;
            if (snd_config_get_integer(pNode, &nValue) < 0 || (nValue != 44100 && nValue != 48000)) {
                return Invalid(szId, "the device runs at 44100 or 48000", pszError);
            }
            pConfig->nRate = static_cast<unsigned int>(nValue);
        } else if (std::strcmp(szId, "link_wait_ms") == 0) {
            long nValue = 0;
            if (snd_config_get_integer(pNode, &nValue) < 0 || nValue < 0 || nValue > 60000) {
                return Invalid(szId, "expected milliseconds from 0 to 60000", pszError);
            }
            pConfig->linkWait = std::chrono::milliseconds(nValue);
        } else {
            return Invalid(szId, "unknown setting", pszError);
        }
    }
    if (!bBundleGiven) {
        pConfig->szBundlePath = LDefaultBundlePath();
    }
    return 0;
}

LDeviceBridge* LAcquireConfiguredBridge(snd_config_t* conf, LPluginConfig* pConfig, int* pnError) {
    std::string szError;
    const int nError = LReadPluginConfig(conf, pConfig, &szError);
    if (nError < 0) {
        SNDERR("harlune: %s", szError.c_str());
        *pnError = nError;
        return nullptr;
    }
    LBridgeOptions options;
    options.szBundlePath = pConfig->szBundlePath;
    options.szStorageFolder = pConfig->szStorageFolder;
    options.linkWait = pConfig->linkWait;
    LDeviceBridge* pBridge = LDeviceBridge::Acquire(options, &szError);
    if (pBridge == nullptr) {
        SNDERR("harlune: %s", szError.c_str());
        *pnError = -ENOENT;
    }
    return pBridge;
}

} // namespace harlune::alsa
