#include "uKwTargetAddressTable.h"

#include <functional>
#include <string_view>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwGMime.h"
#include "uKwHeaders.h"
#include "uKwMailMessage.h"
#include "uKwMessageOutputText.h"
#include "uKwParameters.h"

namespace {

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

bool SplitEntry(const std::string& entry, std::string& name, std::string& value) {
  const size_t equals = entry.find('=');
  if (equals == std::string::npos || equals == 0) return false;
  name = entry.substr(0, equals);
  value = entry.substr(equals + 1);
  return true;
}

// The header fields of the table, in the order they are compared.
void ForEachField(TKwHeaders& h, const std::function<void(TKwEmailAddress&)>& visit) {
  visit(h.From);
  visit(h.ReplyTo);
  visit(h.ReturnPath);
  for (int i = 0; i < h.ToList.Count(); ++i) visit(h.ToList.Items(i));
  for (int i = 0; i < h.CCList.Count(); ++i) visit(h.CCList.Items(i));
}

std::string AddressListText(const TKwEmailList& list) {
  std::string text;
  for (int i = 0; i < list.Count(); ++i)
    text += (i ? ", " : "") + FormatAddressHeader(list.Items(i).Name, list.Items(i).Address);
  return text;
}

bool IsHeader(std::string_view line, std::string_view name) {
  return line.size() > name.size() && line[name.size()] == ':' && Lower(line.substr(0, name.size())) == Lower(name);
}

// Replaces the first header `name` (with its continuation lines) in the header block of
// lines (up to the first empty line) by one line; a header the block lacks is left absent.
void ReplaceHeader(TStringList& lines, std::string_view name, const std::string& value) {
  for (size_t i = 0; i < lines.size() && !lines[i].empty(); ++i) {
    if (!IsHeader(lines[i], name)) continue;
    size_t end = i + 1;
    while (end < lines.size() && !lines[end].empty() && (lines[end][0] == ' ' || lines[end][0] == '\t')) ++end;
    lines.erase(lines.begin() + static_cast<long>(i) + 1, lines.begin() + static_cast<long>(end));
    lines[i] = std::string(name) + ": " + value;
    return;
  }
}

void RewriteHeaderLines(TStringList& lines, const TKwHeaders& h) {
  ReplaceHeader(lines, "From", FormatAddressHeader(h.From.Name, h.From.Address));
  ReplaceHeader(lines, "Reply-To", FormatAddressHeader(h.ReplyTo.Name, h.ReplyTo.Address));
  ReplaceHeader(lines, "Return-Path", "<" + h.ReturnPath.Address + ">");
  ReplaceHeader(lines, "To", AddressListText(h.ToList));
  ReplaceHeader(lines, "Cc", AddressListText(h.CCList));
}

}  // namespace

void TKwTargetAddressTable::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Strings("AddressesList", AddressesList);
  p.Strings("DomainsList", DomainsList);
  p.Boolean("EnableAddressTranslation", EnableAddressTranslation);
  p.Boolean("EnableDomainsTranslation", EnableDomainsTranslation);
}

bool TKwTargetAddressTable::TranslateAddresses(TKwMailMessage& message) const {
  TKwHeaders& h = *message.Headers;
  bool changed = false;
  std::string name, value;
  if (EnableAddressTranslation) {
    for (const std::string& entry : AddressesList) {
      if (!SplitEntry(entry, name, value)) continue;
      std::string displayName, address;
      ParseEmailAddress(Lower(name), displayName, address);
      if (address.empty()) continue;
      ForEachField(h, [&](TKwEmailAddress& field) {
        if (field.Address.empty() || Lower(field.Address) != address) return;
        field.UpdateEmailAddress(value);
        changed = true;
      });
    }
  }
  if (EnableDomainsTranslation) {
    for (const std::string& entry : DomainsList) {
      if (!SplitEntry(entry, name, value)) continue;
      const std::string domain = Lower(name);
      ForEachField(h, [&](TKwEmailAddress& field) {
        if (field.Address.find('@') == std::string::npos || Lower(field.Domain()) != domain) return;
        field.UpdateDomain(value);
        changed = true;
      });
    }
  }
  return changed;
}

void TKwTargetAddressTable::ProcessMessage(TKwMailMessage& message) {
  if (!IsAvailable()) return;
  if (TranslateAddresses(message)) {
    RewriteHeaderLines(message.Headers->Lines, *message.Headers);
    if (message.SourceIsMime) {
      TStringList lines = message.SourceLines();
      RewriteHeaderLines(lines, *message.Headers);
      message.SourceText = JoinLinesCrLf(lines);
    }
  }
  TKwTargetMailBase::ProcessMessage(message);
  ForEachChildTarget([&](TKwTargetBase& child) { child.ProcessMessage(message); });
  FSaveStatus = ssProcessed;
  const TKwHeaders& h = *message.Headers;
  if (GlobalOptions && GlobalOptions->DetailedLog)
    Log->AddMessageStatusFull(ssProcessed, h.From.Address, h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
}
