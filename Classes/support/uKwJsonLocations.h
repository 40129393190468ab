#pragma once
// Where things are in a JSON text, for messages that point at a line and column: the
// place of every object member (its key) and array element, by path. A member's path is
// its parent's path, a dot and its name ("children[0].Options.TargetFolder": dotted names
// are member names of their own); an element's is its parent's path and "[index]". The
// root's path is "". Meant for text that parses; on broken text it gives what it saw.

#include <map>
#include <string>
#include <string_view>

struct TKwTextPosition {
  int Line = 0;    // 1-based; 0 when unknown
  int Column = 0;  // 1-based, in bytes
};

// The line and column of a byte offset.
TKwTextPosition PositionAt(std::string_view text, size_t offset);

std::map<std::string, TKwTextPosition> JsonLocations(std::string_view text);
