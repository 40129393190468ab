#include "uKwStream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "uKwPersistent.h"
#include "uKwTypes.h"

namespace {

std::string Bytes(std::initializer_list<int> values) {
  std::string s;
  for (int v : values) s.push_back(static_cast<char>(v));
  return s;
}

// A small persistable with one property of every kind and a nested object.
class TInner : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TInner"; }
  void Publish(TKwPublisher& p) override {
    p.Integer("Port", Port);
    p.Strings("Lines", Lines);
  }
  int32_t Port = 993;
  TStringList Lines;
};

class TSample : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TSample"; }
  void Publish(TKwPublisher& p) override {
    p.Boolean("Flag", Flag);
    p.Boolean("OnByDefault", OnByDefault, true);
    p.Integer("Count", Count);
    p.Int64("Big", Big);
    p.Double("Margin", Margin);
    p.DateTime("When", When);
    p.String("Text", Text);
    p.Enum("Format", Format);
    p.Object("Inner", Inner);
  }
  bool Flag = false;
  bool OnByDefault = true;
  int32_t Count = 0;
  int64_t Big = 0;
  double Margin = 0;
  double When = 0;
  std::string Text;
  TSaveStatus Format = ssSaved;
  TInner Inner;
};

std::string Stream(TKwPersistent& object) {
  TKwPropertyWriter writer;
  WriteObject(writer, object);
  return writer.TakeData();
}

}  // namespace

TEST(TKwPropertyWriterTest, WritesIntegersInTheSmallestTagThatHoldsThem) {
  struct Case {
    int64_t value;
    std::string bytes;
  } cases[] = {
      {0, Bytes({vaInt8, 0})},
      {-128, Bytes({vaInt8, 0x80})},
      {127, Bytes({vaInt8, 0x7F})},
      {128, Bytes({vaInt16, 0x80, 0x00})},
      {-32768, Bytes({vaInt16, 0x00, 0x80})},
      {32768, Bytes({vaInt32, 0x00, 0x80, 0x00, 0x00})},
      {int64_t{1} << 32, Bytes({vaInt64, 0, 0, 0, 0, 1, 0, 0, 0})},
  };
  for (const Case& c : cases) {
    TKwPropertyWriter writer;
    writer.WriteInteger(c.value);
    EXPECT_EQ(writer.Data(), c.bytes) << c.value;
    TKwPropertyReader reader(writer.Data());
    EXPECT_EQ(reader.ReadInteger(), c.value);
  }
}

TEST(TKwPropertyWriterTest, WritesStringsAsShortLongOrUtf8) {
  TKwPropertyWriter writer;
  writer.WriteString("abc");
  EXPECT_EQ(writer.Data(), Bytes({vaString, 3}) + "abc");

  TKwPropertyWriter longWriter;
  longWriter.WriteString(std::string(300, 'x'));
  EXPECT_EQ(longWriter.Data().substr(0, 5), Bytes({vaLString, 0x2C, 0x01, 0, 0}));

  TKwPropertyWriter utf8Writer;
  utf8Writer.WriteString("Grüße");  // 7 bytes of UTF-8
  EXPECT_EQ(utf8Writer.Data(), Bytes({vaUTF8String, 7, 0, 0, 0}) + "Grüße");
}

TEST(TKwPropertyWriterTest, ExtendedFloatsRoundTripExactly) {
  for (double v : {0.0, 1.0, 0.5, -2.25, 45000.123456789, 1e-310, 1e300}) {
    TKwPropertyWriter writer;
    writer.WriteFloat(v);
    ASSERT_EQ(writer.Data().size(), 11u);
    TKwPropertyReader reader(writer.Data());
    EXPECT_EQ(reader.ReadFloat(), v);
  }
  // 1.0 as 80-bit extended: mantissa 0x8000000000000000, exponent 0x3FFF.
  TKwPropertyWriter one;
  one.WriteFloat(1.0);
  EXPECT_EQ(one.Data(), Bytes({vaExtended, 0, 0, 0, 0, 0, 0, 0, 0x80, 0xFF, 0x3F}));
}

TEST(TKwPropertyReaderTest, ReadsWideStringsAsUtf8) {
  std::string data = Bytes({vaWString, 2, 0, 0, 0, 0xE9, 0x00, 0x3D, 0xD8});  // é + lone surrogate
  TKwPropertyReader reader(data);
  EXPECT_EQ(reader.ReadString().substr(0, 2), "é");
}

TEST(TKwPropertyReaderTest, SkipsEveryKindOfValue) {
  TKwPropertyWriter w;
  w.WriteListBegin();
  w.WriteInteger(70000);
  w.WriteString("s");
  w.WriteIdent("ident");
  w.WriteFloat(2.5);
  w.WriteDate(3.5);
  w.WriteBinary("bin");
  w.WriteBoolean(true);
  w.WriteListEnd();
  w.WriteInteger(7);
  TKwPropertyReader reader(w.Data());
  reader.SkipValue();
  EXPECT_EQ(reader.ReadInteger(), 7);
  EXPECT_TRUE(reader.AtEnd());
}

