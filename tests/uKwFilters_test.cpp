#include "uKwFilters.h"

#include <gtest/gtest.h>

#include <climits>

#include "uKwAssert.h"
#include "uKwHeaders.h"
#include "uKwStream.h"

namespace {

std::string Write(TKwPersistent& object) {
  TKwPropertyWriter writer;
  WriteObject(writer, object);
  return writer.TakeData();
}

// The item numbers 1..size that the range lets through.
std::vector<int> PassingItems(const TKwFilterRangeOptions& range, int size) {
  std::vector<int> passing;
  for (int counter = 1; counter <= size; ++counter)
    if (range.Check(counter, size)) passing.push_back(counter);
  return passing;
}

std::unique_ptr<TKwFilterRangeOptions> EnabledRange(int start, int count, bool fromEnd) {
  auto range = std::make_unique<TKwFilterRangeOptions>();
  range->Enabled = true;
  range->Start = start;
  range->Range = count;
  range->CountFromEnd = fromEnd;
  return range;
}

const TDateTime kMarch10 = EncodeDateTime(2024, 3, 10);

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

// ---- Word matching ----

struct TWordCase {
  const char* Filter;
  const char* Message;
  bool Matches;
  const char* Reason;
};

TEST(TKwFiltersTest, WordMatchingFollowsTheWholeWordRule) {
  const TWordCase cases[] = {
      {"", "anything", true, "empty filter text matches everything"},
      {" ,;- ", "anything", true, "a filter of signs only has no words"},
      {"invoice", "Your INVOICE #42", true, "case is ignored"},
      {"invoice 42", "your invoice #42.", true, "punctuation separates words"},
      {"inv", "invoice", false, "partial words do not match"},
      {"invoices", "invoice", false, "a longer filter word is not in the message"},
      {"report monthly", "Monthly sales report", true, "word order is free"},
      {"report annual", "Monthly report", false, "every filter word is needed"},
      {"jean luc", "Jean-Luc Picard", true, "hyphen splits words"},
      {"o'brien", "Mr O'Brien", true, "apostrophe splits both sides alike"},
      {"re ext", "RE:[EXT] hello", true, "brackets and colons separate"},
      {"2024", "Report 2024-01", true, "digits form words"},
      {"m\u00fcller", "M\u00dcLLER GmbH", true, "Latin-1 letters fold case"},
      {"muller", "M\u00fcller", false, "accents count"},
      {"\u0142\u00f3d\u017a", "\u0141\u00d3D\u0179", true, "Latin Extended-A folds case"},
      {"\u0219tefan", "\u0218TEFAN", true, "Romanian comma-below letters fold case"},
      {"\u043f\u0440\u0438\u0432\u0435\u0442", "\u041f\u0420\u0418\u0412\u0415\u0422 world", true, "Cyrillic folds case"},
      {"\u0451\u043b\u043a\u0430", "\u0401\u041b\u041a\u0410", true, "Cyrillic yo outside the basic block"},
      {"\u03bf\u03b4\u03c5\u03c3\u03c3\u03ad\u03b1\u03c2", "\u039f\u0394\u03a5\u03a3\u03a3\u0388\u0391\u03a3", true,
       "Greek tonos and final sigma fold"},
      {"caf\u00e9", "CAF\u00c9\u2615\U0001F600", true, "symbols and emoji separate"},
      {"na\u00efve", "na\u00c2\u00afve", false, "a Latin-1 sign inside a word splits it"},
      {"ann@example.com", "Ann <ann@example.com>", true, "an address is one word"},
      {"ANN@Example.COM", "ann@example.com", true, "addresses ignore case"},
      {"ann@example.com", "joann@example.com", false, "no partial addresses"},
      {"ann@example.com", "ann.lee@example.com", false, "the local part must be the same"},
      {"example.com", "bob@example.com", true, "the domain's pieces are words of the message"},
      {"bob", "bob.smith@example.com", true, "the local part's pieces are words too"},
      {"ann@example.com", "'ann@example.com'.", true, "signs around an address are trimmed"},
      {"ann@example.com", "ann at example.com", false, "the filter address needs the address"},
      {"ann@example.com", "x@ann@example.com", false, "two @ make no address"},
      {"@example.com", "bob@example.com", true, "a bare domain filter splits into words"},
      {"\u65e5\u672c", "\u65e5\u672c\u8a9e", false, "unspaced CJK text is one word"},
  };
  for (const TWordCase& c : cases) {
    EXPECT_EQ(FilterWordsMatch(c.Filter, c.Message), c.Matches)
        << c.Reason << ": \"" << c.Filter << "\" in \"" << c.Message << "\"";
  }
}

// ---- CheckFilters ----

TEST(TKwFiltersTest, ADisabledMailFilterPassesEverything) {
  TKwFilterMailOptions filter;
  filter.Subject = "invoice";
  filter.ReceivedAfter = true;
  filter.DateAfter = kMarch10;
  filter.NotReadFlag = true;
  EXPECT_TRUE(filter.CheckFilters("", "", "hello", 1.0, kMarch10));
  EXPECT_TRUE(filter.CheckFilters(TKwMailFilterData{.IsRead = true}, kMarch10));
}

TEST(TKwFiltersTest, UpperBoundIncludesTheWholeDayOfDateBefore) {
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.ReceivedBefore = true;
  filter.DateBefore = kMarch10;
  EXPECT_TRUE(filter.CheckFilters("", "", "", EncodeDateTime(2024, 3, 10, 23, 59, 59), kMarch10));
  EXPECT_FALSE(filter.CheckFilters("", "", "", EncodeDateTime(2024, 3, 11), kMarch10));
  EXPECT_TRUE(filter.CheckFilters("", "", "", EncodeDateTime(2020, 1, 1), kMarch10));
}

TEST(TKwFiltersTest, RelativeLowerBoundsStartAtMidnightOfTheirDay) {
  struct {
    TFiltersSentAge Age;
    TDateTime FirstPassing;
  } cases[] = {{fsaToday, kMarch10},
               {fsaYesterday, EncodeDateTime(2024, 3, 9)},
               {fsaLastWeek, EncodeDateTime(2024, 3, 3)},
               {fsaLastMonth, EncodeDateTime(2024, 2, 9)}};
  const TDateTime oneSecond = 1.0 / 86400;
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.ReceivedAfter = true;
  filter.DateAfter = EncodeDateTime(2030, 1, 1);  // ignored by the relative ages
  for (auto [age, firstPassing] : cases) {
    filter.SentAge = age;
    for (TDateTime now : {kMarch10, kMarch10 + 1 - oneSecond}) {
      SCOPED_TRACE(testing::Message() << EnumToString(age) << " now " << now);
      EXPECT_TRUE(filter.CheckFilters("", "", "", firstPassing, now));
      EXPECT_FALSE(filter.CheckFilters("", "", "", firstPassing - oneSecond, now));
    }
  }
}

TEST(TKwFiltersTest, FixedLowerBoundKeepsItsTimeOfDay) {
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.ReceivedAfter = true;
  filter.DateAfter = kMarch10 + 0.5;
  EXPECT_FALSE(filter.CheckFilters("", "", "", kMarch10 + 0.25, kMarch10));
  EXPECT_TRUE(filter.CheckFilters("", "", "", kMarch10 + 0.5, kMarch10));
}

TEST(TKwFiltersTest, DateConditionsDoNotApplyToAMessageWithoutDate) {
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.ReceivedAfter = true;
  filter.ReceivedBefore = true;
  filter.DateAfter = kMarch10;
  filter.DateBefore = kMarch10;
  EXPECT_TRUE(filter.CheckFilters("", "", "", 0, kMarch10));
}

TEST(TKwFiltersTest, UnreadConditionRefusesOnlyItemsKnownToBeRead) {
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.NotReadFlag = true;
  EXPECT_FALSE(filter.CheckFilters(TKwMailFilterData{.IsRead = true}, kMarch10));
  EXPECT_TRUE(filter.CheckFilters(TKwMailFilterData{.IsRead = false}, kMarch10));
  EXPECT_TRUE(filter.CheckFilters(TKwMailFilterData{}, kMarch10));
}

TEST(TKwFiltersTest, TextConditionsMustAllMatchButUnknownTextsPass) {
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.From = "ann";
  filter.To = "sales@example.com";
  filter.Subject = "invoice";
  EXPECT_TRUE(filter.CheckFilters("Ann Lee <ann@example.com>", "bob@x.org, sales@example.com",
                                  "Invoice 7", kMarch10, kMarch10));
  EXPECT_FALSE(filter.CheckFilters("Ann Lee <ann@example.com>", "", "Invoice 7", kMarch10, kMarch10))
      << "a message without recipients fails a To condition";
  EXPECT_FALSE(filter.CheckFilters("Bob <bob@x.org>", "sales@example.com", "Invoice 7", kMarch10, kMarch10));
  EXPECT_TRUE(filter.CheckFilters(TKwMailFilterData{.From = "ann@example.com", .Subject = "invoice"}, kMarch10))
      << "recipients unknown to the source";
}

TEST(TKwFiltersTest, DecodedHeadersGiveSenderRecipientsSubjectDateAndReadState) {
  TKwHeaders headers;
  headers.LoadHeadersFromString(
      "From: \"Lee, Ann\" <ann@example.com>\r\n"
      "To: Bob <bob@x.org>, Sales Team <sales@example.com>\r\n"
      "Cc: boss@example.com\r\n"
      "Subject: =?UTF-8?Q?R=C3=A9sum=C3=A9_attached?=\r\n"
      "Date: Sun, 10 Mar 2024 09:30:00 +0000\r\n"
      "Status: O\r\n");
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.From = "lee ann@example.com";
  filter.To = "sales team";
  filter.Subject = "R\u00c9SUM\u00c9";
  filter.ReceivedAfter = true;
  filter.SentAge = fsaToday;
  filter.NotReadFlag = true;
  EXPECT_TRUE(filter.CheckFilters(headers, kMarch10 + 0.9));
  EXPECT_FALSE(filter.CheckFilters(headers, kMarch10 + 1)) << "a day later the message is from yesterday";

  filter.To = "boss";
  EXPECT_FALSE(filter.CheckFilters(headers, kMarch10)) << "Cc is not a To recipient";
  filter.To.clear();
  headers.Lines.push_back("Status: RO");
  EXPECT_TRUE(filter.CheckFilters(headers, kMarch10)) << "the first Status header counts";
  headers.Lines.erase(std::find(headers.Lines.begin(), headers.Lines.end(), "Status: O"));
  EXPECT_FALSE(filter.CheckFilters(headers, kMarch10)) << "R marks a read message";
}

TEST(TKwFiltersTest, MessageSummaryIsFilteredOnSenderSubjectAndDate) {
  TKwMessageInfoList list;
  TKwMessageInfoItem& item = list.Add(1, kMarch10 + 0.5, "ann@example.com", "Weekly report", 100, "id");
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.To = "nobody";
  filter.Subject = "report";
  filter.ReceivedBefore = true;
  filter.DateBefore = kMarch10;
  EXPECT_TRUE(filter.CheckFilters(item, kMarch10));
  filter.From = "bob";
  EXPECT_FALSE(filter.CheckFilters(item, kMarch10));
}

// ---- BuildImapSearch ----

TEST(TKwFiltersTest, ImapSearchListsEveryCriterionInItsOrder) {
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  EXPECT_EQ(filter.BuildImapSearch(kMarch10), "");
  filter.NotReadFlag = true;
  EXPECT_EQ(filter.BuildImapSearch(kMarch10), "UNSEEN");
  filter.ReceivedBefore = true;
  filter.DateBefore = EncodeDateTime(2024, 12, 31, 18);
  filter.ReceivedAfter = true;
  filter.DateAfter = EncodeDateTime(2024, 1, 1, 6);
  filter.From = "Ann Lee";
  filter.To = "sales@example.com";
  filter.Subject = "say \"hi\" C:\\temp\r\nnext";
  EXPECT_EQ(filter.BuildImapSearch(kMarch10),
            "SENTBEFORE \"31-Dec-2024\" SENTSINCE \"01-Jan-2024\" FROM \"Ann Lee\" "
            "TO \"sales@example.com\" SUBJECT \"say \\\"hi\\\" C:\\\\temp  next\" UNSEEN");
  filter.Enabled = false;
  EXPECT_EQ(filter.BuildImapSearch(kMarch10), "");
}

TEST(TKwFiltersTest, ImapSearchUsesSentOnWhenBothBoundsFallOnOneDay) {
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.ReceivedBefore = true;
  filter.ReceivedAfter = true;
  filter.DateBefore = EncodeDateTime(2024, 2, 29, 23);
  filter.DateAfter = EncodeDateTime(2024, 2, 29, 1);
  filter.SentAge = fsaLastWeek;
  EXPECT_EQ(filter.BuildImapSearch(kMarch10), "SENTON \"29-Feb-2024\"");
  filter.ReceivedBefore = false;
  EXPECT_EQ(filter.BuildImapSearch(kMarch10), "SENTSINCE \"03-Mar-2024\"");
  filter.SentAge = fsaLastMonth;
  EXPECT_EQ(filter.BuildImapSearch(kMarch10 + 0.99), "SENTSINCE \"09-Feb-2024\"");
}

TEST(TKwFiltersTest, ImapSearchWithGmailSyntaxQuotesTheRawExpressionOnly) {
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.UseGmailSyntax = true;
  filter.GmailSearch = "from:\"Ann Lee\" has:attachment";
  filter.Subject = "ignored";
  filter.NotReadFlag = true;
  EXPECT_EQ(filter.BuildImapSearch(kMarch10), "X-GM-RAW \"from:\\\"Ann Lee\\\" has:attachment\"");
}

// ---- Range and resume ----

TEST(TKwFiltersTest, RangeFromTheStartWithoutCountRunsToTheFolderEnd) {
  EXPECT_EQ(PassingItems(*EnabledRange(3, 0, false), 10), (std::vector<int>{3, 4, 5, 6, 7, 8, 9, 10}));
  EXPECT_EQ(PassingItems(*EnabledRange(2, 3, false), 10), (std::vector<int>{2, 3, 4}));
  EXPECT_TRUE(EnabledRange(3, 0, false)->Check(500, 0)) << "an unknown folder size has no end";
}

TEST(TKwFiltersTest, RangeFromTheEndCountsBackFromTheLastItem) {
  EXPECT_EQ(PassingItems(*EnabledRange(1, 2, true), 10), (std::vector<int>{9, 10}));
  EXPECT_EQ(PassingItems(*EnabledRange(2, 3, true), 10), (std::vector<int>{7, 8, 9}));
  EXPECT_EQ(PassingItems(*EnabledRange(3, 0, true), 10), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(PassingItems(*EnabledRange(1, 5, true), 3), (std::vector<int>{1, 2, 3}))
      << "a folder smaller than the window passes whole";
  EXPECT_EQ(PassingItems(*EnabledRange(5, 2, true), 3), std::vector<int>{})
      << "a start beyond the folder passes nothing";
}

TEST(TKwFiltersTest, InsideLimitEndsTheWalkAfterTheWindow) {
  auto fromStart = EnabledRange(2, 3, false);
  EXPECT_TRUE(fromStart->InsideLimit(4, 10));
  EXPECT_FALSE(fromStart->InsideLimit(5, 10));
  EXPECT_TRUE(EnabledRange(2, 0, false)->InsideLimit(INT_MAX, 10));
  auto fromEnd = EnabledRange(3, 2, true);
  EXPECT_TRUE(fromEnd->InsideLimit(8, 10));
  EXPECT_FALSE(fromEnd->InsideLimit(9, 10));
  EXPECT_TRUE(fromEnd->InsideLimit(9, 0)) << "without a size the end is not known";
  fromStart->Enabled = false;
  EXPECT_TRUE(fromStart->InsideLimit(1000, 10));
  EXPECT_EQ(PassingItems(*fromStart, 4).size(), 4u);
}

TEST(TKwFiltersTest, ResumeStartsAtItsItemWhetherEnabledOrNot) {
  TKwFilterResumeOptions resume;
  resume.Start = 5;
  EXPECT_FALSE(resume.Check(4, 10));
  EXPECT_TRUE(resume.Check(5, 10));
  EXPECT_TRUE(resume.Check(10, 10));
  EXPECT_FALSE(resume.Check(11, 10));
}

// ---- Sampling ----

TEST(TKwFiltersTest, SampleAsLargeAsTheFolderPassesEveryItemAndDrawsNothing) {
  TKwFilterSampling sampling;
  sampling.Enabled = true;
  sampling.SampleSize = 10;
  for (int folderSize : {10, 3}) {
    EXPECT_FALSE(sampling.InitializeRandomList(folderSize, 1));
    EXPECT_TRUE(sampling.RandomList().empty());
    for (int counter = 1; counter <= folderSize; ++counter) EXPECT_TRUE(sampling.Check(counter));
  }
}

TEST(TKwFiltersTest, SeededSampleIsReproducibleSortedAndDistinct) {
  TKwFilterSampling sampling;
  sampling.Enabled = true;
  sampling.SampleSize = 50;
  ASSERT_TRUE(sampling.InitializeRandomList(60, 42));
  const std::vector<int32_t> sample = sampling.RandomList();
  ASSERT_EQ(sample.size(), 50u);
  EXPECT_TRUE(std::is_sorted(sample.begin(), sample.end()));
  EXPECT_EQ(std::adjacent_find(sample.begin(), sample.end()), sample.end());
  EXPECT_GE(sample.front(), 1);
  EXPECT_LE(sample.back(), 60);
  int passing = 0;
  for (int counter = 0; counter <= 61; ++counter) passing += sampling.Check(counter);
  EXPECT_EQ(passing, 50);

  sampling.InitializeRandomList(60, 7);
  EXPECT_EQ(sampling.RandomList(), sample) << "a drawn sample stays for the folder";
  sampling.ClearRandomList();
  sampling.InitializeRandomList(60, 42);
  EXPECT_EQ(sampling.RandomList(), sample);
  sampling.ClearRandomList();
  EXPECT_TRUE(sampling.Check(61)) << "a cleared folder has no active sample";
}

TEST(TKwFiltersTest, SampleOfAllButOneItemStillCompletes) {
  TKwFilterSampling sampling;
  sampling.Enabled = true;
  sampling.SampleSize = 9999;
  ASSERT_TRUE(sampling.InitializeRandomList(10000));
  EXPECT_EQ(sampling.RandomList().size(), 9999u);
}

TEST(TKwFiltersTest, DisabledSamplingPassesItemsOutsideAnActiveSample) {
  TKwFilterSampling sampling;
  sampling.SampleSize = 1;
  ASSERT_TRUE(sampling.InitializeRandomList(1000, 3));
  for (int counter = 1; counter <= 1000; ++counter) ASSERT_TRUE(sampling.Check(counter));

  TKwFilterSampling copy;
  copy.Assign(sampling);
  EXPECT_EQ(copy.SampleSize, 1);
  EXPECT_TRUE(copy.RandomList().empty()) << "Assign copies settings, not the folder's sample";
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

TEST(TKwFiltersTest, BrokenUtf8NeverBreaksWordMatching) {
  EXPECT_TRUE(FilterWordsMatch("\xFF", "a \xFF b")) << "a stray byte compares as itself";
  EXPECT_FALSE(FilterWordsMatch("bob", "bob\xFFsmith")) << "stray bytes join words";
  EXPECT_FALSE(FilterWordsMatch("\xC3", "\xC3\xA9")) << "a lead byte is not its sequence";
  EXPECT_FALSE(FilterWordsMatch("\xC0\xAF", "/")) << "overlong forms are not decoded";
  const std::string message = "Ren\u00e9e \u0416\u0416 <r\u00e9@example.com> \U0001F600\xE2\x82";
  for (size_t length = 0; length <= message.size(); ++length) {
    FilterWordsMatch(message.substr(0, length), message);
    FilterWordsMatch("ren\u00e9e", message.substr(0, length));
  }
  EXPECT_TRUE(FilterWordsMatch("\u0436\u0436 R\u00c9@EXAMPLE.COM", message));
}

TEST(TKwFiltersTest, UnknownSentAgeBoundsAtTheCurrentTime) {
  TKwFilterMailOptions filter;
  filter.Enabled = true;
  filter.ReceivedAfter = true;
  filter.SentAge = static_cast<TFiltersSentAge>(9);
  EXPECT_EQ(filter.LowerDateBound(kMarch10 + 0.75), kMarch10 + 0.75);
  EXPECT_FALSE(filter.CheckFilters("", "", "", kMarch10 + 0.5, kMarch10 + 0.75));
}

TEST(TKwFiltersTest, ExtremeRangeSettingsDoNotOverflow) {
  auto range = EnabledRange(INT_MAX, INT_MAX, false);
  EXPECT_TRUE(range->Check(INT_MAX, INT_MAX));
  EXPECT_TRUE(range->InsideLimit(INT_MAX, INT_MAX));
  range = EnabledRange(INT_MIN, INT_MAX, true);
  EXPECT_FALSE(range->Check(1, 10)) << "the window lies past the folder's end";
  EXPECT_TRUE(EnabledRange(1, 0, false)->Check(3, -5)) << "a negative size counts as unknown";
}

TEST(TKwFiltersTest, SamplingWithoutItemsOrSampleSizeStaysSafe) {
  TKwFilterSampling sampling;
  sampling.Enabled = true;
  EXPECT_FALSE(sampling.InitializeRandomList(0));
  EXPECT_FALSE(sampling.InitializeRandomList(-3));
  EXPECT_TRUE(sampling.Check(1));
  sampling.SampleSize = -2;
  EXPECT_TRUE(sampling.InitializeRandomList(0, 1)) << "more items than a negative sample";
  EXPECT_FALSE(sampling.Check(1)) << "an empty active sample lets nothing through";
}
