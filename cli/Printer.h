#pragma once
// The one way a command prints its result on stdout: the result is built as JSON, and
// printed either as that JSON (--json) or through the command's text form of it.

#include <functional>

#include <nlohmann/json.hpp>

using TResult = nlohmann::ordered_json;

class TPrinter {
 public:
  explicit TPrinter(bool asJson) : FJson(asJson) {}
  bool IsJson() const { return FJson; }
  void Print(const TResult& result, const std::function<void(const TResult&)>& asText) const;

 private:
  bool FJson;
};
