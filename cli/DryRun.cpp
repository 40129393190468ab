#include "DryRun.h"

#include "uKwLogSubs.h"
#include "uKwMailMessage.h"
#include "uKwParameters.h"

void TRecordingTarget::ProcessMessage(TKwMailMessage& message) {
  TKwTargetMailBase::ProcessMessage(message);  // counts it, as the target it stands for would
  const TKwHeaders& h = *message.Headers;
  const bool iso = GlobalOptions && GlobalOptions->DateFormat == TKwDateFormat::Iso;
  const TDateTime date = h.SubmitDate.LocalDate();
  const std::string dateText = date == 0 ? "(no date)" : iso ? h.SubmitDate.IsoDateTime() : DateTimeToLocaleText(date);
  Received.push_back(dateText + "  " + h.From.EmailAddress() + "  " + h.Subject);
}

namespace {

// The processed-message log is a file the run would write: a dry run leaves it alone.
void KeepNoSourceLog(TKwActionBase& action) {
  for (const TKwPropertyPath& entry : FlattenProperties(action))
    if (entry.Path == "SourceOptions.CopyToSourceLog") entry.Property.SetOrdinalValue(0);
}

}  // namespace

void ReplaceTargetsWithRecorders(TKwActionBase& root) {
  if (root.GetActionRol() == arSource) KeepNoSourceLog(root);
  for (int i = 0; i < root.GetChildCount(); ++i) {
    TKwActionBase& child = root.GetChild(i);
    if (child.GetActionRol() != arTarget) {
      ReplaceTargetsWithRecorders(child);
      continue;
    }
    auto recorder = std::make_unique<TRecordingTarget>();
    recorder->ItemType = child.ItemType;
    recorder->Name = child.Name;
    recorder->Caption = child.Caption;
    recorder->Enabled = child.Enabled;
    recorder->GlobalOptions = child.GlobalOptions;
    root.SetChild(i, std::move(recorder));
  }
}
