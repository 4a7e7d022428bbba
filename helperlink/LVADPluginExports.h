// LVADPluginExports.h: the helper client's operations as plain C functions,
// exported from the bundle for other code loaded into the same process.
// Nothing inside the bundle calls them. Each gets the singleton and, when
// there is one, calls the matching member; the promises of
// LVADPluginXPCClient hold for them too.
#ifndef HARLUNE_HELPERLINK_LVADPLUGINEXPORTS_H
#define HARLUNE_HELPERLINK_LVADPLUGINEXPORTS_H

#define LVAD_EXPORT __attribute__((visibility("default")))

extern "C" {
LVAD_EXPORT void LVADPluginConnectToXPCService();
LVAD_EXPORT void LVADPluginConnectToApp();
// False when there is no singleton.
LVAD_EXPORT bool LVADServerIsConnectionValid();
// A null data pointer or a negative count sends nothing.
LVAD_EXPORT void LVADSendAudioData(void* data, int byteCount);
LVAD_EXPORT void LVADSendVolumeChanged(double volume);
}

#endif
