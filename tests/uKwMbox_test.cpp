// The mbox reader and writer: line splitting, indexing in both dialects against a plain
// line-by-line reference, cutting, quoting, writing and reading back, 64-bit offsets and
// the ways a mailbox can be broken.

#include "uKwMbox.h"

#include "MboxReference.h"
#include "uKwSubs.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "uKwHeaders.h"
#include "uKwStreamLineReader.h"

namespace {

struct TLine {
  std::string Text;
  int64_t Start;
  bool operator==(const TLine&) const = default;
};

std::vector<TLine> ReadAllLines(std::string_view data, size_t chunkSize, size_t limit = 100) {
  TKwMemoryStream stream(data);
  TStreamLineReader reader(stream, chunkSize);
  std::vector<TLine> lines;
  std::string line;
  while (!reader.EoF() && lines.size() < limit) {
    const int64_t start = reader.Position();
    reader.ReadLine(line);
    lines.push_back({line, start});
  }
  return lines;
}

TMboxReferenceIndex ReferenceIndex(std::string_view data, TMboxFamily family) {
  return MboxReferenceIndex(data, family, 7);
}

std::vector<std::string> IdsOf(TKwMbox& mbox) {
  std::vector<std::string> ids;
  for (int64_t i = 0; i < mbox.UniqueIds().Count(); ++i) ids.emplace_back(mbox.UniqueIds().Items(i));
  return ids;
}

void ExpectSameAsReference(std::string_view data, TMboxFamily family, const std::string& what) {
  TKwMbox mbox(family);
  std::string error;
  ASSERT_TRUE(mbox.LoadFromMemory(data, error)) << what;
  const TMboxReferenceIndex reference = ReferenceIndex(data, family);
  ASSERT_EQ(mbox.Offsets(), reference.Offsets) << what;
  ASSERT_EQ(IdsOf(mbox), reference.Ids) << what;
  size_t cutBytes = 0;
  for (int64_t i = 0; i < mbox.Count(); ++i) {
    for (const TStringList* list : {&mbox.GetHeader(i), &mbox.GetBody(i)})
      for (const std::string& line : *list) cutBytes += line.size();
    // The one-piece text of a message is its two lists joined, the header length at the gap.
    std::string joined;
    for (const std::string& line : mbox.GetHeader(i)) joined.append(line).append("\r\n");
    const size_t expectedHeaderLength = joined.size();
    joined.append("\r\n").append(JoinLines(mbox.GetBody(i), "\r\n"));
    size_t headerLength = 0;
    EXPECT_EQ(mbox.GetMessageText(i, headerLength), joined) << what << ", message " << i;
    EXPECT_EQ(headerLength, expectedHeaderLength) << what << ", message " << i;
  }
  EXPECT_LE(cutBytes, data.size()) << what;
}

std::unique_ptr<TKwMbox> Open(std::string_view data, TMboxFamily family = mbfMboxrd) {
  auto mbox = std::make_unique<TKwMbox>(family);
  std::string error;
  EXPECT_TRUE(mbox->LoadFromMemory(data, error)) << error;
  return mbox;
}

using Lines = TStringList;

// ---------------------------------------------------------------- line reader

TEST(TStreamLineReaderTest, SplitsCrLfLoneLfAndLoneCrAlike) {
  const std::vector<TLine> expected = {{"a", 0}, {"b", 3}, {"c", 5}, {"d", 7}};
  EXPECT_EQ(ReadAllLines("a\r\nb\nc\rd", 1 << 20), expected);
  // LF CR is a line end followed by an empty line.
  EXPECT_EQ(ReadAllLines("a\n\rb", 1 << 20), (std::vector<TLine>{{"a", 0}, {"", 2}, {"b", 3}}));
}

TEST(TStreamLineReaderTest, ReportsOneEmptyLineAfterTheFinalLineBreakOnly) {
  TKwMemoryStream stream("a\n");
  TStreamLineReader reader(stream);
  std::string line;
  EXPECT_TRUE(reader.ReadLine(line));
  EXPECT_FALSE(reader.EoF()) << "the handed-out buffer still counts";
  EXPECT_FALSE(reader.ReadLine(line));
  EXPECT_EQ(line, "");
  EXPECT_TRUE(reader.EoF());
  EXPECT_EQ(ReadAllLines("a", 1 << 20), (std::vector<TLine>{{"a", 0}}));
}

TEST(TStreamLineReaderTest, NeverStepsOverANulByte) {
  TKwMemoryStream stream(std::string_view("ab\0cd\n", 6));
  TStreamLineReader reader(stream);
  std::string line;
  EXPECT_TRUE(reader.ReadLine(line));
  EXPECT_EQ(line, "ab");
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(reader.ReadLine(line));
    EXPECT_EQ(line, "");
    EXPECT_EQ(reader.Position(), 2);
    EXPECT_FALSE(reader.EoF());
  }
}

