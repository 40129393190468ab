#pragma once
// The producing side of a mail message: the body prepared for output (with the optional
// summary and header blocks in front), the name and folders of the file a message is
// saved as, and the single-file writers. TKwMailMessage's producing methods delegate here.
//
// Every routine works on the message it is given and reads its SaveOptions; it changes
// only OutputContent, LastSavedFilename, and the kind and content id of image attachments
// that it shows inline. Used from the message's thread.
//
// Written files: text files end every line with CR LF. HTML is UTF-8 with a byte-order
// mark (which browsers rank above any charset the message's own HTML declares). TXT
// follows SaveOptions.FileEncoding (see EncodeTextFile). RTF is 7-bit with \uN? escapes.
// EML is the message's own MIME source when it was loaded from MIME and nothing changed
// its parts since (a pass that stripped attachments), else MIME built from its parts; MHT
// is always built: multipart/related with the HTML form as root.
// MSG, PDF, the image formats (EMF excepted), packing and encryption are written by
// uKwMessageOutputDocuments.

#include <string>
#include <string_view>

#include "uKwPersistent.h"
#include "uKwTypes.h"

class TKwMailMessage;
class TKwSingleFilesOptions;

// A save outcome. ErrorMessage is set only with ssError.
struct TSaveResult {
  TSaveStatus Status = ssSaved;
  std::string ErrorMessage;
  bool Stamped = false;  // the file's time stamps were set when it was written
};

// The error text of every output this build cannot write is this prefix and the name of
// the format (GetFileFormatName), of the archive, or of the encryption.
inline constexpr std::string_view kFormatNotAvailable = "Format not available in this build: ";
// The sub-folder of the common attachments folders (afpCommonRoot, afpCommonSubfolder).
inline constexpr std::string_view kAttachmentsFolderName = "Attachments";

// What PrepareOutputContent puts in front of the body, and how HTML shows images.
struct TKwOutputBlocks {
  bool WithHeaderBlock = false;   // the raw header lines, when the message has them
  bool WithSummaryBlock = false;  // From, To, Subject, Date, Attachments
  bool ForwardStyle = false;      // the HTML summary as a forwarded-message quote
  // Image attachments shown after an HTML body as data: URIs (a file that stands alone)
  // rather than "cid:" links (a MIME message that carries the images as parts).
  bool ImagesAsDataUri = false;
  // The folder the attachments were saved to; the HTML summary names it in place of the
  // file names when the written file goes into an archive.
  std::string AttachmentsFolder;
};

// Fills message.OutputContent with the body in the requested form, the summary block
// first and the header block second when asked for. Returns the form produced: ctHtml or
// ctText; ctUndefined only for ctUndefined without a summary block. A message with
// neither body gets one empty TextPart line first. With ctHtml and
// SaveOptions.EmbedAttachmentsInBody, every ordinary attachment whose name is an image
// format (.tif .png .jpg .bmp .gif .emf) becomes akInline, gets a content id when it has
// none, and is shown after the body.
TContentType PrepareOutputContent(TKwMailMessage& message, TContentType contentType,
                                  const TKwOutputBlocks& blocks = {});

// Where a message is saved, as MakeFilename works it out. The attachments folder follows
// SaveOptions.AttachmentsFolder: afpCommonRoot <TargetFolder>/Attachments/,
// afpCommonSubfolder <folder>/Attachments/, afpSameFolderAsMessage <folder>/,
// afpNamedAsMessage <folder>/<file name without extension>/, afpNamedAsSenderAddress,
// ...Domain, ...DomainAddress <folder>/<address>/, <folder>/<domain>/,
// <folder>/<domain>/<address>/ (with <folder> the message's own folder).
struct TKwOutputFilename {
  std::string Filename;           // full path of the file to write
  std::string TargetFolder;       // the folder of Filename, with a trailing "/"
  std::string AttachmentsFolder;  // with a trailing "/"; "" when attachments stay in the file
  TSaveResult Result;             // ssSaved, ssRenamed, ssOverwritten, ssSkipped or ssError
};

