#include "uKwActionLog.h"

#include <gtest/gtest.h>

#include "uKwDateTime.h"
#include "uKwStream.h"

namespace {

const TDateTime kDate = EncodeDateTime(2024, 1, 31, 23, 59, 59);

void FillCounters(TKwActionLog& log) {
  log.ActionName = "Inbox - Mbox File";
  log.ItemType = stiMailSrcMbox;
  log.Level = 2;
  for (int i = 0; i < 7; ++i) log.IncProcessed();
  log.IncSaved();
  log.IncSkipped();
  log.IncFilteredTrue();
  log.IncPages(12);
  log.FoldersList = {"Inbox=/mail/inbox.mbox", "Sent=/mail/sent.mbox"};
  log.Notes = {"first note", "second note"};
}

void AddTwoErrors(TKwActionLog& log) {
  log.AddErrorFull("File open error", "Reading", "/out/a.eml", "Inbox", "ana@example.org", "Hello", kDate);
  int i = log.AddError();
  log.GetError(i).Error = "Disk full";
  log.GetError(i).SourceFilename = "/mail/inbox.mbox";
}

std::string Saved(TKwActionLog& log) {
  std::string stream;
  log.SaveToStream(stream);
  return stream;
}

// The names of the properties of a streamed object, in stream order.
std::vector<std::string> PropertyNames(const std::string& stream) {
  TKwPropertyReader reader(stream);
  std::vector<std::string> names;
  reader.ReadListBegin();
  while (!reader.EndOfList()) {
    names.push_back(reader.ReadStr());
    reader.SkipValue();
  }
  return names;
}

// Positions the reader at the value of the named top-level property.
TKwPropertyReader ValueOf(const std::string& stream, const std::string& name) {
  TKwPropertyReader reader(stream);
  reader.ReadListBegin();
  while (!reader.EndOfList()) {
    if (reader.ReadStr() == name) return reader;
    reader.SkipValue();
  }
  ADD_FAILURE() << name << " not in the stream";
  return reader;
}

// An owner streaming a log as a nested object, as an action would.
class TLogHolder : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TLogHolder"; }
  void Publish(TKwPublisher& p) override { p.Object("Log", Log); }
  TKwActionLog Log;
};

}  // namespace

// ---------------------------------------------------------------- round trips

TEST(TKwActionLogTest, LogWithoutEntriesWritesNeitherListAndRoundTripsByteForByte) {
  TKwActionLog log;
  FillCounters(log);
  std::string first = Saved(log);
  std::vector<std::string> names = PropertyNames(first);
  EXPECT_EQ(std::count(names.begin(), names.end(), "Errors"), 0);
  EXPECT_EQ(std::count(names.begin(), names.end(), "MessageStatusList"), 0);

  TKwActionLog copy;
  std::string error;
  ASSERT_TRUE(copy.LoadFromStream(first, error)) << error;
  EXPECT_EQ(copy.Processed, 7);
  EXPECT_EQ(copy.Pages, 12);
  EXPECT_EQ(copy.FoldersList, log.FoldersList);
  EXPECT_EQ(copy.Notes, log.Notes);
  EXPECT_EQ(copy.ItemType, stiMailSrcMbox);
  EXPECT_EQ(Saved(copy), first);
}

TEST(TKwActionLogTest, ErrorsAreWrittenLastAsDateAndSixStringsWithoutTheSourceFile) {
  TKwActionLog log;
  FillCounters(log);
  AddTwoErrors(log);
  std::string stream = Saved(log);
  EXPECT_EQ(PropertyNames(stream).back(), "Errors");

  TKwPropertyReader reader = ValueOf(stream, "Errors");
  reader.ReadListBegin();
  ASSERT_EQ(reader.NextValue(), vaDate);
  EXPECT_EQ(reader.ReadFloat(), kDate);
  for (const char* expected : {"Reading", "File open error", "Inbox", "ana@example.org", "Hello", "/out/a.eml"})
    EXPECT_EQ(reader.ReadString(), expected);
  EXPECT_EQ(reader.ReadFloat(), 0.0);
  for (const char* expected : {"", "Disk full", "", "", "", ""}) EXPECT_EQ(reader.ReadString(), expected);
  EXPECT_TRUE(reader.EndOfList());
}

TEST(TKwActionLogTest, ErrorsRoundTripInOrderButClearTheCountersReadBeforeThem) {
  TKwActionLog log;
  FillCounters(log);
  AddTwoErrors(log);
  TKwActionLog copy;
  copy.AddErrorFull("stale", "", "", "", "", "", 0);
  std::string error;
  ASSERT_TRUE(copy.LoadFromStream(Saved(log), error)) << error;

  ASSERT_EQ(copy.ErrorsCount(), 2);
  EXPECT_EQ(copy.GetError(0).Error, "File open error");
  EXPECT_EQ(copy.GetError(0).TargetName, "/out/a.eml");
  EXPECT_EQ(copy.GetError(0).SubmitDate, kDate);
  EXPECT_EQ(copy.GetError(1).Error, "Disk full");
  EXPECT_EQ(copy.GetError(1).SourceFilename, "");
  // Reading "Errors" clears the whole log, so what came before it in the stream is lost;
  // ItemType and Level survive because Clear keeps them.
  EXPECT_EQ(copy.Processed, 0);
  EXPECT_EQ(copy.ActionName, "");
  EXPECT_TRUE(copy.FoldersList.empty());
  EXPECT_EQ(copy.ItemType, stiMailSrcMbox);
  EXPECT_EQ(copy.Level, 2);
}

TEST(TKwActionLogTest, ErrorsOnlyLogRoundTripsByteForByte) {
  TKwActionLog log;
  AddTwoErrors(log);
  log.GetError(1).SourceFilename.clear();
  std::string first = Saved(log);
  TKwActionLog copy;
  std::string error;
  ASSERT_TRUE(copy.LoadFromStream(first, error)) << error;
  EXPECT_EQ(Saved(copy), first);
}