TEST(TStreamLineReaderTest, GivesTheSameLinesWhateverTheFillSize) {
  const std::string data = "From a\r\n\r\nx\ry\n\rz\r\r\n\nlong line of text\r\nend\r";
  const std::vector<TLine> expected = ReadAllLines(data, 1 << 20);
  for (size_t chunk = 1; chunk <= data.size() + 1; ++chunk)
    EXPECT_EQ(ReadAllLines(data, chunk), expected) << "fill size " << chunk;
}

TEST(TStreamLineReaderTest, SkipStopsExactlyWhereReadingLineByLineWould) {
  const std::string data = "x\nFrox\rFrom a\r\nFFrom\n\nFrom b\nab\rFrom c";
  std::vector<int64_t> expected;
  for (const TLine& line : ReadAllLines(data, 1 << 20))
    if (line.Text.starts_with("From ")) expected.push_back(line.Start);
  ASSERT_EQ(expected, (std::vector<int64_t>{7, 22, 32}));
  for (size_t chunk = 1; chunk <= data.size() + 1; ++chunk) {
    TKwMemoryStream stream(data);
    TStreamLineReader reader(stream, chunk);
    std::vector<int64_t> starts;
    std::string_view line;
    while (!reader.EoF()) {
      reader.SkipToLineStartingWith("From ");
      const int64_t start = reader.Position();
      if (reader.ReadLineView(line) && line.starts_with("From ")) starts.push_back(start);
    }
    EXPECT_EQ(starts, expected) << "fill size " << chunk;
  }
}

TEST(TStreamLineReaderTest, ReadBufferAndSetPositionWorkAcrossFills) {
  const std::string data = "0123456789abcdef";
  TKwMemoryStream stream(data);
  TStreamLineReader reader(stream, 3);
  char buffer[16] = {};
  size_t got = 0;
  EXPECT_TRUE(reader.ReadBuffer(10, buffer, got));
  EXPECT_EQ(std::string(buffer, got), "0123456789");
  EXPECT_EQ(reader.Position(), 10);
  reader.SetPosition(4);
  EXPECT_FALSE(reader.ReadBuffer(16, buffer, got));
  EXPECT_EQ(std::string(buffer, got), "456789abcdef");
  // Somebody moves the stream underneath: the reader notices and drops its buffer.
  stream.Seek(1);
  std::string line;
  reader.ReadLine(line);
  EXPECT_EQ(line, "123456789abcdef");
}

// ---------------------------------------------------------------- odd mailboxes

struct TOddMailbox {
  std::string Data;
  const char* Reason;
};

