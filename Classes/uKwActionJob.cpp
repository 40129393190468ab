#include "uKwActionJob.h"

#include "uKwSubs.h"

TKwBaseActionJob::TKwBaseActionJob() : JobId(NewGuidString()) { ItemType = stiJob; }

void TKwBaseActionJob::Publish(TKwPublisher& p) {
  TKwActionBase::Publish(p);
  p.Boolean("DetailedLog", DetailedLog);
  p.String("JobId", JobId);
  p.Enum("JobType", JobType);
  p.Object("Schedule", *Schedule);
}
