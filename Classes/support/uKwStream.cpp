#include "uKwStream.h"

#include <cmath>
#include <cstring>
#include <unordered_map>

#include "uKwPersistent.h"
#include "uKwUtf8.h"

namespace {

constexpr int kMaxNesting = 64;  // deeper lists are damage, not data
constexpr size_t kMaxNameLength = 255;

bool IsAscii(std::string_view text) {
  for (unsigned char c : text)
    if (c >= 0x80) return false;
  return true;
}

// 80-bit x87 extended precision, little-endian: 64-bit mantissa with explicit integer
// bit, 15-bit exponent (bias 16383), sign. Written by hand so the format does not depend
// on the host's long double.
void DoubleToExtended(double value, uint8_t out[10]) {
  std::memset(out, 0, 10);
  if (value == 0.0) {
    if (std::signbit(value)) out[9] = 0x80;
    return;
  }
  uint64_t bits;
  std::memcpy(&bits, &value, 8);
  bool negative = bits >> 63;
  int exponent = static_cast<int>((bits >> 52) & 0x7FF);
  uint64_t fraction = bits & ((uint64_t{1} << 52) - 1);
  uint64_t mantissa;
  int extExponent;
  if (exponent == 0x7FF) {  // infinity or NaN
    extExponent = 0x7FFF;
    mantissa = (uint64_t{1} << 63) | (fraction << 11);
  } else if (exponent == 0) {  // subnormal double: normalise
    int shift = 0;
    while (!(fraction & (uint64_t{1} << 52))) {
      fraction <<= 1;
      ++shift;
    }
    extExponent = 1 - 1023 - shift + 16383;
    mantissa = fraction << 11;
  } else {
    extExponent = exponent - 1023 + 16383;
    mantissa = (uint64_t{1} << 63) | (fraction << 11);
  }
  std::memcpy(out, &mantissa, 8);
  uint16_t se = static_cast<uint16_t>(extExponent | (negative ? 0x8000 : 0));
  std::memcpy(out + 8, &se, 2);
}

double ExtendedToDouble(const uint8_t in[10]) {
  uint64_t mantissa;
  uint16_t se;
  std::memcpy(&mantissa, in, 8);
  std::memcpy(&se, in + 8, 2);
  bool negative = se & 0x8000;
  int exponent = se & 0x7FFF;
  double result;
  if (exponent == 0x7FFF)
    result = (mantissa << 1) ? std::nan("") : INFINITY;
  else
    result = std::ldexp(static_cast<double>(mantissa), exponent - 16383 - 63);
  return negative ? -result : result;
}

std::string Utf16LeToUtf8(std::string_view bytes) {
  std::string out;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    uint32_t cp = static_cast<uint8_t>(bytes[i]) | (static_cast<uint8_t>(bytes[i + 1]) << 8);
    if (cp >= 0xD800 && cp < 0xDC00 && i + 3 < bytes.size()) {
      uint32_t lo = static_cast<uint8_t>(bytes[i + 2]) | (static_cast<uint8_t>(bytes[i + 3]) << 8);
      if (lo >= 0xDC00 && lo < 0xE000) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (lo - 0xDC00);
        i += 2;
      }
    }
    AppendUtf8(out, cp);
  }
  return out;
}

}  // namespace

// ---------------------------------------------------------------- writer

void TKwPropertyWriter::WriteRaw(const void* data, size_t size) {
  FData.append(static_cast<const char*>(data), size);
}

void TKwPropertyWriter::WritePropName(std::string_view name) {
  if (name.size() > kMaxNameLength) name = name.substr(0, kMaxNameLength);
  FData.push_back(static_cast<char>(name.size()));
  FData.append(name);
}

void TKwPropertyWriter::WriteInteger(int64_t value) {
  if (value >= INT8_MIN && value <= INT8_MAX) {
    WriteValueType(vaInt8);
    int8_t v = static_cast<int8_t>(value);
    WriteRaw(&v, 1);
  } else if (value >= INT16_MIN && value <= INT16_MAX) {
    WriteValueType(vaInt16);
    int16_t v = static_cast<int16_t>(value);
    WriteRaw(&v, 2);
  } else if (value >= INT32_MIN && value <= INT32_MAX) {
    WriteValueType(vaInt32);
    int32_t v = static_cast<int32_t>(value);
    WriteRaw(&v, 4);
  } else {
    WriteValueType(vaInt64);
    WriteRaw(&value, 8);
  }
}

