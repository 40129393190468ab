#pragma once
// The filters every mail source carries: which items of a folder are processed at all.
// This unit holds their settings as persistable option objects (persisted with the
// source's action under "Filters.<Part>.<Property>") and the list of message summaries
// a source may gather before it walks a folder. Objects are used from one thread.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uKwPersistent.h"
#include "uKwTypes.h"

// The mail filter: dates, sender, recipient, subject and the unread flag.
class TKwFilterMailOptions : public TKwPersistent {
 public:
  TKwFilterMailOptions() { Clear(); }
  std::string_view ClassName() const override { return "TKwFilterMailOptions"; }
  void Publish(TKwPublisher& publisher) override;
  void Clear();

  TDateTime DateAfter = 0;   // lower bound when SentAge is fsaDate
  TDateTime DateBefore = 0;  // upper bound, compared with the message's day
  std::string From;          // empty: no condition
  bool NotReadFlag = false;
  bool ReceivedAfter = false;   // the lower bound is active
  bool ReceivedBefore = false;  // the upper bound is active
  TFiltersSentAge SentAge = fsaDate;
  std::string Subject;  // empty: no condition
  std::string To;       // empty: no condition
  bool Enabled = false;
  std::string GmailSearch;  // a raw Gmail search expression
  bool UseGmailSyntax = false;
};

// A window of item numbers (1-based), counted from the start or from the end of a folder.
class TKwFilterRangeOptions : public TKwPersistent {
 public:
  TKwFilterRangeOptions() { Clear(); }
  std::string_view ClassName() const override { return "TKwFilterRangeOptions"; }
  void Publish(TKwPublisher& publisher) override;
  void Clear();

  bool CountFromEnd = false;
  bool Enabled = false;
  int32_t Start = 0;
  int32_t Range = 0;  // number of items; below 1 means up to the end of the folder
};

// Resumes a walk at an item number.
class TKwFilterResumeOptions : public TKwPersistent {
 public:
  TKwFilterResumeOptions() { Clear(); }
  std::string_view ClassName() const override { return "TKwFilterResumeOptions"; }
  void Publish(TKwPublisher& publisher) override;
  void Clear();

  bool Enabled = false;
  int32_t Start = 0;
};

// A random sample of a fixed number of items per folder.
class TKwFilterSampling : public TKwPersistent {
 public:
  TKwFilterSampling() { Clear(); }
  std::string_view ClassName() const override { return "TKwFilterSampling"; }
  void Publish(TKwPublisher& publisher) override;
  void Clear();

  bool Enabled = false;
  int32_t SampleSize = 0;
};

// The filters of one source. Owns its four parts; they are never null.
class TKwFilterOptions : public TKwPersistent {
 public:
  TKwFilterOptions() { Clear(); }
  std::string_view ClassName() const override { return "TKwFilterOptions"; }
  void Publish(TKwPublisher& publisher) override;
  // Clears the four parts too.
  void Clear();

  const std::unique_ptr<TKwFilterMailOptions> Mail = std::make_unique<TKwFilterMailOptions>();
  const std::unique_ptr<TKwFilterRangeOptions> Range = std::make_unique<TKwFilterRangeOptions>();
  const std::unique_ptr<TKwFilterResumeOptions> Resume = std::make_unique<TKwFilterResumeOptions>();
  const std::unique_ptr<TKwFilterSampling> Sampling = std::make_unique<TKwFilterSampling>();
  bool AlreadyFiltered = false;
};

// The summary of one message of a folder, as a source lists it before the walk.
class TKwMessageInfoItem : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TKwMessageInfoItem"; }
  void Publish(TKwPublisher& publisher) override;

  std::string From;
  std::string Labels;
  int32_t MessageIndex = 0;  // the item's number in its folder
  TDateTime SubmitDate = 0;
  int64_t Size = 0;          // bytes
  int32_t SourceIndex = 0;   // left to the source that fills the list
  std::string Subject;
  std::string UniqueId;
};

// Message summaries in the order they were added. Owns its items; references returned
// by Add and Items stay valid until Clear or destruction.
class TKwMessageInfoList {
 public:
  TKwMessageInfoItem& Add(int32_t messageIndex, TDateTime submitDate, std::string_view from,
                          std::string_view subject, int64_t size, std::string_view uniqueId);
  // Removes every item and rewinds CounterIndex.
  void Clear();
  int Count() const { return static_cast<int>(FItems.size()); }
  // REQUIRES: 0 <= index < Count().
  TKwMessageInfoItem& Items(int index);
  const TKwMessageInfoItem& Items(int index) const;
  // Position of the first item with that MessageIndex, or -1.
  int GetIndex(int32_t messageIndex) const;

  // Position of the item a walk over the list has reached; moved by the walker.
  int CounterIndex = 0;

 private:
  std::vector<std::unique_ptr<TKwMessageInfoItem>> FItems;
};