TEST(WriteObjectTest, StoresOnlyWhatDiffersFromTheDefaults) {
  TSample sample;
  std::string stream = Stream(sample);
  // Ordinals without a declared default are always written; empty text, zero floats,
  // empty lists and ordinals at their declared default are not.
  TKwPropertyReader reader(stream);
  reader.ReadListBegin();
  std::vector<std::string> names;
  while (!reader.EndOfList()) {
    names.push_back(reader.ReadStr());
    reader.SkipValue();
  }
  EXPECT_EQ(names, (std::vector<std::string>{"Flag", "Count", "Big", "Format", "Inner.Port"}));
}

TEST(WriteObjectTest, ReadsBackEveryKindUnderDottedNames) {
  TSample sample;
  sample.Flag = true;
  sample.OnByDefault = false;
  sample.Count = -5;
  sample.Big = int64_t{1} << 40;
  sample.Margin = 0.75;
  sample.When = 45123.5;
  sample.Text = "Grüße, \"quoted\"";
  sample.Format = ssError;
  sample.Inner.Port = 110;
  sample.Inner.Lines = {"a", "", "ü"};
  std::string stream = Stream(sample);
  EXPECT_NE(stream.find("\x13Inner.Lines.Strings"), std::string::npos);

  TSample copy;
  std::vector<std::string> warnings;
  TKwPropertyReader reader(stream);
  ReadObject(reader, copy, warnings);
  EXPECT_TRUE(warnings.empty());
  EXPECT_EQ(Stream(copy), stream);
  EXPECT_EQ(copy.Inner.Lines, sample.Inner.Lines);
  EXPECT_EQ(copy.Text, sample.Text);
}

// ---- error paths

TEST(ReadObjectTest, SkipsUnknownNamesAndValuesOfTheWrongType) {
  TKwPropertyWriter w;
  w.WriteListBegin();
  w.WritePropName("Unknown");
  w.WriteString("x");
  w.WritePropName("Count");
  w.WriteString("not a number");
  w.WritePropName("Format");
  w.WriteIdent("ssNoSuchStatus");
  w.WritePropName("Text");
  w.WriteString("kept");
  w.WriteListEnd();
  TSample sample;
  std::vector<std::string> warnings;
  TKwPropertyReader reader(w.Data());
  ReadObject(reader, sample, warnings);
  EXPECT_EQ(warnings.size(), 3u);
  EXPECT_EQ(sample.Text, "kept");
  EXPECT_EQ(sample.Count, 0);
  EXPECT_EQ(sample.Format, ssSaved);
}

TEST(ReadObjectTest, EveryTruncationFailsCleanlyAndKeepsWhatWasRead) {
  TSample sample;
  sample.Text = "some text";
  sample.Inner.Lines = {"one", "two"};
  std::string stream = Stream(sample);
  for (size_t length = 0; length < stream.size(); ++length) {
    TSample target;
    std::vector<std::string> warnings;
    TKwPropertyReader reader(std::string_view(stream).substr(0, length));
    EXPECT_THROW(ReadObject(reader, target, warnings), EReadError) << length;
  }
}

TEST(ReadObjectTest, RefusesDeeplyNestedListsInsteadOfOverflowing) {
  std::string data = Bytes({vaList, 1, 'X'}) + std::string(100000, static_cast<char>(vaList));
  TSample sample;
  std::vector<std::string> warnings;
  TKwPropertyReader reader(data);
  EXPECT_THROW(ReadObject(reader, sample, warnings), EReadError);
}

// ---- base64

TEST(Base64Test, BreaksLinesAfter76CharactersWithCrLf) {
  std::string text = EncodeBase64Lines(std::string(200, 'a'));
  ASSERT_EQ(text.substr(76, 2), "\r\n");
  EXPECT_EQ(text.substr(154, 2), "\r\n");
  EXPECT_NE(text.substr(text.size() - 2), "\r\n");
  std::string back;
  ASSERT_TRUE(DecodeBase64(text, back));
  EXPECT_EQ(back, std::string(200, 'a'));
}

TEST(Base64Test, RoundTripsEveryRemainderLength) {
  for (size_t n = 0; n < 10; ++n) {
    std::string data(n, '\xFE');
    std::string back;
    ASSERT_TRUE(DecodeBase64(EncodeBase64Lines(data), back));
    EXPECT_EQ(back, data);
  }
}

TEST(Base64Test, RejectsTextOutsideTheAlphabet) {
  std::string out;
  EXPECT_FALSE(DecodeBase64("abc$", out));
  EXPECT_FALSE(DecodeBase64("ab=c", out));       // data after padding
  EXPECT_FALSE(DecodeBase64(std::string("QQ\0=", 4), out));
  EXPECT_TRUE(DecodeBase64("QQ==\r\n", out));
  EXPECT_EQ(out, "A");
}
