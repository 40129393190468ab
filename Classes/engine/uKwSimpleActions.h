#pragma once
// The simple file and folder actions a job may run beside its sources. This build keeps
// their settings and reports them as not available when run; sending a mail is
// TKwActionSendEmail (uKwActionSendEmail).

#include "uKwActionBase.h"

#define KW_SIMPLE_ACTION(Name)   \
  class Name : public TKwActionBase { \
   public:                       \
    KW_UNAVAILABLE_ACTION(Name)  \
  };

KW_SIMPLE_ACTION(TKwActionFolderOperation)
KW_SIMPLE_ACTION(TKwActionFileOperation)
KW_SIMPLE_ACTION(TKwActionZIPCompress)
KW_SIMPLE_ACTION(TKwActionZIPDeCompress)
KW_SIMPLE_ACTION(TKwActionEncryption)
KW_SIMPLE_ACTION(TKwActionRunApplication)
KW_SIMPLE_ACTION(TKwActionRunDOSCommand)
KW_SIMPLE_ACTION(TKwActionFTPFolderOperation)
KW_SIMPLE_ACTION(TKwActionFTPFileOperation)

#undef KW_SIMPLE_ACTION
