#include "uKwMessageName.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "uKwDateTime.h"
#include "uKwSubs.h"

namespace {

// Ids depend on the GMT conversion of local dates; run the same whether or not ctest set TZ.
const bool kUtcPinned = [] {
  setenv("TZ", "UTC", 1);
  tzset();
  return true;
}();

const TDateTime kJan31 = EncodeDateTime(2024, 1, 31, 23, 59, 59);
const TDateTime kFeb1 = EncodeDateTime(2024, 2, 1, 8, 5, 3);

// A template call with everything filled; tests change what they look at.
struct TTemplateCall {
  std::string FromName = "John Doe", FromAddress = "john@example.com", FromDomain = "example.com";
  std::string ToAddress = "mary@example.org", ToDomain = "example.org", Subject = "Subject";
  std::string MessageId = "<abc@example.com>", SourceFilename = "/mail/in/box.mbox";
  std::string Codes = "020311", Separator = "_";
  TDateTime SubmitDate = kJan31, DeliveryDate = kFeb1;
  bool HasAttachments = true;
  TFileFormat Format = ffSfEml;
  int Counter = 0, MaxLength = 0;
  std::string Var1 = "v1", Var2 = "v2", Var3 = "v3", AttachmentSign = "att";

  std::string Build() const {
    return BuildUserDefinedEmailFileName(FromName, FromAddress, FromDomain, ToAddress, ToDomain,
                                         Subject, MessageId, SourceFilename, Codes, SubmitDate,
                                         DeliveryDate, HasAttachments, Separator, Format, Counter,
                                         Var1, Var2, Var3, AttachmentSign, MaxLength);
  }
};

std::string Build(std::string codes, std::string separator) {
  TTemplateCall call;
  call.Codes = std::move(codes);
  call.Separator = std::move(separator);
  return call.Build();
}

// Expected values below were computed independently with python3 over s.encode("utf-16-le"):
// zlib.crc32 packed little-endian (struct.pack("<I", ...)), hashlib.md5, and bitwise
// CRC-16/ARC and CRC-64/XZ whose check values for b"123456789" (0xBB3D, 0x995DC9BBDF1939FA)
// were verified first. UTF-16LE of "john@example.com" is 6a 00 6f 00 68 00 6e 00 40 00 ...
struct THashCase {
  const char* Reason;
  const char* Text;
  const char* Crc32;
  const char* Crc16;
  const char* Crc64;
  const char* Md5;
  const char* ElfHash;
};

const THashCase kHashCases[] = {
    {"empty text", "", "00000000", "0000", "0000000000000000", "D41D8CD98F00B204E9800998ECF8427E",
     ""},
    {"one letter", "a", "19483F3D", "2990", "2E5B61EFCD2C60D7", "4144E195F46DE78A3623DA7364D04F11",
     "61"},
    {"an address, long enough to fold the ELF hash", "john@example.com", "3A3AAAEA", "A490",
     "382A244FAC934DCA", "CE9C757A6F1E322D8221B0A1877B9AF6", "AAE"},
    {"Latin-1 letters are one code unit each", "Grüße", "0D0D7475", "314B", "FE9CA6C9FBEEABA3",
     "D8634E3E19167BDBE990F969AD19C65F", "92E"},
    {"a character beyond the BMP is a surrogate pair", "😀x", "8C6A52D0", "66C4", "AD1E03B49598CD55",
     "6A97FDFB41C31F10BB93DAC13C34EB01", "8A4"},
};

}  // namespace

// ---- Hashes ----

TEST(TKwMessageNameHashTest, HashesAreTakenOverUtf16LittleEndianBytes) {
  for (const THashCase& c : kHashCases) {
    SCOPED_TRACE(c.Reason);
    EXPECT_EQ(CRC32String(c.Text), c.Crc32);
    EXPECT_EQ(CRC16String(c.Text), c.Crc16);
    EXPECT_EQ(CRC64String(c.Text), c.Crc64);
    EXPECT_EQ(MD5String(c.Text), c.Md5);
    EXPECT_EQ(MessageIDHash(c.Text), c.ElfHash);
  }
  // The string form writes the integer least significant byte first.
  EXPECT_EQ(CRC32Int("john@example.com"), 0xEAAA3A3Au);
  EXPECT_EQ(CRC32Int("123456789"), 2727405687u);  // zlib.crc32 of the UTF-16LE bytes
  std::string longText;
  for (int i = 0; i < 300; ++i) longText += "ab";
  EXPECT_EQ(CRC32Int(longText), 66143550u) << "longer than one widened piece";
}

