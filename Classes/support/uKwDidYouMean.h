#pragma once
// "Did you mean": the nearest of a set of known names to a misspelt one, for messages
// that name what the user probably meant (unknown commands, kinds, properties, values).

#include <string>
#include <string_view>
#include <vector>

// Edit distance (insertions, deletions, substitutions), letters compared without case.
int EditDistance(std::string_view a, std::string_view b);

// The known name nearest to `name`, or "" when none is close enough to be a slip
// (more than a third of the name's letters, at least two, would have to change).
std::string ClosestName(std::string_view name, const std::vector<std::string>& known);
