#include "uKwDidYouMean.h"

#include <algorithm>
#include <cctype>

namespace {

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

}  // namespace

int EditDistance(std::string_view a, std::string_view b) {
  std::vector<int> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = static_cast<int>(j);
  for (size_t i = 1; i <= a.size(); ++i) {
    int diagonal = row[0];
    row[0] = static_cast<int>(i);
    for (size_t j = 1; j <= b.size(); ++j) {
      const int above = row[j];
      const int cost = Lower(a[i - 1]) == Lower(b[j - 1]) ? 0 : 1;
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + cost});
      diagonal = above;
    }
  }
  return row[b.size()];
}

std::string ClosestName(std::string_view name, const std::vector<std::string>& known) {
  const int limit = std::max(2, static_cast<int>(name.size()) / 3);
  std::string best;
  int bestDistance = limit + 1;
  for (const std::string& candidate : known) {
    const int distance = EditDistance(name, candidate);
    if (distance < bestDistance) {
      bestDistance = distance;
      best = candidate;
    }
  }
  return best;
}
