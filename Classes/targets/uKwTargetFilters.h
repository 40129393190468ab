#pragma once
// The filter passes: each decides for every message whether it is true or false and
// hands it only to its children of that branch. A filter's children are condition
// branches (stiMailPasFilterTrue, stiMailPasFilterFalse), whose children are the targets;
// the five target calls other than ProcessMessage reach every branch alike.
//
// A filter owns its settings; it refers to the message it is handed only for the call.
// One thread.

#include <memory>

#include "uKwBounceCheck.h"
#include "uKwFilters.h"
#include "uKwTargetBase.h"

// The mail filter: its published Filter (dates, sender, recipient, subject) decides; a
// disabled Filter sends every message to the True branch.
class TKwTargetMailFilters : public TKwTargetMailPassBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailFilters"; }
  void Publish(TKwPublisher& publisher) override;
  // Takes the message as every target does, counts it as filtered true or false, and
  // hands it to the enabled children of that branch only.
  void ProcessMessage(TKwMailMessage& message) override;
  TKwDecodeDepth OwnDecodeDepth() const override { return TKwDecodeDepth::Headers; }

  const std::unique_ptr<TKwFilterMailOptions> Filter = std::make_unique<TKwFilterMailOptions>();

 protected:
  // The verdict for one message: true sends it down the True branch.
  virtual bool IsMessageTrue(const TKwMailMessage& message) const;
  bool KeepsOwnCopy() const override { return false; }
};

// Blacklist filtering needs a spam service this build does not have.
class TKwTargetMailFiltersSpam : public TKwTargetMailFilters {
 public:
  KW_UNAVAILABLE_ACTION(TKwTargetMailFiltersSpam)
};

// The bounced-mail filter: true when the message's bounce verdict is one of BounceTypes.
// The inherited Filter persists with it but takes no part in the decision.
class TKwTargetMailFiltersBounce : public TKwTargetMailFilters {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailFiltersBounce"; }
  void Publish(TKwPublisher& publisher) override;
  TKwDecodeDepth OwnDecodeDepth() const override { return TKwDecodeDepth::BounceVerdict; }

  TBounceTypes BounceTypes = kHardAndSoftBounces;  // published; stored unless hard and soft

 protected:
  bool IsMessageTrue(const TKwMailMessage& message) const override;
};

// Both condition branches (True and False) are this class, told apart by ItemType; a
// branch hands every message it gets to its children.
class TKwTargetMailFiltersCondition : public TKwTargetMailPassBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailFiltersCondition"; }
  TKwDecodeDepth OwnDecodeDepth() const override { return TKwDecodeDepth::Headers; }

 protected:
  bool KeepsOwnCopy() const override { return false; }
};
