#include "uKwAttachments.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwStream.h"
#include "uKwTargetAttachments.h"
#include "uKwTargetSingleFiles.h"
#include "uKwVariables.h"

namespace fs = std::filesystem;

namespace {

std::string Slash(const fs::path& folder) { return folder.string() + "/"; }

bool IsRoot() { return geteuid() == 0; }

class TKwAttachmentsListTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TKwAttachmentsList FList;
  fs::path FOut = FHome / "out";

  void SetUp() override { fs::create_directories(FOut); }
};

}  // namespace

// ---------------------------------------------------------------- the list

TEST_F(TKwAttachmentsListTest, KindsAreCountedApartAndNamesJoinedByEachSeparator) {
  FList.AddFromStream("1", "a.pdf");
  FList.AddFromStream("2", "logo.png", akEmbedded);
  FList.AddFromStream("3", "b.txt", akInline);
  EXPECT_EQ(FList.GetAttachCount(), 1);
  EXPECT_EQ(FList.GetInlineCount(), 2);
  EXPECT_EQ(FList.GetText(), "a.pdf\r\nlogo.png\r\nb.txt");
  EXPECT_EQ(FList.GetFileNamesComma(), "a.pdf,logo.png,b.txt");
  EXPECT_EQ(FList.GetFileNamesDotComma(), "a.pdf;logo.png;b.txt");
}

TEST_F(TKwAttachmentsListTest, NamesMatchWhateverTheirLetterCase) {
  FList.AddFromStream("1", "Report.PDF");
  FList.AddFromStream("2", "\xC3\x89T\xC3\x89.txt");  // "ÉTÉ.txt"
  EXPECT_EQ(FList.IndexOf("report.pdf"), 0);
  EXPECT_EQ(FList.IndexOf("\xC3\xA9t\xC3\xA9.TXT"), 1);  // "été.TXT"
  EXPECT_EQ(FList.IndexOf("report"), -1);
}

TEST_F(TKwAttachmentsListTest, AssignCopiesTheAttachmentsNotTheirOwners) {
  FList.AddFromStream("bytes", "a.bin").SetContentID("<id@x>");
  TKwAttachmentsList copy;
  copy.Assign(FList);
  copy.GetAttachment(0).Content = "changed";
  EXPECT_EQ(FList.GetAttachment(0).Content, "bytes");
  EXPECT_EQ(copy.GetAttachment(0).ContentID, "id@x");
  FList.Delete(5);  // out of range: nothing
  EXPECT_EQ(FList.GetCount(), 1);
}

TEST_F(TKwAttachmentsListTest, OnlyOrdinaryAttachmentsAreSavedUnlessInlineOnesAreAskedFor) {
  FList.AddFromStream("A", "a.txt");
  FList.AddFromStream("I", "i.txt", akInline);
  FList.AddFromStream("E", "e.png", akEmbedded).SetContentID("e@x");
  EXPECT_EQ(FList.SaveAttachments(FOut.string()), 1);
  EXPECT_FALSE(fs::exists(FOut / "i.txt"));
  EXPECT_EQ(FList.SaveAttachments(FOut.string(), FOut.string(), "", true), 2);
  EXPECT_EQ(ReadFileText(FOut / "i.txt"), "I");
  EXPECT_FALSE(fs::exists(FOut / "e.png"));
  EXPECT_EQ(FList.SaveInlineImages(FOut.string()), 1);  // i.txt has no content id: skipped
  EXPECT_EQ(ReadFileText(FOut / "e.png"), "E");
}