// ---- Unique ids ----

TEST(TKwMessageNameIdTest, UniqueIdJoinsDateSenderAndMessageIdFields) {
  // 2024-01-31 is day 19753 = 0x4D29 after 1970-01-01; 23:59:59 is second 86399 = 0x1517F.
  const std::string expected =
      "4D29"
      "1517F"
      "3A3AAAEA"
      "0355F240";
  EXPECT_EQ(BuildUniqueId("<abc@example.com>", "john@example.com", kJan31), expected);
  EXPECT_EQ(BuildUniqueId("<abc@example.com>", "\"John\" <John@Example.COM>", kJan31), expected);
  EXPECT_EQ(BuildUniqueId("  abc@example.com ", "john@example.com", kJan31), expected);
  EXPECT_EQ(BuildUniqueIdFile("<abc@example.com>", "john@example.com", kJan31), expected + "!");
  EXPECT_EQ(BuildUniqueIdParts(kJan31, "john@example.com", "0355F240"), expected);
  EXPECT_EQ(static_cast<int>(expected.size()), kUniqueIdLength);
}

TEST(TKwMessageNameIdTest, BlanksInsideTheAngleBracketsBelongToTheMessageId) {
  const std::string withBlanks = BuildUniqueId("<9209252113.AA00975@ ebony >", "john@example.com", kJan31);
  EXPECT_EQ(withBlanks.substr(17), CRC32String("9209252113.AA00975@ ebony "));
  EXPECT_NE(withBlanks, BuildUniqueId("<9209252113.AA00975@ebony>", "john@example.com", kJan31));
}

TEST(TKwMessageNameIdTest, MessageWithoutMessageIdEndsInZeros) {
  EXPECT_EQ(BuildUniqueId("", "john@example.com", kJan31), "4D291517F3A3AAAEA00000000");
  EXPECT_EQ(BuildUniqueId("<>", "john@example.com", kJan31), "4D291517F3A3AAAEA00000000");
}

TEST(TKwMessageNameIdTest, DateBefore1970GivesFourZerosButKeepsTheTime) {
  const std::string id =
      BuildUniqueId("<abc@example.com>", "", EncodeDateTime(1969, 12, 31, 0, 0, 1));
  EXPECT_EQ(id,
            "0000"
            "00001"
            "00000000"
            "0355F240");
}

TEST(TKwMessageNameIdTest, DecomposeSplitsTheThreeFields) {
  std::string date, from, id;
  DecomposeUniqueId("4D291517F3A3AAAEA0355F240", date, from, id);
  EXPECT_EQ(date, "4D291517F");
  EXPECT_EQ(from, "3A3AAAEA");
  EXPECT_EQ(id, "0355F240");
  DecomposeUniqueId("4D2915", date, from, id);
  EXPECT_EQ(date, "4D2915");
  EXPECT_EQ(from, "");
  EXPECT_EQ(id, "");
}

TEST(TKwMessageNameIdTest, IdsAreFoundInFileNamesOnlyInFileForm) {
  struct TCase {
    const char* Reason;
    const char* Name;
    const char* Id;  // "" when none is found
  } const cases[] = {
      {"id first, as fpUniqueId writes it", "4D291517F3A3AAAEA0355F240!_Subject.eml",
       "4D291517F3A3AAAEA0355F240"},
      {"id after other parts", "/out/20240131_4D291517F3A3AAAEA0355F240!.pdf",
       "4D291517F3A3AAAEA0355F240"},
      {"empty separator: hex digits run on, the last 25 count",
       "202401314D291517F3A3AAAEA0355F240!.zip", "4D291517F3A3AAAEA0355F240"},
      {"first of two ids", "000000000000000000000000A!000000000000000000000000B!",
       "000000000000000000000000A"},
      {"no exclamation mark", "4D291517F3A3AAAEA0355F240.eml", ""},
      {"only 24 digits", "D291517F3A3AAAEA0355F240!.eml", ""},
      {"lower-case digits are not ours", "4d291517f3a3aaaea0355f240!.eml", ""},
      {"a non-hex letter inside", "4D291517F3A3AAAEG0355F240!.eml", ""},
      {"the id is in a folder, not in the name", "/x/4D291517F3A3AAAEA0355F240!/a.pdf", ""},
      {"mark at the start", "!4D291517F3A3AAAEA0355F240.eml", ""},
  };
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.Reason);
    std::string id = "stale";
    EXPECT_EQ(IsUniqueIdInFilename(c.Name, id), *c.Id != '\0');
    EXPECT_EQ(id, c.Id);
    EXPECT_EQ(IsUniqueIdInFilename(c.Name), *c.Id != '\0');
  }
}

