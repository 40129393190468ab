#pragma once
// The one in-memory form of an e-mail that flows from sources through passes to
// targets: decoded headers, bodies, attachments, the raw MIME source and the facts
// derived from them. A source reuses one message for every item (Clear between items);
// each target keeps its own copy (Assign).
//
// Owns its headers, lists and option objects. Used from one thread. Loading never raises
// on malformed mail: what can be read is loaded; a file that cannot be read gives false
// and LastError.

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "uKwAttachments.h"
#include "uKwBounceCheck.h"
#include "uKwHeaders.h"
#include "uKwParameters.h"
#include "uKwPersistent.h"
#include "uKwTypes.h"

class TKwIPToCountry;
class TKwMimeMessage;
class TKwMimePart;

// persisted: never reorder
#define KW_DECODE_OPTION(X) X(doParseWords) X(doParseImageLinks) X(doDecodeCountry)
KW_ENUM(TDecodeOption, KW_DECODE_OPTION);
static_assert(TDecodeOptionCount == 3);
using TDecodeOptions = std::set<TDecodeOption>;

// Kinds of node met while walking an Outlook message file's structured storage.
// persisted: never reorder
#define KW_STORAGE_NODE_TYPE(X) X(sntOther) X(sntRoot) X(sntNameid) X(sntRecipient) X(sntAttachment)
KW_ENUM(TStorageNodeType, KW_STORAGE_NODE_TYPE);
static_assert(TStorageNodeTypeCount == 5);

// The words of `lines` added to wordsList, which is kept sorted and without duplicates
// (it is not emptied first). Words are upper-cased (ASCII letters), split at blanks,
// control characters and the punctuation ~`!@#$%^&*()+={}[]|\:;<>,.?/"; words shorter
// than 3 characters and words made only of "-" or only of "_" are dropped.
void WordsParser(const TStringList& lines, TStringList& wordsList);

