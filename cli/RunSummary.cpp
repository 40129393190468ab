#include "RunSummary.h"

#include <algorithm>
#include <iostream>

#include <fmt/format.h>

#include "DryRun.h"
#include "uKwActionBase.h"
#include "uKwActionLog.h"
#include "uKwActionSettings.h"

namespace {

std::string EnumSettingEndingIn(TKwActionBase& action, std::string_view name) {
  for (const TKwPropertyPath& entry : FlattenProperties(action))
    if (entry.Path.ends_with(name) && entry.Property.Kind == TKwPropKind::Enum)
      return std::string(entry.Property.EnumType->Name(entry.Property.GetOrdinal()));
  return "";
}

// A source names each message it passes over for a duplicate id in its notes.
int DuplicateIdSkips(const TKwActionLog& log) {
  return static_cast<int>(std::count_if(log.Notes.begin(), log.Notes.end(), [](const std::string& note) {
    return note.starts_with("Message ") && note.find(" skipped: it has the unique id of message ") != std::string::npos;
  }));
}

// Why this kind of action skips a message; the same for every message it skips, but for
// a source, which tells the two reasons apart.
std::string SkipReason(TKwActionBase& action) {
  if (action.GetActionRol() == arSource) {
    const int duplicates = DuplicateIdSkips(action.GetLog());
    const int held = action.GetLog().Skipped - duplicates;
    std::string reason;
    if (held > 0) reason = fmt::format("{} because every target already held the message", held);
    if (duplicates > 0)
      reason += fmt::format("{}{} because an earlier message of the same source had its unique id (named in the report)",
                            reason.empty() ? "" : "; ", duplicates);
    return reason;
  }
  if (action.ItemType == stiMailTarMbox) return "a message with the same unique id was already in the mbox file";
  const std::string duplicates = EnumSettingEndingIn(action, "DuplicatedFilesAction");
  if (duplicates == "dfSkip")
    return "a file of the same name already existed (Options.DuplicatedFilesAction is dfSkip; "
           "dfRename keeps both under a numbered name)";
  if (!duplicates.empty()) return "the same file, byte for byte, already existed";
  return "the target had nothing to write for the message";
}

TResult ActionEntry(TKwActionBase& action) {
  TKwActionLog& log = action.GetLog();
  TResult entry{{"kind", SourceTargetItemToString(action.ItemType)}, {"name", action.Name},
                {"processed", log.Processed}, {"saved", log.Saved + log.Renamed + log.Overwritten},
                {"skipped", log.Skipped}, {"errors", log.ErrorsCount()}};
  TResult outputs = TResult::array();
  for (const TKwSettingNeed& need : SettingNeedsOf(action)) {
    const std::string* value = StringSetting(action, need.Path);
    if (value && !value->empty() && (need.Role == TKwSettingRole::OutputFile || need.Role == TKwSettingRole::OutputFolder))
      outputs.push_back(*value);
  }
  entry["outputs"] = std::move(outputs);
  if (log.Skipped > 0) entry["skipReason"] = SkipReason(action);
  if (auto* recorder = dynamic_cast<TRecordingTarget*>(&action)) entry["wouldReceive"] = recorder->Received;
  return entry;
}

void Walk(TKwActionBase& action, TResult& summary, std::vector<std::pair<std::string, int>>& errors) {
  TKwActionLog& log = action.GetLog();
  if (action.GetActionRol() == arSource) summary["processed"] = summary["processed"].get<int>() + log.Processed;
  summary["saved"] = summary["saved"].get<int>() + log.Saved + log.Renamed + log.Overwritten;
  summary["skipped"] = summary["skipped"].get<int>() + log.Skipped;
  summary["errors"] = summary["errors"].get<int>() + log.ErrorsCount();
  if (action.GetActionRol() != arJob) summary["actions"].push_back(ActionEntry(action));
  for (int i = 0; i < log.ErrorsCount(); ++i) {
    const TKwActionError& e = log.GetError(i);
    const std::string line = ActionLabel(action) + ": " + e.Error + (e.Description.empty() ? "" : " (" + e.Description + ")");
    auto same = std::find_if(errors.begin(), errors.end(), [&](const auto& seen) { return seen.first == line; });
    if (same == errors.end()) errors.emplace_back(line, 1);
    else ++same->second;
  }
  for (int i = 0; i < action.GetChildCount(); ++i)
    if (action.GetChild(i).Enabled) Walk(action.GetChild(i), summary, errors);
}

}  // namespace

std::string ActionLabel(TKwActionBase& action) {
  const std::string kind = SourceTargetItemToString(action.ItemType);
  return action.Name.empty() ? kind : kind + " \"" + action.Name + "\"";
}

TResult SummarizeRun(TKwActionBase& root) {
  TResult summary{{"processed", 0}, {"saved", 0}, {"skipped", 0}, {"errors", 0}, {"actions", TResult::array()}};
  std::vector<std::pair<std::string, int>> errors;
  Walk(root, summary, errors);
  TResult lines = TResult::array();
  for (const auto& [line, count] : errors) lines.push_back({{"text", line}, {"count", count}});
  summary["errorLines"] = std::move(lines);
  return summary;
}

void PrintRunSummaryText(const TResult& summary) {
  std::cout << fmt::format("{} processed, {} saved, {} skipped, {} errors\n", summary["processed"].get<int>(),
                           summary["saved"].get<int>(), summary["skipped"].get<int>(), summary["errors"].get<int>());
  for (const TResult& action : summary["actions"]) {
    if (!action.contains("skipReason")) continue;
    const std::string name = action["name"].get<std::string>();
    std::cout << fmt::format("  {}{} skipped {}: {}\n", action["kind"].get<std::string>(),
                             name.empty() ? "" : " \"" + name + "\"", action["skipped"].get<int>(),
                             action["skipReason"].get<std::string>());
  }
}

void PrintRunErrors(const TResult& summary, int limit) {
  const TResult& lines = summary["errorLines"];
  for (size_t i = 0; i < lines.size() && static_cast<int>(i) < limit; ++i) {
    const int count = lines[i]["count"].get<int>();
    std::cerr << "error: " << lines[i]["text"].get<std::string>() << (count > 1 ? fmt::format(" ({} times)", count) : "")
              << "\n";
  }
  if (static_cast<int>(lines.size()) > limit)
    std::cerr << fmt::format("... and {} more kinds of error in the report\n", lines.size() - limit);
}
