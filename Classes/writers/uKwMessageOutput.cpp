#include "uKwMessageOutput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

#include "uKwDateTime.h"
#include "uKwMailMessage.h"
#include "uKwMessageName.h"
#include "uKwMessageOutputDocuments.h"
#include "uKwMessageOutputMime.h"
#include "uKwMessageOutputText.h"
#include "uKwRunFileCache.h"
#include "uKwSubs.h"

namespace fs = std::filesystem;

namespace {

constexpr int kWrapColumns = 80;
// The longest file name written, in bytes: what Linux file systems take (255) less room
// for the "_<number>" that a duplicate gets.
constexpr size_t kMaxNameBytes = 240;

const std::string kForwardTemplate =
    "<html><body bgcolor=\"#FFFFFF\" text=\"#000000\"><blockquote><p><font face=\"Arial, "
    "Helvetica, sans-serif\" size=\"2\"><br><hr><b>From:</b> #from<br><b>Sent:</b> "
    "#date<br><b>To:</b> #to<br><b>Subject:</b> #subject<br><br> </blockquote></body></html>";
const std::string kSummaryTemplate =
    "<html><body bgcolor=\"#FFFFFF\" text=\"#000000\"><blockquote>  <p><font face=\"Arial, "
    "Helvetica, sans-serif\" size=\"2\"><b>From:</b> #from<br>  <b>To:</b> #to<br>  "
    "<b>Subject:</b> #subject<br>  <b>Date:</b> #date<br>  <b>Attachments:</b> "
    "#attachments</font><br><hr> </blockquote></body></html>";

// ---------------------------------------------------------------- content blocks

std::string LocalSubmitDateText(const TKwMailMessage& message) {
  const TDateTime gmt = message.Headers->SubmitDate.GmtDate;
  return gmt == 0 ? std::string() : DateTimeToLocaleString(GmtToLocal(gmt));
}

std::string AddressHtmlLink(const TKwEmailAddress& address) {
  const std::string link = fmt::format("<a href=\"mailto:{0}\">{0}</a>", HtmlEscape(address.Address));
  if (address.Name.empty()) return link;
  return HtmlEscape(address.Name) + " &#60;" + link + "&#62;";
}

// Each marker's first occurrence in the template replaced, all found on the template
// itself, so that a value holding a marker's text is never replaced again.
std::string FillTemplate(const std::string& text,
                         const std::vector<std::pair<std::string_view, std::string>>& values) {
  std::vector<std::pair<size_t, size_t>> hits;  // position, index into values
  for (size_t i = 0; i < values.size(); ++i) {
    const size_t position = text.find(values[i].first);
    if (position != std::string::npos) hits.emplace_back(position, i);
  }
  std::sort(hits.begin(), hits.end());
  std::string out;
  size_t copied = 0;
  for (const auto& [position, index] : hits) {
    if (position < copied) continue;  // overlapping markers: the earlier one wins
    out.append(text, copied, position - copied);
    out += values[index].second;
    copied = position + values[index].first.size();
  }
  out.append(text, copied, std::string::npos);
  return out;
}

std::string SummaryAttachmentsText(const TKwMailMessage& message, const TKwOutputBlocks& blocks) {
  const TKwSingleFilesOptions& options = *message.SaveOptions;
  const bool intoArchive = options.Compression->CompressionMethod != cmNone && options.TargetFileFormat != ffSfPdf;
  if (intoArchive && !blocks.AttachmentsFolder.empty())
    return fs::path(ExcludeTrailingPathDelimiter(blocks.AttachmentsFolder)).filename().string();
  return message.Attachments->GetFileNamesComma();
}

void AddSummaryBlock(const TKwMailMessage& message, const TKwOutputBlocks& blocks, bool html,
                     TStringList& out) {
  const TKwHeaders& headers = *message.Headers;
  if (!html) {
    out.push_back("---------- Forwarded message ----------");
    out.push_back("   From:        " + headers.From.EmailAddress());
    out.push_back("   To:          " + headers.ToList.EmailAddressComma());
    out.push_back("   Subject:     " + headers.Subject);
    out.push_back("   Date:        " + LocalSubmitDateText(message));
    out.push_back("   Attachments: " + message.Attachments->GetFileNamesComma());
    out.push_back("   EmailId: " + headers.GetUniqueId());
    return;
  }
  std::string toLinks;
  for (int i = 0; i < headers.ToList.Count(); ++i)
    toLinks += (i ? ", " : "") + AddressHtmlLink(headers.ToList.Items(i));
  out.push_back(FillTemplate(blocks.ForwardStyle ? kForwardTemplate : kSummaryTemplate,
                             {{"#from", AddressHtmlLink(headers.From)},
                              {"#to", toLinks},
                              {"#subject", HtmlEscape(headers.Subject)},
                              {"#date", HtmlEscape(LocalSubmitDateText(message))},
                              {"#attachments", HtmlEscape(SummaryAttachmentsText(message, blocks))}}));
}

void AddHeaderBlock(const TKwMailMessage& message, bool html, TStringList& out) {
  const TStringList& lines = message.Headers->Lines;
  if (lines.empty()) return;
  const TStringList block = html ? TextToHtml(lines) : WrapText(lines, kWrapColumns);
  out.insert(out.end(), block.begin(), block.end());
  if (!html) {
    out.push_back(std::string(70, '-'));
    out.emplace_back();
  }
}

bool IsImageFileName(std::string_view fileName) {
  const TFileFormat format = FilenameToSingleFileFormat(fileName);
  return format >= ffSfTiff && format <= ffSfEmf;
}

std::string DataUri(const TKwAttachment& attachment) {
  return "data:" + MimeTypeOfFileName(attachment.FileName) + ";base64," + Base64Encode(attachment.Content);
}

// Marks the ordinary image attachments inline and shows each after the body.
void AddImageAttachments(TKwMailMessage& message, bool asDataUri, TStringList& out) {
  TKwAttachmentsList& attachments = *message.Attachments;
  for (int i = 0; i < attachments.GetCount(); ++i) {
    TKwAttachment& attachment = attachments.GetAttachment(i);
    if (attachment.Kind != akAttachment || !IsImageFileName(attachment.FileName)) continue;
    attachment.Kind = akInline;
    if (attachment.ContentID.empty())
      attachment.SetContentID(fmt::format("{}.{}@inline", message.Headers->GetUniqueId(), i + 1));
    const std::string source = asDataUri ? DataUri(attachment) : "cid:" + HtmlEscape(attachment.ContentID);
    out.push_back("<div><img src=\"" + source + "\"></div>");
  }
}

// The body in the requested form; sets `produced`.
TStringList OutputBody(const TKwMailMessage& message, TContentType requested, bool withSummary,
                       TContentType& produced) {
  const TStringList& html = message.HtmlPart;
  const TStringList& text = message.TextPart;
  switch (requested) {
    case ctUndefined:
      produced = withSummary ? ctText : ctUndefined;
      return {};
    case ctHtml:
      produced = ctHtml;
      return !html.empty() ? html : TextToHtml(text);
    case ctText:
      produced = ctText;
      return !text.empty() ? text : WrapText(HtmlExtractText(html), kWrapColumns);
    case ctHtmlAsText:
      produced = ctText;
      return !html.empty() ? WrapText(HtmlExtractText(html), kWrapColumns) : text;
    case ctEither:
      produced = !html.empty() ? ctHtml : ctText;
      return !html.empty() ? html : WrapText(text, kWrapColumns);
    case ctTextAsHtml:
      produced = ctHtml;
      return TextToHtml(WrapText(html.empty() ? text : HtmlExtractText(html), kWrapColumns));
  }
  produced = ctUndefined;
  return {};
}

// ---------------------------------------------------------------- file names

std::string AsciiLowerCase(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  return text;
}

// A name usable as one folder level: invalid characters replaced, never only dots.
std::string SafeComponent(std::string_view text) {
  std::string clean = ReplaceInvalidCharactersFilename(text, "_");
  if (!clean.empty() && clean.find_first_not_of('.') == std::string::npos) clean = "_";
  return clean;
}

void AddLevel(std::string& folder, std::string_view text) {
  const std::string level = SafeComponent(text);
  if (!level.empty()) folder += level + "/";
}

std::string SenderLocalPart(const TKwEmailAddress& from) {
  const size_t at = from.Address.find('@');
  return from.Address.substr(0, at);
}

// Sub-folder levels below the target folder, each ending with "/".
std::string SubFolders(const TKwMailMessage& message, const TKwSingleFilesOptions& options) {
  std::string folder;
  if (options.SubFolderStructure == sfsDontCreateSubFolders) return folder;
  if (options.FolderStructureUseVariable1) AddLevel(folder, options.Variable1);
  if (options.SubFolderComputerName) AddLevel(folder, AsciiLowerCase(GetComputerName()));
  if (options.SubFolderUserName) AddLevel(folder, AsciiLowerCase(GetUserName()));
  if (options.SubFolderYearMonth) {  // a message without a date goes to the zero date's "1899-12"
    const TKwDateParts parts = DecodeDateTime(GmtToLocal(message.Headers->SubmitDate.GmtDate));
    AddLevel(folder, fmt::format("{:04}-{:02}", parts.Year, parts.Month));
  }
  const TKwEmailAddress& from = message.Headers->From;
  switch (options.SubFolderStructure) {
    case sfsLikeEmailSourceFolders: {
      std::string_view path = options.Filename->EmailClientFolderPath;
      while (!path.empty()) {
        const size_t end = std::min(path.find_first_of("/\\"), path.size());
        AddLevel(folder, path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
      }
      break;
    }
    case sfsCreateFromAddressPart: AddLevel(folder, from.Address); break;
    case sfsCreateFromDomainPart: AddLevel(folder, from.Domain()); break;
    case sfsFromDomainFromAddress:
      AddLevel(folder, from.Domain());
      AddLevel(folder, from.Address);
      break;
    case sfsFromHashAddress:  // the domain first, on purpose
      AddLevel(folder, fmt::format("{}@{} [{}]", from.Domain(), SenderLocalPart(from), CRC32String(from.Address)));
      break;
    default: break;
  }
  return folder;
}

// The name-part codes of the predefined layouts; "" for the default name.
std::string LayoutPartCodes(const TKwFilenameOptions& options) {
  if (options.Method == fnmAdvanced) return options.Parts;
  switch (options.Format) {
    case fnfDateFromToIdSubject: return "020307090111";
    case fnfDateFromIdSubject: return "0203070111";
    case fnfDateFromToSubject: return "0203070911";
    case fnfDateFromSubject: return "02030711";
    case fnfUidFromSubject: return "010711";
    case fnfUidSubject: return "0111";
    case fnfUidDomain: return "0108";
    case fnfUid: return "01";
    case fnfSource: return "13";
    case fnfUserDefined: return options.Parts;
    default: return "";
  }
}

std::string TemplateName(const TKwMailMessage& message, const TKwSingleFilesOptions& options,
                         std::string_view partCodes, std::string_view separator, TFileFormat format,
                         int maxLength) {
  const TKwHeaders& h = *message.Headers;
  return BuildUserDefinedEmailFileName(
      h.From.Name, h.From.Address, h.From.Domain(), h.ToList.FirstAddress(), h.ToList.FirstDomain(),
      h.Subject, h.MessageID, message.SourceFilename, partCodes, h.SubmitDate.LocalDate(),
      h.DeliveryDate.LocalDate(), message.Attachments->GetCount() > 0, separator, format, 0,
      options.Variable1, options.Variable2, options.Variable3, options.Filename->AttachmentSign, maxLength);
}

std::string MessageName(const TKwMailMessage& message, const TKwSingleFilesOptions& options, int maxLength) {
  const TFileFormat format = options.TargetFileFormat;
  const std::string codes = LayoutPartCodes(*options.Filename);
  std::string name;
  if (!codes.empty()) name = TemplateName(message, options, codes, options.Filename->Separator, format, maxLength);
  if (name.size() <= GetFileFormatExtension(format).size())  // no template, or it gave nothing
    name = BuildDefaultEmailFileName(message.Headers->From.Address, message.Headers->Subject,
                                     message.Headers->SubmitDate.LocalDate(), format, maxLength);
  return name;
}

// name cut to maxBytes at a character boundary, its extension kept.
std::string CutNameBytes(const std::string& name, size_t maxBytes) {
  if (name.size() <= maxBytes) return name;
  const size_t dot = name.rfind('.');
  const std::string extension = dot == std::string::npos || name.size() - dot > 16 ? "" : name.substr(dot);
  size_t keep = maxBytes - extension.size();
  while (keep > 0 && (static_cast<unsigned char>(name[keep]) & 0xC0) == 0x80) --keep;
  return name.substr(0, keep) + extension;
}

// The message's name within both the character limit and kMaxNameBytes: the subject is
// shortened further while the name is too long in bytes.
std::string LimitedMessageName(const TKwMailMessage& message, const TKwSingleFilesOptions& options,
                               int maxLength) {
  std::string name = MessageName(message, options, maxLength);
  for (int limit = maxLength; name.size() > kMaxNameBytes && limit > 1;) {
    limit -= std::max<int>(1, static_cast<int>((name.size() - kMaxNameBytes) / 4));
    name = MessageName(message, options, std::max(limit, 1));
  }
  return CutNameBytes(name, kMaxNameBytes);
}

std::string WithExtension(const std::string& fileName, std::string_view extension) {
  return fs::path(fileName).replace_extension(extension).string();
}

std::string ArchiveExtension(TCompressionMethod method) {
  return method == cmZip ? GetFileFormatExtension(ffSfZip) : GetFileFormatExtension(ffSf7z);
}

// ---------------------------------------------------------------- writing

TSaveResult ErrorResult(std::string message) { return {ssError, std::move(message)}; }

// Both time stamps at the message's submit date; nothing for a message without one.
std::optional<std::array<timespec, 2>> SubmitDateFileTimes(const TKwMailMessage& message) {
  const TDateTime gmt = message.Headers->SubmitDate.GmtDate;
  if (gmt == 0) return std::nullopt;
  timespec time{};
  time.tv_sec = static_cast<time_t>(DateTimeToUnix(gmt));
  return std::array<timespec, 2>{time, time};
}

// One open, one write, one close: a run writes a file per message. The time stamps are
// set through the open file, sparing a second lookup of the name in a large folder.
TSaveResult WriteFileBytes(const std::string& fileName, std::string_view bytes, const TKwMailMessage& message) {
  const int fd = ::open(fileName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) return ErrorResult(fmt::format("Cannot create file {}: {}", fileName, std::strerror(errno)));
  int error = 0;
  for (size_t done = 0; done < bytes.size() && error == 0;) {
    const ssize_t written = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (written < 0 && errno != EINTR) error = errno;
    if (written > 0) done += static_cast<size_t>(written);
  }
  const auto times = SubmitDateFileTimes(message);
  if (times && error == 0) ::futimens(fd, times->data());
  if (::close(fd) != 0 && error == 0) error = errno;
  if (error != 0) return ErrorResult(fmt::format("Cannot write file {}: {}", fileName, std::strerror(error)));
  // Its size alone: a message file is seldom compared with other bytes, and a comparison
  // reads the file when the sizes agree.
  RunNoteFile(fileName, bytes.size());
  TSaveResult result;
  result.Stamped = times.has_value();
  return result;
}

std::optional<std::string> CreateFolders(const std::string& folder) {
  std::string error;
  if (!EnsureRunFolder(folder, error)) return fmt::format("Cannot create folder {}: {}", folder, error);
  return std::nullopt;
}

void SetFileTimesToSubmitDate(const TKwMailMessage& message, const std::string& fileName) {
  if (const auto times = SubmitDateFileTimes(message)) utimensat(AT_FDCWD, fileName.c_str(), times->data(), 0);
}

// The feature of options that this build cannot write, if any.
std::optional<std::string> UnavailableOutput(const TKwSingleFilesOptions& options) {
  switch (options.TargetFileFormat) {
    case ffSfEml: case ffSfMht: case ffSfHtm: case ffSfTxt: case ffSfRtf: case ffSfMsg: break;
    case ffSfZip: case ffSf7z: break;
    case ffSfPdf: case ffSfTiff: case ffSfPng: case ffSfJpeg: case ffSfBmp: case ffSfGif: break;
    default: return GetFileFormatName(options.TargetFileFormat);
  }
  return UnavailableDocumentOutput(options);
}

// "cid:" links to the message's parts replaced by data: URIs of their content.
std::string ResolveContentIdLinks(const std::string& html, const TKwAttachmentsList& attachments) {
  std::unordered_map<std::string, int> byContentId;
  for (int i = 0; i < attachments.GetCount(); ++i)
    if (!attachments.GetAttachment(i).ContentID.empty()) byContentId.emplace(attachments.GetAttachment(i).ContentID, i);
  if (byContentId.empty()) return html;
  std::string out;
  size_t copied = 0;
  for (size_t pos = 0; (pos = html.find("cid:", pos)) != std::string::npos;) {
    const size_t idStart = pos + 4;
    const size_t idEnd = std::min(html.find_first_of("\"'()<> \t\r\n", idStart), html.size());
    const auto found = byContentId.find(html.substr(idStart, idEnd - idStart));
    if (found != byContentId.end()) {
      out.append(html, copied, pos - copied);
      out += DataUri(attachments.GetAttachment(found->second));
      copied = idEnd;
    }
    pos = idEnd;
  }
  out.append(html, copied, std::string::npos);
  return out;
}

TKwOutputBlocks BlocksOf(const TKwSingleFilesOptions& options) {
  TKwOutputBlocks blocks;
  blocks.WithHeaderBlock = options.PutFullEmailHeaders;
  blocks.WithSummaryBlock = options.PutEmailHeaders;
  return blocks;
}

TSaveResult WriteHtml(TKwMailMessage& message, const std::string& fileName, TKwOutputBlocks blocks) {
  blocks.ImagesAsDataUri = true;
  PrepareOutputContent(message, ctHtml, blocks);
  const std::string html = ResolveContentIdLinks(JoinLinesCrLf(message.OutputContent), *message.Attachments);
  return WriteFileBytes(fileName, "\xEF\xBB\xBF" + html, message);
}

TStringList EncodedHeaderLines(const TKwMailMessage& message) {
  TKwHeaders headers;
  headers.Assign(*message.Headers);
  headers.EncodeHeaders(false);
  return headers.Lines;
}

TSaveResult SaveAttachmentsApart(TKwMailMessage& message, const TKwSingleFilesOptions& options,
                                 const TKwOutputFilename& output) {
  if (const auto error = CreateFolders(output.AttachmentsFolder)) return ErrorResult(*error);
  TKwAttachmentsList& attachments = *message.Attachments;
  attachments.DuplicatedFilesAction = options.DuplicatedFilesAction;
  std::string nameTemplate;
  const TKwAttachmentFilenameOptions& naming = *options.AttachmentFilename;
  if (naming.Enabled && !naming.Parts.empty())
    nameTemplate = TemplateName(message, options, naming.Parts, naming.Separator, ffNone, options.Filename->FilenameLength);
  attachments.SaveAttachments(output.AttachmentsFolder, output.TargetFolder, nameTemplate,
                              options.SaveInlineAttachments);
  for (const TKwAttachmentSaveResult& result : attachments.LastResults())
    if (result.Save.Status == ssError) return ErrorResult(result.Save.ErrorMessage);
  return {};
}

// The first line, which may be a separator line, and the rest as one string of lines.
TStringList SourceInTwoPieces(std::string_view source) {
  const size_t firstEnd = source.find("\r\n");
  if (firstEnd == std::string_view::npos) return {std::string(source)};
  TStringList pieces{std::string(source.substr(0, firstEnd))};
  if (firstEnd + 2 < source.size()) pieces.emplace_back(source.substr(firstEnd + 2));
  return pieces;
}

bool IsSourceUnchanged(const TKwMailMessage& message) {
  return message.SourceIsMime && !message.Changed && !message.SourceText.empty();
}

bool HasImageToEmbed(const TKwMailMessage& message) {
  const TKwAttachmentsList& attachments = *message.Attachments;
  for (int i = 0; i < attachments.GetCount(); ++i) {
    const TKwAttachment& a = attachments.GetAttachment(i);
    if (a.Kind == akAttachment && IsImageFileName(a.FileName)) return true;
  }
  return false;
}

// The attachments as MIME parts: inline parts always, ordinary ones when asked for.
void AddOutputParts(const TKwMailMessage& message, bool includeAttachments, TKwMimeOutputMessage& mime) {
  const TKwAttachmentsList& attachments = *message.Attachments;
  for (int i = 0; i < attachments.GetCount(); ++i) {
    const TKwAttachment& a = attachments.GetAttachment(i);
    if (includeAttachments || a.Kind != akAttachment)
      mime.Parts.push_back({a.FileName, a.ContentID, a.Content, a.Kind != akAttachment});
  }
}

TSaveResult WriteByFormat(TKwMailMessage& message, const std::string& fileName) {
  switch (message.SaveOptions->TargetFileFormat) {
    case ffSfEml: case ffSfMht: case ffSfZip: case ffSf7z: return SaveAsMIME(message, fileName);
    case ffSfHtm: return SaveAsHTML(message, fileName);
    case ffSfTxt: return SaveAsTXT(message, fileName);
    case ffSfRtf: return SaveAsRTF(message, fileName);
    case ffSfMsg: return SaveAsMSG(message, fileName);
    case ffSfPdf: return SaveAsPDF(message, fileName);
    case ffSfTiff: case ffSfPng: case ffSfJpeg: case ffSfBmp: case ffSfGif: return SaveAsImage(message, fileName);
    default: return ErrorResult(std::string(kFormatNotAvailable) + GetFileFormatName(message.SaveOptions->TargetFileFormat));
  }
}

}  // namespace

// ---------------------------------------------------------------- public routines

TContentType PrepareOutputContent(TKwMailMessage& message, TContentType contentType,
                                  const TKwOutputBlocks& blocks) {
  message.OutputContent.clear();
  if (message.HtmlPart.empty() && message.TextPart.empty()) message.TextPart.emplace_back();
  TContentType produced = ctUndefined;
  TStringList body = OutputBody(message, contentType, blocks.WithSummaryBlock, produced);
  const bool html = produced == ctHtml;
  TStringList& out = message.OutputContent;
  if (blocks.WithSummaryBlock) AddSummaryBlock(message, blocks, html, out);
  if (blocks.WithHeaderBlock) AddHeaderBlock(message, html, out);
  out.insert(out.end(), std::make_move_iterator(body.begin()), std::make_move_iterator(body.end()));
  if (contentType == ctHtml && message.SaveOptions->EmbedAttachmentsInBody)
    AddImageAttachments(message, blocks.ImagesAsDataUri, out);
  return produced;
}

std::string MessageFolder(const TKwMailMessage& message, const TKwSingleFilesOptions& options) {
  return IncludeTrailingPathDelimiter(options.TargetFolder) + SubFolders(message, options);
}

std::string MessageFileName(const TKwMailMessage& message, const TKwSingleFilesOptions& options) {
  const int maxLength = options.Filename->FilenameLength >= 1 ? options.Filename->FilenameLength : kDefaultMaxFilenameLength;
  return LimitedMessageName(message, options, maxLength);
}

std::string AttachmentsFolderFor(const TKwMailMessage& message, const TKwSingleFilesOptions& options,
                                 const std::string& messageFolder, const std::string& messageFileName) {
  const TKwEmailAddress& from = message.Headers->From;
  std::string result = messageFolder;
  switch (options.AttachmentsFolder) {
    case afpNone: return "";
    case afpCommonRoot:
      return IncludeTrailingPathDelimiter(options.TargetFolder) + std::string(kAttachmentsFolderName) + "/";
    case afpCommonSubfolder: return messageFolder + std::string(kAttachmentsFolderName) + "/";
    case afpSameFolderAsMessage: return messageFolder;
    case afpNamedAsMessage: AddLevel(result, fs::path(messageFileName).stem().string()); break;
    case afpNamedAsSenderAddress: AddLevel(result, from.Address); break;
    case afpNamedAsSenderDomain: AddLevel(result, from.Domain()); break;
    case afpNamedAsSenderDomainAddress:
      AddLevel(result, from.Domain());
      AddLevel(result, from.Address);
      break;
  }
  return result;
}

bool MakeFilename(const TKwMailMessage& message, TCompressionMethod compressionMethod,
                  TKwOutputFilename& output) {
  output = {};
  const TKwSingleFilesOptions& options = *message.SaveOptions;
  if (options.TargetFolder.empty()) {
    output.Result = ErrorResult("No target folder is set");
    return false;
  }
  const int maxLength = options.Filename->FilenameLength >= 1 ? options.Filename->FilenameLength : kDefaultMaxFilenameLength;
  output.TargetFolder = MessageFolder(message, options);
  output.Filename = output.TargetFolder + MessageFileName(message, options);
  const bool compressed = compressionMethod != cmNone;
  const std::string finalName = compressed ? WithExtension(output.Filename, ArchiveExtension(compressionMethod)) : output.Filename;
  if (!IsPathTaken(finalName)) {
    output.Result.Status = ssSaved;
  } else if (options.DuplicatedFilesAction == dfSkip) {
    output.Result.Status = ssSkipped;
    return false;
  } else if (options.DuplicatedFilesAction == dfOverwrite) {
    output.Result.Status = ssOverwritten;
  } else {
    const std::string numbered = CheckGenerateFilenameWithNumberLengthLimited(finalName, maxLength);
    output.Filename = compressed ? WithExtension(numbered, GetFileFormatExtension(options.TargetFileFormat)) : numbered;
    output.Result.Status = ssRenamed;
  }
  output.AttachmentsFolder = AttachmentsFolderFor(message, options, output.TargetFolder, output.Filename);
  return true;
}

TSaveResult SaveAs(TKwMailMessage& message) {
  const TKwSingleFilesOptions& options = *message.SaveOptions;
  TKwOutputFilename output;
  if (!UnavailableOutput(options) && !MakeFilename(message, options.Compression->CompressionMethod, output)) {
    message.LastSavedFilename.clear();
    return output.Result;
  }
  return SaveAs(message, output);
}

TKwDecodeDepth SaveAsDecodeDepth(const TKwSingleFilesOptions& options) {
  const TFileFormat format = options.TargetFileFormat;
  const bool mailFile = format == ffSfEml || format == ffSfZip || format == ffSf7z;
  const std::string codes = LayoutPartCodes(*options.Filename);
  bool namedByAttachments = false;
  for (size_t i = 0; i + 1 < codes.size(); i += 2)
    namedByAttachments |= (codes[i] - '0') * 10 + (codes[i + 1] - '0') == fpAttachmentSign;
  const bool bytesOnly = mailFile && options.AttachmentsFolder == afpNone && !options.SaveBodyPart &&
                         !options.IncludeImagesInTarget && !namedByAttachments;
  return bytesOnly ? TKwDecodeDepth::Headers : TKwDecodeDepth::Everything;
}

TSaveResult SaveAs(TKwMailMessage& message, const TKwOutputFilename& output) {
  message.LastSavedFilename.clear();
  const TKwSingleFilesOptions& options = *message.SaveOptions;
  if (const auto unavailable = UnavailableOutput(options))
    return ErrorResult(std::string(kFormatNotAvailable) + *unavailable);
  if (const auto error = CreateFolders(output.TargetFolder)) return ErrorResult(*error);
  if (!output.AttachmentsFolder.empty() && message.Attachments->GetCount() > 0) {
    const TSaveResult saved = SaveAttachmentsApart(message, options, output);
    if (saved.Status == ssError) return saved;
  }
  const std::string writtenName = IsPackingFormat(options.TargetFileFormat)
                                      ? WithExtension(output.Filename, GetFileFormatExtension(ffSfEml))
                                      : output.Filename;
  const TSaveResult written = WriteByFormat(message, writtenName);
  if (written.Status == ssError) return written;
  const TSaveResult packed = PackWrittenFile(message, writtenName);
  if (packed.Status == ssError) return packed;
  if (!written.Stamped || message.LastSavedFilename != writtenName)
    SetFileTimesToSubmitDate(message, message.LastSavedFilename);
  const std::string copyName = WithExtension(output.Filename, ".htm");
  if (options.SaveBodyPart && copyName != output.Filename) {
    TKwOutputBlocks blocks = BlocksOf(options);
    blocks.AttachmentsFolder = output.AttachmentsFolder;
    const TSaveResult copy = WriteHtml(message, copyName, blocks);
    if (copy.Status == ssError) return copy;
    SetFileTimesToSubmitDate(message, copyName);
  }
  return output.Result;
}

TSaveResult SaveAsMIME(TKwMailMessage& message, const std::string& fileName) {
  const bool webArchive = FilenameToSingleFileFormat(fileName) == ffSfMht;
  if (webArchive) return WriteFileBytes(fileName, JoinLinesCrLf(EncodeWebArchive(message)), message);
  if (IsSourceUnchanged(message)) return WriteFileBytes(fileName, message.SourceText, message);
  return WriteFileBytes(fileName,
                        JoinLinesCrLf(EncodeMIMEMessage(message, message.SaveOptions->InsertAttachmentsInTarget)),
                        message);
}

TSaveResult SaveAsHTML(TKwMailMessage& message, const std::string& fileName) {
  return WriteHtml(message, fileName, BlocksOf(*message.SaveOptions));
}

TSaveResult SaveAsTXT(TKwMailMessage& message, const std::string& fileName) {
  PrepareOutputContent(message, ctText, BlocksOf(*message.SaveOptions));
  return WriteFileBytes(fileName,
                        EncodeTextFile(JoinLinesCrLf(message.OutputContent), message.SaveOptions->FileEncoding),
                        message);
}

TSaveResult SaveAsRTF(TKwMailMessage& message, const std::string& fileName) {
  PrepareOutputContent(message, ctText, BlocksOf(*message.SaveOptions));
  return WriteFileBytes(fileName, TextToRtf(message.OutputContent), message);
}

TStringList EncodeMIMEMessage(const TKwMailMessage& message, bool includeAttachments) {
  TKwMimeOutputMessage mime;
  mime.HeaderLines = EncodedHeaderLines(message);
  if (!message.TextPart.empty()) mime.TextBody = JoinLines(message.TextPart, "\n");
  if (!message.HtmlPart.empty()) mime.HtmlBody = JoinLines(message.HtmlPart, "\n");
  AddOutputParts(message, includeAttachments, mime);
  return BuildMimeLines(mime);
}

TStringList MessageMimeLines(TKwMailMessage& message, bool includeAttachments, bool withImages) {
  if (!withImages || !HasImageToEmbed(message))
    return IsSourceUnchanged(message) ? SourceInTwoPieces(message.SourceText) : EncodeMIMEMessage(message, includeAttachments);
  TKwSingleFilesOptions& options = *message.SaveOptions;
  const bool embedded = std::exchange(options.EmbedAttachmentsInBody, true);
  PrepareOutputContent(message, ctHtml);
  options.EmbedAttachmentsInBody = embedded;
  TKwMimeOutputMessage mime;
  mime.HeaderLines = EncodedHeaderLines(message);
  if (!message.TextPart.empty()) mime.TextBody = JoinLines(message.TextPart, "\n");
  mime.HtmlBody = JoinLines(message.OutputContent, "\n");
  AddOutputParts(message, includeAttachments, mime);
  return BuildMimeLines(mime);
}

TStringList EncodeWebArchive(TKwMailMessage& message) {
  PrepareOutputContent(message, ctHtml, BlocksOf(*message.SaveOptions));
  TKwMimeOutputMessage mime;
  mime.WebArchive = true;
  mime.HeaderLines = EncodedHeaderLines(message);
  mime.HtmlBody = JoinLines(message.OutputContent, "\n");
  const TKwAttachmentsList& attachments = *message.Attachments;
  for (int i = 0; i < attachments.GetCount(); ++i) {
    const TKwAttachment& a = attachments.GetAttachment(i);
    if (a.Kind != akAttachment && !a.ContentID.empty()) mime.Parts.push_back({a.FileName, a.ContentID, a.Content, true});
  }
  return BuildMimeLines(mime);
}

// ---------------------------------------------------------------- TKwMailMessage

TContentType TKwMailMessage::PrepareOutputContent(TContentType contentType, bool withHeaderBlock,
                                                  bool withSummaryBlock, bool forwardStyle) {
  TKwOutputBlocks blocks;
  blocks.WithHeaderBlock = withHeaderBlock;
  blocks.WithSummaryBlock = withSummaryBlock;
  blocks.ForwardStyle = forwardStyle;
  return ::PrepareOutputContent(*this, contentType, blocks);
}

bool TKwMailMessage::MakeFilename(TCompressionMethod compressionMethod, TKwOutputFilename& output) const {
  return ::MakeFilename(*this, compressionMethod, output);
}

TSaveResult TKwMailMessage::SaveAs() { return ::SaveAs(*this); }
TSaveResult TKwMailMessage::SaveAsMIME(const std::string& fileName) { return ::SaveAsMIME(*this, fileName); }
TSaveResult TKwMailMessage::SaveAsHTML(const std::string& fileName) { return ::SaveAsHTML(*this, fileName); }
TSaveResult TKwMailMessage::SaveAsTXT(const std::string& fileName) { return ::SaveAsTXT(*this, fileName); }
TSaveResult TKwMailMessage::SaveAsRTF(const std::string& fileName) { return ::SaveAsRTF(*this, fileName); }

TStringList TKwMailMessage::EncodeMIMEMessage(bool includeAttachments) const {
  return ::EncodeMIMEMessage(*this, includeAttachments);
}
