#pragma once
// Bases of the actions that receive messages from a source: exporters, deliverers and
// the passes that hand messages on to their own children.

#include "uKwActionBase.h"

class TKwTargetBase : public TKwActionBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetBase"; }
};

class TKwTargetMailBase : public TKwTargetBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailBase"; }
  void Publish(TKwPublisher& publisher) override;

  bool DeleteSourceMessage = false;  // the source may delete a message once this target has it
  bool Overwrite = true;
};

// A pass hands every message to each of its enabled children.
class TKwTargetMailPassBase : public TKwTargetMailBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailPassBase"; }
};

class TKwTargetContactsBase : public TKwTargetBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetContactsBase"; }
};

class TKwTargetCalendarBase : public TKwTargetBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetCalendarBase"; }
};
