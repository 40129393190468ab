#pragma once
// The filters every mail source carries: which items of a folder are processed at all.
// This unit holds their settings as persistable option objects (persisted with the
// source's action under "Filters.<Part>.<Property>") and the list of message summaries
// a source may gather before it walks a folder. Objects are used from one thread.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "uKwDateTime.h"
#include "uKwPersistent.h"
#include "uKwTypes.h"

class TKwHeaders;
class TKwMessageInfoItem;

// ---- Word matching of the From, To and Subject conditions ----
// Every word of the filter text must occur as a whole word of the message text, in any
// order; repeats count once. A filter text without words (empty, blanks, punctuation)
// matches everything.
// - A word is a maximal run of letters and digits. ASCII letters and digits are word
//   characters; any other code point is one too, except blanks, controls, the Latin-1
//   signs (U+0080..U+00BF but the letters ª, µ, º), × and ÷, the general and CJK
//   punctuation blocks, arrows, mathematical and technical signs, dingbats and emoji.
//   So "Jean-Luc", "jean luc" and "JEAN_LUC" all give JEAN and LUC, and "re: [ext]"
//   gives RE and EXT. Bytes that are not valid UTF-8 are word characters compared as
//   they are.
// - Case is ignored through simple upper-casing for Latin (incl. Extended-A, the regular
//   pairs of Extended-B and Latin Extended Additional), Greek (monotonic, final sigma)
//   and Cyrillic; other scripts compare exactly. Accents count: "Muller" does not match
//   "Müller". No Unicode normalisation: a decomposed "é" differs from a precomposed one.
// - An e-mail address (a run of word characters and the address signs .!#$%&'*+-/=?^_`{|}~
//   holding exactly one "@", with word characters on both sides, trimmed of signs at its
//   ends) is one word of the filter text, so "ann@example.com" does not match
//   "joann@example.com". In the message it counts both whole and as its pieces, so the
//   filter texts "ann", "example.com" and "ann@example.com" all match "Ann <ann@example.com>".
// - Partial words do not match: "inv" does not match "invoice".
bool FilterWordsMatch(std::string_view filterText, std::string_view messageText);

// What a source knows of one item when it asks the mail filter; the texts are borrowed for
// the call. A member left unset is unknown and its condition passes: a source must not
// refuse an item for a fact it could not read (a server-side source leaves those to the
// IMAP search instead).
struct TKwMailFilterData {
  std::optional<std::string_view> From = std::nullopt;  // display name and/or address
  std::optional<std::string_view> To = std::nullopt;    // every recipient, in any separated form
  std::optional<std::string_view> Subject = std::nullopt;
  TDateTime LocalDate = 0;  // local time; 0: the message has no date
  std::optional<bool> IsRead = std::nullopt;
};

// The mail filter: dates, sender, recipient, subject and the unread flag.
class TKwFilterMailOptions : public TKwPersistent {
 public:
  TKwFilterMailOptions() { Clear(); }
  std::string_view ClassName() const override { return "TKwFilterMailOptions"; }
  void Publish(TKwPublisher& publisher) override;
  void Clear();

  // The earliest date a message may carry when ReceivedAfter is set: DateAfter, or a day
  // count back from the start of now's day; an unknown SentAge gives now itself.
  TDateTime LowerDateBound(TDateTime now = NowLocal()) const;

  // True when the item passes; always true when not Enabled. The date conditions do not
  // apply to a message without a date (0); NotReadFlag refuses only an item known to be
  // read. UseGmailSyntax is a server matter and changes nothing here.
  bool CheckFilters(const TKwMailFilterData& data, TDateTime now = NowLocal()) const;
  // Every text known; an empty text is a message without that header.
  bool CheckFilters(std::string_view msgFrom, std::string_view msgTo, std::string_view msgSubject,
                    TDateTime msgDate, TDateTime now = NowLocal()) const;
  // Decoded headers: sender name and address, the To list (not Cc), subject, the submit
  // date in local time, and the read state of an mbox "Status:" header ("R" = read) when
  // there is one.
  bool CheckFilters(const TKwHeaders& headers, TDateTime now = NowLocal()) const;
  // A summary: sender, subject and SubmitDate; recipients and read state are unknown.
  bool CheckFilters(const TKwMessageInfoItem& item, TDateTime now = NowLocal()) const;

  // The IMAP SEARCH criteria of this filter ("" when not Enabled), dates as "01-Jan-2024",
  // texts as IMAP quoted strings. Texts outside ASCII are passed as UTF-8: the caller adds
  // "CHARSET UTF-8" when the server needs it.
  std::string BuildImapSearch(TDateTime now = NowLocal()) const;

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

 private:
  bool PassesDates(TDateTime localDate, TDateTime now) const;
  bool PassesReadState(std::optional<bool> isRead) const;
};

// A window of item numbers (1-based), counted from the start or from the end of a folder.
class TKwFilterRangeOptions : public TKwPersistent {
 public:
  TKwFilterRangeOptions() { Clear(); }
  std::string_view ClassName() const override { return "TKwFilterRangeOptions"; }
  void Publish(TKwPublisher& publisher) override;
  void Clear();

  // Is item ACounter (1-based) of a folder of ASize items inside the window. Counting from
  // the end needs ASize; a window reaching before item 1 just ends there.
  bool Check(int32_t ACounter, int32_t ASize) const;
  // False once ACounter has passed the window's last item: the walk may stop.
  bool InsideLimit(int32_t ACounter, int32_t ASize) const;

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

  // Start <= ACounter <= ASize. Does not look at Enabled: the caller does.
  bool Check(int32_t ACounter, int32_t ASize) const;

  bool Enabled = false;
  int32_t Start = 0;
};

// A random sample of a fixed number of items per folder. Besides its settings it holds,
// for the folder being walked, the sorted sample of item numbers (1-based) and whether
// sampling is active there; Assign copies only the settings.
class TKwFilterSampling : public TKwPersistent {
 public:
  TKwFilterSampling() { Clear(); }
  std::string_view ClassName() const override { return "TKwFilterSampling"; }
  void Publish(TKwPublisher& publisher) override;
  // Also forgets the folder's sample.
  void Clear();

  // Sampling is active when the folder has more than SampleSize items; then, unless a
  // sample was drawn since ClearRandomList, draws SampleSize distinct numbers uniformly
  // from 1..AListSize. A seed makes the draw reproducible; without one it is seeded from
  // std::random_device. Returns whether sampling is active.
  bool InitializeRandomList(int32_t AListSize, std::optional<uint64_t> seed = std::nullopt);
  // True when not Enabled, not active, or ACounter is in the sample.
  bool Check(int32_t ACounter) const;
  // Forgets the sample and the active flag, so that each folder draws its own.
  void ClearRandomList();
  const std::vector<int32_t>& RandomList() const { return FRandomList; }
  bool IsActive() const { return FActive; }

  bool Enabled = false;
  int32_t SampleSize = 0;  // with sampling active, 0 or less lets no item through

 private:
  std::vector<int32_t> FRandomList;  // ascending
  bool FActive = false;
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
  TDateTime SubmitDate = 0;  // local time; 0 when unknown
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
