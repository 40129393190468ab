#pragma once
// The e-mail cache: messages a source has read, kept under their unique ids in the
// "EmailCache/" data folder so that later runs and the headers view need not read the
// store again. Switched on by the global option IndexEmail.

#include "uKwMessageStore.h"
#include "uKwRegFolders.h"

class TKwEmailCacheExplorer : public TKwMessageStore {
 public:
  TKwEmailCacheExplorer() : TKwMessageStore(GetEmailCacheFolder()) {}
};
