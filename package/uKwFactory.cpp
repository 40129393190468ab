// The factory from action kind to class: the one place that knows every action class.

#include <array>
#include <memory>

#include "uKwActionBase.h"
#include "uKwActionJob.h"
#include "uKwActionSendEmail.h"
#include "uKwAssert.h"
#include "uKwSimpleActions.h"
#include "uKwSourceImap.h"
#include "uKwSourceMbox.h"
#include "uKwSourcePop.h"
#include "uKwSourceSingleFiles.h"
#include "uKwSourceUniqueIds.h"
#include "uKwSources.h"
#include "uKwTargetAddressTable.h"
#include "uKwTargetAttachments.h"
#include "uKwTargetDB.h"
#include "uKwTargetFilters.h"
#include "uKwTargetFolders.h"
#include "uKwTargetIMAP.h"
#include "uKwTargetMailColumnar.h"
#include "uKwTargetMailEDataSendEmail.h"
#include "uKwTargetMailEmailDataDBCollect.h"
#include "uKwTargetMailEmailDataParser.h"
#include "uKwTargetMailEmailParts.h"
#include "uKwTargetMailFolder.h"
#include "uKwTargetMbox.h"
#include "uKwTargetSMTP.h"
#include "uKwTargetSingleFiles.h"
#include "uKwTargets.h"

