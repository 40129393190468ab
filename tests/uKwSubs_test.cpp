#include "uKwSubs.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <regex>

#include "TestSupport.h"
#include "uKwRegFolders.h"
#include "uKwRunFileCache.h"

namespace fs = std::filesystem;

namespace {

struct TCleanCase {
  const char* Reason;
  const char* Name;
  const char* ReplaceChar;
  const char* Expected;
};

const TCleanCase kCleanCases[] = {
    {"control characters only", "\x01\x02\t\r\n\x1f", "_", ""},
    {"slash and colon", "a/b:c", "_", "a_b_c"},
    {"every reserved punctuation mark", "\"'*/:<>?\\|", "_", "__________"},
    {"blanks trimmed at both ends", "  name.eml  ", "_", "name.eml"},
    {"control characters dropped before trimming", " \x01 x \x02 ", "_", "x"},
    {"a subject line", "Re: Fwd: \"Offer\" 50% <now>?", "_", "Re_ Fwd_ _Offer_ 50% _now__"},
    {"non-ASCII letters kept", "Grüße 日本 🙂.eml", "_", "Grüße 日本 🙂.eml"},
    {"the eight C1 codes", "\u0080\u0081\u008d\u008e\u008f\u0090\u009d\u009e", "_", "________"},
    {"other C1 codes kept", "a\u0082\u009fb", "_", "a\u0082\u009fb"},
    {"a stray byte passes through",
     "\x80"
     "abc\xff",
     "_",
     "\x80"
     "abc\xff"},
    {"an empty replacement deletes", "a?b*c", "", "abc"},
    {"a multi-byte replacement", "a:b", "·", "a·b"},
    {"a blank replacement at the end is trimmed", "name?", " ", "name"},
};

TEST(ReplaceInvalidCharactersFilenameTest, CleansEveryTableInput) {
  for (const TCleanCase& c : kCleanCases)
    EXPECT_EQ(ReplaceInvalidCharactersFilename(c.Name, c.ReplaceChar), c.Expected) << c.Reason;
}

TEST(ReplaceInvalidCharactersFoldernameTest, ReplacesWholeCharactersOnly) {
  EXPECT_EQ(ReplaceInvalidCharactersFoldername("Inbox/2024:old", "/:", "-"), "Inbox-2024-old");
  EXPECT_EQ(ReplaceInvalidCharactersFoldername("café", "é", "_"), "caf_");
  // "è" shares its lead byte with "é"; a byte-wise replacement would break it.
  EXPECT_EQ(ReplaceInvalidCharactersFoldername("crème", "é", "_"), "crème");
  EXPECT_EQ(ReplaceInvalidCharactersFoldername("a.b", "", "_"), "a.b");
}

// ---- Numbered names ----

TEST(FullFilenameWithNumberTest, AppendsTheNumberBeforeTheExtension) {
  EXPECT_EQ(FullFilenameWithNumberLengthLimited("/out/report.csv", 1, 260), "/out/report_1.csv");
  EXPECT_EQ(FullFilenameWithNumberLengthLimited("/a.b/name", 7, 260), "/a.b/name_7");
  EXPECT_EQ(FullFilenameWithNumberLengthLimited("x.tar.gz", 2, 260), "x.tar_2.gz");
}

TEST(FullFilenameWithNumberTest, CutsALongBaseNameToStayWithinTheLimit) {
  std::string base(50, 'a');
  for (int number : {1, 12, 345}) {
    std::string result = FullFilenameWithNumberLengthLimited("/out/" + base + ".eml", number, 20);
    std::string name = fs::path(result).filename().string();
    EXPECT_LE(name.size(), 20u) << number;
    EXPECT_EQ(name.substr(name.size() - 4), ".eml");
    EXPECT_EQ(result.substr(0, 5), "/out/");
  }
  EXPECT_EQ(FullFilenameWithNumberLengthLimited(base + ".eml", 1, 20),
            std::string(13, 'a') + "_1.eml");
}

TEST(FullFilenameWithNumberTest, CountsCharactersNotBytes) {
  std::string base;
  for (int i = 0; i < 30; ++i) base += "é";
  std::string expected;
  for (int i = 0; i < 13; ++i) expected += "é";
  EXPECT_EQ(FullFilenameWithNumberLengthLimited(base + ".eml", 1, 20), expected + "_1.eml");
}

TEST(FullFilenameWithNumberTest, KeepsTheRuleThatIgnoresTheExtensionInItsTest) {
  // 16 + 1 + 2 < 20, so the base stays whole and the name runs to 22 characters.
  EXPECT_EQ(FullFilenameWithNumberLengthLimited("abcdefghijklmnop.eml", 1, 20),
            "abcdefghijklmnop_1.eml");
  // Nothing of the base fits: only the number and extension remain.
  EXPECT_EQ(FullFilenameWithNumberLengthLimited("abcdef.eml", 1, 5), "_1.eml");
}

TEST(CheckGenerateFilenameTest, CountsUpPastEveryTakenName) {
  TTempDir dir;
  std::string name = (dir / "report.csv").string();
  EXPECT_EQ(CheckGenerateFilenameWithNumberLengthLimited(name, 260), name);
  WriteFileText(name, "1");
  EXPECT_EQ(CheckGenerateFilenameWithNumberLengthLimited(name, 260),
            (dir / "report_1.csv").string());
  fs::create_directory(dir / "report_1.csv");  // a folder takes the name as well
  EXPECT_EQ(CheckGenerateFilenameWithNumberLengthLimited(name, 260),
            (dir / "report_2.csv").string());
}

// ---- Paths and folders ----

TEST(FolderNameUpTest, GivesTheParentWithATrailingSlash) {
  EXPECT_EQ(FolderNameUp("/a/b/c"), "/a/b/");
  EXPECT_EQ(FolderNameUp("/a/b/c/"), "/a/b/");
  EXPECT_EQ(FolderNameUp("/a"), "/");
  EXPECT_EQ(FolderNameUp("/"), "/");
  EXPECT_EQ(FolderNameUp("a/b"), "a/");
  EXPECT_EQ(FolderNameUp("name"), "");
}

TEST(DeleteFolderAndContentsTest, RemovesATreeButNotWhatALinkPointsTo) {
  TTempDir dir;
  fs::create_directories(dir / "tree/sub/deeper");
  WriteFileText(dir / "tree/sub/deeper/file.txt", "x");
  fs::create_directory(dir / "outside");
  WriteFileText(dir / "outside/keep.txt", "keep");
  fs::create_directory_symlink(dir / "outside", dir / "tree/link");
  EXPECT_TRUE(DeleteFolderAndContents((dir / "tree").string() + "/"));
  EXPECT_FALSE(fs::exists(dir / "tree"));
  EXPECT_EQ(ReadFileText(dir / "outside/keep.txt"), "keep");
  EXPECT_TRUE(DeleteFolderAndContents((dir / "never-existed").string()));
}

TEST(GenerateTempFilenameTest, CreatesDistinctFilesInTheEnginesTempFolder) {
  std::string first = GenerateTempFilename("eml");
  std::string second = GenerateTempFilename(".eml");
  std::string plain = GenerateTempFilename();
  ASSERT_FALSE(first.empty());
  EXPECT_NE(first, second);
  EXPECT_TRUE(fs::is_regular_file(first));
  EXPECT_EQ(fs::path(first).extension(), ".eml");
  EXPECT_EQ(fs::path(second).extension(), ".eml");
  EXPECT_EQ(fs::path(plain).extension(), ".tmp");
  EXPECT_EQ(fs::path(first).parent_path().string() + "/", GetTempFolder());
  for (const std::string& name : {first, second, plain}) fs::remove(name);
}

// ---- Duplicate-aware saving ----

// Every outcome is the same whether or not a run remembers the names it wrote and saw.
class SaveFileCheckingForDuplicatesTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (GetParam()) FRun.emplace();
  }
  std::optional<TKwRunFileScope> FRun;
};
INSTANTIATE_TEST_SUITE_P(InAndOutsideARun, SaveFileCheckingForDuplicatesTest, ::testing::Bool());

