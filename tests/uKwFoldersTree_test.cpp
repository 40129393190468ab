#include "uKwFoldersTree.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "uKwStream.h"

namespace {

TKwFolderNode& AddFolder(TKwFoldersTree& tree, TKwFolderNode* parent, const std::string& name,
                         const std::string& nameHD = "") {
  TKwFolderNode& node = tree.AddChild(parent);
  node.Info().FolderName = name;
  node.Info().FolderNameHD = nameHD;
  return node;
}

// Mailbox
//   Inbox (ids a1, a2)
//     Work (id w1)
//   Sent Items
std::unique_ptr<TKwFoldersTree> MakeThreeLevelTree() {
  auto tree = std::make_unique<TKwFoldersTree>();
  TKwFolderNode& mailbox = AddFolder(*tree, nullptr, "Mailbox");
  TKwFolderNode& inbox = AddFolder(*tree, &mailbox, "Inbox");
  inbox.Info().UniqueIdList = {"a1", "a2"};
  inbox.Info().MailFolderType = mftInbox;
  inbox.Info().FolderStatus = fsIncludeSubfolders;
  TKwFolderNode& work = AddFolder(*tree, &inbox, "Work");
  work.Info().UniqueIdList = {"w1"};
  work.Info().EntryIdW = "ENTRY-WORK";
  AddFolder(*tree, &mailbox, "Sent Items").Info().MessagesCount = 70000;
  tree->RecentPaths = {"/tmp/out"};
  tree->Bookmarks = {"Mailbox/Inbox", "Mailbox/Sent Items"};
  tree->InvalidCharacters = "#";
  tree->ReplaceChar = "_";
  return tree;
}

std::vector<std::string> Names(const TKwFoldersTree& tree) {
  std::vector<std::string> names;
  for (TKwFolderNode* node : tree.Nodes()) names.push_back(std::string(node->Level(), '.') + node->Info().FolderName);
  return names;
}

}  // namespace

// ---------------------------------------------------------------- paths

TEST(TKwFoldersTreeTest, BuildsDisplayPathsParentsAndTreeOrderIndexes) {
  auto tree = MakeThreeLevelTree();
  tree->BuildFoldersPath(false);
  TKwFolderInfo& work = tree->SearchFolderPath("Mailbox/Inbox/Work")->Info();
  EXPECT_EQ(work.FolderPath, "Mailbox/Inbox/Work");
  EXPECT_EQ(work.ParentsList, (TStringList{"Mailbox", "Inbox", "Work"}));
  EXPECT_EQ(work.NodeIndex, 3);
  EXPECT_EQ(tree->SearchFolderPath("Mailbox/Sent Items")->Info().NodeIndex, 4);
}

TEST(TKwFoldersTreeTest, DisabledAncestorsAreLeftOutAndAllDisabledGivesAnEmptyPathButAnIndex) {
  TKwFoldersTree tree;
  TKwFolderNode& root = AddFolder(tree, nullptr, "Root");
  TKwFolderNode& middle = AddFolder(tree, &root, "Middle");
  TKwFolderNode& leaf = AddFolder(tree, &middle, "Leaf");
  root.Info().Enabled = false;
  tree.BuildFoldersPath(true);
  EXPECT_EQ(leaf.Info().FolderPath, "Middle/Leaf");
  EXPECT_EQ(leaf.Info().ParentsList, (TStringList{"Middle", "Leaf"}));

  middle.Info().Enabled = false;
  leaf.Info().Enabled = false;
  tree.BuildFoldersPath(true);
  EXPECT_EQ(leaf.Info().FolderPath, "");
  EXPECT_EQ(leaf.Info().FolderPathClean, "");
  EXPECT_TRUE(leaf.Info().ParentsList.empty());
  EXPECT_EQ(leaf.Info().NodeIndex, 3);
}

TEST(TKwFoldersTreeTest, SortsSiblingsIgnoringCaseAfterNumberingInTreeOrder) {
  TKwFoldersTree tree;
  for (const char* name : {"beta", "Alpha", "Gamma", "alpha"}) AddFolder(tree, nullptr, name);
  TKwFolderNode& gamma = *tree.Roots()[2];
  for (const char* name : {"z", "B", "a"}) AddFolder(tree, &gamma, name);
  tree.BuildFoldersPath(false);
  EXPECT_EQ(Names(tree), (std::vector<std::string>{"Alpha", "alpha", "beta", "Gamma", ".a", ".B", ".z"}));
  EXPECT_EQ(tree.Roots()[0]->Info().NodeIndex, 2);  // numbered before the sort
  EXPECT_EQ(tree.Roots()[1]->Info().NodeIndex, 7);
}

