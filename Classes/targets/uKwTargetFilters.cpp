#include "uKwTargetFilters.h"

#include "uKwActionLog.h"
#include "uKwMailMessage.h"

// ---------------------------------------------------------------- TKwTargetMailFilters

void TKwTargetMailFilters::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Object("Filter", *Filter);
}

bool TKwTargetMailFilters::IsMessageTrue(const TKwMailMessage& message) const {
  return Filter->CheckFilters(*message.Headers);
}

void TKwTargetMailFilters::ProcessMessage(TKwMailMessage& message) {
  if (!IsAvailable()) return;
  TKwTargetMailBase::ProcessMessage(message);
  const bool isTrue = IsMessageTrue(message);
  if (isTrue)
    Log->IncFilteredTrue();
  else
    Log->IncFilteredFalse();
  const TSourceTargetItem branch = isTrue ? stiMailPasFilterTrue : stiMailPasFilterFalse;
  ForEachChildTarget([&](TKwTargetBase& child) {
    if (child.ItemType == branch) child.ProcessMessage(message);
  });
}

// ---------------------------------------------------------------- TKwTargetMailFiltersBounce

void TKwTargetMailFiltersBounce::Publish(TKwPublisher& p) {
  TKwTargetMailFilters::Publish(p);
  p.Set<TBounceType>("BounceTypes", BounceTypes, kHardAndSoftBounces);
}

bool TKwTargetMailFiltersBounce::IsMessageTrue(const TKwMailMessage& message) const {
  return (BounceTypes & BounceTypeBit(message.BounceCheck->GetBounceType())) != 0;
}
