#include "uKwValidEmailFormat.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "TestSupport.h"

namespace fs = std::filesystem;

namespace {

// A name as the single-files target writes it: the unique id and "!" in the name.
const std::string kWrittenByUs = "20240315-0123456789ABCDEF012345678!-Subject";

struct TNameCase {
  std::string Name;
  bool Valid;
  TFileFormat Format;
  bool Encrypted;
  const char* Reason;
};

const TNameCase kNameCases[] = {
    {"message.eml", true, ffSfEml, false, "plain message file"},
    {"MESSAGE.EML", true, ffSfEml, false, "extensions ignore case"},
    {"folder/outlook.msg", true, ffSfMsg, false, "Outlook message, with a folder in front"},
    {"secret._eml", true, ffSfEml, true, "the encrypted variant of a message file"},
    {"report.pdf", false, ffSfPdf, false, "a PDF from elsewhere is not a message"},
    {kWrittenByUs + ".pdf", true, ffSfPdf, false, "a PDF the engine wrote"},
    {kWrittenByUs + "._pdf", true, ffSfPdf, true, "an encrypted PDF the engine wrote"},
    {"page.mht", false, ffSfMht, false, "a saved web page"},
    {kWrittenByUs + ".mht", true, ffSfMht, false, "a web archive the engine wrote"},
    {"backup.zip", false, ffSfZip, false, "an archive from elsewhere"},
    {kWrittenByUs + ".zip", true, ffSfZip, false, "an archive the engine wrote"},
    {kWrittenByUs + ".7z", true, ffSf7z, false, "a 7z archive the engine wrote"},
    {"0123456789ABCDEF012345678!/report.pdf", false, ffSfPdf, false,
     "the id must be in the name itself"},
    {"0123456789abcdef012345678!.pdf", false, ffSfPdf, false, "ids are upper-case"},
    {kWrittenByUs + ".txt", false, ffSfTxt, false, "text output is never re-read"},
    {kWrittenByUs + ".htm", false, ffSfHtm, false, "nor is HTML output"},
    {"message.eml.bak", false, ffNone, false, "only the last extension counts"},
    {"README", false, ffNone, false, "no extension"},
    {".eml", true, ffSfEml, false, "a hidden file with only the extension"},
    {"", false, ffNone, false, "no name"},
};

// Makes path a file of the given size.
void Touch(const fs::path& path, size_t size = 10) {
  fs::create_directories(path.parent_path());
  WriteFileText(path, std::string(size, 'x'));
}

}  // namespace

TEST(ValidEmailSourceTest, JudgesEachNameByItsFormatAndItsUniqueId) {
  for (const TNameCase& c : kNameCases) {
    TFileFormat format = ffColExcel;
    bool encrypted = !c.Encrypted;
    EXPECT_EQ(ValidEmailSource(c.Name, format, encrypted), c.Valid) << c.Name << ": " << c.Reason;
    EXPECT_EQ(format, c.Format) << c.Name << ": " << c.Reason;
    EXPECT_EQ(encrypted, c.Encrypted) << c.Name << ": " << c.Reason;
    EXPECT_EQ(ValidEmailSource(c.Name), c.Valid) << c.Name;
  }
}

TEST(ValidEmailSourceTest, AllowedFormatsNarrowTheAcceptedFiles) {
  const TFileFormats emlOnly{ffSfEml};
  TFileFormat format = ffNone;
  EXPECT_TRUE(ValidEmailSource("a.eml", format, emlOnly));
  EXPECT_FALSE(ValidEmailSource("a.msg", format, emlOnly));
  EXPECT_EQ(format, ffSfMsg);  // the format is still given back
  EXPECT_FALSE(ValidEmailSource("a.msg", TFileFormats{}));
  // Allowing a format never makes an invalid file valid.
  EXPECT_FALSE(ValidEmailSource("report.pdf", TFileFormats{ffSfPdf, ffSfTxt}));
  EXPECT_FALSE(ValidEmailSource(kWrittenByUs + ".txt", TFileFormats{ffSfTxt}));
  EXPECT_TRUE(ValidEmailSource(kWrittenByUs + ".pdf", kMessageFileFormats));
}