TEST(TKwFoldersTreeTest, RenamesComponentsOnlyAtRunTime) {
  TKwFoldersTree tree;
  tree.ReplaceInvalidCharacters = true;
  tree.InvalidCharacters = "#%";
  tree.ReplaceChar = "-";
  TKwFolderNode& renamed = AddFolder(tree, nullptr, "Sales:2024", "sales");
  renamed.Info().FolderNameNew = "Revenue";
  TKwFolderNode& cleaned = AddFolder(tree, &renamed, "Q#1%", "q1");

  tree.BuildFoldersPath(false);
  EXPECT_EQ(cleaned.Info().FolderPath, "Sales:2024/Q#1%");
  EXPECT_EQ(cleaned.Info().FolderPathClean, "Sales_2024/Q#1%");
  EXPECT_EQ(cleaned.Info().FolderPathIMAP, "Sales:2024/Q#1%");
  EXPECT_EQ(cleaned.Info().FolderNameReplacement, "");

  tree.BuildFoldersPath(true);
  EXPECT_EQ(cleaned.Info().FolderPath, "Revenue/Q-1-");
  EXPECT_EQ(cleaned.Info().FolderPathIMAP, "Revenue/Q-1-");
  EXPECT_EQ(cleaned.Info().FolderPathHD, "sales/q1");
  EXPECT_EQ(renamed.Info().FolderNameReplacement, "Revenue");
}

TEST(TKwFoldersTreeTest, ReplacementWithoutChangeIsNotKeptAndRunTimeTargetNamesTheNode) {
  TKwFoldersTree tree;
  tree.ReplaceInvalidCharacters = true;
  tree.InvalidCharacters = "#";
  tree.ReplaceChar = "_";
  TKwFolderNode& plain = AddFolder(tree, nullptr, "Plain");
  TKwFolderNode& marked = AddFolder(tree, nullptr, "A#B");
  marked.Info().RunTimeTarget = true;
  tree.BuildFoldersPath(true);
  EXPECT_EQ(plain.Info().FolderNameReplacement, "");
  EXPECT_EQ(marked.Info().GetFolderName(), "A_B");
  // The node's name is taken before its replacement is computed: the next pass shows it.
  tree.BuildFoldersPath(true);
  EXPECT_EQ(tree.SearchFolderInfo(marked.Info())->Name, "A_B");
}

TEST(TKwFoldersTreeTest, DiskPathsComeOnlyFromFoldersWithADiskName) {
  TKwFoldersTree tree;
  TKwFolderNode& store = AddFolder(tree, nullptr, "Store");  // no disk name
  TKwFolderNode& year = AddFolder(tree, &store, "Year", "2024");
  TKwFolderNode& month = AddFolder(tree, &year, "Month", "03");
  tree.BuildFoldersPath(false);
  EXPECT_EQ(month.Info().FolderPathHD, "2024/03");
  EXPECT_EQ(month.Info().FolderPathIMAP, "Year/Month");
  EXPECT_EQ(month.Info().FolderPathHDFile, "2024/03");

  month.Info().FolderUpFile = true;
  tree.BuildFoldersPath(false);
  EXPECT_EQ(month.Info().FolderPathHD, "2024/03");
  EXPECT_EQ(month.Info().FolderPathHDFile, "2024/");
}

// ---------------------------------------------------------------- selection

TEST(TKwFoldersTreeTest, PropagatesIncludeAndExcludeMarksToDescendants) {
  auto tree = MakeThreeLevelTree();
  TKwFolderNode& sent = *tree->SearchFolderPath("Mailbox/Sent Items");
  sent.Info().FolderStatus = fsParentExcluded;  // stale: no ancestor excludes it
  tree->SearchFolderPath("Mailbox/Inbox/Work")->Info().FolderStatus = fsExcludeSubfolders;
  tree->MarkIncludedExcludedChildNodes();
  EXPECT_EQ(tree->SearchFolderPath("Mailbox/Inbox/Work")->Info().FolderStatus, fsParentIncluded);
  EXPECT_EQ(tree->SearchFolderPath("Mailbox/Inbox")->Info().FolderStatus, fsIncludeSubfolders);
  EXPECT_EQ(sent.Info().FolderStatus, fsUnchecked);
}