TEST_P(SaveFileCheckingForDuplicatesTest, SavesRenamesAndRecognisesDuplicates) {
  TTempDir dir;
  std::string name = (dir / "report.csv").string();
  TKwDuplicateSaveResult saved = SaveFileCheckingForDuplicates(name, "one");
  EXPECT_EQ(saved.Status, ssSaved);
  EXPECT_EQ(saved.FileName, name);
  EXPECT_FALSE(saved.IsDuplicate);

  TKwDuplicateSaveResult again = SaveFileCheckingForDuplicates(name, "one");
  EXPECT_EQ(again.Status, ssSkipped);
  EXPECT_TRUE(again.IsDuplicate);

  TKwDuplicateSaveResult renamed = SaveFileCheckingForDuplicates(name, "two");
  EXPECT_EQ(renamed.Status, ssRenamed);
  EXPECT_EQ(renamed.FileName, (dir / "report_1.csv").string());

  // The same bytes as the numbered copy are found there, not written a third time.
  TKwDuplicateSaveResult secondCopy = SaveFileCheckingForDuplicates(name, "two");
  EXPECT_TRUE(secondCopy.IsDuplicate);
  EXPECT_EQ(secondCopy.FileName, renamed.FileName);

  EXPECT_EQ(SaveFileCheckingForDuplicates(name, "three").FileName, (dir / "report_2.csv").string());
  EXPECT_EQ(ReadFileText(name), "one");
  EXPECT_EQ(ReadFileText(dir / "report_1.csv"), "two");
}

