#include "uKwRegFolders.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <vector>

namespace fs = std::filesystem;

namespace {

const char kRegistryFilename[] = "registry.ini";
const char kPersistentDataFolderKey[] = "PersistentDataFolder";

std::string WithTrailingSlash(std::string path) {
  if (path.empty() || path.back() != '/') path += '/';
  return path;
}

std::string EnvironmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::string(value) : std::string();
}

std::string HomeFolder() {
  std::string home = EnvironmentValue("HOME");
  if (!home.empty()) return home;
  struct passwd entry {};
  struct passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_dir)
    return found->pw_dir;
  return {};
}

// XDG's base folder for user data. A relative $XDG_DATA_HOME is invalid by the XDG rules
// and ignored. Without any home the system temp folder keeps the engine working.
std::string UserDataFolder() {
  std::string xdg = EnvironmentValue("XDG_DATA_HOME");
  if (!xdg.empty() && xdg.front() == '/') return xdg;
  std::string home = HomeFolder();
  if (!home.empty()) return WithTrailingSlash(home) + ".local/share";
  std::error_code ec;
  return fs::temp_directory_path(ec).string();
}

std::string EnsureFolder(const std::string& folder) {
  std::error_code ec;
  fs::create_directories(fs::path(folder), ec);
  return folder;
}

std::string CommonSubFolder(const char* name) {
  return EnsureFolder(GetCommonSettingsFolder() + name + "/");
}

std::string PersistentSubFolder(const char* name) {
  return EnsureFolder(GetPersistentDataFolder() + name + "/");
}

// The folder is ours when it is a real directory (not a link to one) owned by the
// effective user; only then are files in it safe from other users.
bool IsOwnPrivateFolder(std::string folder) {
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();  // or lstat follows links
  struct stat info {};
  if (lstat(folder.c_str(), &info) != 0) return false;
  return S_ISDIR(info.st_mode) && info.st_uid == geteuid();
}

std::string MakeFallbackTempFolder(const std::string& systemTemp) {
  static std::mutex guard;
  static std::string fallback;
  std::lock_guard<std::mutex> lock(guard);
  if (!fallback.empty() && IsOwnPrivateFolder(fallback)) return fallback;
  std::string pattern =
      WithTrailingSlash(systemTemp) + "Quillon-" + std::to_string(geteuid()) + "-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  if (mkdtemp(name.data()) == nullptr) return {};
  fallback = WithTrailingSlash(name.data());
  return fallback;
}

// ---- registry.ini ----

std::mutex& RegistryMutex() {
  static std::mutex mutex;
  return mutex;
}

bool KeysEqual(std::string_view a, std::string_view b) {
  auto lower = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [&](char x, char y) { return lower(x) == lower(y); });
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// Lines without their line breaks; a file edited on Windows keeps working.
std::vector<std::string> ReadRegistryLines() {
  std::vector<std::string> lines;
  std::ifstream in(GetRegistryFilename(), std::ios::binary);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

bool LineHasKey(const std::string& line, std::string_view key) {
  size_t equals = line.find('=');
  return equals != std::string::npos &&
         KeysEqual(TrimBlanks(std::string_view(line).substr(0, equals)), key);
}

bool WriteRegistryLines(const std::vector<std::string>& lines) {
  std::string target = GetRegistryFilename();
  std::string scratch = target + ".new";
  {
    std::ofstream out(scratch, std::ios::binary | std::ios::trunc);
    for (const std::string& line : lines) out << line << '\n';
    out.flush();
    if (!out) return false;
  }
  std::error_code ec;
  fs::rename(scratch, target, ec);
  if (!ec) return true;
  fs::remove(scratch, ec);
  return false;
}

bool IsValidKey(std::string_view key) {
  return !TrimBlanks(key).empty() && key.find_first_of("=\r\n") == std::string_view::npos;
}

}  // namespace

