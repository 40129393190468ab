#include "uKwUtf8.h"

size_t Utf8SequenceLength(std::string_view text, size_t pos) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[pos + i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return 1;
  size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;  // bounds of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;   // overlong
    if (lead == 0xED) high = 0x9F;  // surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;   // overlong
    if (lead == 0xF4) high = 0x8F;  // beyond U+10FFFF
  } else {
    return 0;
  }
  if (pos + length > text.size()) return 0;
  if (byte(1) < low || byte(1) > high) return 0;
  for (size_t i = 2; i < length; ++i)
    if ((byte(i) & 0xC0) != 0x80) return 0;
  return length;
}

char32_t DecodeUtf8Sequence(std::string_view text, size_t pos, size_t length) {
  const auto byte = [&](size_t i) { return static_cast<char32_t>(static_cast<unsigned char>(text[pos + i])); };
  if (length <= 1) return byte(0);
  char32_t code = byte(0) & (0xFF >> (length + 1));
  for (size_t i = 1; i < length; ++i) code = (code << 6) | (byte(i) & 0x3F);
  return code;
}

bool IsValidUtf8(std::string_view text) {
  for (size_t pos = 0; pos < text.size();) {
    const size_t length = Utf8SequenceLength(text, pos);
    if (length == 0) return false;
    pos += length;
  }
  return true;
}

void AppendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}