// The minimal message that the local storage and the e-mail cache keep.
//
// Compressed stream (SaveToCompressedStream / LoadFromCompressedStream): one zlib stream
// (default level) holding a property-stream list: ListBegin, the attachments' data, the
// headers' data, Categories, HtmlPart, TextPart (each a list of strings), ListEnd.
// SourceFilename and the charsets are not stored.
class TKwBaseMessage : public TKwPersistent {
 public:
  TKwBaseMessage();
  ~TKwBaseMessage() override;
  std::string_view ClassName() const override { return "TKwBaseMessage"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;
  // Empties attachments, headers, bodies, categories and SourceFilename; the charsets
  // are kept.
  virtual void Clear();

  // Clear, SourceFilename := fileName, then the compressed stream of the file. False
  // with LastError when the file cannot be read or its stream is damaged (what was read
  // whole before the damage is kept).
  bool LoadFromFile(const std::string& fileName);
  bool LoadFromCompressedStream(std::string_view stream);
  // Creates (or replaces) the file. False with LastError when it cannot be written.
  bool SaveToFile(const std::string& fileName);
  void SaveToCompressedStream(std::string& stream);  // appends to stream

  const std::unique_ptr<TKwAttachmentsList> Attachments = std::make_unique<TKwAttachmentsList>();
  TStringList Categories;
  const std::unique_ptr<TKwHeaders> Headers = std::make_unique<TKwHeaders>();
  TStringList HtmlPart;
  std::string HtmlPartCharset;
  std::string SourceFilename;
  TStringList TextPart;
  std::string TextPartCharset;

  std::string LastError;  // why the last load failed
};

class TKwMailMessage : public TKwBaseMessage {
 public:
  TKwMailMessage();
  ~TKwMailMessage() override;
  std::string_view ClassName() const override { return "TKwMailMessage"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;
  // Assign but for SaveOptions: for a working copy that saves by its owner's options.
  void AssignMessage(const TKwMailMessage& source);
  // Also forgets the certificate, the bounce verdict, the derived lists, the country and
  // SourceText; Counter := 0, SourceIsMime := false.
  void Clear() override;

  // ---- Loading ----
  // Any message file ValidEmailSource accepts: .eml and .mht as MIME, .msg, .pdf; zip and
  // 7z holding a message file, and encrypted "._ext" files (SaveOptions.Compression's
  // password), each unpacked or decrypted to a temporary file and loaded from there.
  // SourceFilename becomes fileName. False with LastError for anything else.
  bool LoadFormat(const std::string& fileName);
  // Clear, SourceText := the file's text, DecodeMimeMessage, SourceIsMime := true. The
  // certificate options set before the call stay for it. False when the file cannot be read.
  bool LoadMIME(const std::string& fileName);
  bool LoadMIMEFromString(std::string text);
  // The whole stream from its start, as LoadMIMEFromString.
  bool LoadFromStream(std::istream& stream);
  bool LoadMSG(const std::string& fileName);  // Outlook .msg (uKwMsgReader)
  bool LoadPDF(const std::string& fileName);  // text and embedded files (uKwPdfReader)

  // Decodes SourceText into headers, bodies and attachments (decrypting an S/MIME
  // message first when the certificate options hold a certificate and key), then runs
  // ParseTextAndHtmlParts and ClassifyBounce.
  void DecodeMimeMessage();
  // BounceCheck's verdict over SourceText, copied into the three bounce members.
  // DecodeMimeMessage has it classify the tree it parsed from SourceText, when it did.
  void ClassifyBounce();
  // The second walk, for a message held as a parsed MIME tree: fills the bodies (the
  // first plain and the first HTML part win) and the attachments, uuencoded files inside
  // text parts included; the root part is passed with a null parent. DecodeMimeMessage
  // never runs it: a message decoded from its lines takes the first walk alone.
  void CheckMimePart(const TKwMimePart& part, const TKwMimePart& parent);

  // ---- Derived data ----
  void ParseTextAndHtmlParts();  // the steps DecodeOptions selects, in this order:
  void ParseWords();
  void ParseImageLinks();  // ImagesLinks := the distinct http(s) sources of <img> tags
  // Country and sender location of the first relay with a public IPv4 address, from the
  // IP-to-country table in DataFolder. Unchanged when there is none.
  void DecodeCountry();

  // ---- Producing ----
  // The text of one exportable column.
  std::string ColumnFieldToDataString(TColumnField field) const;

  // ---- Published ----
  int32_t Counter = 0;  // running number within a run
  TDecodeOptions DecodeOptions = {doParseImageLinks};  // not published: no set kind
  bool DownloadImages = false;
  TStringList ImagesLinks;
  bool RefreshDownloadedImagesInViewer = false;
  const std::unique_ptr<TKwSingleFilesOptions> SaveOptions = std::make_unique<TKwSingleFilesOptions>();
  bool SourceIsMime = false;
  // The raw MIME source in one piece, every line ending in CR LF whichever break it had,
  // without the blank lines before the headers: the bytes an unchanged message is written
  // as. Published as "SourceText".
  std::string SourceText;
  TStringList SourceLines() const;  // SourceText one line per item, for what reads lines
  // Set by whatever changes the decoded parts after the load (a pass that strips
  // attachments): SourceText then no longer says what the message holds, and the MIME
  // writers encode the parts instead of passing SourceText through. Not published;
  // Assign copies it, Clear and every load reset it.
  bool Changed = false;
  TStringList WordsList;
  // What the MIME loads decode (uKwTypes): at AllButAttachmentBytes the attachments are
  // listed with empty Content (an attached message keeps its bytes); below it the bodies,
  // attachments and derived lists stay empty, and below BounceVerdict the bounce members
  // too. Kept by Clear; Assign copies it.
  TKwDecodeDepth DecodeDepth = TKwDecodeDepth::Everything;
  // Whether the MIME loads classify the message as a bounce when they decode its parts;
  // the bounce depth always does. Kept by Clear; Assign copies it.
  bool ClassifiesBounces = true;

  // ---- Members ----
  std::string TempFolder;  // taken at construction
  std::string DataFolder;  // the common settings folder, taken at construction
  // Classifies the message at the end of every MIME decoding; Assign copies its verdict.
  const std::unique_ptr<TKwBounceCheck> BounceCheck = std::make_unique<TKwBounceCheck>();
  // The verdict as the bounce columns show it, filled from BounceCheck when decoding:
  // "HardBounce", "SoftBounce" or "" (also for a read receipt).
  std::string BounceType;
  std::string BounceDescription;
  std::string BounceRecipient;
  std::string FolderName;  // the source folder the message came from
  std::string Labels;
  std::string CountryCode, CountryName;
  std::string SenderLocation;  // "IP (host)" of the first public relay
  std::string LastSavedFilename;
  TStringList OutputContent;  // the body prepared for output
  // S/MIME decryption: CertEncoded holds the recipient's certificate and private key as
  // PEM text; empty means no decryption.
  const std::unique_ptr<TKwCertificateOptions> CertificateOptions = std::make_unique<TKwCertificateOptions>();
  const std::unique_ptr<TKwFirewallOptions> FirewallOptions = std::make_unique<TKwFirewallOptions>();
  const std::unique_ptr<TKwProxyOptions> ProxyOptions = std::make_unique<TKwProxyOptions>();

  // ---- Output: defined and documented in uKwMessageOutput, whose header declares the
  // two result types named here ----
  TContentType PrepareOutputContent(TContentType contentType, bool withHeaderBlock = false,
                                    bool withSummaryBlock = false, bool forwardStyle = false);
  bool MakeFilename(TCompressionMethod compressionMethod, struct TKwOutputFilename& output) const;
  struct TSaveResult SaveAs();
  struct TSaveResult SaveAsMIME(const std::string& fileName);
  struct TSaveResult SaveAsHTML(const std::string& fileName);
  struct TSaveResult SaveAsTXT(const std::string& fileName);
  struct TSaveResult SaveAsRTF(const std::string& fileName);
  struct TSaveResult SaveAsMSG(const std::string& fileName);
  struct TSaveResult SaveAsPDF(const std::string& fileName);
  struct TSaveResult SaveAsImage(const std::string& fileName);
  TStringList EncodeMIMEMessage(bool includeAttachments = true) const;

 private:
  void DecodeCanonicalSource();  // DecodeMimeMessage once SourceText is in its form
  bool LoadFormatAtDepth(const std::string& fileName, int depth);
  bool LoadArchive(const std::string& fileName, int depth);
  bool TryDecryptSMime();
  // sourceText: mimeText is SourceText itself, so the bounce check may use its parse.
  void DecodeMimeText(std::string_view mimeText, bool sourceText = false);
  void ClassifyBounce(const TKwMimeMessage& source);
  void CopyBounceVerdict();
  void DecodeMimeWalk(const TKwMimePart& container);
  void DecodeMimeWalkPart(const TKwMimePart& part);
  void AddWalkAttachment(const TKwMimePart& part, const std::string& contentType);
  std::string TakeUuencodedFiles(const std::string& bytes);
  bool CheckMimePartForAttachments(const TKwMimePart& part, const TKwMimePart& parent);
  void CheckMimePartForTextHtml(const TKwMimePart& part);
  void CheckMimePartForText(const TKwMimePart& part, std::string_view bytes);
  void AddEmbeddedMessage(const TKwMimePart& part);

  std::unique_ptr<TKwIPToCountry> FIPToCountry;  // opened on first use
  bool FBounceClassified = false;  // during DecodeMimeMessage
  int FWalkDepth = 0;
};
