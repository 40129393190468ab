#include "uKwDataRules.h"

#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "uKwAttachments.h"
#include "uKwDateTime.h"
#include "uKwHeaders.h"
#include "uKwMailMessage.h"
#include "uKwMessageOutputText.h"
#include "uKwRegEx.h"
#include "uKwTableCells.h"
#include "uKwUtf8.h"

void TKwDataRule::Publish(TKwPublisher& p) {
  p.String("Name", Name);
  p.Enum("VariableType", VariableType, vtString);
  p.Boolean("Export", Export, true);
  p.String("Default", Default);
  p.Enum("Source", Source, dsTextBody);
  p.String("HeaderName", HeaderName);
  p.Enum("Extract", Extract, deAfterLabel);
  p.String("Pattern", Pattern);
  p.String("EndMarker", EndMarker);
  p.String("Group", Group);
  p.Integer("Index", Index, 1);
  p.Boolean("CaseSensitive", CaseSensitive, false);
  p.Boolean("Trim", Trim, true);
  p.Enum("CaseFolding", CaseFolding, dcNone);
  p.Enum("DecimalMark", DecimalMark, dmAuto);
  p.Boolean("MonthFirst", MonthFirst, false);
}

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

char AsciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The offset of needle in text at or after from; ASCII letters compared without case
// unless caseSensitive.
size_t FindText(std::string_view text, std::string_view needle, bool caseSensitive, size_t from = 0) {
  if (needle.empty() || from > text.size()) return std::string_view::npos;
  if (caseSensitive) return text.find(needle, from);
  for (size_t i = from; i + needle.size() <= text.size(); ++i) {
    size_t k = 0;
    while (k < needle.size() && AsciiLower(text[i + k]) == AsciiLower(needle[k])) ++k;
    if (k == needle.size()) return i;
  }
  return std::string_view::npos;
}

std::string_view UpToLineEnd(std::string_view text) { return text.substr(0, text.find_first_of("\r\n")); }

std::vector<std::string_view> SplitLines(std::string_view text) {
  std::vector<std::string_view> lines;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find('\n', start);
    std::string_view line = text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(line);
    if (end == std::string_view::npos) break;
    start = end + 1;
  }
  return lines;
}

std::vector<std::string_view> SplitWords(std::string_view text) {
  std::vector<std::string_view> words;
  size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && IsBlank(text[i])) ++i;
    size_t start = i;
    while (i < text.size() && !IsBlank(text[i])) ++i;
    if (i > start) words.push_back(text.substr(start, i - start));
  }
  return words;
}

// 1-based from the front, -1 the last; empty when out of range.
std::string_view Nth(const std::vector<std::string_view>& items, int index) {
  const long size = static_cast<long>(items.size());
  const long at = index > 0 ? index - 1 : size + index;
  return index != 0 && at >= 0 && at < size ? items[static_cast<size_t>(at)] : std::string_view();
}

// The folded case of every character (Unicode-aware through the C.UTF-8 locale).
std::string FoldCase(std::string_view text, TDataCase folding) {
  static const locale_t kUtf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const size_t length = Utf8SequenceLength(text, i);
    if (length == 0) {  // not UTF-8: kept as it is
      out += text[i++];
      continue;
    }
    char32_t c = DecodeUtf8Sequence(text, i, length);
    if (kUtf8) c = static_cast<char32_t>(folding == dcLower ? towlower_l(static_cast<wint_t>(c), kUtf8)
                                                            : towupper_l(static_cast<wint_t>(c), kUtf8));
    else c = static_cast<char32_t>(folding == dcLower ? towlower(static_cast<wint_t>(c)) : towupper(static_cast<wint_t>(c)));
    AppendUtf8(out, c);
    i += length;
  }
  return out;
}

// The value of the first header of that name, its continuation lines unfolded.
std::string HeaderValue(const TStringList& lines, std::string_view name) {
  if (name.empty()) return "";
  for (size_t i = 0; i < lines.size(); ++i) {
    const std::string& line = lines[i];
    if (line.size() <= name.size() || line[name.size()] != ':' || FindText(line, name, false) != 0) continue;
    std::string value(TrimBlanks(std::string_view(line).substr(name.size() + 1)));
    while (i + 1 < lines.size() && !lines[i + 1].empty() && (lines[i + 1][0] == ' ' || lines[i + 1][0] == '\t'))
      value += " " + std::string(TrimBlanks(lines[++i]));
    return value;
  }
  return "";
}