TEST(TKwActionLogTest, NestedLogStreamsItsListsUnderTheOwnersPrefix) {
  TLogHolder holder;
  AddTwoErrors(holder.Log);
  TKwPropertyWriter writer;
  WriteObject(writer, holder);
  std::string stream = writer.TakeData();
  std::vector<std::string> names = PropertyNames(stream);
  EXPECT_EQ(names.back(), "Log.Errors");

  TLogHolder copy;
  std::vector<std::string> warnings;
  TKwPropertyReader reader(stream);
  ReadObject(reader, copy, warnings);
  EXPECT_TRUE(warnings.empty());
  EXPECT_EQ(copy.Log.ErrorsCount(), 2);
}

// ---------------------------------------------------------------- the status list asymmetry

TEST(TKwActionLogTest, StatusListIsWrittenAsNameFromSubjectAndDate) {
  TKwActionLog log;
  log.AddMessageStatusFull(ssRenamed, "bo@example.org", "Invoice", kDate);
  const std::string saved = Saved(log);  // the reader reads it in place
  TKwPropertyReader reader = ValueOf(saved, "MessageStatusList");
  reader.ReadListBegin();
  EXPECT_EQ(reader.ReadString(), "ssRenamed");
  EXPECT_EQ(reader.ReadString(), "bo@example.org");
  EXPECT_EQ(reader.ReadString(), "Invoice");
  ASSERT_EQ(reader.NextValue(), vaDate);
  EXPECT_EQ(reader.ReadFloat(), kDate);
  EXPECT_TRUE(reader.EndOfList());
}

TEST(TKwActionLogTest, StoredStatusListCannotBeReadBackAndLeavesOneEmptyError) {
  TKwActionLog log;
  FillCounters(log);
  AddTwoErrors(log);
  log.AddMessageStatusFull(ssSaved, "bo@example.org", "Invoice", kDate);
  TKwActionLog copy;
  std::string error;
  EXPECT_FALSE(copy.LoadFromStream(Saved(log), error));
  EXPECT_NE(error.find("List index out of bounds (0)"), std::string::npos) << error;
  // The errors read just before are gone with the clear; the entry meant for the status
  // went to the error list.
  EXPECT_EQ(copy.MessageStatusCount(), 0);
  ASSERT_EQ(copy.ErrorsCount(), 1);
  EXPECT_EQ(copy.GetError(0).Error, "");
}

// ---------------------------------------------------------------- Clear and Assign

TEST(TKwActionLogTest, ClearEmptiesListsAndCountersButKeepsKindAndLevel) {
  TKwActionLog log;
  FillCounters(log);
  AddTwoErrors(log);
  log.AddMessageStatusFull(ssSaved, "", "", 0);
  log.Clear();
  EXPECT_EQ(log.ErrorsCount() + log.MessageStatusCount() + log.Processed + log.Pages + log.Saved, 0);
  EXPECT_TRUE(log.FoldersList.empty() && log.Notes.empty() && log.ActionName.empty());
  EXPECT_EQ(log.ItemType, stiMailSrcMbox);
  EXPECT_EQ(log.Level, 2);
}

TEST(TKwActionLogTest, AssignCopiesEntriesDeeply) {
  TKwActionLog log;
  FillCounters(log);
  AddTwoErrors(log);
  log.AddMessageStatusFull(ssOverwritten, "bo@example.org", "Invoice", kDate);
  TKwActionLog copy;
  copy.AddErrorFull("stale", "", "", "", "", "", 0);
  copy.Assign(log);
  log.GetError(0).Error = "changed";
  log.GetMessageStatusList(0).Subject = "changed";
  log.Clear();

  EXPECT_EQ(copy.Processed, 7);
  EXPECT_EQ(copy.Notes.size(), 2u);
  ASSERT_EQ(copy.ErrorsCount(), 2);
  EXPECT_EQ(copy.GetError(0).Error, "File open error");
  EXPECT_EQ(copy.GetError(1).SourceFilename, "/mail/inbox.mbox");
  ASSERT_EQ(copy.MessageStatusCount(), 1);
  EXPECT_EQ(copy.GetMessageStatusList(0).Subject, "Invoice");
  EXPECT_EQ(copy.GetMessageStatusList(0).SaveStatus, ssOverwritten);
}

// ---------------------------------------------------------------- error paths

TEST(TKwActionLogTest, LoadRejectsEmptyAndNonListStreams) {
  TKwActionLog log;
  std::string error;
  EXPECT_FALSE(log.LoadFromStream("", error));
  EXPECT_FALSE(log.LoadFromStream(std::string(1, '\x06'), error));
  EXPECT_EQ(error, "Not a property stream");
}

TEST(TKwActionLogTest, TruncatedErrorsListFailsTheLoadEveryWhereItIsCut) {
  TKwActionLog log;
  AddTwoErrors(log);
  std::string stream = Saved(log);
  size_t errorsAt = stream.find("Errors");
  for (size_t length = errorsAt; length < stream.size(); ++length) {
    TKwActionLog copy;
    std::string error;
    EXPECT_FALSE(copy.LoadFromStream(stream.substr(0, length), error)) << length;
  }
}

TEST(TKwActionLogTest, ErrorsValueThatIsNotAListFailsTheLoad) {
  TKwPropertyWriter writer;
  writer.WriteListBegin();
  writer.WritePropName("Errors");
  writer.WriteString("not a list");
  writer.WriteListEnd();
  TKwActionLog log;
  std::string error;
  EXPECT_FALSE(log.LoadFromStream(writer.Data(), error));
}