// The one folder rule of the single-files and the attachments targets. MessageFolder: the
// folder a message's file goes to, with a trailing "/": TargetFolder, then the levels of
// FolderStructureUseVariable1, SubFolderComputerName, SubFolderUserName,
// SubFolderYearMonth (the zero date's "1899-12" for a message without a date) and
// SubFolderStructure, none of them under sfsDontCreateSubFolders; each level has the
// characters a file name cannot hold replaced by "_", is "_" when made only of dots, and
// is left out when empty. MessageFileName: the message's own name in that folder by the
// file-name options, before the duplicated-files rule. AttachmentsFolderFor: where the
// attachments of the message saved as messageFileName in messageFolder go, as listed at
// TKwOutputFilename; "" for afpNone.
std::string MessageFolder(const TKwMailMessage& message, const TKwSingleFilesOptions& options);
std::string MessageFileName(const TKwMailMessage& message, const TKwSingleFilesOptions& options);
std::string AttachmentsFolderFor(const TKwMailMessage& message, const TKwSingleFilesOptions& options,
                                 const std::string& messageFolder, const std::string& messageFileName);

// The file name for message under SaveOptions: folder levels by the sub-folder options,
// the name by the file-name options (the Parts template for fnmAdvanced and fnfUserDefined,
// else the layout Format names; script naming is not part of this build and falls back to
// the layout; an empty template gives BuildDefaultEmailFileName),
// cut to Filename.FilenameLength characters and to 240 bytes, and the duplicated-files
// rule applied to the name the file will finally have (with the archive's extension when
// compressionMethod compresses). False when the message is not to be written: ssSkipped
// for an existing file under dfSkip, ssError without a target folder.
bool MakeFilename(const TKwMailMessage& message, TCompressionMethod compressionMethod,
                  TKwOutputFilename& output);

// Saves the message as SaveOptions say: MakeFilename, folders, the attachments apart when
// AttachmentsFolder asks (by the attachment name template when enabled), the file, its time
// stamps set to the submit date, and an ".htm" copy when SaveBodyPart. LastSavedFilename is
// the written file, or "" when nothing was written. Formats this build cannot write end as
// ssError (kFormatNotAvailable) before anything is written.
TSaveResult SaveAs(TKwMailMessage& message);
// The same with the name MakeFilename already gave for this message and its options.
TSaveResult SaveAs(TKwMailMessage& message, const TKwOutputFilename& output);
// How much of an unchanged message SaveAs reads under these options: a mail file (plain
// or packed) named and placed from headers alone takes the message's own bytes.
TKwDecodeDepth SaveAsDecodeDepth(const TKwSingleFilesOptions& options);

// The writers. Each writes exactly fileName (replacing it), in the form above; ssSaved or
// ssError with the reason. SaveAsMIME writes MHT when fileName ends in ".mht", else EML.
TSaveResult SaveAsMIME(TKwMailMessage& message, const std::string& fileName);
TSaveResult SaveAsHTML(TKwMailMessage& message, const std::string& fileName);
TSaveResult SaveAsTXT(TKwMailMessage& message, const std::string& fileName);
TSaveResult SaveAsRTF(TKwMailMessage& message, const std::string& fileName);

// The message rebuilt as MIME lines from its headers, bodies and attachments (ordinary
// attachments only when includeAttachments; inline parts always).
TStringList EncodeMIMEMessage(const TKwMailMessage& message, bool includeAttachments = true);
// The message as a mail file holds it (EML, mbox): its own SourceText, byte for byte,
// when it was loaded from MIME and is not Changed (as its first line and one string
// holding the other lines, which TKwMbox::AddMessage writes as lines); else EncodeMIMEMessage. withImages
// embeds the image attachments: each is shown after the HTML body (made from the text
// when there is none) as an inline part with a content id, as PrepareOutputContent does
// for EmbedAttachmentsInBody; with an image attachment to embed the message is always
// encoded. The images' kind and content id change in message.
TStringList MessageMimeLines(TKwMailMessage& message, bool includeAttachments = true, bool withImages = false);
// The message as a web archive (MHT): its HTML form with the blocks SaveOptions ask for,
// the inline parts beside it. Prepares OutputContent.
TStringList EncodeWebArchive(TKwMailMessage& message);
