#include "uKwFilters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <span>
#include <unordered_set>

#include <fmt/format.h>

#include "uKwAssert.h"
#include "uKwHeaders.h"

namespace {

// ---- Words of a text (the rule is documented at FilterWordsMatch) ----

// Bytes that are not valid UTF-8 become code points above Unicode, so they stay word
// characters and compare only with the same byte.
constexpr char32_t kStrayByteBase = 0x110000;

struct TCodePointRange {
  char32_t First, Last;
};

// Sorted; code points above U+007F that separate words.
constexpr std::array kSeparatorRanges{
    TCodePointRange{0x0080, 0x00A9}, TCodePointRange{0x00AB, 0x00B4},
    TCodePointRange{0x00B6, 0x00B9}, TCodePointRange{0x00BB, 0x00BF},
    TCodePointRange{0x00D7, 0x00D7}, TCodePointRange{0x00F7, 0x00F7},
    TCodePointRange{0x037E, 0x037E}, TCodePointRange{0x0387, 0x0387},  // Greek ";" and "·"
    TCodePointRange{0x055A, 0x055F}, TCodePointRange{0x0589, 0x058A},  // Armenian
    TCodePointRange{0x05BE, 0x05BE}, TCodePointRange{0x05C0, 0x05C0},  // Hebrew
    TCodePointRange{0x05C3, 0x05C3}, TCodePointRange{0x05F3, 0x05F4},
    TCodePointRange{0x060C, 0x060D}, TCodePointRange{0x061B, 0x061F},  // Arabic
    TCodePointRange{0x066A, 0x066D}, TCodePointRange{0x0964, 0x0965},  // Devanagari dandas
    TCodePointRange{0x2000, 0x2BFF},  // punctuation, signs, arrows, maths, dingbats
    TCodePointRange{0x2E00, 0x2E7F}, TCodePointRange{0x3000, 0x303F},
    TCodePointRange{0xFE10, 0xFE1F}, TCodePointRange{0xFE30, 0xFE6F},
    TCodePointRange{0xFEFF, 0xFEFF}, TCodePointRange{0xFF00, 0xFF0F},  // fullwidth signs
    TCodePointRange{0xFF1A, 0xFF20}, TCodePointRange{0xFF3B, 0xFF40},
    TCodePointRange{0xFF5B, 0xFF65}, TCodePointRange{0xFFF0, 0xFFFF},
    TCodePointRange{0x1F000, 0x1FAFF},  // emoji and pictographs
};

bool IsWordChar(char32_t c) {
  if (c < 0x80) return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  if (c >= kStrayByteBase) return true;
  auto range = std::upper_bound(kSeparatorRanges.begin(), kSeparatorRanges.end(), c,
                                [](char32_t v, const TCodePointRange& r) { return v < r.First; });
  return range == kSeparatorRanges.begin() || c > std::prev(range)->Last;
}

bool IsAddressChar(char32_t c) {
  return IsWordChar(c) || (c < 0x80 && c != 0 && std::strchr(".!#$%&'*+-/=?^_`{|}~@", static_cast<int>(c)));
}

// Blocks where upper and lower case alternate: the upper case at even code points (lower at
// odd ones) or the reverse.
struct TCasePairRange {
  char32_t First, Last;
  bool UpperIsEven;
};

constexpr TCasePairRange kLatinPairs[] = {
    {0x0100, 0x012F, true},  {0x0132, 0x0137, true},  {0x0139, 0x0148, false}, {0x014A, 0x0177, true},
    {0x0179, 0x017E, false}, {0x01CD, 0x01DC, false}, {0x01DE, 0x01EF, true},  {0x01F8, 0x021F, true},
    {0x0222, 0x0233, true},  {0x0246, 0x024F, true},  {0x1E00, 0x1E95, true},  {0x1EA0, 0x1EFF, true}};
constexpr TCasePairRange kGreekCyrillicPairs[] = {
    {0x03D8, 0x03EF, true}, {0x0460, 0x0481, true}, {0x048A, 0x04BF, true},
    {0x04C1, 0x04CE, false}, {0x04D0, 0x052F, true}};

template <size_t N>
char32_t UpperOfPairs(char32_t c, const TCasePairRange (&ranges)[N]) {
  for (const TCasePairRange& range : ranges) {
    if (c < range.First || c > range.Last) continue;
    return (c % 2 == 0) == range.UpperIsEven ? c : c - 1;
  }
  return c;
}

char32_t UpperLatinExtended(char32_t c) {
  if (c == 0x0131) return 'I';  // dotless i
  if (c == 0x017F) return 'S';  // long s
  if (c == 0x01C5 || c == 0x01C6) return 0x01C4;  // the digraphs DŽ LJ NJ DZ
  if (c == 0x01C8 || c == 0x01C9) return 0x01C7;
  if (c == 0x01CB || c == 0x01CC) return 0x01CA;
  if (c == 0x01F2 || c == 0x01F3) return 0x01F1;
  return UpperOfPairs(c, kLatinPairs);
  return c;
}

char32_t UpperGreekCyrillic(char32_t c) {
  if (c == 0x03C2) return 0x03A3;  // final sigma
  if (c == 0x03AC) return 0x0386;
  if (c >= 0x03AD && c <= 0x03AF) return c - 0x25;
  if (c == 0x03CC) return 0x038C;
  if (c == 0x03CD || c == 0x03CE) return c - 0x3F;
  if ((c >= 0x03B1 && c <= 0x03CB) || (c >= 0x0430 && c <= 0x044F)) return c - 0x20;
  if (c >= 0x0450 && c <= 0x045F) return c - 0x50;
  if (c == 0x04CF) return 0x04C0;
  return UpperOfPairs(c, kGreekCyrillicPairs);
  return c;
}

// Simple (one to one) upper case mapping of the scripts the filter folds.
char32_t UpperCodePoint(char32_t c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? c - 0x20 : c;
  if (c == 0x00B5) return 0x039C;  // micro sign
  if (c == 0x00FF) return 0x0178;
  if (c >= 0x00E0 && c <= 0x00FE && c != 0x00F7) return c - 0x20;
  if (c >= 0x0100 && c < 0x0370) return UpperLatinExtended(c);
  if (c >= 0x0370 && c < 0x0530) return UpperGreekCyrillic(c);
  if (c >= 0x1E00 && c < 0x1F00) return UpperLatinExtended(c);
  return c;
}

// Decodes one code point at text[pos] and advances pos; a byte that does not start a valid,
// shortest-form sequence becomes a stray byte.
char32_t NextCodePoint(std::string_view text, size_t& pos) {
  auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char lead = byte(pos);
  if (lead < 0x80) return text[pos++];
  size_t length = lead >= 0xF5 ? 0 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
  bool valid = length != 0 && pos + length <= text.size();
  char32_t c = lead & (0x7F >> length);
  for (size_t i = 1; valid && i < length; ++i) {
    valid = (byte(pos + i) & 0xC0) == 0x80;
    c = (c << 6) | (byte(pos + i) & 0x3F);
  }
  static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (!valid || c < kSmallest[length] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
    ++pos;
    return kStrayByteBase + lead;
  }
  pos += length;
  return c;
}

std::u32string UpperCodePoints(std::string_view text) {
  std::u32string result;
  result.reserve(text.size());
  for (size_t pos = 0; pos < text.size();) result.push_back(UpperCodePoint(NextCodePoint(text, pos)));
  return result;
}

using TWords = std::vector<std::u32string>;

bool IsAddress(std::u32string_view token) {
  size_t at = token.find(U'@');
  if (at == std::u32string_view::npos || token.find(U'@', at + 1) != std::u32string_view::npos) return false;
  return std::any_of(token.begin(), token.begin() + at, IsWordChar) &&
         std::any_of(token.begin() + at + 1, token.end(), IsWordChar);
}

void AddPlainWords(std::u32string_view run, TWords& words) {
  for (size_t i = 0; i < run.size();) {
    if (!IsWordChar(run[i])) {
      ++i;
      continue;
    }
    size_t end = i;
    while (end < run.size() && IsWordChar(run[end])) ++end;
    words.emplace_back(run.substr(i, end - i));
    i = end;
  }
}

// An address in a filter text is one word; in a message it is also split into its pieces.
void AddAddressRun(std::u32string_view run, bool splitAddresses, TWords& words) {
  size_t first = 0, last = run.size();
  while (first < last && !IsWordChar(run[first])) ++first;
  while (last > first && !IsWordChar(run[last - 1])) --last;
  std::u32string_view token = run.substr(first, last - first);
  if (IsAddress(token)) {
    words.emplace_back(token);
    if (!splitAddresses) return;
  }
  AddPlainWords(run, words);
}

void CollectWords(std::string_view text, bool splitAddresses, TWords& words) {
  std::u32string upper = UpperCodePoints(text);
  std::u32string_view view = upper;
  for (size_t i = 0; i < view.size();) {
    if (!IsAddressChar(view[i])) {
      ++i;
      continue;
    }
    size_t end = i;
    while (end < view.size() && IsAddressChar(view[end])) ++end;
    AddAddressRun(view.substr(i, end - i), splitAddresses, words);
    i = end;
  }
}

// The message text may come in pieces (a display name, an address, several recipients).
bool WordsMatch(std::string_view filterText, std::span<const std::string_view> messagePieces) {
  TWords filterWords;
  CollectWords(filterText, false, filterWords);
  if (filterWords.empty()) return true;
  TWords messageWords;
  for (std::string_view piece : messagePieces) CollectWords(piece, true, messageWords);
  return std::all_of(filterWords.begin(), filterWords.end(), [&](const std::u32string& word) {
    return std::find(messageWords.begin(), messageWords.end(), word) != messageWords.end();
  });
}

// A condition on unknown message text passes.
bool TextConditionPasses(const std::string& filterText, std::optional<std::span<const std::string_view>> pieces) {
  return filterText.empty() || !pieces || WordsMatch(filterText, *pieces);
}

// ---- IMAP search ----

// IMAP dates are "dd-Mon-yyyy" with English month names whatever the locale.
std::string ImapDate(TDateTime value) {
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  TKwDateParts parts = DecodeDateTime(std::trunc(value));
  return fmt::format("{:02}-{}-{:04}", parts.Day, kMonths[(parts.Month - 1) % 12], parts.Year);
}

// A quoted string may not hold CR, LF or NUL; other controls are as unwelcome to servers,
// so all become blanks. Backslash and double quote are escaped.
std::string ImapQuoted(std::string_view text) {
  std::string result = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? ' ' : c;
  }
  return result + '"';
}

