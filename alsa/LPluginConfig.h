// LPluginConfig.h: the settings of a "harlune" PCM or control as ALSA's
// configuration gives them:
//
//   pcm.harlune {
//       type harlune
//       bundle "/path/HarluneVirtualAudioDevice.driver"   # optional
//       rate 48000                                        # optional: 44100 or 48000
//       link_wait_ms 500                                  # optional
//       storage "/path/to/storage/folder"                 # optional
//   }
//
// The bundle is, in this order: the "bundle" setting, $HARLUNE_BUNDLE, or
// HarluneVirtualAudioDevice.driver in the folder above the one holding the
// plug-in module (the build's layout, build/alsa/ beside build/). Without
// "rate" the PCM offers both of the device's rates and switches the device
// to the one the application picks. Pure apart from reading the
// environment and the module's own path; thread-safe.
#ifndef HARLUNE_ALSA_LPLUGINCONFIG_H
#define HARLUNE_ALSA_LPLUGINCONFIG_H

#include <alsa/asoundlib.h>

#include <chrono>
#include <string>

namespace harlune::alsa {

struct LPluginConfig {
    std::string szBundlePath;
    std::string szStorageFolder;       // empty: the host's default
    unsigned int nRate = 0;            // 0: either of the device's rates
    std::chrono::milliseconds linkWait{500};
};

// Reads conf (the PCM's or control's node) into *pConfig. Returns 0, or
// -EINVAL with *pszError naming the offending setting.
int LReadPluginConfig(snd_config_t* conf, LPluginConfig* pConfig, std::string* pszError);

// The bundle path used when the configuration names none.
std::string LDefaultBundlePath();

class LDeviceBridge;

// What opening the PCM or the control starts with: reads conf and acquires
// the process's bridge. Null with *pnError set (and the reason sent to
// ALSA's error log, naming the bundle path when it cannot be loaded);
// *pConfig holds the settings read.
LDeviceBridge* LAcquireConfiguredBridge(snd_config_t* conf, LPluginConfig* pConfig, int* pnError);

} // namespace harlune::alsa

#endif
