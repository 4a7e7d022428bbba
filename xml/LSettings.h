// LSettings.h: an application's settings, texts addressed by a section and
// a key, in three stores:
// - user settings: the platform's preferences of the application
//   "com.zentalworks.HarluneVADPlugin", current user and current host (on
//   Linux compat keeps them in
//   ${XDG_CONFIG_HOME:-~/.config}/harlune/Preferences/ByHost/);
// - shared settings: "SharedSettings.xml" in the folder "Shared" of the
//   application data folder (application support, on Linux
//   ${XDG_DATA_HOME:-~/.local/share}, joined with "HarluneVADPlugin");
// - hidden user settings: "HarluneVADPlugin.xml" in the data folder's
//   subfolder ".zentalworks".
//
// Settings files are XML documents whose top-level elements are the
// sections; a section's children are its keys, and a key's text is its
// attribute "value". A password field is kept enciphered (LSettingCipher.h)
// under the key "__" followed by the key.
//
// Every operation on a settings file loads the whole file and every change
// saves it whole; nothing is cached. A save opens the file, takes its
// exclusive lock without waiting, and only then truncates it: a save that
// cannot get the lock writes nothing and leaves the file whole (the later
// save wins, the other change is lost). Texts read are cut to 259 bytes at
// a character boundary; out buffers hold 260 bytes.
//
// Thread safety: nothing is locked inside the process; two threads of one
// process changing the same file race like two processes.
#ifndef HARLUNE_XML_LSETTINGS_H
#define HARLUNE_XML_LSETTINGS_H

#include "text/LStringLongTemplate.h"
#include "xml/LXMLDocument.h"

// Application id of the user settings.
inline constexpr const char* kLSettingsApplicationId = "com.zentalworks.HarluneVADPlugin";

// Paths of the application data folder and the two files (260 bytes each;
// empty when no home folder is known). The folders are made when missing.
bool LSettingsGetDataFolder(char* path);
bool LSharedSettingsGetPath(char* path);
bool LUserHiddenSettingsGetPath(char* path);

// --- any settings file ------------------------------------------------------
// Sets the key's text (making the section and key when missing) and saves;
// true when the file was written.
bool LXMLSettingSetString(const char* file, const char* section, const char* key, const char* text);
// The key's text, or `defaultValue` when the section, the key or its value
// is missing; true when the value was there.
bool LXMLSettingGetString(const char* file, const char* section, const char* key, const char* defaultValue,
                          char* out);
bool LXMLSettingSetPassword(const char* file, const char* section, const char* key, const char* text);
// The deciphered password, or "" when missing (the default has no effect,
// as for every password field).
bool LXMLSettingGetPassword(const char* file, const char* section, const char* key, const char* defaultValue,
                            char* out);
// The file as a document (emptied first; a missing or unreadable file gives
// an empty document), and the document written back under the lock.
void LXMLSettingsLoad(const char* file, LXMLDocument& document);
bool LXMLSettingsSave(const char* file, const LXMLDocument& document);

// --- shared settings --------------------------------------------------------
void LSharedSettingsLoad(LXMLDocument& document);
bool LSharedSettingsSave(const LXMLDocument& document);
bool LSharedSettingSetString(const char* section, const char* key, const char* text);
bool _LSharedSettingGetString(const char* section, const char* key, const char* defaultValue, char* out);
bool LSharedSettingSetPassword(const char* section, const char* key, const char* text);
bool LSharedSettingGetPassword(const char* section, const char* key, const char* defaultValue, char* out);

// --- hidden user settings ---------------------------------------------------
bool LUserHiddenSettingSetString(const char* section, const char* key, const char* text);
bool _LUserHiddenSettingGetString(const char* section, const char* key, const char* defaultValue, char* out);
bool LUserHiddenSettingSetPassword(const char* section, const char* key, const char* text);
bool LUserHiddenSettingGetPassword(const char* section, const char* key, const char* defaultValue, char* out);

#endif
