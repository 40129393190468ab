#pragma once
// The binary property stream of action files, byte for byte the framework's component
// streaming format:
//   object   := ListBegin { property } ListEnd
//   property := name (1-byte length + bytes) value
//   value    := one type tag byte (TKwValueType) followed by its payload
// Integers are little-endian and written in the smallest integer tag that holds them.
// Nested option objects are not values: their properties are written in place under
// "Owner.Nested" names. A string list is written as the property "Name.Strings" whose
// value is a list of strings.
//
// The reader never trusts the input: every read is bounds-checked and nesting is capped,
// and failures raise EReadError, which the object loader catches per property.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

class TKwPersistent;

// persisted: never reorder (these are the tag bytes of the stream)
enum TKwValueType : uint8_t {
  vaNull = 0,
  vaList = 1,
  vaInt8 = 2,
  vaInt16 = 3,
  vaInt32 = 4,
  vaExtended = 5,
  vaString = 6,
  vaIdent = 7,
  vaFalse = 8,
  vaTrue = 9,
  vaBinary = 10,
  vaSet = 11,
  vaLString = 12,
  vaNil = 13,
  vaCollection = 14,
  vaSingle = 15,
  vaCurrency = 16,
  vaDate = 17,
  vaWString = 18,
  vaInt64 = 19,
  vaUTF8String = 20,
  vaDouble = 21,
};

class EReadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class TKwPropertyWriter {
 public:
  void WriteListBegin() { WriteValueType(vaList); }
  void WriteListEnd() { WriteValueType(vaNull); }
  void WritePropName(std::string_view name);  // 1-byte length; longer names are cut at 255
  void WriteInteger(int64_t value);           // vaInt8/16/32, vaInt64 beyond 32 bits
  void WriteBoolean(bool value);
  void WriteString(std::string_view utf8);    // vaString/vaLString if ASCII, else vaUTF8String
  void WriteIdent(std::string_view ident);
  void WriteSet(const std::vector<std::string_view>& elements);  // vaSet, names, an empty name
  void WriteFloat(double value);              // vaExtended, 80-bit
  void WriteDate(double value);               // vaDate, 64-bit double
  void WriteBinary(std::string_view bytes);

  const std::string& Data() const { return FData; }
  std::string TakeData() { return std::move(FData); }

 private:
  void WriteValueType(TKwValueType type) { FData.push_back(static_cast<char>(type)); }
  void WriteRaw(const void* data, size_t size);
  std::string FData;
};

class TKwPropertyReader {
 public:
  explicit TKwPropertyReader(std::string_view data) : FData(data) {}

  TKwValueType NextValue() const;  // peeks the next tag
  bool EndOfList() const { return NextValue() == vaNull; }
  bool AtEnd() const { return FPos >= FData.size(); }
  size_t Position() const { return FPos; }
  void Seek(size_t position) { FPos = position < FData.size() ? position : FData.size(); }

  void ReadListBegin();
  void ReadListEnd();
  std::string ReadStr();          // a property name or a set element
  int64_t ReadInteger();          // any integer tag
  bool ReadBoolean();             // vaTrue/vaFalse
  std::string ReadString();       // vaString, vaLString, vaWString, vaUTF8String (UTF-8 out)
  std::string ReadIdent();        // vaIdent, also vaFalse/vaTrue/vaNil spelled as identifiers
  std::vector<std::string> ReadSet();  // vaSet: the element names up to the empty one
  double ReadFloat();             // any float tag, also an integer
  std::string ReadBinary();
  void SkipValue();               // skips one value of any type, lists included

 private:
  uint8_t ReadByte();
  void ReadRaw(void* out, size_t size);
  TKwValueType ReadValueType();
  void SkipValue(int depth);
  std::string_view FData;
  size_t FPos = 0;
};

// Writes the stored published properties of `object` (prefixed "prefix." when nested),
// then its defined properties.
void WriteProperties(TKwPropertyWriter& writer, TKwPersistent& object, const std::string& prefix = "");
// ListBegin, properties, ListEnd.
void WriteObject(TKwPropertyWriter& writer, TKwPersistent& object);

// Reads ListBegin, properties by name until ListEnd, and ListEnd. Tolerant: a property
// whose value cannot be read into the object, or whose name is unknown, is skipped and
// described in `warnings`. Throws EReadError only when the stream itself is broken
// (truncated, not a list), after having read every property before the damage.
void ReadObject(TKwPropertyReader& reader, TKwPersistent& object, std::vector<std::string>& warnings);

// An object's whole stream as bytes, and back. Loading fails (false, error) only when the
// bytes are no property stream or are damaged; skipped properties go to warnings.
std::string SaveObjectToBytes(TKwPersistent& object);
bool LoadObjectFromBytes(std::string_view bytes, TKwPersistent& object, std::vector<std::string>& warnings,
                         std::string& error);

// MIME base64 with CR LF after every 76 output characters (and none after the last line).
std::string EncodeBase64Lines(std::string_view bytes);
// Ignores line breaks and blanks; false on any other character outside the alphabet or a
// broken padding.
bool DecodeBase64(std::string_view text, std::string& bytes);