bool IsTextAttachment(const TKwAttachment& attachment) {
  const std::string& name = attachment.FileName;
  const size_t dot = name.rfind('.');
  std::string extension = dot == std::string::npos ? "" : name.substr(dot + 1);
  for (char& c : extension) c = AsciiLower(c);
  for (const char* text : {"txt", "text", "csv", "tsv", "log", "xml", "json", "htm", "html", "ics", "vcf"})
    if (extension == text) return true;
  return false;
}

std::string AttachmentTexts(const TKwAttachmentsList& attachments, bool contents) {
  std::string text;
  for (int i = 0; i < attachments.GetCount(); ++i) {
    const TKwAttachment& attachment = attachments.GetAttachment(i);
    if (!attachment.IsOrdinary() || (contents && !IsTextAttachment(attachment))) continue;
    if (!text.empty()) text += "\n";
    if (!contents) {
      text += attachment.FileName;
    } else {
      const size_t dot = attachment.FileName.rfind('.');
      const std::string extension = dot == std::string::npos ? "" : attachment.FileName.substr(dot + 1);
      text += (extension == "htm" || extension == "html") ? HtmlExtractText(attachment.Content) : attachment.Content;
    }
  }
  return text;
}

std::string AddressLines(const TKwEmailList& list) {
  std::string text;
  for (int i = 0; i < list.Count(); ++i) text += (i ? "\n" : "") + list.Items(i).Address;
  return text;
}

std::string SourceText(const TKwMailMessage& message, const TKwDataRule& rule) {
  const TKwHeaders& h = *message.Headers;
  switch (rule.Source) {
    case dsSubject: return h.Subject;
    case dsTextBody:
      // HTML-only mail has its data in the HTML part.
      if (!message.TextPart.empty()) return JoinLines(message.TextPart, "\n");
      return HtmlExtractText(JoinLines(message.HtmlPart, "\n"));
    case dsHtmlText: return HtmlExtractText(JoinLines(message.HtmlPart, "\n"));
    case dsHeader: return HeaderValue(h.Lines, rule.HeaderName);
    case dsFromName: return h.From.Name;
    case dsFromAddress: return h.From.Address;
    case dsToAddresses: return AddressLines(h.ToList);
    case dsCcAddresses: return AddressLines(h.CCList);
    case dsReplyTo: return h.ReplyTo.Address;
    case dsAttachmentNames: return AttachmentTexts(*message.Attachments, false);
    case dsAttachmentText: return AttachmentTexts(*message.Attachments, true);
  }
  return "";
}

}  // namespace

bool ConvertDataValue(std::string_view text, const TKwDataRule& rule, std::string& value, std::string& error) {
  switch (rule.VariableType) {
    case vtString:
    case vtMemo: value = std::string(text); return true;
    case vtBoolean: {
      std::string lower;
      for (char c : TrimBlanks(text)) lower += AsciiLower(c);
      for (const char* yes : {"true", "yes", "1", "on", "y", "x"})
        if (lower == yes) return value = "True", true;
      for (const char* no : {"false", "no", "0", "off", "n", ""})
        if (lower == no) return value = "False", true;
      error = "\"" + std::string(text) + "\" is not a yes or no";
      return false;
    }
    case vtDouble:
    case vtInteger: {
      double number = 0;
      if (!ParseNumberText(text, rule.DecimalMark, number)) {
        error = "\"" + std::string(text) + "\" is not a number";
        return false;
      }
      if (rule.VariableType == vtDouble) return value = NumberText(number), true;
      if (number != std::floor(number) || std::fabs(number) > 9.0e15) {
        error = "\"" + std::string(text) + "\" is not a whole number";
        return false;
      }
      value = std::to_string(static_cast<int64_t>(number));
      return true;
    }
    case vtDateTime: {
      TDateTime date = 0;
      if (!ParseWrittenDate(text, rule.MonthFirst, date)) {
        error = "\"" + std::string(text) + "\" is not a date";
        return false;
      }
      // ISO rather than the locale's form, whose two-digit year would lose the century.
      value = IsoDateTimeText(date);
      return true;
    }
  }
  return false;
}

// ---------------------------------------------------------------- the engine

