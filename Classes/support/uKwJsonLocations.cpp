#include "uKwJsonLocations.h"

#include <vector>

#include "uKwUtf8.h"

namespace {

struct TFrame {
  bool IsObject = false;
  std::string Path;
  int Index = 0;
  bool ExpectKey = true;     // objects: the next string is a key
  bool ValueStarted = false; // arrays: the current element was recorded
  std::string Key;
};

std::string MemberPath(const TFrame& frame) {
  if (!frame.IsObject) return frame.Path + "[" + std::to_string(frame.Index) + "]";
  return frame.Path.empty() ? frame.Key : frame.Path + "." + frame.Key;
}

// Reads the string whose opening quote is at `at`; leaves `at` on its closing quote.
std::string ReadString(std::string_view text, size_t& at) {
  std::string value;
  for (++at; at < text.size() && text[at] != '"'; ++at) {
    if (text[at] != '\\' || at + 1 >= text.size()) {
      value += text[at];
      continue;
    }
    const char escaped = text[++at];
    switch (escaped) {
      case 'n': value += '\n'; break;
      case 't': value += '\t'; break;
      case 'r': value += '\r'; break;
      case 'b': value += '\b'; break;
      case 'f': value += '\f'; break;
      case 'u':
        if (at + 4 < text.size()) {
          AppendUtf8(value, static_cast<char32_t>(std::stoul(std::string(text.substr(at + 1, 4)), nullptr, 16)));
          at += 4;
        }
        break;
      default: value += escaped;
    }
  }
  return value;
}

}  // namespace

TKwTextPosition PositionAt(std::string_view text, size_t offset) {
  TKwTextPosition position{1, 1};
  for (size_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++position.Line;
      position.Column = 1;
    } else {
      ++position.Column;
    }
  }
  return position;
}

std::map<std::string, TKwTextPosition> JsonLocations(std::string_view text) {
  std::map<std::string, size_t> offsets;
  std::vector<TFrame> stack;
  // An array element is recorded where its value starts.
  auto valueStarts = [&](size_t at) {
    if (stack.empty() || stack.back().IsObject || stack.back().ValueStarted) return;
    stack.back().ValueStarted = true;
    offsets.emplace(MemberPath(stack.back()), at);
  };
  try {
    for (size_t at = 0; at < text.size(); ++at) {
      const char c = text[at];
      if (c == '"') {
        const size_t start = at;
        std::string value = ReadString(text, at);
        if (!stack.empty() && stack.back().IsObject && stack.back().ExpectKey) {
          stack.back().Key = std::move(value);
          stack.back().ExpectKey = false;
          offsets.emplace(MemberPath(stack.back()), start);
        } else {
          valueStarts(start);
        }
      } else if (c == '{' || c == '[') {
        valueStarts(at);
        TFrame frame;
        frame.IsObject = c == '{';
        frame.Path = stack.empty() ? "" : MemberPath(stack.back());
        stack.push_back(std::move(frame));
      } else if (c == '}' || c == ']') {
        if (!stack.empty()) stack.pop_back();
      } else if (c == ',') {
        if (stack.empty()) continue;
        stack.back().ExpectKey = true;
        if (!stack.back().IsObject) ++stack.back().Index;
        stack.back().ValueStarted = false;
      } else if (c != ':' && c != ' ' && c != '\t' && c != '\r' && c != '\n') {
        valueStarts(at);
      }
    }
  } catch (const std::exception&) {
    // a bad \u escape: what was seen so far stands
  }
  std::map<std::string, TKwTextPosition> positions;
  for (const auto& [path, offset] : offsets) positions.emplace(path, PositionAt(text, offset));
  return positions;
}