// Mbox stores keep the read state in "Status:" ("RO" read and old, "O" old but unread).
std::optional<bool> ReadStateOfHeaders(const TKwHeaders& headers) {
  constexpr std::string_view kStatus = "status:";
  for (const std::string& line : headers.Lines) {
    bool isStatus = line.size() >= kStatus.size() &&
                    std::equal(kStatus.begin(), kStatus.end(), line.begin(),
                               [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b + 32 : b); });
    if (isStatus) return line.find('R', kStatus.size()) != std::string::npos;
  }
  return std::nullopt;
}

}  // namespace

bool FilterWordsMatch(std::string_view filterText, std::string_view messageText) {
  return WordsMatch(filterText, std::span(&messageText, 1));
}

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

TDateTime TKwFilterMailOptions::LowerDateBound(TDateTime now) const {
  TDateTime today = std::trunc(now);
  switch (SentAge) {
    case fsaDate: return DateAfter;
    case fsaToday: return today;
    case fsaYesterday: return today - 1;
    case fsaLastWeek: return today - 7;
    case fsaLastMonth: return today - 30;
  }
  return now;
}

bool TKwFilterMailOptions::PassesDates(TDateTime localDate, TDateTime now) const {
  if (localDate == 0) return true;
  if (ReceivedBefore && std::trunc(localDate) > DateBefore) return false;
  return !ReceivedAfter || localDate >= LowerDateBound(now);
}

