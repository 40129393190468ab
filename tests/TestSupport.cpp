#include "TestSupport.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

TTempDir::TTempDir() {
  std::random_device rd;
  for (int attempt = 0; attempt < 100; ++attempt) {
    fs::path candidate = fs::temp_directory_path() / ("quillon-test-" + std::to_string(rd()));
    if (fs::create_directory(candidate)) {
      FPath = candidate;
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary folder");
}

TTempDir::~TTempDir() {
  std::error_code ec;
  fs::permissions(FPath, fs::perms::owner_all, fs::perm_options::add, ec);
  fs::remove_all(FPath, ec);
}

TTempHome::TTempHome() {
  if (const char* old = std::getenv("QUILLON_HOME")) {
    FOldHome = old;
    FHadHome = true;
  }
  setenv("QUILLON_HOME", (Path() / "home").c_str(), 1);
}

TTempHome::~TTempHome() {
  if (FHadHome)
    setenv("QUILLON_HOME", FOldHome.c_str(), 1);
  else
    unsetenv("QUILLON_HOME");
}

std::string ReadFileText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteFileText(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
}
