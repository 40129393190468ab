#include "uKwFilters.h"

#include <gtest/gtest.h>

#include "uKwAssert.h"
#include "uKwStream.h"

namespace {

std::string Write(TKwPersistent& object) {
  TKwPropertyWriter writer;
  WriteObject(writer, object);
  return writer.TakeData();
}

}  // namespace

TEST(TKwFiltersTest, ClearResetsEveryPartToItsInitialValues) {
  TKwFilterOptions filters;
  filters.Mail->Enabled = true;
  filters.Mail->SentAge = fsaLastWeek;
  filters.Mail->DateBefore = 45000.5;
  filters.Mail->Subject = "invoice";
  filters.Range->CountFromEnd = true;
  filters.Range->Range = 2;
  filters.Resume->Start = 40;
  filters.Sampling->SampleSize = 10;
  filters.AlreadyFiltered = true;
  filters.Clear();
  TKwFilterOptions fresh;
  EXPECT_EQ(Write(filters), Write(fresh));
}

TEST(TKwFiltersTest, FilterSettingsSurviveAWriteAndReadIntoAFreshObject) {
  TKwFilterOptions saved;
  saved.Mail->ReceivedAfter = true;
  saved.Mail->SentAge = fsaLastMonth;
  saved.Mail->DateAfter = 45123.25;
  saved.Mail->From = "m\xC3\xBCller";
  saved.Range->Start = 3;
  saved.Sampling->Enabled = true;
  saved.Sampling->SampleSize = 70000;
  const std::string data = Write(saved);

  TKwFilterOptions loaded;
  std::vector<std::string> warnings;
  TKwPropertyReader reader(data);
  ReadObject(reader, loaded, warnings);
  EXPECT_TRUE(warnings.empty());
  EXPECT_EQ(loaded.Mail->SentAge, fsaLastMonth);
  EXPECT_EQ(loaded.Mail->DateAfter, 45123.25);
  EXPECT_EQ(loaded.Mail->From, "m\xC3\xBCller");
  EXPECT_EQ(loaded.Range->Start, 3);
  EXPECT_EQ(loaded.Sampling->SampleSize, 70000);
  EXPECT_EQ(Write(loaded), data);
}

TEST(TKwFiltersTest, MessageInfoListFindsItemsByMessageIndexAndClearRewinds) {
  TKwMessageInfoList list;
  list.Add(7, 45000.0, "a@example.com", "first", 5'000'000'000, "id7").Labels = "Inbox";
  list.Add(3, 45001.0, "b@example.com", "second", 10, "id3");
  list.Add(7, 45002.0, "c@example.com", "again", 20, "id7b");
  list.CounterIndex = 2;

  EXPECT_EQ(list.Count(), 3);
  EXPECT_EQ(list.GetIndex(3), 1);
  EXPECT_EQ(list.GetIndex(7), 0) << "the first item with that index";
  EXPECT_EQ(list.Items(0).Size, 5'000'000'000);
  EXPECT_EQ(list.Items(0).Labels, "Inbox");

  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.CounterIndex, 0);
}

// ---- Error paths ----

TEST(TKwFiltersTest, MessageInfoListLookupsOutsideTheListFail) {
  TKwMessageInfoList list;
  EXPECT_EQ(list.GetIndex(1), -1);
  list.Add(1, 0, "", "", 0, "");
  EXPECT_THROW(list.Items(1), EAssertionFailed);
  EXPECT_THROW(list.Items(-1), EAssertionFailed);
}

TEST(TKwFiltersTest, AssignBetweenDifferentFilterPartsRaisesAConvertError) {
  TKwFilterRangeOptions range;
  TKwFilterResumeOptions resume;
  EXPECT_THROW(range.Assign(resume), EConvertError);
}
