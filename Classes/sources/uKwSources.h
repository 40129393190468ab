#pragma once
// The concrete mail sources. Each kind is its own class, because each reads its store
// its own way; the kinds this build cannot read yet keep their settings and report
// themselves as not available when run. The sources that can read have units of their
// own (uKwSourceMbox, uKwSourceSingleFiles, ...).

#include "uKwSourceBase.h"

#define KW_SOURCE(Name, Base)  \
  class Name : public Base {   \
   public:                     \
    KW_UNAVAILABLE_ACTION(Name) \
  };

KW_SOURCE(TKwSourceMailGmailApi, TKwSourceMailBase)
// The three sources that go through a MAPI session share one constructor.
KW_SOURCE(TKwSourceMailMAPIBase, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailExchange, TKwSourceMailMAPIBase)
KW_SOURCE(TKwSourceMailOutlook, TKwSourceMailMAPIBase)
KW_SOURCE(TKwSourceMailOutlookMapi, TKwSourceMailMAPIBase)
KW_SOURCE(TKwSourceMailOutlookExpress, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailWindowsMail, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailWindowsLiveMail, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailThunderbird, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailIncrediMail, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailEudora, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailPegasus, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailOperaMail, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailLotusNotes, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailBackupLocal, TKwSourceMailBase)
KW_SOURCE(TKwSourceStorageLocal, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailAS3, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailFacebook, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailZendesk, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailHelpScout, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailFreshdesk, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailDesk, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailGroove, TKwSourceMailBase)
KW_SOURCE(TKwSourceMailDbx, TKwSourceMailBase)

#undef KW_SOURCE
