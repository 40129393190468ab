#include "uKwTargetBase.h"

void TKwTargetMailBase::Publish(TKwPublisher& p) {
  TKwActionBase::Publish(p);
  p.Boolean("DeleteSourceMessage", DeleteSourceMessage);
  p.Boolean("Overwrite", Overwrite);
}