TEST(CountMessagesInFolderTest, CountsMessageFilesHereAndBelowWhenAsked) {
  TTempDir dir;
  Touch(dir / "a.eml");
  Touch(dir / "b.MSG");
  Touch(dir / "empty.eml", 0);  // counted: loading it is the loader's failure
  Touch(dir / ".hidden.eml");   // hidden files count
  Touch(dir / "report.pdf");    // not ours
  Touch(dir / (kWrittenByUs + ".pdf"));
  Touch(dir / "notes.txt");
  Touch(dir / "sub" / "c.eml");
  Touch(dir / "sub" / "deeper" / "d.eml");
  Touch(dir / "folder.eml" / "e.eml");  // a folder named like a message is walked, not counted
  fs::create_directories(dir / "empty-sub");

  EXPECT_EQ(CountMessagesInFolder(dir.Path().string()), 5);
  EXPECT_EQ(CountMessagesInFolder(dir.Path().string(), TFileFormats{ffSfEml}), 3);
  EXPECT_EQ(CountMessagesInFolder(dir.Path().string(), kMessageFileFormats, true), 8);
  EXPECT_EQ(CountMessagesInFolder(dir.Path().string() + "/", kMessageFileFormats, true), 8);
  EXPECT_EQ(CountMessagesInFolder((dir / "sub").string(), kMessageFileFormats, true), 2);

  std::vector<std::string> listed = ListMessageFiles(dir.Path().string());
  std::sort(listed.begin(), listed.end());
  const std::vector<std::string> expected{
      (dir / ".hidden.eml").string(), (dir / (kWrittenByUs + ".pdf")).string(),
      (dir / "a.eml").string(), (dir / "b.MSG").string(), (dir / "empty.eml").string()};
  EXPECT_EQ(listed, expected);
}

TEST(CountMessagesInFolderTest, FollowsLinksButWalksEachFolderOnce) {
  TTempDir dir;
  Touch(dir / "real" / "a.eml");
  Touch(dir / "elsewhere" / "b.eml");
  fs::create_symlink(dir / "real" / "a.eml", dir / "real" / "link.eml");  // a link to a file counts
  fs::create_symlink(dir / "real", dir / "real" / "loop");                // back to itself
  fs::create_directory_symlink(dir / "elsewhere",
                               dir / "real" / "out");  // a linked folder is walked
  fs::create_symlink(dir / "elsewhere", dir / "elsewhere" / "again");
  fs::create_symlink(dir / "missing.eml", dir / "real" / "dangling.eml");  // nothing behind it

  EXPECT_EQ(CountMessagesInFolder((dir / "real").string()), 2);
  EXPECT_EQ(CountMessagesInFolder((dir / "real").string(), kMessageFileFormats, true), 3);
  EXPECT_EQ(CountMessagesInFolder(dir.Path().string(), kMessageFileFormats, true), 3);
}

TEST(EmailInFolderOrInChildFoldersTest, FindsAMessageAtAnyDepth) {
  TTempDir dir;
  Touch(dir / "top" / "report.pdf");
  Touch(dir / "top" / "a" / "b" / "c" / "deep.msg");
  Touch(dir / "none" / "x" / "notes.txt");
  EXPECT_TRUE(EmailInFolderOrInChildFolders((dir / "top").string()));
  EXPECT_FALSE(EmailInFolderOrInChildFolders((dir / "top").string(), TFileFormats{ffSfEml}));
  EXPECT_FALSE(EmailInFolderOrInChildFolders((dir / "none").string()));
}

// ---- Error paths ----

TEST(ValidEmailFormatErrorTest, MissingFoldersAndFilesGivenAsFoldersHoldNothing) {
  TTempDir dir;
  Touch(dir / "a.eml");
  for (const std::string& folder :
       {(dir / "missing").string(), (dir / "a.eml").string(), std::string()}) {
    EXPECT_EQ(CountMessagesInFolder(folder, kMessageFileFormats, true), 0) << folder;
    EXPECT_TRUE(ListMessageFiles(folder).empty()) << folder;
    EXPECT_FALSE(EmailInFolderOrInChildFolders(folder)) << folder;
  }
}

TEST(ValidEmailFormatErrorTest, AnUnreadableSubfolderIsPassedOver) {
  if (geteuid() == 0) GTEST_SKIP() << "root reads every folder";
  TTempDir dir;
  Touch(dir / "a.eml");
  Touch(dir / "locked" / "b.eml");
  fs::permissions(dir / "locked", fs::perms::none);
  const int count = CountMessagesInFolder(dir.Path().string(), kMessageFileFormats, true);
  fs::permissions(dir / "locked", fs::perms::owner_all);
  EXPECT_EQ(count, 1);
}
