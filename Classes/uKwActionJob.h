#pragma once
// Jobs: the roots of action trees that the user runs, lists and schedules.

#include <memory>

#include "uKwActionBase.h"
#include "uKwParameters.h"

// persisted: never reorder
#define KW_JOB_TYPE(X) X(jtLocal) X(jtRemote)
KW_ENUM(TJobType, KW_JOB_TYPE);

class TKwBaseActionJob : public TKwActionBase {
 public:
  TKwBaseActionJob();
  std::string_view ClassName() const override { return "TKwBaseActionJob"; }
  void Publish(TKwPublisher& publisher) override;

  bool DetailedLog = false;
  std::string JobId;  // braced GUID text, new for every job created
  TJobType JobType = jtLocal;
  const std::unique_ptr<TKwScheduleOptions> Schedule = std::make_unique<TKwScheduleOptions>();
};

class TKwActionJob : public TKwBaseActionJob {
 public:
  std::string_view ClassName() const override { return "TKwActionJob"; }
};

// Runs its tree on a remote extract service, which this build does not reach.
class TKwActionJobRemote : public TKwBaseActionJob {
 public:
  TKwActionJobRemote() { JobType = jtRemote; }
  KW_UNAVAILABLE_ACTION(TKwActionJobRemote)
};

// A "target profile": passes and targets kept together for reuse under other sources.
class TKwActionJobTarget : public TKwActionBase {
 public:
  std::string_view ClassName() const override { return "TKwActionJobTarget"; }
};