TEST_F(TKwAttachmentsListTest, LinksPointRelativeToTheBaseFolderAndEscapeTheShownName) {
  fs::create_directories(FOut / "sub dir");
  FList.AddFromStream("x", "a b.pdf");
  FList.AddFromStream("y", "<b>.txt");
  EXPECT_EQ(FList.SaveAttachments(Slash(FOut / "sub dir"), Slash(FOut), "", false), 2);
  EXPECT_EQ(FList.Links,
            "<a href=\"sub%20dir/a%20b.pdf\">a b.pdf</a>; "
            "<a href=\"sub%20dir/_b_.txt\">&lt;b&gt;.txt</a>; ");
  FList.SaveAttachments(FOut.string(), Slash(FHome / "elsewhere"), "", false);
  EXPECT_TRUE(FList.Links.starts_with("<a href=\"file://" + (FOut / "a%20b.pdf").string()))
      << FList.Links;
}

TEST_F(TKwAttachmentsListTest, ATemplateNamesTheFileAroundItsOwnNameAndKeepsItsExtension) {
  FList.AddFromStream("x", "report.final.pdf");
  FList.AddFromStream("y", "noext");
  FList.SaveAttachments(FOut.string(), FOut.string(), "20240131-fpAttachmentFilename", false);
  EXPECT_TRUE(fs::exists(FOut / "20240131-report.final.pdf"));
  EXPECT_TRUE(fs::exists(FOut / "20240131-noext"));
  FList.SaveAttachments(FOut.string(), FOut.string(), "no marker", false);  // own names
  EXPECT_TRUE(fs::exists(FOut / "report.final.pdf"));
}

TEST_F(TKwAttachmentsListTest, DuplicatesFollowTheRuleAndASkippedOneStillCountsAndLinks) {
  FList.AddFromStream("first", "same.txt");
  FList.AddFromStream("second", "same.txt");
  FList.AddFromStream("first", "same.txt");  // the very bytes of the first
  FList.DuplicatedFilesAction = dfSkip;
  EXPECT_EQ(FList.SaveAttachments(FOut.string(), FOut.string(), "", false), 3);
  EXPECT_EQ(ReadFileText(FOut / "same.txt"), "first");
  EXPECT_EQ(FList.Links, "<a href=\"same.txt\">same.txt</a>; <a href=\"same.txt\">same.txt</a>; "
                        "<a href=\"same.txt\">same.txt</a>; ");
  EXPECT_EQ(FList.LastResults()[1].Save.Status, ssSkipped);

  fs::remove(FOut / "same.txt");
  FList.DuplicatedFilesAction = dfRename;
  EXPECT_EQ(FList.SaveAttachments(FOut.string()), 3);
  EXPECT_EQ(ReadFileText(FOut / "same_1.txt"), "second");
  EXPECT_TRUE(FList.LastResults()[2].Save.IsDuplicate);

  // Overwritten files are written but neither counted nor linked.
  FList.DuplicatedFilesAction = dfOverwrite;
  FList.GetAttachment(0).Content = "third";
  EXPECT_EQ(FList.SaveAttachments(FOut.string(), FOut.string(), "", false), 0);
  EXPECT_EQ(FList.Links, "");
  EXPECT_EQ(ReadFileText(FOut / "same.txt"), "first");  // each of the three replaced it in turn
  EXPECT_EQ(FList.LastResults()[0].Save.Status, ssOverwritten);
}

TEST_F(TKwAttachmentsListTest, HostileNamesAlwaysGiveAFileInsideTheTargetFolder) {
  const std::vector<std::pair<std::string, std::string>> names = {
      {"../../etc/passwd", "climbs out of the folder"},
      {"/etc/passwd", "absolute path"},
      {"C:\\Windows\\win.ini", "Windows path"},
      {"", "no name at all"},
      {".", "the folder itself"},
      {"..", "the parent"},
      {"....", "only dots"},
      {"   ", "only blanks"},
      {std::string(400, 'a') + ".pdf", "longer than any file system allows"},
      {std::string(300, '\xC3') + "x", "broken UTF-8, long"},
      {[] { std::string s; for (int i = 0; i < 200; ++i) s += "\xC3\xA9"; return s + ".txt"; }(),
       "400 bytes of two-byte characters"},
      {std::string("a\0b.txt", 7), "NUL inside"},
      {"a\r\nb\t.txt", "control characters"},
      {"a\x7f" "b.txt", "DEL"},
  };
  for (size_t i = 0; i < names.size(); ++i) {
    const auto& [name, reason] = names[i];
    fs::path folder = FOut / std::to_string(i);
    fs::create_directories(folder);
    TKwAttachmentsList list;
    list.AddFromStream("content", name);
    ASSERT_EQ(list.SaveAttachments(folder.string()), 1) << reason;
    fs::path written = list.LastResults()[0].Save.FileName;
    EXPECT_EQ(fs::canonical(written).parent_path(), fs::canonical(folder)) << reason;
    EXPECT_LE(written.filename().string().size(), 255u) << reason;
    EXPECT_EQ(ReadFileText(written), "content") << reason;
  }
  EXPECT_EQ(AttachmentDiskName(""), "ATT.dat");
  EXPECT_EQ(AttachmentDiskName(std::string(400, 'a') + ".pdf").substr(196), ".pdf");
}