const std::vector<TOddMailbox>& OddMailboxes() {
  static const std::vector<TOddMailbox> table = {
      {"", "a 0-byte file"},
      {"no separator\nat all\n", "plain text is no mailbox"},
      {"preamble\n\nFrom a@b Mon\nSubject: x\n\nbody\n", "text before the first separator"},
      {"From a\nSubject: s\nFrom b\nSubject: t\n\nbody\n", "headers run into the next separator"},
      {"From a\r\nSubject: s\r\n\r\nbody\r\nFrom b\r\nX: 1\r\n\r\n", "CR LF line ends"},
      {"From a\rSubject: s\r\rbody\rFrom b\rX: 1\r\r", "CR-only line ends"},
      {"From a\n\rSubject: s\n\nbody\n", "LF CR ends the header block at once"},
      {"From a\nSubject: s", "headers only, no final line break: no id"},
      {"From a\nSubject: s\n", "headers only, final line break: the final empty line ends them"},
      {std::string("From a\nX: 1\0\nFrom b\nX: 2\n\n", 26), "a NUL byte in the headers"},
      {std::string("From a\nX: 1\n\nbo\0dy\nFrom b\n\n", 27), "a NUL byte in a body"},
      {"From a\n\nbody\n>From quoted\n>>From twice\nFrom  b\n", "quoted and unquoted From lines"},
      {"From ???@??? Mon\nextra\nSubject: e\n\nbody\nFrom ???@??? Tue\nFrom ???@??? Tue\n"
       "Subject: f\n\nFrom x\n",
       "Eudora separators, one doubled"},
      {"From a\n \tfirst line folded\nFrom: x@y\n Date: 1 Jan 2019\nX: 1\n\n", "odd folding"},
      {"From a\nFrom: \"A\" <A@Example.COM>\nDate: Tue, 01 Jan 2019 10:00:00 +0000\n"
       "Message-ID: <1@x>\n\n",
       "a complete id"},
      {"From a\nReceived: from x by y; Tue, 01 Jan 2019 10:00:00 +0000\nFrom: a@b\n\n",
       "date from the Received chain"},
      {" Received: from x by y; Tue, 01 Jan 2019 10:00:00 +0000\nFrom a\n Received: from x\n by y;"
       " Wed, 02 Jan 2019 10:00:00 +0000\nFrom: a@b\nDate: garbage\n\n",
       "folded Received as the first header, unreadable Date"},
      {"From a\nFrom: =?utf-8?q?J=C3=BCrgen?= <J@X.org>\nDATE: 1 Jan 2019 00:00 GMT\n\n", "encoded sender"},
      {"From a\nX: 1\n \t \nbody\n", "a blank-only line ends the headers"},
      {"From x\nFrom y\n", "consecutive separators"},
      {"\n\n\nFrom \n\n", "the shortest separator"},
      {"From a\nSubject: x\n\nFrom b", "a lone separator without line break at the end"},
      {"from a\nFROM b\n\n", "separators are case-sensitive"},
      {"From a\nX: " + std::string(1500000, 'x') + "\nDate: 2 Jan 2019 00:00 GMT\n\nbody\nFrom b\n\n",
       "a header line longer than a fill"},
  };
  return table;
}

TEST(TKwMboxTest, IndexesOddMailboxesLikeTheLineByLineRules) {
  for (const TOddMailbox& odd : OddMailboxes())
    for (TMboxFamily family : {mbfMboxrd, mbfEudora})
      ExpectSameAsReference(odd.Data, family, std::string(odd.Reason) + " / " + EnumToString(family));
}

TEST(TKwMboxTest, IndexesEveryTruncationOfOddMailboxesLikeTheLineByLineRules) {
  for (const TOddMailbox& odd : OddMailboxes()) {
    const size_t step = odd.Data.size() > 10000 ? 99991 : 1;
    for (size_t length = 0; length <= odd.Data.size(); length += step)
      for (TMboxFamily family : {mbfMboxrd, mbfEudora})
        ExpectSameAsReference(std::string_view(odd.Data).substr(0, length), family,
                              std::string(odd.Reason) + " cut at " + std::to_string(length));
  }
}

// ---------------------------------------------------------------- indexing and cutting

TEST(TKwMboxTest, FindsNoMessageWithoutSeparatorAndIgnoresTextBeforeTheFirst) {
  EXPECT_EQ(Open("Subject: x\n\nbody\n")->Count(), 0);
  auto mbox = Open("junk\nFrom a@b\nSubject: x\n\nbody\n");
  ASSERT_EQ(mbox->Count(), 1);
  EXPECT_EQ(mbox->Offsets()[0], 5);
  EXPECT_EQ(mbox->GetHeader(0), Lines{"Subject: x"});
  EXPECT_EQ(mbox->GetBody(0), Lines{"body"});
}

TEST(TKwMboxTest, AHeaderBlockWithoutBlankLineShiftsTheIdList) {
  auto mbox = Open("From a\nMessage-ID: <1@x>\nFrom b\nMessage-ID: <2@x>\n\nFrom c\nMessage-ID: <3@x>\n\n");
  ASSERT_EQ(mbox->Count(), 3);
  ASSERT_EQ(mbox->UniqueIds().Count(), 2);
  TKwHeaders second;
  second.LoadHeadersFromString("Message-ID: <2@x>\r\n");
  EXPECT_EQ(mbox->UniqueIds().Items(0), second.GetUniqueId()) << "message 1's id sits at index 0";
}


