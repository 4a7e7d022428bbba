// The "harlune" ALSA control: the device's output volume and mute as the
// mixer elements "Master Playback Volume" (0 to 100, the volume scalar in
// percent) and "Master Playback Switch" (on when not muted), so that
// `amixer -D harlune set Master 50%` and applications' volume sliders set
// the device's volume control. The driver tells the recording application
// of every change, as it does for the audio server.
//
// Opening the control loads the driver bundle into the process (the same
// LDeviceBridge a PCM of the process uses). Threads: ALSA calls the
// callbacks on the application's thread; the bridge serialises.
#include "alsa/LDeviceBridge.h"
#include "alsa/LPluginConfig.h"

#include <alsa/asoundlib.h>
#include <alsa/control_external.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <new>
#include <thread>

namespace harlune::alsa {
namespace {

enum : snd_ctl_ext_key_t { kVolumeKey = 0, kSwitchKey = 1, kElementCount = 2 };
constexpr const char* kVolumeName = "Master Playback Volume";
constexpr const char* kSwitchName = "Master Playback Switch";
// The driver's sends are queued, never waited for; a short-lived mixer
// program that changed the volume gives the last message this long to
// leave before the process goes away.
constexpr auto kSendGrace = std::chrono::milliseconds(250);

struct LHarluneCtl {
    snd_ctl_ext_t ext;
    LDeviceBridge* pBridge = nullptr;
    bool bChanged = false; // a value was written through this control
};

LHarluneCtl* From(snd_ctl_ext_t* pExt) { return static_cast<LHarluneCtl*>(pExt->private_data); }

void Close(snd_ctl_ext_t* pExt) {
    LHarluneCtl* pCtl = From(pExt);
    if (pCtl->bChanged && pCtl->pBridge->IsLinked()) {
        std::this_thread::sleep_for(kSendGrace);
    }
    delete pCtl;
}

int ElemCount(snd_ctl_ext_t*) { return kElementCount; }

int ElemList(snd_ctl_ext_t*, unsigned int nOffset, snd_ctl_elem_id_t* pId) {
    if (nOffset >= kElementCount) {
        return -EINVAL;
    }
    snd_ctl_elem_id_set_interface(pId, SND_CTL_ELEM_IFACE_MIXER);
    snd_ctl_elem_id_set_name(pId, nOffset == kVolumeKey ? kVolumeName : kSwitchName);
    return 0;
}

snd_ctl_ext_key_t FindElem(snd_ctl_ext_t*, const snd_ctl_elem_id_t* pId) {
    const char* szName = snd_ctl_elem_id_get_name(pId);
    if (szName == nullptr || snd_ctl_elem_id_get_index(pId) != 0) {
        return SND_CTL_EXT_KEY_NOT_FOUND;
    }
    if (std::strcmp(szName, kVolumeName) == 0) {
        return kVolumeKey;
    }
    if (std::strcmp(szName, kSwitchName) == 0) {
        return kSwitchKey;
    }
    return SND_CTL_EXT_KEY_NOT_FOUND;
}

int GetAttribute(snd_ctl_ext_t*, snd_ctl_ext_key_t key, int* pnType, unsigned int* pnAccess, unsigned int* pnCount) {
    if (key >= kElementCount) {
        return -EINVAL;
    }
    *pnType = key == kVolumeKey ? SND_CTL_ELEM_TYPE_INTEGER : SND_CTL_ELEM_TYPE_BOOLEAN;
    *pnAccess = SND_CTL_EXT_ACCESS_READWRITE;
    *pnCount = 1;
    return 0;
}

int GetIntegerInfo(snd_ctl_ext_t*, snd_ctl_ext_key_t key, long* pnMin, long* pnMax, long* pnStep) {
    if (key != kVolumeKey) {
        return -EINVAL;
    }
    *pnMin = 0;
    *pnMax = 100;
    *pnStep = 1;
    return 0;
}

int ReadInteger(snd_ctl_ext_t* pExt, snd_ctl_ext_key_t key, long* pnValue) {
    LHarluneCtl* pCtl = From(pExt);
    if (key == kVolumeKey) {
        float fScalar = 0.0f;
        if (!pCtl->pBridge->Volume(&fScalar)) {
            return -EIO;
        }
        *pnValue = std::lround(fScalar * 100.0f);
        return 0;
    }
    if (key == kSwitchKey) {
        bool bMute = false;
        if (!pCtl->pBridge->Mute(&bMute)) {
            return -EIO;
        }
        *pnValue = bMute ? 0 : 1;
        return 0;
    }
    return -EINVAL;
}

// Returns 1 when the value changed, 0 when it was already so (ALSA's rule).
int WriteInteger(snd_ctl_ext_t* pExt, snd_ctl_ext_key_t key, long* pnValue) {
    LHarluneCtl* pCtl = From(pExt);
    long nOld = 0;
    int nError = ReadInteger(pExt, key, &nOld);
    if (nError < 0) {
        return nError;
    }
    const long nNew = *pnValue;
    if (key == kVolumeKey) {
        if (nNew < 0 || nNew > 100) {
            return -EINVAL;
        }
        if (nNew == nOld) {
            return 0;
        }
        if (!pCtl->pBridge->SetVolume(static_cast<float>(nNew) / 100.0f)) {
            return -EIO;
        }
    } else {
        if (nNew != 0 && nNew != 1) {
            return -EINVAL;
        }
        if (nNew == nOld) {
            return 0;
        }
        if (!pCtl->pBridge->SetMute(nNew == 0)) {
            return -EIO;
        }
    }
    pCtl->bChanged = true;
    return 1;
}

void SubscribeEvents(snd_ctl_ext_t*, int) {}

int ReadEvent(snd_ctl_ext_t*, snd_ctl_elem_id_t*, unsigned int*) {
    // Changes made by other processes are not announced to this one.
    return -EAGAIN;
}

const snd_ctl_ext_callback_t kCallbacks = {
    .close = Close,
    .elem_count = ElemCount,
    .elem_list = ElemList,
    .find_elem = FindElem,
    .free_key = nullptr,
    .get_attribute = GetAttribute,
    .get_integer_info = GetIntegerInfo,
    .get_integer64_info = nullptr,
    .get_enumerated_info = nullptr,
    .get_enumerated_name = nullptr,
    .read_integer = ReadInteger,
    .read_integer64 = nullptr,
    .read_enumerated = nullptr,
    .read_bytes = nullptr,
    .read_iec958 = nullptr,
    .write_integer = WriteInteger,
    .write_integer64 = nullptr,
    .write_enumerated = nullptr,
    .write_bytes = nullptr,
    .write_iec958 = nullptr,
    .subscribe_events = SubscribeEvents,
    .read_event = ReadEvent,
    .poll_descriptors_count = nullptr,
    .poll_descriptors = nullptr,
    .poll_revents = nullptr,
};

void CopyName(char* szDest, std::size_t nSize, const char* szSource) {
    std::strncpy(szDest, szSource, nSize - 1);
    szDest[nSize - 1] = '\0';
}

} // namespace
} // namespace harlune::alsa

