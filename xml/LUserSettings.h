// LUserSettings.h: the user settings store, on the platform's preferences
// of the application kLSettingsApplicationId for the current user and the
// current host. A setting's preference key is the section and the key
// joined by "/" (or joined directly when the section already ends with
// "/"), at most 519 characters. Every set is written through at once
// (synchronised). A preference value that is not a string reads as absent.
//
// On Linux the preferences are compat's: one property list per application
// under ${XDG_CONFIG_HOME:-~/.config}/harlune/Preferences/ByHost/.
//
// Thread safety: as the preferences functions: any thread.
#ifndef HARLUNE_XML_LUSERSETTINGS_H
#define HARLUNE_XML_LUSERSETTINGS_H

#include "text/LStringLongTemplate.h"

// False when an argument is null or the preferences could not be written.
bool LUserSettingSetString(const char* section, const char* key, const char* text);
// The text cut to 259 bytes at a character boundary (out: 260 bytes), or
// `defaultValue` (cut the same way); true when the setting exists.
bool _LUserSettingGetString(const char* section, const char* key, const char* defaultValue, char* out);
// The whole text, or `defaultValue`.
bool _LUserSettingGetString(const char* section, const char* key, const char* defaultValue,
                            LStringLongTemplate<char>& out);
bool LUserSettingSetPassword(const char* section, const char* key, const char* text);
// The deciphered password, or "" when missing (the default has no effect).
bool LUserSettingGetPassword(const char* section, const char* key, const char* defaultValue, char* out);

#endif