TEST(TKwMboxTest, EudoraIndexingSkipsOneLineAndCuttingDropsTwoSeparators) {
  const std::string data =
      "From ???@??? Mon\nFrom ???@??? Mon\nSubject: a\n\nFrom x@y is a body line\n"
      "From ???@??? Tue\nSubject: b\n\nbody\n";
  auto mbox = Open(data, mbfEudora);
  ASSERT_EQ(mbox->Count(), 2);
  EXPECT_EQ(mbox->GetHeader(0), Lines{"Subject: a"});
  EXPECT_EQ(mbox->GetBody(0), Lines{"From x@y is a body line"});
  EXPECT_EQ(mbox->GetHeader(1), Lines{"Subject: b"}) << "the line after one separator is kept";
}

TEST(TKwMboxTest, BodiesLoseOneLevelOfFromQuotingAndEndWithTheFile) {
  auto mbox = Open("From a\nX: 1\n\n>From one\n>>From two\n> From three\nFrom: no separator\n");
  EXPECT_EQ(mbox->GetBody(0), (Lines{"From one", ">>From two", "> From three", "From: no separator"}));
  EXPECT_EQ(Open("From a\nX: 1\n\nlast line")->GetBody(0), Lines{"last line"});
  EXPECT_EQ(Open("From a\nX: 1\n\nlast line\n")->GetBody(0), Lines{"last line"});
}

TEST(TKwMboxTest, CrOnlyLfOnlyAndCrLfFilesCutAndIdentifyAlike) {
  const std::string lf =
      "From a\nFrom: a@b\nDate: Tue, 01 Jan 2019 10:00:00 +0000\nMessage-ID: <m@x>\n\nbody\n\nend\n"
      "From b\nSubject: 2\n\nx\n";
  std::string crlf, cr;
  for (char c : lf) {
    crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    cr += c == '\n' ? '\r' : c;
  }
  auto expected = Open(lf);
  for (const std::string* data : {&crlf, &cr}) {
    auto mbox = Open(*data);
    ASSERT_EQ(mbox->Count(), 2);
    EXPECT_EQ(IdsOf(*mbox), IdsOf(*expected));
    for (int64_t i = 0; i < 2; ++i) {
      EXPECT_EQ(mbox->GetHeader(i), expected->GetHeader(i));
      EXPECT_EQ(mbox->GetBody(i), expected->GetBody(i));
    }
  }
}

TEST(TKwMboxTest, DuplicateIdsAreFoundAtTheirFirstPosition) {
  auto mbox = Open("From a\nMessage-ID: <d@x>\n\nFrom b\nMessage-ID: <e@x>\n\nFrom c\nMessage-ID: <d@x>\n\n");
  ASSERT_EQ(mbox->UniqueIds().Count(), 3);
  EXPECT_EQ(mbox->IndexOf(mbox->UniqueIds().Items(2)), 0);
  EXPECT_EQ(mbox->IndexOf("not there"), -1);
  mbox->AddUniqueId("new");
  EXPECT_EQ(mbox->IndexOf("new"), 3);
}

TEST(TKwMboxTest, TheLastCutOutlivesOpeningAnotherFile) {
  TTempDir dir;
  WriteFileText(dir / "a.mbox", "From a\nSubject: first file\n\n");
  WriteFileText(dir / "b.mbox", "From b\nSubject: second file\n\nFrom c\nSubject: c\n\n");
  TKwMbox mbox(mbfMboxrd);
  std::string error;
  ASSERT_TRUE(mbox.LoadFromFile(dir / "a.mbox", mbmRead, error));
  EXPECT_EQ(mbox.GetHeader(0), Lines{"Subject: first file"});
  ASSERT_TRUE(mbox.LoadFromFile(dir / "b.mbox", mbmRead, error));
  EXPECT_EQ(mbox.GetHeader(0), Lines{"Subject: first file"}) << "kept on purpose";
  EXPECT_EQ(mbox.GetHeader(1), Lines{"Subject: c"});
  EXPECT_EQ(mbox.GetHeader(0), Lines{"Subject: second file"});
}

// ---------------------------------------------------------------- writing