using harlune::alsa::LHarluneCtl;

#pragma GCC visibility push(default)
extern "C" SND_CTL_PLUGIN_DEFINE_FUNC(harlune) {
    harlune::alsa::LPluginConfig config;
    int nError = 0;
    harlune::alsa::LDeviceBridge* pBridge = harlune::alsa::LAcquireConfiguredBridge(conf, &config, &nError);
    if (pBridge == nullptr) {
        return nError;
    }
    auto* pCtl = new (std::nothrow) LHarluneCtl();
    if (pCtl == nullptr) {
        return -ENOMEM;
    }
    pCtl->pBridge = pBridge;
    snd_ctl_ext_t* pExt = &pCtl->ext;
    pExt->version = SND_CTL_EXT_VERSION;
    pExt->card_idx = 0;
    harlune::alsa::CopyName(pExt->id, sizeof pExt->id, "Harlune");
    harlune::alsa::CopyName(pExt->driver, sizeof pExt->driver, "harlune");
    harlune::alsa::CopyName(pExt->name, sizeof pExt->name, "Harlune Virtual Device");
    harlune::alsa::CopyName(pExt->longname, sizeof pExt->longname, "Harlune Virtual Device");
    harlune::alsa::CopyName(pExt->mixername, sizeof pExt->mixername, "Harlune Virtual Device");
    pExt->poll_fd = -1;
    pExt->callback = &harlune::alsa::kCallbacks;
    pExt->private_data = pCtl;
    nError = snd_ctl_ext_create(pExt, name, mode);
    if (nError < 0) {
        delete pCtl;
        return nError;
    }
    *handlep = pExt->handle;
    return 0;
}

extern "C" {
SND_CTL_PLUGIN_SYMBOL(harlune)
}
#pragma GCC visibility pop
