// LHostStorage.h: the audio server's persistent storage for one plug-in.
//
// One XML property-list file per plug-in, named after the bundle identifier,
// in a storage folder (by default $XDG_STATE_HOME/harlune/plugins, or
// ~/.local/state/harlune/plugins). The whole dictionary is kept in memory and
// written back atomically (temporary file and rename) after every change, so
// a crash never leaves a half-written file.
//
// A file that cannot be read as a property-list dictionary is reported once
// through LastWarning() and treated as empty; it is only replaced when the
// plug-in writes a value. Thread-safe: every member takes the storage's lock.
#ifndef HARLUNE_HOST_LHOSTSTORAGE_H
#define HARLUNE_HOST_LHOSTSTORAGE_H

#include <CoreFoundation/CoreFoundation.h>

#include <mutex>
#include <string>

namespace harlune::host {

class LHostStorage {
public:
    // Opens the storage of szPlugInID in szFolder (empty: the default folder).
    LHostStorage(const std::string& szFolder, const std::string& szPlugInID);
    ~LHostStorage();
    LHostStorage(const LHostStorage&) = delete;
    LHostStorage& operator=(const LHostStorage&) = delete;

    // A copy of the value under key (caller releases), or null.
    CFPropertyListRef Copy(CFStringRef key);
    // Stores value under key and writes the file; false when the value is
    // not a property list or the file cannot be written (the value is still
    // kept in memory for this run).
    bool Write(CFStringRef key, CFPropertyListRef value);
    // Removes key and writes the file; false when the file cannot be written.
    bool Delete(CFStringRef key);

    // The storage file's path.
    const std::string& Path() const { return m_szPath; }
    // The last problem met reading or writing the file; empty when none.
    std::string LastWarning();

    // The default storage folder for the current user.
    static std::string DefaultFolder();

private:
    bool Save(); // caller holds m_mtx

    std::mutex m_mtx;
    std::string m_szPath;                   // the property-list file
    CFMutableDictionaryRef m_values;        // the stored values, owned
    std::string m_szWarning;                // last read or write problem
};

} // namespace harlune::host

#endif