namespace {

using TActionCreator = std::unique_ptr<TKwActionBase> (*)();

template <class T>
std::unique_ptr<TKwActionBase> Create() {
  return std::make_unique<T>();
}

// Indexed by TSourceTargetItem; nullptr where a kind has no class.
constexpr std::array<TActionCreator, TSourceTargetItemCount> kActionClasses = {
    nullptr,                                     // stiOther
    Create<TKwActionJob>,                        // stiJob
    Create<TKwActionJobRemote>,                  // stiJobRemote
    Create<TKwActionJobTarget>,                  // stiJobTarget
    Create<TKwSourceMailSingleFiles>,            // stiMailSrcSingleFiles
    Create<TKwSourceUniqueIds>,                  // stiMailUniqueIds
    Create<TKwSourceMailPOP>,                    // stiMailSrcPOP
    Create<TKwSourceMailOutlookCom>,             // stiMailSrcOutlookCom
    Create<TKwSourceMailICloudMail>,             // stiMailSrcICloudMail
    Create<TKwSourceMailIMAP>,                   // stiMailSrcIMAP
    Create<TKwSourceMailGmail>,                  // stiMailSrcGmail
    Create<TKwSourceMailYahooIMAP>,              // stiMailSrcYahooIMAP
    Create<TKwSourceMailGmailApi>,               // stiMailSrcGmailApi
    nullptr,                                     // stiMailSrcExchangeApi
    Create<TKwSourceMailExchange>,               // stiMailSrcExchange
    Create<TKwSourceMailOutlook>,                // stiMailSrcOutlook
    Create<TKwSourceMailOutlookMapi>,            // stiMailSrcOutlookMapi
    Create<TKwSourceMailOutlookExpress>,         // stiMailSrcOutlookExpress
    Create<TKwSourceMailWindowsMail>,            // stiMailSrcWindowsMail
    Create<TKwSourceMailWindowsLiveMail>,        // stiMailSrcWindowsLiveMail
    Create<TKwSourceMailThunderbird>,            // stiMailSrcThunderbird
    Create<TKwSourceMailIncrediMail>,            // stiMailSrcIncrediMail
    Create<TKwSourceMailEudora>,                 // stiMailSrcEudora
    Create<TKwSourceMailPegasus>,                // stiMailSrcPegasus
    Create<TKwSourceMailOperaMail>,              // stiMailSrcOperaMail
    Create<TKwSourceMailLotusNotes>,             // stiMailSrcLotusNotes
    Create<TKwSourceMailBackupLocal>,            // stiMailSrcLocalArchive
    Create<TKwSourceStorageLocal>,               // stiMailSrcLocalStorage
    Create<TKwSourceMailAS3>,                    // stiMailSrcAS3
    Create<TKwSourceMailFacebook>,               // stiMailSrcFacebook
    Create<TKwSourceMailZendesk>,                // stiMailSrcZendesk
    Create<TKwSourceMailHelpScout>,              // stiMailSrcHelpScout
    Create<TKwSourceMailFreshdesk>,              // stiMailSrcFreshdesk
    Create<TKwSourceMailDesk>,                   // stiMailSrcDesk
    Create<TKwSourceMailGroove>,                 // stiMailSrcGroove
    nullptr,                                     // stiMailSrcHappyfox
    Create<TKwSourceMailMbox>,                   // stiMailSrcMbox
    Create<TKwSourceMailDbx>,                    // stiMailSrcDbx
    Create<TKwTargetMailFilters>,                // stiMailPasFilter
    Create<TKwTargetMailFiltersSpam>,            // stiMailPassBlacklistFilter
    Create<TKwTargetMailFiltersBounce>,          // stiMailPasBounceFilter
    Create<TKwTargetMailFiltersCondition>,       // stiMailPasFilterTrue
    Create<TKwTargetMailFiltersCondition>,       // stiMailPasFilterFalse
    Create<TKwTargetMailEmailDataParser>,        // stiMailPasEmailDataParser
    Create<TKwTargetMailEmailDataDBCollect>,     // stiMailPasEmailDataDBCollect
    Create<TKwTargetMailImagesDownloader>,       // stiMailPasImagesDownloader
    Create<TKwTargetAttachmentsFilter>,          // stiMailPasAttachmentsFilter
    Create<TKwTargetMailFolder>,                 // stiMailPasTargetsFolder
    Create<TKwTargetRemotePC>,                   // stiMailTarRemotePC
    Create<TKwTargetAddressTable>,               // stiMailPasTargetAddressTable
    Create<TKwTargetMailSingleFiles>,            // stiMailTarSingleFiles
    Create<TKwTargetMailCompilation>,            // stiMailTarCompilation
    Create<TKwTargetMailPrinter>,                // stiMailTarPrinter
    Create<TKwTargetMailDownloadManager>,        // stiMailTarDownloadManager
    Create<TKwTargetMailFolders>,                // stiMailTarFolders
    Create<TKwTargetMailAttachments>,            // stiMailTarAttachments
    Create<TKwTargetMailSMTP>,                   // stiMailTarEmailForwarder
    Create<TKwTargetMailScript>,                 // stiMailTarScript
    Create<TKwTargetMailExchange>,               // stiMailTarExchange
    Create<TKwTargetMailOutlook>,                // stiMailTarOutlook
    Create<TKwTargetMailOutlookMapi>,            // stiMailTarOutlookMapi
    Create<TKwTargetMailThunderbird>,            // stiMailTarThunderbird
    Create<TKwTargetMailIMAP>,                   // stiMailTarIMAP
    Create<TKwTargetMailGMail>,                  // stiMailTarGmail
    Create<TKwTargetMailOutlookCom>,             // stiMailTarOutlookCom
    Create<TKwTargetMailYahooIMAP>,              // stiMailTarYahooIMAP
    Create<TKwTargetMailGmailApi>,               // stiMailTarGmailApi
    nullptr,                                     // stiMailTarExchangeApi
    Create<TKwTargetMailAS3>,                    // stiMailTarAS3
    nullptr,                                     // stiMailTarDesk
    nullptr,                                     // stiMailTarFreshdesk
    nullptr,                                     // stiMailTarHelpScout
    Create<TKwTargetMailZendesk>,                // stiMailTarZendesk
    Create<TKwTargetMailZohoDesk>,               // stiMailTarZohoDesk
    Create<TKwTargetMailMbox>,                   // stiMailTarMbox
    Create<TKwTargetMailLocalArchive>,           // stiMailTarLocalArchive
    Create<TKwTargetMailStorageLocal>,           // stiMailTarStorageLocal
    Create<TKwTargetMailEmailParts>,             // stiMailTarEmailParts
    Create<TKwTargetMailColumnarEmailData>,      // stiMailTarEDataColumnar
    Create<TKwTargetMailEDataSendEmail>,         // stiMailTarEDataSendEmail
    nullptr,                                     // stiMailTarReport
    Create<TKwTargetDB>,                         // stiMailTarDB
    Create<TKwTargetCrmBatchBook>,               // stiMailTarBatchBook
    Create<TKwTargetCrmCapsule>,                 // stiMailTarCapsule
    Create<TKwTargetCrmHighrise>,                // stiMailTarHighrise
    Create<TKwTargetCrmInsightly>,               // stiMailTarInsightly
    Create<TKwTargetCrmAgile>,                   // stiMailTarAgile
    Create<TKwTargetCrmOnePage>,                 // stiMailTarOnePage
    Create<TKwTargetCrmGetBase>,                 // stiMailTarGetBase
    Create<TKwTargetCrmPipedrive>,               // stiMailTarPipedrive
    Create<TKwTargetCrmProsperWorks>,            // stiMailTarProsperWorks
    Create<TKwTargetCrmZoho>,                    // stiMailTarZoho
    Create<TKwTargetCrmSolve360>,                // stiMailTarSolve360
    Create<TKwActionFolderOperation>,            // stiFolderOperation
    Create<TKwActionFileOperation>,              // stiFileOperation
    Create<TKwActionZIPCompress>,                // stiZipCompress
    Create<TKwActionZIPDeCompress>,              // stiZipDecompress
    Create<TKwActionEncryption>,                 // stiEncryption
    Create<TKwActionRunApplication>,             // stiRunApplication
    Create<TKwActionRunDOSCommand>,              // stiRunDosCommand
    Create<TKwActionSendEmail>,                  // stiSendEmail
    Create<TKwActionFTPFolderOperation>,         // stiFTPFolderOperation
    Create<TKwActionFTPFileOperation>,           // stiFTPFileOperation
};

constexpr int kCreateNewActionAssertLine = 304;

}  // namespace

bool HasActionClass(TSourceTargetItem kind) {
  return kind >= 0 && kind < TSourceTargetItemCount && kActionClasses[kind] != nullptr;
}

std::unique_ptr<TKwActionBase> CreateNewAction(TSourceTargetItem kind) {
  if (!HasActionClass(kind)) AssertionFailure("Classes/uKwActionBase", kCreateNewActionAssertLine);
  std::unique_ptr<TKwActionBase> action = kActionClasses[kind]();
  action->ItemType = kind;
  action->Caption = GetSourceTargetItemCaption(kind);
  return action;
}