void TKwPropertyWriter::WriteBoolean(bool value) { WriteValueType(value ? vaTrue : vaFalse); }

void TKwPropertyWriter::WriteString(std::string_view utf8) {
  uint32_t length = static_cast<uint32_t>(utf8.size());
  if (!IsAscii(utf8)) {
    WriteValueType(vaUTF8String);
    WriteRaw(&length, 4);
  } else if (length <= 255) {
    WriteValueType(vaString);
    FData.push_back(static_cast<char>(length));
  } else {
    WriteValueType(vaLString);
    WriteRaw(&length, 4);
  }
  FData.append(utf8);
}

void TKwPropertyWriter::WriteIdent(std::string_view ident) {
  WriteValueType(vaIdent);
  WritePropName(ident);
}

void TKwPropertyWriter::WriteSet(const std::vector<std::string_view>& elements) {
  WriteValueType(vaSet);
  for (std::string_view element : elements) WritePropName(element);
  WritePropName("");
}

void TKwPropertyWriter::WriteFloat(double value) {
  WriteValueType(vaExtended);
  uint8_t ext[10];
  DoubleToExtended(value, ext);
  WriteRaw(ext, 10);
}

void TKwPropertyWriter::WriteDate(double value) {
  WriteValueType(vaDate);
  WriteRaw(&value, 8);
}

void TKwPropertyWriter::WriteBinary(std::string_view bytes) {
  WriteValueType(vaBinary);
  uint32_t length = static_cast<uint32_t>(bytes.size());
  WriteRaw(&length, 4);
  FData.append(bytes);
}

// ---------------------------------------------------------------- reader

uint8_t TKwPropertyReader::ReadByte() {
  if (FPos >= FData.size()) throw EReadError("Stream read error: unexpected end of data");
  return static_cast<uint8_t>(FData[FPos++]);
}

void TKwPropertyReader::ReadRaw(void* out, size_t size) {
  if (size > FData.size() - FPos) throw EReadError("Stream read error: unexpected end of data");
  std::memcpy(out, FData.data() + FPos, size);
  FPos += size;
}

TKwValueType TKwPropertyReader::ReadValueType() {
  uint8_t tag = ReadByte();
  if (tag > vaDouble) throw EReadError("Invalid property value type " + std::to_string(tag));
  return static_cast<TKwValueType>(tag);
}

TKwValueType TKwPropertyReader::NextValue() const {
  if (FPos >= FData.size()) throw EReadError("Stream read error: unexpected end of data");
  return static_cast<TKwValueType>(static_cast<uint8_t>(FData[FPos]));
}

void TKwPropertyReader::ReadListBegin() {
  if (ReadValueType() != vaList) throw EReadError("Invalid stream format: list expected");
}

void TKwPropertyReader::ReadListEnd() {
  if (ReadValueType() != vaNull) throw EReadError("Invalid stream format: end of list expected");
}

std::string TKwPropertyReader::ReadStr() {
  uint8_t length = ReadByte();
  std::string s(length, '\0');
  ReadRaw(s.data(), length);
  return s;
}

int64_t TKwPropertyReader::ReadInteger() {
  switch (ReadValueType()) {
    case vaInt8: { int8_t v; ReadRaw(&v, 1); return v; }
    case vaInt16: { int16_t v; ReadRaw(&v, 2); return v; }
    case vaInt32: { int32_t v; ReadRaw(&v, 4); return v; }
    case vaInt64: { int64_t v; ReadRaw(&v, 8); return v; }
    default: throw EReadError("Invalid property value: integer expected");
  }
}

bool TKwPropertyReader::ReadBoolean() {
  TKwValueType type = ReadValueType();
  if (type == vaTrue) return true;
  if (type == vaFalse) return false;
  throw EReadError("Invalid property value: Boolean expected");
}

std::string TKwPropertyReader::ReadString() {
  TKwValueType type = ReadValueType();
  uint32_t length = 0;
  switch (type) {
    case vaString: length = ReadByte(); break;
    case vaLString:
    case vaUTF8String: ReadRaw(&length, 4); break;
    case vaWString: {
      ReadRaw(&length, 4);
      if (length > (FData.size() - FPos) / 2) throw EReadError("Stream read error: string too long");
      std::string_view bytes = FData.substr(FPos, size_t{length} * 2);
      FPos += bytes.size();
      return Utf16LeToUtf8(bytes);
    }
    default: throw EReadError("Invalid property value: string expected");
  }
  if (length > FData.size() - FPos) throw EReadError("Stream read error: string too long");
  std::string s(FData.substr(FPos, length));
  FPos += length;
  return s;
}