TEST(TKwMessageNameIdTest, ComparisonIgnoresCaseAndTheFileMark) {
  EXPECT_EQ(CompareUniqueIds("4D291517F3A3AAAEA0355F240", "4d291517f3a3aaaea0355f240!"), 0);
  EXPECT_LT(CompareUniqueIds("4D291517F3A3AAAEA0355F240", "4D291517F3A3AAAEA0355F241"), 0);
  EXPECT_GT(CompareUniqueIds("5", "4D291517F3A3AAAEA0355F240"), 0);
  const std::vector<std::string> list = {"000000000000000000000000A",
                                         "/out/x_4D291517F3A3AAAEA0355F240!_s.eml",
                                         "4D291517F3A3AAAEA0355F240"};
  EXPECT_EQ(SearchUniqueIdInList("4D291517F3A3AAAEA0355F240", list), 1);
  EXPECT_EQ(SearchUniqueIdInList("000000000000000000000000a!", list), 0);
  EXPECT_EQ(SearchUniqueIdInList("4D291517F3A3AAAEA0355F24F", list), -1);
  EXPECT_EQ(SearchUniqueIdInList("4D291517F3A3AAAEA0355F240", {}), -1);
}

// ---- Dates ----

TEST(TKwMessageNameDateTest, ShrinkingKeepsDaysAfter1970WithinSixteenBits) {
  EXPECT_EQ(ShrinkEmailDate(0), 0);
  EXPECT_EQ(ShrinkEmailDate(EncodeDateTime(1970, 1, 1, 12)), 0);  // 1970-01-01 itself
  EXPECT_EQ(ShrinkEmailDate(EncodeDateTime(1969, 12, 31, 23, 59, 59)), 0);
  EXPECT_EQ(ShrinkEmailDate(EncodeDateTime(1800, 6, 1, 10)), 0);  // negative TDateTime
  EXPECT_EQ(ShrinkEmailDate(EncodeDateTime(1970, 1, 2)), 1);
  EXPECT_EQ(ShrinkEmailDate(kJan31), 19753);
  EXPECT_EQ(ShrinkEmailDate(EncodeDateTime(2149, 6, 6, 23, 59, 59)), 65535);  // day 65535
  EXPECT_EQ(ShrinkEmailDate(EncodeDateTime(2149, 6, 7)), 0);
  EXPECT_EQ(ShrinkEmailDate(EncodeDateTime(9999, 12, 31)), 0);
}

TEST(TKwMessageNameDateTest, ExpandingZeroMeansNoDate) {
  EXPECT_EQ(ExpandEmailDate(0), EncodeDateTime(9999, 1, 1));
  EXPECT_EQ(ExpandEmailDate(1), EncodeDateTime(1970, 1, 2));
  EXPECT_EQ(ExpandEmailDate(65535), EncodeDateTime(2149, 6, 6));
  EXPECT_EQ(ExpandEmailDate(ShrinkEmailDate(kJan31)), EncodeDateTime(2024, 1, 31));
}

TEST(TKwMessageNameDateTest, HexDateTimeRoundTripsToTheSecond) {
  EXPECT_EQ(MessageDateTimeToHexString(kJan31), "4D291517F");
  EXPECT_EQ(MessageDateTimeToHexString(EncodeDateTime(1970, 1, 2)), "000100000");
  EXPECT_EQ(UidStringToMessageDateTime("4D291517F"), kJan31);
  EXPECT_EQ(UidStringToMessageDateTime("4d291517f"), kJan31);
  EXPECT_EQ(UidStringToMessageDateTime("4D291517F3A3AAAEA0355F240"), kJan31);
  EXPECT_EQ(UidStringToMessageDateTime("000000E10"), EncodeDateTime(9999, 1, 1, 1));
  const TDateTime withMilliseconds = EncodeDateTime(2024, 2, 1, 8, 5, 3, 999);
  EXPECT_EQ(UidStringToMessageDateTime(MessageDateTimeToHexString(withMilliseconds)), kFeb1);
}