TEST(TKwFoldersTreeTest, CarriesSelectionsToAFreshTreeByEntryIdOrStorePath) {
  auto saved = MakeThreeLevelTree();
  saved->SetFolderStatus("Mailbox/Sent Items", fsChecked);
  saved->SetFolderEnabledStatus("Mailbox/Sent Items", false);
  TKwFolderNode& work = *saved->SearchEntryId("ENTRY-WORK");
  work.Info().FolderStatus = fsChecked;
  work.Info().FolderNameNew = "Job";

  TKwFoldersTree fresh;
  TKwFolderNode& root = AddFolder(fresh, nullptr, "Mailbox");
  AddFolder(fresh, &root, "Sent Items");
  AddFolder(fresh, &root, "Moved Work").Info().EntryIdW = "ENTRY-WORK";
  AddFolder(fresh, &root, "Only Here").Info().FolderStatus = fsGrayed;
  saved->CompareAndSetTargetTree(fresh);
  EXPECT_EQ(fresh.SearchFolderPath("Mailbox/Sent Items")->Info().FolderStatus, fsChecked);
  EXPECT_FALSE(fresh.SearchFolderPath("Mailbox/Sent Items")->Info().Enabled);
  EXPECT_EQ(fresh.SearchEntryId("ENTRY-WORK")->Info().FolderNameNew, "Job");
  EXPECT_EQ(fresh.SearchFolderPath("Mailbox/Only Here")->Info().FolderStatus, fsGrayed);
}

TEST(TKwFoldersTreeTest, FillsParentIdsAndDeletesWholeSubtrees) {
  auto tree = MakeThreeLevelTree();
  TKwFolderNode& inbox = *tree->SearchFolderPath("Mailbox/Inbox");
  inbox.Info().FolderId = 7;
  inbox.Info().FolderIdStr = "INBOX";
  tree->PutParents();
  tree->PutParentsStr();
  EXPECT_EQ(tree->SearchEntryId("ENTRY-WORK")->Info().ParentFolderId, 7);
  EXPECT_EQ(tree->SearchEntryId("ENTRY-WORK")->Info().ParentFolderIdStr, "INBOX");

  tree->DeleteItem(inbox);
  EXPECT_EQ(Names(*tree), (std::vector<std::string>{"Mailbox", ".Sent Items"}));
  EXPECT_EQ(tree->SearchEntryId("ENTRY-WORK"), nullptr);
}

TEST(TKwFoldersTreeTest, AssignMakesAnIndependentDeepCopy) {
  auto source = MakeThreeLevelTree();
  TKwFoldersTree copy;
  AddFolder(copy, nullptr, "Old");
  copy.Assign(*source);
  EXPECT_EQ(copy.SaveToStream(), source->SaveToStream());
  EXPECT_EQ(copy.InvalidCharacters, "#");

  copy.SearchEntryId("ENTRY-WORK")->Info().UniqueIdList.push_back("w2");
  copy.Bookmarks.clear();
  source->DeleteItem(*source->SearchFolderPath("Mailbox/Inbox"));
  EXPECT_EQ(copy.Count(), 4);
  EXPECT_EQ(copy.SearchEntryId("ENTRY-WORK")->Info().UniqueIdList, (TStringList{"w1", "w2"}));
  EXPECT_EQ(source->Bookmarks.size(), 2u);
  EXPECT_THROW(copy.Assign(TKwFolderInfo()), EConvertError);
}

// ---------------------------------------------------------------- persistence