TEST(TKwMboxTest, WrittenMailboxReadsBackAndWritesAgainByteForByte) {
  TTempDir dir;
  const std::vector<Lines> messages = {
      {"From: a@b", "Subject: one", "", "From the start", ">>From kept", "body"},
      {"Subject: two", "", "ends with a blank", ""},
      {"Subject: three", "", "multi\r\nline string", "From x"},
  };
  for (TMboxFamily family : {mbfMboxrd, mbfEudora}) {
    const std::string first = dir / "first.mbox", second = dir / "second.mbox";
    std::filesystem::remove(first);
    std::filesystem::remove(second);
    TKwMbox writer(family);
    std::string error;
    ASSERT_TRUE(writer.LoadFromFile(first, mbmWrite, error)) << error;
    for (const Lines& message : messages) writer.AddMessage(message, "a@b", 43466.5);
    ASSERT_TRUE(writer.Save());
    const std::string written = ReadFileText(first);
    EXPECT_TRUE(written.starts_with("From ")) << "no byte-order mark";

    TKwMbox reader(family);
    ASSERT_TRUE(reader.LoadFromFile(first, mbmRead, error));
    ASSERT_EQ(reader.Count(), 3);
    EXPECT_EQ(reader.GetBody(0), (Lines{"From the start", ">>From kept", "body", ""}));
    EXPECT_EQ(reader.GetBody(2), (Lines{"multi", "line string", "From x", ""}));
    TKwMbox again(family);
    ASSERT_TRUE(again.LoadFromFile(second, mbmWrite, error));
    for (int64_t i = 0; i < reader.Count(); ++i) {
      Lines message = reader.GetHeader(i);
      message.emplace_back();
      message.insert(message.end(), reader.GetBody(i).begin(), reader.GetBody(i).end());
      again.AddMessage(message, "a@b", 43466.5);
    }
    ASSERT_TRUE(again.Save());
    EXPECT_EQ(ReadFileText(second), written) << EnumToString(family);
  }
}

TEST(TKwMboxTest, AQuotedFromLineReadsBackUnquoted) {
  TTempDir dir;
  TKwMbox writer(mbfMboxrd);
  std::string error;
  ASSERT_TRUE(writer.LoadFromFile(dir / "q.mbox", mbmWrite, error));
  writer.AddMessage({"X: 1", "", ">From was quoted"}, "", 0);
  ASSERT_TRUE(writer.Save());
  EXPECT_EQ(ReadFileText(dir / "q.mbox"),
            "From MAILER-DAEMON Thu Jan  1 00:00:00 1970\r\nX: 1\r\n\r\n>From was quoted\r\n\r\n");
  const std::string written = ReadFileText(dir / "q.mbox");
  EXPECT_EQ(Open(written)->GetBody(0), (Lines{"From was quoted", ""}));
}

TEST(TKwMboxTest, WriteModeKnowsTheIdsOfTheFileAndAppendsOnANewLine) {
  TTempDir dir;
  WriteFileText(dir / "w.mbox", "From a\nMessage-ID: <old@x>\n\nno final line break");
  TKwMbox mbox(mbfMboxrd);
  std::string error;
  ASSERT_TRUE(mbox.LoadFromFile(dir / "w.mbox", mbmWrite, error));
  TKwHeaders old;
  old.LoadHeadersFromString("Message-ID: <old@x>\r\n");
  EXPECT_EQ(mbox.IndexOf(old.GetUniqueId()), 0);
  mbox.AddStrings({"From b", "Subject: appended", "", "text"});
  ASSERT_TRUE(mbox.Save());
  const std::string written = ReadFileText(dir / "w.mbox");
  auto reread = Open(written);
  ASSERT_EQ(reread->Count(), 2);
  EXPECT_EQ(reread->GetBody(0), Lines{"no final line break"});
  EXPECT_EQ(reread->GetHeader(1), Lines{"Subject: appended"});
}

// ---------------------------------------------------------------- 64-bit offsets

// 4 GiB of body lines between two messages, made up as they are read.
class TBeyondFourGiBStream final : public TKwSeekStream {
 public:
  static constexpr int64_t kFillerEnd = (int64_t{1} << 32) + 100;