std::string TKwPropertyReader::ReadIdent() {
  switch (ReadValueType()) {
    case vaIdent: return ReadStr();
    case vaFalse: return "False";
    case vaTrue: return "True";
    case vaNil: return "nil";
    case vaNull: return "Null";
    default: throw EReadError("Invalid property value: identifier expected");
  }
}

double TKwPropertyReader::ReadFloat() {
  switch (NextValue()) {
    case vaInt8:
    case vaInt16:
    case vaInt32:
    case vaInt64: return static_cast<double>(ReadInteger());
    default: break;
  }
  switch (ReadValueType()) {
    case vaExtended: { uint8_t ext[10]; ReadRaw(ext, 10); return ExtendedToDouble(ext); }
    case vaSingle: { float v; ReadRaw(&v, 4); return v; }
    case vaCurrency: { int64_t v; ReadRaw(&v, 8); return static_cast<double>(v) / 10000.0; }
    case vaDate:
    case vaDouble: { double v; ReadRaw(&v, 8); return v; }
    default: throw EReadError("Invalid property value: floating-point number expected");
  }
}

std::vector<std::string> TKwPropertyReader::ReadSet() {
  if (ReadValueType() != vaSet) throw EReadError("Invalid property value: set expected");
  std::vector<std::string> elements;
  for (std::string element = ReadStr(); !element.empty(); element = ReadStr()) elements.push_back(std::move(element));
  return elements;
}

std::string TKwPropertyReader::ReadBinary() {
  if (ReadValueType() != vaBinary) throw EReadError("Invalid property value: binary expected");
  uint32_t length;
  ReadRaw(&length, 4);
  if (length > FData.size() - FPos) throw EReadError("Stream read error: binary too long");
  std::string s(FData.substr(FPos, length));
  FPos += length;
  return s;
}

void TKwPropertyReader::SkipValue() { SkipValue(0); }

void TKwPropertyReader::SkipValue(int depth) {
  if (depth > kMaxNesting) throw EReadError("Invalid stream format: lists nested too deeply");
  switch (NextValue()) {
    case vaNull: ReadByte(); return;
    case vaList:
      ReadByte();
      while (!EndOfList()) SkipValue(depth + 1);
      ReadByte();
      return;
    case vaInt8: case vaInt16: case vaInt32: case vaInt64: ReadInteger(); return;
    case vaExtended: case vaSingle: case vaCurrency: case vaDate: case vaDouble: ReadFloat(); return;
    case vaString: case vaLString: case vaWString: case vaUTF8String: ReadString(); return;
    case vaIdent: case vaFalse: case vaTrue: case vaNil: ReadIdent(); return;
    case vaBinary: ReadBinary(); return;
    case vaSet:
      ReadByte();
      while (!ReadStr().empty()) {
      }
      return;
    case vaCollection:
      ReadByte();
      while (!EndOfList()) {
        if (NextValue() != vaList) ReadInteger();  // optional item order
        ReadListBegin();
        while (!EndOfList()) {
          ReadStr();
          SkipValue(depth + 1);
        }
        ReadListEnd();
      }
      ReadByte();
      return;
    default: throw EReadError("Invalid property value type " + std::to_string(NextValue()));
  }
}

// ---------------------------------------------------------------- objects

