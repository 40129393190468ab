#pragma once
// Shared by the test suites: a private temporary folder per test, and QUILLON_HOME
// pointed into it so that no test touches the real settings folder.

#include <filesystem>
#include <string>

// Creates a fresh folder under the system's temporary folder; removes it on destruction.
class TTempDir {
 public:
  TTempDir();
  ~TTempDir();
  TTempDir(const TTempDir&) = delete;
  TTempDir& operator=(const TTempDir&) = delete;
  const std::filesystem::path& Path() const { return FPath; }
  std::filesystem::path operator/(const std::string& name) const { return FPath / name; }

 private:
  std::filesystem::path FPath;
};

// A TTempDir that also serves as QUILLON_HOME for the lifetime of the object.
class TTempHome : public TTempDir {
 public:
  TTempHome();
  ~TTempHome();

 private:
  std::string FOldHome;
  bool FHadHome = false;
};

std::string ReadFileText(const std::filesystem::path& path);
void WriteFileText(const std::filesystem::path& path, const std::string& text);