TEST_P(SaveFileCheckingForDuplicatesTest, FollowsTheSkipAndOverwriteActions) {
  TTempDir dir;
  std::string name = (dir / "a.eml").string();
  WriteFileText(name, "old");
  TKwDuplicateSaveResult skipped = SaveFileCheckingForDuplicates(name, "new", dfSkip);
  EXPECT_EQ(skipped.Status, ssSkipped);
  EXPECT_FALSE(skipped.IsDuplicate);
  EXPECT_EQ(ReadFileText(name), "old");

  TKwDuplicateSaveResult overwritten = SaveFileCheckingForDuplicates(name, "new", dfOverwrite);
  EXPECT_EQ(overwritten.Status, ssOverwritten);
  EXPECT_EQ(ReadFileText(name), "new");
  EXPECT_TRUE(SaveFileCheckingForDuplicates(name, "new", dfOverwrite).IsDuplicate);
}

TEST_P(SaveFileCheckingForDuplicatesTest, TellsContentsApartByEveryByte) {
  TTempDir dir;
  std::string name = (dir / "blob.bin").string();
  std::string big(200000, 'x');
  SaveFileCheckingForDuplicates(name, big);
  std::string changed = big;
  changed[150000] = 'y';  // beyond the first read chunk
  EXPECT_EQ(SaveFileCheckingForDuplicates(name, changed).Status, ssRenamed);
  EXPECT_EQ(SaveFileCheckingForDuplicates(name, big + "z").Status, ssRenamed);
  EXPECT_TRUE(SaveFileCheckingForDuplicates(name, big).IsDuplicate);
}

TEST_P(SaveFileCheckingForDuplicatesTest, NumbersOnPastManyNamesakesAndFilesOthersMade) {
  TTempDir dir;
  const std::string name = (dir / "scan.pdf").string();
  WriteFileText(dir / "scan_2.pdf", "someone else's");
  for (int page = 0; page < 40; ++page)
    ASSERT_NE(SaveFileCheckingForDuplicates(name, "page " + std::to_string(page)).Status, ssError);
  EXPECT_EQ(ReadFileText(dir / "scan_3.pdf"), "page 2");
  EXPECT_EQ(ReadFileText(dir / "scan_40.pdf"), "page 39");
  WriteFileText(dir / "scan_41.pdf", "appeared meanwhile");
  EXPECT_EQ(SaveFileCheckingForDuplicates(name, "page 40").FileName, (dir / "scan_42.pdf").string());
  EXPECT_EQ(CheckGenerateFilenameWithNumberLengthLimited(name, 260), (dir / "scan_43.pdf").string());
  // Bytes saved before, deep in the chain or by someone else, are found where they are.
  EXPECT_EQ(SaveFileCheckingForDuplicates(name, "page 7").FileName, (dir / "scan_8.pdf").string());
  EXPECT_TRUE(SaveFileCheckingForDuplicates(name, "someone else's").IsDuplicate);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()), 43);
}