  size_t Read(char* buffer, size_t count) override {
    size_t done = 0;
    while (done < count && FPosition < Size()) {
      const std::string_view piece = PieceAt(FPosition);
      const size_t n = std::min(count - done, piece.size());
      std::memcpy(buffer + done, piece.data(), n);
      done += n;
      FPosition += static_cast<int64_t>(n);
    }
    return done;
  }
  void Seek(int64_t position) override { FPosition = position; }
  int64_t Position() const override { return FPosition; }
  int64_t Size() const override { return kFillerEnd + static_cast<int64_t>(kTail.size()); }

 private:
  static constexpr std::string_view kHead = "From a@b\nSubject: near\n\n";
  static constexpr std::string_view kTail = "\nFrom c@d\nSubject: far\n\nbody far\n";

  // The bytes from position to the end of the part it lies in.
  static std::string_view PieceAt(int64_t position) {
    static const std::string filler = [] {
      std::string lines;
      while (lines.size() < 4096) lines += std::string(63, 'x') + "\n";
      return lines;
    }();
    const auto head = static_cast<int64_t>(kHead.size());
    if (position < head) return kHead.substr(static_cast<size_t>(position));
    if (position >= kFillerEnd) return kTail.substr(static_cast<size_t>(position - kFillerEnd));
    const auto inFiller = static_cast<size_t>((position - head) % 4096);
    return std::string_view(filler).substr(
        inFiller, static_cast<size_t>(std::min<int64_t>(4096 - inFiller, kFillerEnd - position)));
  }

  int64_t FPosition = 0;
};

TEST(TKwMboxTest, OffsetsBeyondFourGiBIndexAndCut) {
  TKwMbox mbox(mbfMboxrd);
  std::string error;
  ASSERT_TRUE(mbox.LoadFromStream(std::make_unique<TBeyondFourGiBStream>(), error)) << error;
  ASSERT_EQ(mbox.Count(), 2);
  EXPECT_EQ(mbox.Offsets()[1], TBeyondFourGiBStream::kFillerEnd + 1);
  EXPECT_EQ(mbox.GetHeader(1), Lines{"Subject: far"});
  EXPECT_EQ(mbox.GetBody(1), Lines{"body far"});
  EXPECT_EQ(mbox.UniqueIds().Count(), 2);
}

TEST(TKwMboxTest, ASparseFileBeyondFourGiBReadsAtItsFarEndAndStopsIndexingAtTheHole) {
  TTempDir dir;
  const std::string path = dir / "sparse.mbox";
  const int64_t farOffset = (int64_t{1} << 32) + 4096;
  {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(fd, 0);
    const std::string near = "From a\nSubject: near\n\nbody\n", far = "From b\nSubject: far\n\n";
    const bool written = ::pwrite(fd, near.data(), near.size(), 0) == static_cast<ssize_t>(near.size()) &&
                         ::pwrite(fd, far.data(), far.size(), farOffset) == static_cast<ssize_t>(far.size());
    struct stat info {};
    ::fstat(fd, &info);
    ::close(fd);
    if (!written || info.st_blocks * 512 > (int64_t{1} << 30))
      GTEST_SKIP() << "this file system does not keep sparse files";
  }
  TKwFileStream stream(path);
  EXPECT_GT(stream.Size(), int64_t{1} << 32);
  TStreamLineReader reader(stream);
  reader.SetPosition(farOffset);
  std::string line;
  ASSERT_TRUE(reader.ReadLine(line));
  EXPECT_EQ(line, "From b");
  EXPECT_EQ(reader.Position(), farOffset + 7);

  TKwMbox mbox(mbfMboxrd);
  std::string error;
  ASSERT_TRUE(mbox.LoadFromFile(path, mbmRead, error));
  EXPECT_EQ(mbox.Count(), 1) << "the hole reads as NUL bytes, where reading stops";
  EXPECT_NE(mbox.ErrorText().find("NUL byte at offset 27"), std::string::npos) << mbox.ErrorText();
}

// ---------------------------------------------------------------- error paths