TEST_F(TKwAttachmentsListTest, TempFolderListGetsOneFilePerAttachmentEvenOfOneName) {
  FList.AddFromStream("1", "x.txt");
  FList.AddFromStream("2", "x.txt");
  FList.AddFromStream("3", "y.txt", akInline);
  std::vector<std::string> list = {"stale"};
  ASSERT_TRUE(FList.SaveAttachmentsToTempFolderList(list, false));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(ReadFileText(list[1]), "2");
  EXPECT_EQ(fs::path(list[0]).parent_path(), fs::path(list[1]).parent_path());
  DeleteFolderAndContents(fs::path(list[0]).parent_path().string());
}

TEST_F(TKwAttachmentsListTest, FilesAreReadAndWrittenWhole) {
  std::string bytes("\0\1\2binary\xff", 10);
  WriteFileText(FHome / "in.bin", bytes);
  ASSERT_TRUE(FList.AddFromFile((FHome / "in.bin").string()));
  EXPECT_EQ(FList.GetAttachment(0).FileName, "in.bin");
  ASSERT_TRUE(FList.SaveToFile(0, (FOut / "copy").string()));
  EXPECT_EQ(ReadFileText(FOut / "copy"), bytes);
}

// ---------------------------------------------------------------- streaming

TEST_F(TKwAttachmentsListTest, DataRoundTripsByteForByte) {
  FList.AddFromStream(std::string("\0PDF\r\n", 6), "a.pdf").SetContentID("<c1@x>");
  FList.AddFromStream(std::string(70000, 'z'), "\xC3\xA9t\xC3\xA9.txt", akInline);
  FList.AddFromStream("", "", akEmbedded);
  TKwPropertyWriter first;
  FList.WriteData(first);
  TKwAttachmentsList back;
  TKwPropertyReader reader(first.Data());
  back.ReadData(reader);
  EXPECT_TRUE(reader.AtEnd());
  TKwPropertyWriter second;
  back.WriteData(second);
  EXPECT_EQ(first.Data(), second.Data());
  EXPECT_EQ(back.GetAttachment(1).Kind, akInline);
  EXPECT_EQ(back.GetAttachment(0).ContentID, "c1@x");
}

TEST_F(TKwAttachmentsListTest, AsANestedObjectTheListStreamsItsDataProperty) {
  FList.AddFromStream("x", "a.txt");
  TKwPropertyWriter writer;
  WriteObject(writer, FList);
  TKwAttachmentsList back;
  std::vector<std::string> warnings;
  TKwPropertyReader reader(writer.Data());
  ReadObject(reader, back, warnings);
  EXPECT_TRUE(warnings.empty());
  ASSERT_EQ(back.GetCount(), 1);
  EXPECT_EQ(back.GetAttachment(0).FileName, "a.txt");
}

// ---------------------------------------------------------------- error paths