TEST(TKwMessageNameDateTest, DateAndTimeTextsArePaddedDigits) {
  const TDateTime early = EncodeDateTime(987, 3, 4, 5, 6, 7);
  EXPECT_EQ(MessageDateToString(early), "09870304");
  EXPECT_EQ(MessageTimeToString(early), "050607");
  EXPECT_EQ(MessageDateTimeToString(kJan31, "-"), "20240131-235959");
  EXPECT_EQ(MessageDateTimeToString(kJan31, ""), "20240131235959");
  EXPECT_EQ(MessageDateTimeToString(0, "_"), "18991230_000000");
  for (const char* separator : {"", "-", "_at_", " "}) {
    SCOPED_TRACE(separator);
    EXPECT_EQ(StringToMessageDateTime(MessageDateTimeToString(kJan31, separator)), kJan31);
  }
  EXPECT_EQ(StringToMessageDateTime("20240131"), EncodeDateTime(2024, 1, 31));
}

// ---- Shortening and counters ----

TEST(TKwMessageNameTrimTest, SubjectIsCutToWhatTheLimitLeaves) {
  const std::string before(200, 'b'), after(50, 'a'), subject(40, 's');
  EXPECT_EQ(TrimSubject(before, subject, after, 260, 0), std::string(10, 's'));
  EXPECT_EQ(TrimSubject(before, subject, after + std::string(10, 'a'), 260, 0), "");
  EXPECT_EQ(TrimSubject(before, subject, after + std::string(20, 'a'), 260, 0), "");
  EXPECT_EQ(TrimSubject(before, subject, after, 290, 0), subject);  // exactly fits
  EXPECT_EQ(TrimSubject(before, subject, after, 289, 0), std::string(39, 's'));
}

TEST(TKwMessageNameTrimTest, LimitFallsBackToTheDefaultThenTo260) {
  const std::string subject(300, 's');
  EXPECT_EQ(TrimSubject("ab", subject, ".eml", 0, 0).size(), 254u);
  EXPECT_EQ(TrimSubject("ab", subject, ".eml", -5, 20).size(), 14u);
  EXPECT_EQ(TrimSubject("ab", subject, ".eml", 10, 20).size(), 4u);
}

TEST(TKwMessageNameTrimTest, CutCountsCharactersAndTrimsBlanks) {
  EXPECT_EQ(TrimSubject("", "Grüße aus Köln", "", 6, 0), "Grüße");
  EXPECT_EQ(TrimSubject("", "日本語のメール", "", 3, 0), "日本語");
}

TEST(TKwMessageNameTrimTest, CounterGoesBeforeTheExtension) {
  EXPECT_EQ(AddCounterToFilename("/out/name.eml", 3), "/out/name_3.eml");
  EXPECT_EQ(AddCounterToFilename("/out/a.b.eml", 12), "/out/a.b_12.eml");
  EXPECT_EQ(AddCounterToFilename("/out.d/name", 1), "/out.d/name_1");
  EXPECT_EQ(AddCounterToFilename("/out/name.eml", 0), "/out/name.eml");
  EXPECT_EQ(AddCounterToFilename("/out/name.eml", -1), "/out/name.eml");
}

// ---- Templates ----

TEST(TKwMessageNameTemplateTest, LastPartGetsNoClosingMark) {
  EXPECT_EQ(Build("0203", "_"), "20240131_235959.eml");
  EXPECT_EQ(Build("02", "_"), "20240131.eml");
}

TEST(TKwMessageNameTemplateTest, TwoCharacterSeparatorMarksPartsBeforeTheSubject) {
  EXPECT_EQ(Build("021103", "[]"), "[20240131][Subject]235959.eml");
  EXPECT_EQ(Build("02031105", "[]"), "[20240131][235959][Subject]080503.eml");
  EXPECT_EQ(Build("021103", " - "), "20240131 - Subject - 235959.eml");
}