TEST(TKwFoldersTreeTest, StreamRoundTripKeepsBytesShapeAndIdLists) {
  auto tree = MakeThreeLevelTree();
  tree->BuildFoldersPath(true);
  std::string first = tree->SaveToStream();

  TKwFoldersTree loaded;
  std::string error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(loaded.LoadFromStream(first, error, &warnings)) << error;
  EXPECT_TRUE(warnings.empty());
  EXPECT_EQ(loaded.SaveToStream(), first);
  EXPECT_EQ(Names(loaded), Names(*tree));
  EXPECT_EQ(loaded.SearchEntryId("ENTRY-WORK")->Info().UniqueIdList, (TStringList{"w1"}));
  EXPECT_EQ(loaded.Bookmarks, tree->Bookmarks);
  EXPECT_EQ(loaded.SearchFolderPath("Mailbox/Inbox")->Name, "Inbox");
}

TEST(TKwFoldersTreeTest, JsonRoundTripNestsChildrenAndGivesTheSameStream) {
  auto tree = MakeThreeLevelTree();
  nlohmann::ordered_json items = tree->ItemsToJson();
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0]["children"][0]["children"][0]["FolderName"], "Work");
  EXPECT_FALSE(items[0]["children"][1].contains("children"));

  TKwFoldersTree loaded;
  loaded.Bookmarks = tree->Bookmarks;  // tree-level lists travel as published properties
  loaded.RecentPaths = tree->RecentPaths;
  std::vector<std::string> warnings;
  loaded.ItemsFromJson(nlohmann::ordered_json::parse(items.dump()), warnings);
  EXPECT_TRUE(warnings.empty());
  EXPECT_EQ(loaded.ItemsToJson(), items);
  EXPECT_EQ(loaded.SaveToStream(), tree->SaveToStream());
}

// ---------------------------------------------------------------- error paths

TEST(TKwFoldersTreeTest, EveryTruncationOfAStreamFailsWithoutCrashing) {
  std::string bytes = MakeThreeLevelTree()->SaveToStream();
  for (size_t length = 0; length < bytes.size(); ++length) {
    TKwFoldersTree tree;
    std::string error;
    EXPECT_FALSE(tree.LoadFromStream(std::string_view(bytes).substr(0, length), error)) << length;
    EXPECT_FALSE(error.empty()) << length;
  }
}

TEST(TKwFoldersTreeTest, BadDepthsAreClampedAndMissingDepthsReadAsRoots) {
  TKwFolderInfo a, b, c;
  a.FolderName = "A";
  b.FolderName = "B";
  c.FolderName = "C";
  TKwPropertyWriter writer;
  writer.WriteListBegin();
  writer.WriteListBegin();
  writer.WriteInteger(5);  // first node: no parent to nest under
  WriteObject(writer, a);
  writer.WriteInteger(9);  // at most one level below the previous node
  WriteObject(writer, b);
  WriteObject(writer, c);  // no depth at all
  writer.WriteListEnd();
  for (int list = 0; list < 2; ++list) {
    writer.WriteListBegin();
    writer.WriteListEnd();
  }
  writer.WriteListEnd();

  TKwFoldersTree tree;
  std::string error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(tree.LoadFromStream(writer.Data(), error, &warnings)) << error;
  EXPECT_EQ(Names(tree), (std::vector<std::string>{"A", ".B", "C"}));
  EXPECT_EQ(warnings.size(), 2u);
}

TEST(TKwFoldersTreeTest, JsonEntriesOfTheWrongKindAreSkippedWithWarnings) {
  TKwFoldersTree tree;
  std::vector<std::string> warnings;
  auto items = nlohmann::ordered_json::parse(
      R"([{"FolderName": "A", "children": "none"}, 42, {"FolderName": "B", "NoSuchProperty": 1}])");
  tree.ItemsFromJson(items, warnings);
  EXPECT_EQ(Names(tree), (std::vector<std::string>{"A", "B"}));
  EXPECT_EQ(warnings.size(), 3u);

  tree.ItemsFromJson(nlohmann::ordered_json::object(), warnings);
  EXPECT_EQ(tree.Count(), 0);
}

TEST(TKwFoldersTreeTest, UnknownPathsChangeNothing) {
  auto tree = MakeThreeLevelTree();
  std::string before = tree->SaveToStream();
  tree->SetFolderStatus("Mailbox/Nowhere", fsChecked);
  tree->SetFolderEnabledStatus("", false);
  tree->SetFolderEnabledStatus("mailbox/inbox", false);
  EXPECT_EQ(tree->SaveToStream(), before);
  EXPECT_EQ(tree->SearchEntryId(""), nullptr);
}
