// Feeds arbitrary bytes to the strict check of a JSON job and to the JSON locator it
// points with. Any input must give problems, never a crash, a hang or an exception; a
// problem's position lies inside the text.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "uKwJsonLocations.h"
#include "uKwTreeCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const int lines = 1 + static_cast<int>(std::count(text.begin(), text.end(), '\n'));
  for (const auto& [path, position] : JsonLocations(text))
    if (position.Line < 1 || position.Line > lines) std::abort();
  for (const TKwCheckProblem& problem : CheckJsonTreeText(text, "/nonexistent"))
    if (problem.Position.Line > lines || problem.Message.empty()) std::abort();
  return 0;
}