TEST(TKwMessageNameTemplateTest, EveryPartCodeProducesItsText) {
  const std::string id = "4D291517F3A3AAAEA0355F240!";
  struct TCase {
    const char* Code;
    std::string Expected;
  } const cases[] = {
      {"00", "fpAttachmentFilename"},
      {"01", id},
      {"02", "20240131"},
      {"03", "235959"},
      {"04", "20240201"},
      {"05", "080503"},
      {"06", "John Doe"},
      {"07", "john@example.com"},
      {"08", "example.com"},
      {"09", "mary@example.org"},
      {"10", "example.org"},
      {"11", "Subject"},
      {"12", "abc@example.com"},
      {"13", "box"},
      {"14", GetComputerName()},
      {"15", GetUserName()},
      {"16", GetDomainName()},
      {"17", "v1"},
      {"18", "v2"},
      {"19", "v3"},
      {"20", "att"},
  };
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.Code);
    EXPECT_EQ(Build(c.Code, "_"), c.Expected + ".eml");
  }
}

TEST(TKwMessageNameTemplateTest, PartTextsHaveInvalidCharactersReplaced) {
  TTemplateCall call;
  call.Codes = "0611";
  call.FromName = "Doe: John";
  call.Subject = "Re: a/b <c>?";
  EXPECT_EQ(call.Build(), "Doe_ John_Re_ a_b _c__.eml");
  call.Codes = "12";
  call.MessageId = "<a/b@c>";
  EXPECT_EQ(call.Build(), "a_b@c.eml");
  call.Codes = "0203";
  call.Separator = ":";
  EXPECT_EQ(call.Build(), "20240131-235959.eml");
}

TEST(TKwMessageNameTemplateTest, EmptyPartsAddNothingButTheLastPartRuleStillHolds) {
  TTemplateCall call;
  call.Var1 = "";
  call.HasAttachments = false;
  call.Codes = "021703";
  EXPECT_EQ(call.Build(), "20240131_235959.eml");
  call.Codes = "0217";  // the last part is empty: the date keeps its closing mark
  EXPECT_EQ(call.Build(), "20240131_.eml");
  call.Codes = "022002";
  EXPECT_EQ(call.Build(), "20240131_20240131.eml");
}

TEST(TKwMessageNameTemplateTest, CounterFollowsTheAfterPartWithTheClosingMark) {
  TTemplateCall call;
  call.Counter = 2;
  call.Codes = "0211";
  EXPECT_EQ(call.Build(), "20240131_Subject_2.eml");
  call.Separator = "[]";
  call.Codes = "1102";
  EXPECT_EQ(call.Build(), "[Subject]20240131]2.eml");
}

TEST(TKwMessageNameTemplateTest, OnlyTheSubjectIsShortened) {
  TTemplateCall call;
  call.Subject = std::string(100, 's');
  call.MaxLength = 30;
  call.Codes = "021103";  // 9 before, 7 + 4 after: 10 left for the subject
  EXPECT_EQ(call.Build(), "20240131_ssssssssss_235959.eml");
  call.Codes = "020307";  // no subject: the name may exceed the limit
  EXPECT_EQ(call.Build(), "20240131_235959_john@example.com.eml");
  call.Codes = "07021103";  // before and after alone exceed the limit
  EXPECT_EQ(call.Build(), "john@example.com_20240131__235959.eml");
}

// ---- Default names ----

TEST(TKwMessageNameDefaultTest, DefaultNameHasDateTimeSenderAndSubject) {
  EXPECT_EQ(BuildDefaultEmailFileName("john@example.com", "Hello", kJan31, ffSfEml),
            "20240131-235959-(john@example.com)-Hello.eml");
  EXPECT_EQ(BuildDefaultEmailFileName("a(b)c", "Re: x", kJan31, ffSfMsg),
            "20240131-235959-(a_b_c)-Re_ x.msg");
  EXPECT_EQ(BuildDefaultEmailFileName("a@b.c", std::string(300, 's'), kJan31, ffSfEml, 40),
            "20240131-235959-(a@b.c)-" + std::string(12, 's') + ".eml");
}