TEST(TKwMboxTest, OpeningFailuresReturnFalseWithTheReason) {
  TTempDir dir;
  TKwMbox mbox(mbfMboxrd);
  std::string error;
  EXPECT_FALSE(mbox.LoadFromFile(dir / "missing.mbox", mbmRead, error));
  EXPECT_NE(error.find("missing.mbox"), std::string::npos) << error;
  EXPECT_FALSE(mbox.LoadFromFile(dir.Path(), mbmRead, error));
  EXPECT_NE(error.find("not a regular file"), std::string::npos) << error;
  EXPECT_FALSE(mbox.LoadFromFile(dir / "no/such/folder.mbox", mbmWrite, error));
  EXPECT_FALSE(error.empty());
  WriteFileText(dir / "empty.mbox", "");
  EXPECT_TRUE(mbox.LoadFromFile(dir / "empty.mbox", mbmRead, error));
  EXPECT_EQ(mbox.Count(), 0);
  EXPECT_TRUE(TKwMbox(mbfNone).LoadFromMemory("From a\n\n", error));
}

TEST(TKwMboxTest, CutsThatCannotBeMadeGiveEmptyListsAndAReason) {
  auto mbox = Open("From a\nX: 1\n\nbody\n");
  EXPECT_TRUE(mbox->GetBody(5).empty());
  EXPECT_NE(mbox->ErrorText().find("does not exist"), std::string::npos);
  EXPECT_TRUE(mbox->GetHeader(-1).empty());
  TKwMbox closed(mbfMboxrd);
  EXPECT_TRUE(closed.GetHeader(0).empty());
  EXPECT_NE(closed.ErrorText().find("not open for reading"), std::string::npos);
  closed.AddStrings({"x"});
  EXPECT_NE(closed.ErrorText().find("not open for writing"), std::string::npos);
  EXPECT_TRUE(closed.Save());
  EXPECT_EQ(closed.ErrorText(), "");
}

TEST(TKwMboxTest, AFileThatShrinksOrVanishesAfterIndexingGivesClearCuts) {
  TTempDir dir;
  const std::string path = dir / "v.mbox";
  WriteFileText(path, "From a\nX: 1\n\nfirst body\nFrom b\nX: 2\n\nsecond body\n");
  TKwMbox mbox(mbfMboxrd);
  std::string error;
  ASSERT_TRUE(mbox.LoadFromFile(path, mbmRead, error));
  std::filesystem::remove(path);
  EXPECT_EQ(mbox.GetBody(1), Lines{"second body"}) << "the open file outlives its name";
  WriteFileText(path, "From a\nX: 1\n\nfirst body\nFrom b\nX: 2\n\nsecond body\n");
  ASSERT_TRUE(mbox.LoadFromFile(path, mbmRead, error));
  std::filesystem::resize_file(path, 16);
  EXPECT_EQ(mbox.GetBody(0), Lines{"fir"});
  EXPECT_NE(mbox.ErrorText().find("ends early"), std::string::npos) << mbox.ErrorText();
}

TEST(TKwMboxTest, ANulByteStopsIndexingAndCuttingWhereItStands) {
  auto mbox = Open(std::string("From a\nX: 1\n\nbody\0more\nFrom b\n\n", 31));
  EXPECT_EQ(mbox->Count(), 1);
  EXPECT_NE(mbox->ErrorText().find("NUL byte at offset 17"), std::string::npos) << mbox->ErrorText();
  EXPECT_EQ(mbox->GetBody(0), Lines{"body"});
  EXPECT_NE(mbox->ErrorText().find("Message 1 holds a NUL byte"), std::string::npos);
}

TEST(TKwMboxTest, AFailedWriteIsReportedBySave) {
  TTempDir dir;
  TKwMbox mbox(mbfMboxrd);
  std::string error;
  ASSERT_TRUE(mbox.LoadFromFile(dir / "big.mbox", mbmWrite, error));
  rlimit old {};
  ::getrlimit(RLIMIT_FSIZE, &old);
  auto previous = std::signal(SIGXFSZ, SIG_IGN);
  rlimit small = old;
  small.rlim_cur = 1000;
  ::setrlimit(RLIMIT_FSIZE, &small);
  mbox.AddMessage({"X: 1", "", std::string(5000, 'y')}, "a@b", 0);
  const bool saved = mbox.Save();
  ::setrlimit(RLIMIT_FSIZE, &old);
  std::signal(SIGXFSZ, previous);
  EXPECT_FALSE(saved);
  EXPECT_NE(mbox.ErrorText().find("Cannot write file"), std::string::npos) << mbox.ErrorText();
}

}  // namespace