bool TKwFilterMailOptions::PassesReadState(std::optional<bool> isRead) const {
  return !NotReadFlag || !isRead.value_or(false);
}

bool TKwFilterMailOptions::CheckFilters(const TKwMailFilterData& data, TDateTime now) const {
  if (!Enabled) return true;
  auto pieces = [](const std::optional<std::string_view>& text) -> std::optional<std::span<const std::string_view>> {
    if (!text) return std::nullopt;
    return std::span(&*text, 1);
  };
  return PassesDates(data.LocalDate, now) && PassesReadState(data.IsRead) &&
         TextConditionPasses(From, pieces(data.From)) && TextConditionPasses(To, pieces(data.To)) &&
         TextConditionPasses(Subject, pieces(data.Subject));
}

bool TKwFilterMailOptions::CheckFilters(std::string_view msgFrom, std::string_view msgTo,
                                        std::string_view msgSubject, TDateTime msgDate,
                                        TDateTime now) const {
  return CheckFilters(TKwMailFilterData{msgFrom, msgTo, msgSubject, msgDate, std::nullopt}, now);
}

bool TKwFilterMailOptions::CheckFilters(const TKwHeaders& headers, TDateTime now) const {
  if (!Enabled) return true;
  if (!PassesDates(headers.SubmitDate.LocalDate(), now) || !PassesReadState(ReadStateOfHeaders(headers)))
    return false;
  const std::string_view sender[] = {headers.From.Name, headers.From.Address};
  std::vector<std::string_view> recipients;
  if (!To.empty()) {
    for (int i = 0; i < headers.ToList.Count(); ++i) {
      recipients.push_back(headers.ToList.Items(i).Name);
      recipients.push_back(headers.ToList.Items(i).Address);
    }
  }
  const std::string_view subject[] = {headers.Subject};
  return TextConditionPasses(From, sender) && TextConditionPasses(To, std::span(recipients)) &&
         TextConditionPasses(Subject, subject);
}