TEST(TKwMessageNameDefaultTest, DefaultNameParsesBackToSubjectSenderAndDate) {
  struct TCase {
    const char* Reason;
    const char* Sender;
    const char* Subject;
    TDateTime Date;
  } const cases[] = {
      {"plain", "john@example.com", "Hello world", kJan31},
      {"separator in subject and sender", "mary-ann@my-host.example", "a - b -- c-", kFeb1},
      {"subject of digits that look like a date", "x@y.z", "20240131-235959-(q)-r",
       EncodeDateTime(1999, 12, 31, 23, 59, 59)},
      {"non-ASCII subject and sender", "jörg@bücher.example", "Grüße 日本 🙂", kFeb1},
      {"parentheses and dots in the subject", "x@y.z", "(draft) v1.2 (final).txt", kJan31},
      {"empty subject", "x@y.z", "", EncodeDateTime(2024, 2, 29)},
      {"empty sender", "", "no sender", EncodeDateTime(1970, 1, 1)},
      {"zero date", "x@y.z", "undated", 0},
  };
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.Reason);
    for (TFileFormat format : {ffSfEml, ffSfPdf, ffSf7z}) {
      const std::string name =
          "/out/dir.x/" + BuildDefaultEmailFileName(c.Sender, c.Subject, c.Date, format);
      std::string subject, sender;
      TDateTime date = -1;
      ASSERT_TRUE(ParseEmailFilename(name, subject, sender, date)) << name;
      EXPECT_EQ(subject, c.Subject);
      EXPECT_EQ(sender, c.Sender);
      EXPECT_EQ(date, c.Date);
    }
  }
}

TEST(TKwMessageNameDefaultTest, HiddenExtensionIsDroppedLikeAPlainOne) {
  std::string subject, sender;
  TDateTime date = 0;
  ASSERT_TRUE(ParseEmailFilename("20240131-235959-(a@b.c)-Hi._eml", subject, sender, date));
  EXPECT_EQ(subject, "Hi");
}

// ---- Error paths ----

TEST(TKwMessageNameErrorTest, DegenerateTemplatesGiveOnlyWhatIsValid) {
  EXPECT_EQ(Build("", "_"), ".eml");
  EXPECT_EQ(Build("2199", "_"), ".eml");                    // codes above 20 produce nothing
  EXPECT_EQ(Build("020321", "_"), "20240131_235959_.eml");  // ... but are still last
  EXPECT_EQ(Build("02031", "_"), "20240131_235959.eml");    // odd character ignored
  EXPECT_EQ(Build("02xx03", "_"), "20240131_235959.eml");
  EXPECT_EQ(Build("0203", ""), "20240131235959.eml");
  EXPECT_EQ(Build("021103", ""), "20240131Subject235959.eml");
  EXPECT_EQ(Build("0203", "\x01\x02"), "20240131235959.eml");  // control characters dropped
}

TEST(TKwMessageNameErrorTest, LongSubjectsAreCutToTheLimit) {
  TTemplateCall call;
  call.Subject = std::string(300, 's');
  call.Codes = "11";
  EXPECT_EQ(call.Build(), std::string(256, 's') + ".eml");
  call.MaxLength = 4;  // the extension alone reaches the limit
  EXPECT_EQ(call.Build(), ".eml");
}

TEST(TKwMessageNameErrorTest, InvalidDateTextsGiveZero) {
  for (const char* text : {"", "2024013", "202401311", "20240131-2359", "2024013x-235959",
                           "20240230-000000", "20240131-246000", "abcdefghijklmn"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(StringToMessageDateTime(text), 0);
  }
  EXPECT_EQ(UidStringToMessageDateTime("4D291517"), 0);
  EXPECT_EQ(UidStringToMessageDateTime("4D29 517F"), 0);
  EXPECT_EQ(MessageDateToString(1e300), "18991230");
  EXPECT_EQ(ShrinkEmailDate(-1e300), 0);
}

TEST(TKwMessageNameErrorTest, NamesOutsideTheDefaultSchemeDoNotParse) {
  for (const char* name : {"", "Hello.eml", "/out/20240131-235959-john-Hello.eml",
                           "20240131-235959-(john-Hello.eml", "20240131-235959-(j)Hello.eml",
                           "20241331-235959-(j)-Hello.eml", "20240131_235959-(j)-Hello.eml"}) {
    SCOPED_TRACE(name);
    std::string subject, sender = "stale";
    TDateTime date = -1;
    EXPECT_FALSE(ParseEmailFilename(name, subject, sender, date));
    EXPECT_EQ(sender, "");
    EXPECT_EQ(date, 0);
  }
  std::string subject, sender;
  TDateTime date = 0;
  ParseEmailFilename("/out/Hello there.eml", subject, sender, date);
  EXPECT_EQ(subject, "Hello there");
}