std::string GetSettingsFolder() {
  std::string home = EnvironmentValue("QUILLON_HOME");
  if (!home.empty()) return WithTrailingSlash(home);
  return WithTrailingSlash(UserDataFolder()) + "Quillon Desktop/";
}

std::string GetCommonSettingsFolder() { return EnsureFolder(GetSettingsFolder() + "Common/"); }

std::string GetExtractLogsFolder() { return CommonSubFolder("Logs"); }
std::string GetSourceLogsFolder() { return CommonSubFolder("SourceLogs"); }
std::string GetTargetsFolder() { return CommonSubFolder("Targets"); }

std::string GetPersistentDataFolder() {
  std::string folder;
  if (RegistryReadString(kPersistentDataFolderKey, folder) && !folder.empty())
    return EnsureFolder(WithTrailingSlash(folder));
  return GetCommonSettingsFolder();
}

std::string GetEmailCacheFolder() { return PersistentSubFolder("EmailCache"); }
std::string GetLocalStorageFolder() { return PersistentSubFolder("LocalStorage"); }
std::string GetImagesCacheFolder() { return PersistentSubFolder("ImagesCache"); }
std::string GetThumbnailsFolder() { return PersistentSubFolder("Thumbnails"); }
std::string GetCacheFolder() { return PersistentSubFolder("Cache"); }

std::string GetTempFolder() {
  std::error_code ec;
  std::string systemTemp = fs::temp_directory_path(ec).string();
  if (ec || systemTemp.empty()) systemTemp = "/tmp";
  std::string folder = WithTrailingSlash(systemTemp) + "Quillon-" + std::to_string(geteuid()) + "/";
  mkdir(folder.c_str(), 0700);  // an existing folder is checked below
  if (IsOwnPrivateFolder(folder)) return folder;
  return MakeFallbackTempFolder(systemTemp);
}

std::string GetRegistryFilename() { return GetCommonSettingsFolder() + kRegistryFilename; }

bool RegistryReadString(std::string_view key, std::string& value) {
  std::lock_guard<std::mutex> lock(RegistryMutex());
  for (const std::string& line : ReadRegistryLines()) {
    if (LineHasKey(line, key)) {
      value = line.substr(line.find('=') + 1);
      return true;
    }
  }
  return false;
}

bool RegistryWriteString(std::string_view key, std::string_view value) {
  if (!IsValidKey(key) || value.find_first_of("\r\n") != std::string_view::npos) return false;
  std::lock_guard<std::mutex> lock(RegistryMutex());
  std::vector<std::string> lines = ReadRegistryLines();
  std::string newLine = std::string(TrimBlanks(key)) + "=" + std::string(value);
  auto found = std::find_if(lines.begin(), lines.end(),
                            [&](const std::string& line) { return LineHasKey(line, key); });
  if (found == lines.end()) {
    lines.push_back(newLine);
  } else {
    *found = newLine;
    // Later lines of the same key would never be read again; drop them.
    lines.erase(std::remove_if(found + 1, lines.end(),
                               [&](const std::string& line) { return LineHasKey(line, key); }),
                lines.end());
  }
  return WriteRegistryLines(lines);
}

bool RegistryReadBool(std::string_view key, bool defaultValue) {
  std::string value;
  if (!RegistryReadString(key, value)) return defaultValue;
  std::string_view text = TrimBlanks(value);
  return text == "1" || KeysEqual(text, "true") || KeysEqual(text, "yes");
}

bool RegistryWriteBool(std::string_view key, bool value) {
  return RegistryWriteString(key, value ? "1" : "0");
}

bool RegistryDeleteValue(std::string_view key) {
  std::lock_guard<std::mutex> lock(RegistryMutex());
  std::vector<std::string> lines = ReadRegistryLines();
  auto kept = std::remove_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return LineHasKey(line, key); });
  if (kept == lines.end()) return true;
  lines.erase(kept, lines.end());
  return WriteRegistryLines(lines);
}
