#include "uKwEnum.h"

#include <algorithm>

std::string_view TKwEnumInfo::Name(int ordinal) const {
  if (ordinal < 0 || ordinal >= Count()) return {};
  return Names[static_cast<std::size_t>(ordinal)];
}

int TKwEnumInfo::Ordinal(std::string_view name) const {
  const auto found = std::find(Names.begin(), Names.end(), name);
  if (found == Names.end()) return -1;
  return static_cast<int>(found - Names.begin());
}