namespace {

void WriteStoredValue(TKwPropertyWriter& writer, const TKwProperty& p, const std::string& path) {
  switch (p.Kind) {
    case TKwPropKind::Boolean:
      writer.WritePropName(path);
      writer.WriteBoolean(p.Ordinal() != 0);
      break;
    case TKwPropKind::Integer:
    case TKwPropKind::Int64:
      writer.WritePropName(path);
      writer.WriteInteger(p.Ordinal());
      break;
    case TKwPropKind::Enum:
      writer.WritePropName(path);
      writer.WriteIdent(p.EnumType->Name(p.GetOrdinal()));
      break;
    case TKwPropKind::Double:
      writer.WritePropName(path);
      writer.WriteFloat(*static_cast<double*>(p.Field));
      break;
    case TKwPropKind::DateTime:
      writer.WritePropName(path);
      writer.WriteDate(*static_cast<double*>(p.Field));
      break;
    case TKwPropKind::String:
      writer.WritePropName(path);
      writer.WriteString(*static_cast<std::string*>(p.Field));
      break;
    case TKwPropKind::Strings:
      writer.WritePropName(path + ".Strings");
      writer.WriteListBegin();
      for (const std::string& s : *static_cast<TStringList*>(p.Field)) writer.WriteString(s);
      writer.WriteListEnd();
      break;
    case TKwPropKind::Set:
      writer.WritePropName(path);
      writer.WriteSet(p.SetElementNames());
      break;
    case TKwPropKind::Object: break;
  }
}

// Reads one value into a property, or throws EReadError (the value may be half read only
// when the stream itself is damaged).
void ReadValueInto(TKwPropertyReader& reader, const TKwProperty& p) {
  switch (p.Kind) {
    case TKwPropKind::Boolean: {
      TKwValueType t = reader.NextValue();
      p.SetOrdinalValue(t == vaTrue || t == vaFalse ? reader.ReadBoolean() : reader.ReadInteger() != 0);
      break;
    }
    case TKwPropKind::Integer:
    case TKwPropKind::Int64: p.SetOrdinalValue(reader.ReadInteger()); break;
    case TKwPropKind::Enum: {
      std::string ident = reader.ReadIdent();
      int ordinal = p.EnumType->Ordinal(ident);
      if (ordinal < 0)
        throw EReadError("Invalid property value " + ident + " for " + std::string(p.EnumType->TypeName));
      p.SetOrdinal(ordinal);
      break;
    }
    case TKwPropKind::Double:
    case TKwPropKind::DateTime: *static_cast<double*>(p.Field) = reader.ReadFloat(); break;
    case TKwPropKind::String: {
      TKwValueType t = reader.NextValue();
      *static_cast<std::string*>(p.Field) = t == vaIdent ? reader.ReadIdent() : reader.ReadString();
      break;
    }
    case TKwPropKind::Strings: {
      TStringList list;
      reader.ReadListBegin();
      while (!reader.EndOfList()) list.push_back(reader.ReadString());
      reader.ReadListEnd();
      *static_cast<TStringList*>(p.Field) = std::move(list);
      break;
    }
    case TKwPropKind::Set:
      if (!p.SetElementsFromNames(reader.ReadSet()))
        throw EReadError("Invalid set element for " + std::string(p.EnumType->TypeName));
      break;
    case TKwPropKind::Object: throw EReadError("Invalid property path");
  }
}

// Name lookup for one object load: dotted paths of plain properties, and the nested
// objects that may own defined properties.
struct TPropertyIndex {
  std::unordered_map<std::string, TKwProperty> Properties;
  std::vector<std::pair<std::string, TKwPersistent*>> Objects;

  void Build(TKwPersistent& object, const std::string& prefix) {
    for (TKwProperty& p : object.PublishedProperties()) {
      std::string path = prefix.empty() ? std::string(p.Name) : prefix + "." + std::string(p.Name);
      if (p.Kind == TKwPropKind::Object) {
        Objects.emplace_back(path, p.Object);
        Build(*p.Object, path);
      } else if (p.Kind == TKwPropKind::Strings) {
        Properties.emplace(path + ".Strings", std::move(p));
      } else {
        Properties.emplace(std::move(path), std::move(p));
      }
    }
  }
};

// True when `name` was a defined property of the root or of a nested object.
bool ReadDefined(TKwPersistent& root, const TPropertyIndex& index, const std::string& name,
                 TKwPropertyReader& reader) {
  for (const auto& [path, object] : index.Objects)
    if (name.size() > path.size() && name.compare(0, path.size(), path) == 0 && name[path.size()] == '.')
      if (object->ReadDefinedProperty(std::string_view(name).substr(path.size() + 1), reader))
        return true;
  return root.ReadDefinedProperty(name, reader);
}

}  // namespace

void WriteProperties(TKwPropertyWriter& writer, TKwPersistent& object, const std::string& prefix) {
  for (const TKwProperty& p : object.PublishedProperties()) {
    std::string path = prefix.empty() ? std::string(p.Name) : prefix + "." + std::string(p.Name);
    if (p.Kind == TKwPropKind::Object)
      WriteProperties(writer, *p.Object, path);
    else if (p.IsStored())
      WriteStoredValue(writer, p, path);
  }
  object.WriteDefinedProperties(writer, prefix);
}