bool TKwFilterMailOptions::CheckFilters(const TKwMessageInfoItem& item, TDateTime now) const {
  return CheckFilters(TKwMailFilterData{item.From, std::nullopt, item.Subject, item.SubmitDate, std::nullopt}, now);
}

std::string TKwFilterMailOptions::BuildImapSearch(TDateTime now) const {
  if (!Enabled) return "";
  if (UseGmailSyntax) return "X-GM-RAW " + ImapQuoted(GmailSearch);
  std::string search;
  if (ReceivedBefore && ReceivedAfter && std::trunc(DateBefore) == std::trunc(DateAfter)) {
    search += "SENTON \"" + ImapDate(DateBefore) + "\" ";
  } else {
    if (ReceivedBefore) search += "SENTBEFORE \"" + ImapDate(DateBefore) + "\" ";
    if (ReceivedAfter) search += "SENTSINCE \"" + ImapDate(LowerDateBound(now)) + "\" ";
  }
  if (!From.empty()) search += "FROM " + ImapQuoted(From) + " ";
  if (!To.empty()) search += "TO " + ImapQuoted(To) + " ";
  if (!Subject.empty()) search += "SUBJECT " + ImapQuoted(Subject) + " ";
  if (NotReadFlag) search += "UNSEEN ";
  while (!search.empty() && search.back() == ' ') search.pop_back();
  return search;
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

// 64-bit arithmetic: Start and Range come from users' files and may be anything.
bool TKwFilterRangeOptions::Check(int32_t ACounter, int32_t ASize) const {
  if (!Enabled) return true;
  int64_t counter = ACounter;
  if (CountFromEnd) {
    int64_t last = int64_t{ASize} - Start + 1;
    int64_t first = Range >= 1 ? last - Range + 1 : 1;
    return first <= counter && counter <= last;
  }
  if (Range >= 1) return Start <= counter && counter <= int64_t{Start} + Range - 1;
  return counter >= Start && (ASize < 1 || counter <= ASize);
}

bool TKwFilterRangeOptions::InsideLimit(int32_t ACounter, int32_t ASize) const {
  if (!Enabled) return true;
  if (CountFromEnd) return ASize <= 0 || int64_t{ACounter} <= int64_t{ASize} - Start + 1;
  return Range <= 0 || int64_t{ACounter} <= int64_t{Start} + Range - 1;
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

bool TKwFilterResumeOptions::Check(int32_t ACounter, int32_t ASize) const {
  return Start <= ACounter && ACounter <= ASize;
}

// ---- TKwFilterSampling ----

void TKwFilterSampling::Publish(TKwPublisher& publisher) {
  publisher.Boolean("Enabled", Enabled);
  publisher.Integer("SampleSize", SampleSize);
}

void TKwFilterSampling::Clear() {
  Enabled = false;
  SampleSize = 0;
  ClearRandomList();
}

bool TKwFilterSampling::InitializeRandomList(int32_t AListSize, std::optional<uint64_t> seed) {
  FActive = AListSize > SampleSize;
  // A sample of no items draws nothing (and lets nothing through while active).
  if (!FActive || !FRandomList.empty() || SampleSize <= 0) return FActive;
  std::mt19937_64 engine(seed ? *seed : (uint64_t{std::random_device{}()} << 32) ^ std::random_device{}());
  std::uniform_int_distribution<int32_t> draw(1, AListSize);
  std::unordered_set<int32_t> drawn;
  while (static_cast<int64_t>(FRandomList.size()) < SampleSize) {
    int32_t number = draw(engine);
    if (drawn.insert(number).second) FRandomList.push_back(number);
  }
  std::sort(FRandomList.begin(), FRandomList.end());
  return FActive;
}

bool TKwFilterSampling::Check(int32_t ACounter) const {
  if (!Enabled || !FActive) return true;
  return std::binary_search(FRandomList.begin(), FRandomList.end(), ACounter);
}

void TKwFilterSampling::ClearRandomList() {
  FRandomList.clear();
  FActive = false;
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
