#pragma once
// Where the engine keeps its working data, and the per-user settings it reads from the
// registry stand-in. Every folder is returned as a UTF-8 path ending in "/" and is created
// on demand; a folder that cannot be created is still returned (the caller's own file
// operation then fails and reports it). Nothing here throws. Safe from any thread.
//
// Settings folder: $QUILLON_HOME when set, else $XDG_DATA_HOME (default ~/.local/share)
// followed by "Quillon Desktop". Everything else lives below it, in "Common/", except the
// bulky data folders, which follow the user's persistent data folder (see below).

#include <string>
#include <string_view>

// ---- Settings and log folders ----
std::string GetSettingsFolder();        // not created here; GetCommonSettingsFolder creates it
std::string GetCommonSettingsFolder();  // settings folder + "Common/", created with its parents
std::string GetExtractLogsFolder();     // common settings folder + "Logs/"
std::string GetSourceLogsFolder();      // common settings folder + "SourceLogs/"

// ---- Data folders ----
// The registry value "PersistentDataFolder" lets the user move the bulky, regenerable
// message data (cached and stored messages, downloaded images, thumbnails, scratch caches)
// to a disk of their choosing; when absent or empty it is the common settings folder.
// "Targets/" holds saved target profiles, which are configuration like the jobs and logs,
// and so stays with the settings whatever the user picks.
std::string GetPersistentDataFolder();  // the base of the five folders below
std::string GetEmailCacheFolder();      // persistent data folder + "EmailCache/"
std::string GetLocalStorageFolder();    // persistent data folder + "LocalStorage/"
std::string GetImagesCacheFolder();     // persistent data folder + "ImagesCache/"
std::string GetThumbnailsFolder();      // persistent data folder + "Thumbnails/"
std::string GetCacheFolder();           // persistent data folder + "Cache/"
std::string GetTargetsFolder();         // common settings folder + "Targets/"

// The engine's scratch folder: <system temp>/Quillon-<uid>/, private to the user (0700).
// When that name is taken by something we do not own (another user, a symbolic link), a
// fresh private folder is made instead and kept for the life of the process.
// Returns "" only when no temporary folder can be created at all.
std::string GetTempFolder();

// ---- Registry stand-in ----
// The file "registry.ini" in the common settings folder, one "key=value" line per value.
// Keys are matched without regard to ASCII case (as registry value names are); the value
// is everything after the first "=", so it may itself hold "=". A missing file or key reads
// as absent. Lines that are not ours (comments, other keys) are kept by writes.
// Writes replace the file atomically; concurrent writers in one process are serialised,
// writers in different processes are not.
std::string GetRegistryFilename();
bool RegistryReadString(std::string_view key, std::string& value);  // false when absent
// False when the key is empty or holds "=" or a line break, the value holds a line break,
// or the file cannot be written.
bool RegistryWriteString(std::string_view key, std::string_view value);
// "1", "true" and "yes" (any case) read as true, any other present value as false.
bool RegistryReadBool(std::string_view key, bool defaultValue = false);
bool RegistryWriteBool(std::string_view key, bool value);  // written as "1" or "0"
bool RegistryDeleteValue(std::string_view key);            // true also when it was absent
