#pragma once
// A strict RFC 4180 reader for the tests of the CSV exports: records end with CRLF, a
// quoted field must be followed by a comma, CRLF or the end, a bare field may not hold a
// double quote or a lone CR or LF. Anything else makes it fail with the offset.

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

using TCsvRecord = std::vector<std::string>;

inline std::vector<TCsvRecord> ParseCsvStrict(std::string_view text) {
  std::vector<TCsvRecord> records;
  TCsvRecord record;
  size_t i = 0;
  auto fail = [&](const char* what) { throw std::runtime_error(std::string(what) + " at offset " + std::to_string(i)); };
  while (i < text.size()) {
    std::string field;
    if (text[i] == '"') {
      for (++i;; ++i) {
        if (i >= text.size()) fail("unterminated quoted field");
        if (text[i] != '"') {
          field += text[i];
        } else if (i + 1 < text.size() && text[i + 1] == '"') {
          field += '"';
          ++i;
        } else {
          ++i;
          break;
        }
      }
    } else {
      while (i < text.size() && text[i] != ',' && text[i] != '\r') {
        if (text[i] == '"' || text[i] == '\n') fail("quote or line feed in a bare field");
        field += text[i++];
      }
    }
    record.push_back(std::move(field));
    if (i < text.size() && text[i] == ',') {
      ++i;
      if (i == text.size()) fail("comma at the end");
    } else if (text.substr(i, 2) == "\r\n") {
      i += 2;
      // A line without any field (no columns) reads as a record of one empty field.
      records.push_back(std::move(record));
      record.clear();
    } else {
      fail("field not followed by a comma or CRLF");
    }
  }
  if (!record.empty()) fail("last record without CRLF");
  return records;
}
