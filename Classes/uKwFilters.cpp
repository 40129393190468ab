#include "uKwFilters.h"

#include "uKwAssert.h"

// ---- TKwFilterMailOptions ----

void TKwFilterMailOptions::Publish(TKwPublisher& publisher) {
  publisher.DateTime("DateAfter", DateAfter);
  publisher.DateTime("DateBefore", DateBefore);
  publisher.String("From", From);
  publisher.Boolean("NotReadFlag", NotReadFlag);
  publisher.Boolean("ReceivedAfter", ReceivedAfter);
  publisher.Boolean("ReceivedBefore", ReceivedBefore);
  publisher.Enum("SentAge", SentAge);
  publisher.String("Subject", Subject);
  publisher.String("To", To);
  publisher.Boolean("Enabled", Enabled);
  publisher.String("GmailSearch", GmailSearch);
  publisher.Boolean("UseGmailSyntax", UseGmailSyntax);
}

void TKwFilterMailOptions::Clear() {
  DateAfter = 0;
  DateBefore = 0;
  From.clear();
  NotReadFlag = false;
  ReceivedAfter = false;
  ReceivedBefore = false;
  SentAge = fsaDate;
  Subject.clear();
  To.clear();
  Enabled = false;
  GmailSearch.clear();
  UseGmailSyntax = false;
}

// ---- TKwFilterRangeOptions ----

void TKwFilterRangeOptions::Publish(TKwPublisher& publisher) {
  publisher.Boolean("CountFromEnd", CountFromEnd);
  publisher.Boolean("Enabled", Enabled);
  publisher.Integer("Start", Start);
  publisher.Integer("Range", Range);
}

void TKwFilterRangeOptions::Clear() {
  CountFromEnd = false;
  Enabled = false;
  Start = 0;
  Range = 0;
}

// ---- TKwFilterResumeOptions ----

void TKwFilterResumeOptions::Publish(TKwPublisher& publisher) {
  publisher.Boolean("Enabled", Enabled);
  publisher.Integer("Start", Start);
}

void TKwFilterResumeOptions::Clear() {
  Enabled = false;
  Start = 0;
}

// ---- TKwFilterSampling ----

void TKwFilterSampling::Publish(TKwPublisher& publisher) {
  publisher.Boolean("Enabled", Enabled);
  publisher.Integer("SampleSize", SampleSize);
}

void TKwFilterSampling::Clear() {
  Enabled = false;
  SampleSize = 0;
}

// ---- TKwFilterOptions ----

void TKwFilterOptions::Publish(TKwPublisher& publisher) {
  publisher.Object("Mail", *Mail);
  publisher.Object("Range", *Range);
  publisher.Object("Resume", *Resume);
  publisher.Object("Sampling", *Sampling);
  publisher.Boolean("AlreadyFiltered", AlreadyFiltered);
}

void TKwFilterOptions::Clear() {
  Mail->Clear();
  Range->Clear();
  Resume->Clear();
  Sampling->Clear();
  AlreadyFiltered = false;
}

// ---- TKwMessageInfoItem ----

void TKwMessageInfoItem::Publish(TKwPublisher& publisher) {
  publisher.String("From", From);
  publisher.String("Labels", Labels);
  publisher.Integer("MessageIndex", MessageIndex);
  publisher.DateTime("SubmitDate", SubmitDate);
  publisher.Int64("Size", Size);
  publisher.Integer("SourceIndex", SourceIndex);
  publisher.String("Subject", Subject);
  publisher.String("UniqueId", UniqueId);
}

// ---- TKwMessageInfoList ----

TKwMessageInfoItem& TKwMessageInfoList::Add(int32_t messageIndex, TDateTime submitDate,
                                            std::string_view from, std::string_view subject,
                                            int64_t size, std::string_view uniqueId) {
  auto& item = *FItems.emplace_back(std::make_unique<TKwMessageInfoItem>());
  item.MessageIndex = messageIndex;
  item.SubmitDate = submitDate;
  item.From = from;
  item.Subject = subject;
  item.Size = size;
  item.UniqueId = uniqueId;
  return item;
}

void TKwMessageInfoList::Clear() {
  FItems.clear();
  CounterIndex = 0;
}

TKwMessageInfoItem& TKwMessageInfoList::Items(int index) {
  if (index < 0 || index >= Count()) AssertionFailure("Classes/uKwFilters", __LINE__);
  return *FItems[static_cast<size_t>(index)];
}

const TKwMessageInfoItem& TKwMessageInfoList::Items(int index) const {
  if (index < 0 || index >= Count()) AssertionFailure("Classes/uKwFilters", __LINE__);
  return *FItems[static_cast<size_t>(index)];
}

int TKwMessageInfoList::GetIndex(int32_t messageIndex) const {
  for (int i = 0; i < Count(); ++i) {
    if (FItems[static_cast<size_t>(i)]->MessageIndex == messageIndex) return i;
  }
  return -1;
}
