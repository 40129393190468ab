#pragma once
// A dry run: every target of a tree is swapped for a recorder that notes the messages it
// would receive and writes nothing. Sources and passes (filters) run as they are, except
// that sources neither read nor write their processed-message logs.

#include <string>
#include <vector>

#include "uKwTargetBase.h"

// Stands in the place of one target; keeps its kind and Name for the summary.
class TRecordingTarget : public TKwTargetMailBase {
 public:
  std::string_view ClassName() const override { return "TRecordingTarget"; }
  void ProcessMessage(TKwMailMessage& message) override;
  std::vector<std::string> Received;  // "date  from  subject", in the order received
};

// Replaces the targets of the tree (not its sources or passes) by recorders and turns the
// sources' processed-message logs off.
void ReplaceTargetsWithRecorders(TKwActionBase& root);
