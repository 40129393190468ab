#include "uKwSevenZip.h"

#include <filesystem>
#include <fstream>

#include "uKwProcess.h"

namespace {

std::string LastLines(const std::string& output) {
  std::string text = output;
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) text.pop_back();
  const size_t from = text.size() > 300 ? text.size() - 300 : 0;
  std::string tail = text.substr(from);
  for (char& c : tail)
    if (c == '\n' || c == '\r') c = ' ';
  return tail;
}

bool PasswordUsable(std::string_view password, std::string& error) {
  if (password.empty() || password.find_first_of("\r\n") != std::string_view::npos ||
      password.find('\0') != std::string_view::npos) {
    error = "A 7z password must be one line of text";
    return false;
  }
  return true;
}

}  // namespace

bool SevenZipCompressWithPassword(const std::vector<std::string>& fileNames, const std::string& archiveName,
                                  std::string_view password, std::string& error) {
  if (!PasswordUsable(password, error)) return false;
  std::error_code ignored;
  std::filesystem::remove(archiveName, ignored);  // "a" would add to an existing archive
  std::vector<std::string> arguments = {std::string(kSevenZipProgram), "a", "-t7z", "-mhe=on", "-p", "-bd", "-y",
                                        "--", archiveName};
  arguments.insert(arguments.end(), fileNames.begin(), fileNames.end());
  const TKwProgramResult run = RunProgram(arguments, std::string(password) + "\n");
  if (run.Started && run.ExitCode == 0 && std::filesystem::exists(archiveName)) return true;
  std::filesystem::remove(archiveName, ignored);
  error = run.Started ? "7z could not write the archive " + archiveName + ": " + LastLines(run.Output)
                      : run.Output + " (the 7z program comes with p7zip-full)";
  return false;
}

bool SevenZipExtractWithPassword(const std::string& archiveName, const std::string& folder,
                                 std::string_view password, std::string& error) {
  if (!PasswordUsable(password, error)) return false;
  // Without -p the program asks for the password when the archive needs one, on stdin.
  const TKwProgramResult run = RunProgram(
      {std::string(kSevenZipProgram), "e", "-bd", "-y", "-o" + folder, "--", archiveName}, std::string(password) + "\n");
  if (run.Started && run.ExitCode == 0) return true;
  error = run.Started ? "Cannot open the archive " + archiveName + " (wrong password or damaged): " + LastLines(run.Output)
                      : run.Output + " (the 7z program comes with p7zip-full)";
  return false;
}

bool IsSevenZipFile(const std::string& fileName) {
  std::ifstream in(fileName, std::ios::binary);
  char signature[6] = {};
  return in.read(signature, sizeof signature) && std::string_view(signature, 6) == std::string_view("7z\xBC\xAF\x27\x1C", 6);
}