TEST_F(TKwAttachmentsListTest, ADamagedStreamFailsKeepingTheWholeEntriesBeforeIt) {
  FList.AddFromStream("one", "1.txt");
  FList.AddFromStream("two", "2.txt");
  TKwPropertyWriter writer;
  FList.WriteData(writer);
  const std::string& data = writer.Data();
  for (size_t cut = 0; cut < data.size(); ++cut) {
    TKwAttachmentsList back;
    TKwPropertyReader reader(std::string_view(data).substr(0, cut));
    EXPECT_THROW(back.ReadData(reader), EReadError) << cut;
    EXPECT_LE(back.GetCount(), 2);
  }
  TKwAttachmentsList back;
  TKwPropertyReader reader(std::string_view(data).substr(0, data.size() - 1));
  EXPECT_THROW(back.ReadData(reader), EReadError);
  EXPECT_EQ(back.GetCount(), 2);  // only the closing mark was missing
}

TEST_F(TKwAttachmentsListTest, AnEmptyAttachmentIsAnEmptyFile) {
  FList.AddFromStream("", "empty.txt");
  EXPECT_EQ(FList.SaveAttachments(FOut.string()), 1);
  EXPECT_EQ(fs::file_size(FOut / "empty.txt"), 0u);
}

TEST_F(TKwAttachmentsListTest, FailuresAreReportedPerFileAndNotCounted) {
  FList.AddFromStream("x", "a.txt");
  WriteFileText(FOut / "file", "in the way");
  EXPECT_EQ(FList.SaveAttachments((FOut / "file").string()), 0);
  EXPECT_EQ(FList.LastResults()[0].Save.Status, ssError);
  EXPECT_FALSE(FList.LastError.empty());
  EXPECT_FALSE(FList.AddFromFile((FOut / "missing").string()));
  EXPECT_FALSE(FList.SaveToFile(3, (FOut / "x").string()));
  EXPECT_FALSE(FList.SaveToFile(0, (FOut / "no/such/folder/x").string()));
  if (IsRoot()) GTEST_SKIP() << "permissions do not bind root";
  fs::create_directories(FOut / "locked");
  fs::permissions(FOut / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(FList.SaveAttachments((FOut / "locked").string(), FOut.string(), "", false), 0);
  EXPECT_EQ(FList.Links, "");
  EXPECT_EQ(FList.LastResults()[0].Save.Status, ssError);
}

// ---------------------------------------------------------------- the two actions

namespace {

struct TFakeAttachment {
  std::string Name, Content;
  TAttachmentKind Kind = akAttachment;
};

std::unique_ptr<TKwMailMessage> MakeMessage(const std::string& from, const std::string& subject,
                                            const std::vector<TFakeAttachment>& attachments) {
  auto message = std::make_unique<TKwMailMessage>();
  message->Headers->LoadHeadersFromString("From: " + from + "\r\nSubject: " + subject +
                                          "\r\nDate: Wed, 31 Jan 2024 10:00:00 +0000\r\n");
  for (const TFakeAttachment& a : attachments)
    message->Attachments->AddFromStream(a.Content, a.Name, a.Kind);
  return message;
}

// A source stand-in: one folder, the five calls on one target, the messages as given.
struct TFakeSource {
  TKwVariablesList EmailParts, Fields;
  TKwFoldersTree Folders;
  std::vector<std::unique_ptr<TKwMailMessage>> Messages;

  explicit TFakeSource(const std::string& folderName = "Inbox") {
    Folders.AddChild(nullptr).Info().FolderName = folderName;
  }
  void Run(TKwTargetBase& target) {
    target.EmailParts = &EmailParts;
    target.Fields = &Fields;
    target.InitializeExtractProcess(Folders);
    Folders.ForEach([&](TKwFolderNode& node) {
      target.InitializeFolder(node.Info());
      for (auto& message : Messages) target.ProcessMessage(*message);
      target.FinalizeFolder();
    });
    target.FinalizeExtractProcess();
  }
};

class TKwAttachmentActionsTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  fs::path FOut = FHome / "out";
  TKwGlobalOptions FGlobal;

  TKwTargetMailAttachments& NewSaver(TKwActionBase& parent) {
    parent.AddChild(stiMailTarAttachments);
    auto& saver = dynamic_cast<TKwTargetMailAttachments&>(parent.GetChild(parent.GetChildCount() - 1));
    saver.Options->TargetFolder = FOut.string();
    return saver;
  }
};

std::vector<std::string> FilesBelow(const fs::path& root) {
  std::vector<std::string> files;
  if (!fs::exists(root)) return files;
  for (const auto& entry : fs::recursive_directory_iterator(root))
    if (entry.is_regular_file()) files.push_back(fs::relative(entry.path(), root).generic_string());
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

TEST_F(TKwAttachmentActionsTest, TheFactoryGivesBothKindsAndTheirSettingsPersist) {
  auto filter = CreateNewAction(stiMailPasAttachmentsFilter);
  auto& f = dynamic_cast<TKwTargetAttachmentsFilter&>(*filter);
  EXPECT_TRUE(f.IsAvailable());
  f.RemoveAll = true;
  f.AttachmentsList = {"a.exe", "b.scr"};
  auto& saver = NewSaver(f);
  saver.Options->AttachmentsFolder = afpCommonSubfolder;
  auto copy = CreateNewAction(stiMailPasAttachmentsFilter);
  std::string error;
  ASSERT_TRUE(copy->LoadFromString(f.SaveToString(), error)) << error;
  auto& g = dynamic_cast<TKwTargetAttachmentsFilter&>(*copy);
  EXPECT_TRUE(g.RemoveAll);
  EXPECT_EQ(g.AttachmentsList, f.AttachmentsList);
  EXPECT_EQ(dynamic_cast<TKwTargetMailAttachments&>(g.GetChild(0)).Options->AttachmentsFolder,
            afpCommonSubfolder);
}

TEST_F(TKwAttachmentActionsTest, TheFilterStripsNothingWhenDisabledEvenWithRemoveAll) {
  TKwTargetAttachmentsFilter filter;
  filter.Enable = false;
  filter.RemoveAll = true;
  TFakeSource source;
  source.Messages.push_back(MakeMessage("ann@example.org", "one", {{"a.pdf", "A"}, {"b.pdf", "B"}}));
  source.Run(filter);
  EXPECT_EQ(source.Messages[0]->Attachments->GetCount(), 2);
  filter.Enable = true;
  source.Run(filter);
  EXPECT_EQ(source.Messages[0]->Attachments->GetCount(), 0);
}

TEST_F(TKwAttachmentActionsTest, TheFilterRemovesListedNamesInAnyCaseButNeverInlineParts) {
  TKwTargetAttachmentsFilter filter;
  filter.AttachmentsList = {"REPORT.pdf", "missing.txt"};
  filter.GlobalOptions = &FGlobal;
  FGlobal.DetailedLog = true;
  NewSaver(filter);
  TFakeSource source;
  source.Messages.push_back(MakeMessage("ann@example.org", "one",
                                        {{"report.pdf", "A"},
                                         {"Report.PDF", "inline", akInline},
                                         {"other.txt", "O"},
                                         {"report.PDF", "A2"}}));
  source.Run(filter);
  const TKwAttachmentsList& left = *source.Messages[0]->Attachments;
  ASSERT_EQ(left.GetCount(), 2);
  EXPECT_EQ(left.GetAttachment(0).Kind, akInline);
  EXPECT_EQ(left.GetAttachment(1).FileName, "other.txt");
  // The child got the message already stripped.
  EXPECT_EQ(FilesBelow(FOut), std::vector<std::string>{"other.txt"});
  ASSERT_EQ(filter.GetLog().MessageStatusCount(), 1);
  EXPECT_EQ(filter.GetLog().GetMessageStatusList(0).SaveStatus, ssProcessed);
}

TEST_F(TKwAttachmentActionsTest, TheTargetPlacesFilesBySenderAndCountsEachOutcome) {
  TKwTargetMailAttachments saver;
  saver.Options->TargetFolder = FOut.string();
  saver.Options->AttachmentsFolder = afpNamedAsSenderDomain;
  TFakeSource source;
  source.Messages.push_back(MakeMessage("ann@example.org", "one", {{"a.pdf", "A"}, {"b.txt", "B"}}));
  source.Messages.push_back(MakeMessage("bob@other.net", "two", {{"a.pdf", "A"}}));
  source.Messages.push_back(MakeMessage("cy@other.net", "three", {}));
  source.Run(saver);
  EXPECT_EQ(FilesBelow(FOut),
            (std::vector<std::string>{"example.org/a.pdf", "example.org/b.txt", "other.net/a.pdf"}));
  EXPECT_EQ(saver.GetLog().Saved, 3);
  EXPECT_EQ(saver.GetLog().Processed, 3);
  EXPECT_EQ(saver.GetSaveStatus(), ssProcessed);  // the last message had nothing to save
  EXPECT_EQ(source.Messages[1]->Attachments->Links, "<a href=\"other.net/a.pdf\">a.pdf</a>; ");

  source.Messages.pop_back();
  source.Run(saver);  // the same bytes are there already
  EXPECT_EQ(saver.GetLog().Skipped, 3);
  EXPECT_EQ(saver.GetSaveStatus(), ssSkipped);
  EXPECT_EQ(FilesBelow(FOut).size(), 3u);
}

TEST_F(TKwAttachmentActionsTest, TheTargetNamesFilesByTheAttachmentTemplate) {
  TKwTargetMailAttachments saver;
  saver.Options->TargetFolder = FOut.string();
  saver.Options->AttachmentsFolder = afpCommonSubfolder;
  saver.Options->AttachmentFilename->Enabled = true;
  saver.Options->AttachmentFilename->Parts = "0002";  // the name, then the submit date
  saver.Options->SaveInlineAttachments = true;
  TFakeSource source;
  source.Messages.push_back(
      MakeMessage("ann@example.org", "one", {{"a.pdf", "A"}, {"i.png", "I", akInline}}));
  source.Run(saver);
  EXPECT_EQ(FilesBelow(FOut),
            (std::vector<std::string>{"Attachments/a-20240131.pdf", "Attachments/i-20240131.png"}));
  EXPECT_EQ(saver.GetSaveStatus(), ssSaved);
}

TEST_F(TKwAttachmentActionsTest, FolderNamesFromTheSourceOrTheSenderCannotLeaveTheTarget) {
  TKwTargetMailAttachments saver;
  saver.Options->TargetFolder = FOut.string();
  saver.Options->SubFolderStructure = sfsLikeEmailSourceFolders;
  saver.Options->AttachmentsFolder = afpNamedAsSenderDomainAddress;
  TFakeSource source("../../escape");
  source.Messages.push_back(MakeMessage("\"x\" <a/../..@..>", "one", {{"../a.pdf", "A"}}));
  source.Run(saver);
  std::vector<std::string> files = FilesBelow(FOut);
  ASSERT_EQ(files.size(), 1u);
  EXPECT_FALSE(fs::exists(FHome.Path().parent_path() / "escape"));
  EXPECT_FALSE(fs::exists(FHome / "escape"));
  EXPECT_TRUE(files[0].ends_with("/.._a.pdf")) << files[0];
}

// Both targets place attachments by one rule: afpCommonRoot and a message without a date
// among the cases where they once differed.
TEST_F(TKwAttachmentActionsTest, TheTargetAndTheSingleFilesTargetPutAttachmentsInTheSameFolders) {
  struct TCase {
    TAttachmentsFolderPlacement Placement;
    TSFSubFolderStructure Structure;
    bool YearMonth;
  };
  const TCase cases[] = {{afpCommonRoot, sfsCreateFromDomainPart, true},
                         {afpCommonSubfolder, sfsLikeEmailSourceFolders, true},
                         {afpNamedAsMessage, sfsDontCreateSubFolders, false},
                         {afpNamedAsSenderDomainAddress, sfsFromHashAddress, true},
                         {afpSameFolderAsMessage, sfsCreateFromAddressPart, true}};
  for (const TCase& c : cases) {
    SCOPED_TRACE(EnumToString(c.Placement));
    fs::remove_all(FOut);
    TKwTargetMailAttachments saver;
    TKwTargetMailSingleFiles files;
    for (TKwSingleFilesOptions* options : {saver.Options.get(), files.Options.get()}) {
      options->AttachmentsFolder = c.Placement;
      options->SubFolderStructure = c.Structure;
      options->SubFolderYearMonth = c.YearMonth;
    }
    saver.Options->TargetFolder = (FOut / "saver").string();
    files.Options->TargetFolder = (FOut / "files").string();
    TFakeSource source("Inbox");
    source.Messages.push_back(MakeMessage("ann@example.org", "dated", {{"a.pdf", "A"}}));
    source.Messages.push_back(MakeMessage("bob@example.org", "undated", {{"b.pdf", "B"}}));
    source.Messages.back()->Headers->SubmitDate.GmtDate = 0;
    source.Run(saver);
    source.Run(files);
    std::vector<std::string> saved = FilesBelow(FOut / "saver"), written;
    for (const std::string& file : FilesBelow(FOut / "files"))
      if (!file.ends_with(".eml")) written.push_back(file);
    EXPECT_EQ(saved.size(), 2u);
    EXPECT_EQ(saved, written);
    const bool undatedFolder = std::any_of(saved.begin(), saved.end(),
                                           [](const std::string& f) { return f.find("1899-12/") != std::string::npos; });
    // The common root lies above the dated folders.
    EXPECT_EQ(undatedFolder, c.YearMonth && c.Placement != afpCommonRoot);
  }
}

// ---------------------------------------------------------------- action error paths

TEST_F(TKwAttachmentActionsTest, AFileWhereTheFolderShouldBeFailsEachMessageAndTheRunGoesOn) {
  WriteFileText(FHome / "blocker", "x");
  TKwTargetMailAttachments saver;
  saver.Options->TargetFolder = (FHome / "blocker").string();
  saver.GlobalOptions = &FGlobal;
  FGlobal.DetailedLog = true;
  TFakeSource source;
  source.Messages.push_back(MakeMessage("ann@example.org", "one", {{"a.pdf", "A"}}));
  source.Messages.push_back(MakeMessage("bob@example.org", "two", {{"b.pdf", "B"}}));
  source.Run(saver);
  EXPECT_EQ(saver.GetLog().Processed, 2);
  ASSERT_EQ(saver.GetLog().ErrorsCount(), 2);
  EXPECT_EQ(saver.GetLog().GetError(1).Subject, "two");
  EXPECT_EQ(saver.GetSaveStatus(), ssError);
  ASSERT_EQ(saver.GetLog().MessageStatusCount(), 2);
  EXPECT_EQ(saver.GetLog().GetMessageStatusList(0).SaveStatus, ssError);

  saver.Options->TargetFolder.clear();  // never the file system's root
  source.Run(saver);
  EXPECT_EQ(saver.GetLog().GetError(0).Error, "No target folder");
}

TEST_F(TKwAttachmentActionsTest, AnUnwritableTargetIsLoggedPerFile) {
  if (IsRoot()) GTEST_SKIP() << "permissions do not bind root";
  fs::create_directories(FOut);
  fs::permissions(FOut, fs::perms::owner_read | fs::perms::owner_exec);
  TKwTargetMailAttachments saver;
  saver.Options->TargetFolder = FOut.string();
  TFakeSource source;
  source.Messages.push_back(MakeMessage("ann@example.org", "one", {{"a.pdf", "A"}, {"e.txt", ""}}));
  source.Run(saver);
  EXPECT_EQ(saver.GetLog().ErrorsCount(), 2);
  EXPECT_EQ(saver.GetLog().Saved, 0);
  EXPECT_EQ(saver.GetSaveStatus(), ssError);
}