void WriteObject(TKwPropertyWriter& writer, TKwPersistent& object) {
  writer.WriteListBegin();
  WriteProperties(writer, object);
  writer.WriteListEnd();
}

void ReadObject(TKwPropertyReader& reader, TKwPersistent& object, std::vector<std::string>& warnings) {
  TPropertyIndex index;
  index.Build(object, "");
  reader.ReadListBegin();
  while (!reader.EndOfList()) {
    std::string name = reader.ReadStr();
    auto it = index.Properties.find(name);
    if (it == index.Properties.end()) {
      // Defined properties guard their own structure: an error there is damage.
      if (!ReadDefined(object, index, name, reader)) {
        warnings.push_back(std::string(object.ClassName()) + ": unknown property " + name + " skipped");
        reader.SkipValue();
      }
      continue;
    }
    size_t valueStart = reader.Position();
    try {
      ReadValueInto(reader, it->second);
    } catch (const EReadError& e) {
      warnings.push_back(std::string(object.ClassName()) + ": property " + name + ": " + e.what());
      // A value of an unexpected type is skipped whole; when even that fails the stream
      // itself is damaged and the caller hears of it.
      reader.Seek(valueStart);
      reader.SkipValue();
    }
  }
  reader.ReadListEnd();
}

std::string SaveObjectToBytes(TKwPersistent& object) {
  TKwPropertyWriter writer;
  WriteObject(writer, object);
  return writer.TakeData();
}

bool LoadObjectFromBytes(std::string_view bytes, TKwPersistent& object, std::vector<std::string>& warnings,
                         std::string& error) {
  if (bytes.empty() || static_cast<uint8_t>(bytes[0]) != vaList) {
    error = "Not a property stream";
    return false;
  }
  TKwPropertyReader reader(bytes);
  try {
    ReadObject(reader, object, warnings);
  } catch (const EReadError& e) {
    error = std::string(e.what()) + " (at byte " + std::to_string(reader.Position()) + ")";
    return false;
  }
  return true;
}

// ---------------------------------------------------------------- base64

namespace {
constexpr char kBase64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
}

std::string EncodeBase64Lines(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size() * 4 / 3 + bytes.size() / 38 + 8);
  size_t column = 0;
  auto put = [&](char c) {
    if (column == 76) {
      out += "\r\n";
      column = 0;
    }
    out += c;
    ++column;
  };
  size_t i = 0;
  for (; i + 2 < bytes.size(); i += 3) {
    uint32_t n = (static_cast<uint8_t>(bytes[i]) << 16) | (static_cast<uint8_t>(bytes[i + 1]) << 8) |
                 static_cast<uint8_t>(bytes[i + 2]);
    put(kBase64Alphabet[n >> 18]);
    put(kBase64Alphabet[(n >> 12) & 63]);
    put(kBase64Alphabet[(n >> 6) & 63]);
    put(kBase64Alphabet[n & 63]);
  }
  size_t rest = bytes.size() - i;
  if (rest > 0) {
    uint32_t n = static_cast<uint8_t>(bytes[i]) << 16;
    if (rest == 2) n |= static_cast<uint8_t>(bytes[i + 1]) << 8;
    put(kBase64Alphabet[n >> 18]);
    put(kBase64Alphabet[(n >> 12) & 63]);
    put(rest == 2 ? kBase64Alphabet[(n >> 6) & 63] : '=');
    put('=');
  }
  return out;
}

bool DecodeBase64(std::string_view text, std::string& bytes) {
  bytes.clear();
  bytes.reserve(text.size() * 3 / 4);
  uint32_t buffer = 0;
  int bits = 0;
  int padding = 0;
  for (char c : text) {
    if (c == '\r' || c == '\n' || c == ' ' || c == '\t') continue;
    if (c == '=') {
      ++padding;
      continue;
    }
    const char* pos = c ? std::strchr(kBase64Alphabet, c) : nullptr;
    if (!pos || padding > 0) return false;
    buffer = (buffer << 6) | static_cast<uint32_t>(pos - kBase64Alphabet);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes.push_back(static_cast<char>((buffer >> bits) & 0xFF));
    }
  }
  // Leftover bits must be the zero fill of a padded group.
  return padding <= 2 && bits < 6 && (buffer & ((1u << bits) - 1)) == 0;
}