TKwDataRuleEngine::TKwDataRuleEngine(const std::vector<const TKwDataRule*>& rules, std::vector<std::string>& errors) {
  for (const TKwDataRule* rule : rules) {
    if (TrimBlanks(rule->Name).empty()) {
      errors.push_back("A rule without a variable name is left out");
      continue;
    }
    TCompiledRule compiled;
    compiled.Rule = rule;
    if (rule->Extract == deRegEx) {
      try {
        compiled.Pattern = std::make_unique<TKwRegEx>(rule->Pattern, rule->CaseSensitive);
      } catch (const std::exception& e) {
        errors.push_back("Rule " + rule->Name + ": " + e.what());
        continue;
      }
      const std::string_view group = TrimBlanks(rule->Group);
      int number = -1;
      if (group.empty()) {
        number = compiled.Pattern->CaptureCount() > 0 ? 1 : 0;
      } else if (std::from_chars(group.data(), group.data() + group.size(), number).ec != std::errc()) {
        number = compiled.Pattern->GroupNumber(group);
      }
      if (number < 0 || number > compiled.Pattern->CaptureCount()) {
        errors.push_back("Rule " + rule->Name + ": the pattern has no group \"" + std::string(group) + "\"");
        continue;
      }
      compiled.GroupNumber = number;
    }
    FRules.push_back(std::move(compiled));
  }
}

TKwDataRuleEngine::~TKwDataRuleEngine() = default;

TKwDataRuleResult TKwDataRuleEngine::ApplyToText(int index, std::string_view text) const {
  const TCompiledRule& compiled = FRules.at(static_cast<size_t>(index));
  const TKwDataRule& rule = *compiled.Rule;
  std::string_view found;
  bool hit = false;
  switch (rule.Extract) {
    case deRegEx: hit = compiled.Pattern->FindGroup(text, compiled.GroupNumber, found); break;
    case deAfterLabel: {
      const size_t at = FindText(text, rule.Pattern, rule.CaseSensitive);
      if ((hit = at != std::string_view::npos)) found = UpToLineEnd(text.substr(at + rule.Pattern.size()));
      break;
    }
    case deBetween: {
      const size_t at = FindText(text, rule.Pattern, rule.CaseSensitive);
      if (at == std::string_view::npos) break;
      const size_t from = at + rule.Pattern.size();
      if (rule.EndMarker.empty()) {
        found = UpToLineEnd(text.substr(from));
        hit = true;
      } else if (const size_t end = FindText(text, rule.EndMarker, rule.CaseSensitive, from);
                 end != std::string_view::npos) {
        found = text.substr(from, end - from);
        hit = true;
      }
      break;
    }
    case deLine: found = Nth(SplitLines(text), rule.Index); hit = true; break;
    case deWord: found = Nth(SplitWords(text), rule.Index); hit = true; break;
    case deFixed: found = rule.Pattern; hit = true; break;
  }
  TKwDataRuleResult result;
  result.Value = rule.Default;
  if (!hit) return result;
  std::string cleaned(rule.Trim ? TrimBlanks(found) : found);
  if (cleaned.empty()) return result;  // nothing found counts as no match
  if (rule.CaseFolding != dcNone) cleaned = FoldCase(cleaned, rule.CaseFolding);
  std::string converted, error;
  if (!ConvertDataValue(cleaned, rule, converted, error)) {
    result.Error = rule.Name + ": " + error;
    return result;
  }
  result.Matched = true;
  result.Value = std::move(converted);
  return result;
}

std::vector<TKwDataRuleResult> TKwDataRuleEngine::Apply(const TKwMailMessage& message) const {
  std::vector<TKwDataRuleResult> results;
  results.reserve(FRules.size());
  // Several rules usually read the same part: each text is taken once per message.
  std::vector<std::pair<std::pair<int, std::string>, std::string>> texts;
  for (int i = 0; i < Count(); ++i) {
    const TKwDataRule& rule = *FRules[static_cast<size_t>(i)].Rule;
    if (rule.Extract == deFixed) {
      results.push_back(ApplyToText(i, ""));
      continue;
    }
    const std::pair<int, std::string> key{rule.Source, rule.Source == dsHeader ? rule.HeaderName : ""};
    const std::string* text = nullptr;
    for (const auto& entry : texts)
      if (entry.first == key) text = &entry.second;
    if (!text) {
      texts.push_back({key, SourceText(message, rule)});
      text = &texts.back().second;
    }
    results.push_back(ApplyToText(i, *text));
  }
  return results;
}