TEST(SaveStringListCheckingForDuplicatesTest, EndsEveryLineWithTheLineBreak) {
  TTempDir dir;
  std::string name = (dir / "list.txt").string();
  EXPECT_EQ(SaveStringListCheckingForDuplicates(name, {"a", "b=c"}).Status, ssSaved);
  EXPECT_EQ(ReadFileText(name), "a\nb=c\n");
  EXPECT_TRUE(SaveStringListCheckingForDuplicates(name, {"a", "b=c"}).IsDuplicate);
  TKwDuplicateSaveResult crlf =
      SaveStringListCheckingForDuplicates(name, {"a", "b=c"}, dfRename, 260, "\r\n");
  EXPECT_EQ(crlf.Status, ssRenamed);
  EXPECT_EQ(ReadFileText(crlf.FileName), "a\r\nb=c\r\n");
}

TEST(NewGuidStringTest, GivesFreshBracedUpperCaseGuids) {
  const std::regex form(
      R"(\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\})");
  std::string first = NewGuidString();
  EXPECT_TRUE(std::regex_match(first, form)) << first;
  EXPECT_NE(first, NewGuidString());
}

// ---- Error paths ----

TEST(SubsErrorPathTest, ReportsAFolderThatDoesNotExist) {
  TTempDir dir;
  std::string name = (dir / "missing/report.csv").string();
  TKwDuplicateSaveResult result = SaveFileCheckingForDuplicates(name, "x");
  EXPECT_EQ(result.Status, ssError);
  EXPECT_NE(result.ErrorMessage.find(name), std::string::npos);
  EXPECT_EQ(CheckGenerateFilenameWithNumberLengthLimited(name, 260), name);
}

TEST(SubsErrorPathTest, CannotOverwriteAFolder) {
  TTempDir dir;
  fs::create_directory(dir / "taken");
  TKwDuplicateSaveResult result =
      SaveFileCheckingForDuplicates((dir / "taken").string(), "x", dfOverwrite);
  EXPECT_EQ(result.Status, ssError);
  EXPECT_TRUE(fs::is_directory(dir / "taken"));
  EXPECT_EQ(SaveFileCheckingForDuplicates((dir / "taken").string(), "x").FileName,
            (dir / "taken_1").string());
}

TEST(SubsErrorPathTest, RefusesToDeleteTheRootOrNothing) {
  EXPECT_FALSE(DeleteFolderAndContents(""));
  EXPECT_FALSE(DeleteFolderAndContents("/"));
  EXPECT_FALSE(DeleteFolderAndContents("//"));
}

TEST(SubsErrorPathTest, ReportsAnUnwritableFolderAndLeavesNoFile) {
  if (geteuid() == 0) GTEST_SKIP() << "permissions do not bind root";
  TTempDir dir;
  fs::create_directory(dir / "locked");
  WriteFileText(dir / "locked/report.csv", "old");
  chmod((dir / "locked").c_str(), 0500);
  TKwDuplicateSaveResult result =
      SaveFileCheckingForDuplicates((dir / "locked/report.csv").string(), "new");
  EXPECT_EQ(result.Status, ssError);
  EXPECT_FALSE(result.ErrorMessage.empty());
  EXPECT_FALSE(fs::exists(dir / "locked/report_1.csv"));
  EXPECT_FALSE(DeleteFolderAndContents((dir / "locked").string()));
  chmod((dir / "locked").c_str(), 0700);
}

}  // namespace
