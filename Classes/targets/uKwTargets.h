#pragma once
// The concrete passes and targets with their published settings. Each kind is its own
// class; the kinds this build cannot carry out yet keep their settings and report
// themselves as not available when run.

#include <memory>

#include "uKwFilters.h"
#include "uKwParameters.h"
#include "uKwTargetBase.h"

#define KW_TARGET(Name, Base)   \
  class Name : public Base {    \
   public:                      \
    KW_UNAVAILABLE_ACTION(Name) \
  };

// ---------------------------------------------------------------- passes

// The filters and their condition branches are in uKwTargetFilters.
KW_TARGET(TKwTargetMailImagesDownloader, TKwTargetMailPassBase)

KW_TARGET(TKwTargetRemotePC, TKwTargetMailPassBase)

// ---------------------------------------------------------------- targets

KW_TARGET(TKwTargetMailCompilation, TKwTargetMailBase)
KW_TARGET(TKwTargetMailPrinter, TKwTargetMailBase)
KW_TARGET(TKwTargetMailDownloadManager, TKwTargetMailBase)

KW_TARGET(TKwTargetMailScript, TKwTargetMailBase)
KW_TARGET(TKwTargetMailExchange, TKwTargetMailBase)
KW_TARGET(TKwTargetMailOutlook, TKwTargetMailBase)
KW_TARGET(TKwTargetMailOutlookMapi, TKwTargetMailBase)
KW_TARGET(TKwTargetMailThunderbird, TKwTargetMailBase)

// The IMAP upload and its presets are in uKwTargetIMAP.
KW_TARGET(TKwTargetMailGmailApi, TKwTargetMailBase)
KW_TARGET(TKwTargetMailAS3, TKwTargetMailBase)
KW_TARGET(TKwTargetMailZendesk, TKwTargetMailBase)
KW_TARGET(TKwTargetMailZohoDesk, TKwTargetMailBase)

KW_TARGET(TKwTargetMailLocalArchive, TKwTargetMailBase)
KW_TARGET(TKwTargetMailStorageLocal, TKwTargetMailBase)

// The SMTP forwarder is in uKwTargetSMTP, send-email in uKwTargetMailEDataSendEmail.

// ---------------------------------------------------------------- CRM services

// One constructor serves every CRM target.
KW_TARGET(TKwTargetCrmBase, TKwTargetMailBase)
KW_TARGET(TKwTargetCrmBatchBook, TKwTargetCrmBase)
KW_TARGET(TKwTargetCrmCapsule, TKwTargetCrmBase)
KW_TARGET(TKwTargetCrmHighrise, TKwTargetCrmBase)
KW_TARGET(TKwTargetCrmInsightly, TKwTargetCrmBase)
KW_TARGET(TKwTargetCrmAgile, TKwTargetCrmBase)
KW_TARGET(TKwTargetCrmOnePage, TKwTargetCrmBase)
KW_TARGET(TKwTargetCrmGetBase, TKwTargetCrmBase)
KW_TARGET(TKwTargetCrmPipedrive, TKwTargetCrmBase)
KW_TARGET(TKwTargetCrmProsperWorks, TKwTargetCrmBase)
KW_TARGET(TKwTargetCrmZoho, TKwTargetCrmBase)
KW_TARGET(TKwTargetCrmSolve360, TKwTargetCrmBase)

#undef KW_TARGET
