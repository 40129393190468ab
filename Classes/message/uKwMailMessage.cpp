#include "uKwMailMessage.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <istream>
#include <iterator>

#include <fmt/format.h>
#include <zlib.h>

#include "uKwArchive.h"
#include "uKwDateTime.h"
#include "uKwFileCipher.h"
#include "uKwGMime.h"
#include "uKwIPToCountry.h"
#include "uKwMessageOutputText.h"
#include "uKwMsgReader.h"
#include "uKwPdfReader.h"
#include "uKwRegFolders.h"
#include "uKwSMime.h"
#include "uKwStream.h"
#include "uKwSubs.h"
#include "uKwValidEmailFormat.h"

namespace {

// Archives inside archives are unpacked this deep at most.
constexpr int kMaxArchiveDepth = 4;
// MIME trees nested deeper than this are not walked further.
constexpr int kMaxWalkDepth = 64;
// A stored message never decompresses beyond this: a damaged or hostile file stops here.
constexpr size_t kMaxStoredMessageBytes = size_t{2} << 30;

bool StartsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

std::string ToLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// The position of the first CR or LF at or after `from`, or text.size().
size_t FindLineBreak(std::string_view text, size_t from) {
  const char* start = text.data() + from;
  const auto* lf = static_cast<const char*>(std::memchr(start, '\n', text.size() - from));
  const size_t end = lf ? static_cast<size_t>(lf - text.data()) : text.size();
  const auto* cr = static_cast<const char*>(std::memchr(start, '\r', end - from));
  return cr ? static_cast<size_t>(cr - text.data()) : end;
}

// Whether every line break of text is CR LF.
bool HasOnlyCrLfBreaks(std::string_view text) {
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const auto next = [end](const char* from, char c) {
    return static_cast<const char*>(std::memchr(from, c, static_cast<size_t>(end - from)));
  };
  size_t lineFeeds = 0, carriageReturns = 0;
  for (const char* p = next(begin, '\n'); p; p = next(p + 1, '\n'), ++lineFeeds)
    if (p == begin || p[-1] != '\r') return false;
  for (const char* p = next(begin, '\r'); p; p = next(p + 1, '\r')) ++carriageReturns;
  return carriageReturns == lineFeeds;
}

std::string_view WithoutFinalLineBreak(std::string_view text) {
  return text.ends_with("\r\n") ? text.substr(0, text.size() - 2) : text;
}

// The end of the CR LF line that starts at `from` (its CR, or text.size()).
size_t CrLfLineEnd(std::string_view text, size_t from) {
  const size_t end = text.find("\r\n", from);
  return end == std::string_view::npos ? text.size() : end;
}

// Calls visit with each line of a text whose lines all end in CR LF, up to the first
// blank one (the end of the headers); stops early when visit returns false.
template <class Visit>
void ForEachHeaderLine(std::string_view text, Visit&& visit) {
  for (size_t start = 0; start < text.size();) {
    const size_t end = CrLfLineEnd(text, start);
    const std::string_view line = text.substr(start, end - start);
    if (Trim(line).empty() || !visit(line)) return;
    start = end + 2;
  }
}

// Text as its lines joined again with a CR LF after each: CR LF, LF and a lone CR all
// break lines, a final break adds no empty line, and blank lines before the headers are
// dropped, as reading the headers drops them. A text in CR LF already is kept in place.
void CanonicalizeLineBreaks(std::string& text) {
  if (HasOnlyCrLfBreaks(text)) {
    size_t start = 0;
    while (start < text.size()) {
      const size_t end = CrLfLineEnd(text, start);
      if (!Trim(std::string_view(text).substr(start, end - start)).empty()) break;
      start = std::min(end + 2, text.size());
    }
    text.erase(0, start);
    if (!text.empty() && !text.ends_with("\r\n")) text += "\r\n";
    return;
  }
  std::string joined;
  joined.reserve(text.size() + text.size() / 32 + 2);
  bool beforeHeaders = true;
  for (size_t start = 0; start < text.size();) {
    const size_t end = FindLineBreak(text, start);
    const std::string_view line = std::string_view(text).substr(start, end - start);
    if (!beforeHeaders || !Trim(line).empty()) {
      beforeHeaders = false;
      joined.append(line).append("\r\n");
    }
    start = end + (end + 1 < text.size() && text[end] == '\r' && text[end + 1] == '\n' ? 2 : 1);
  }
  text = std::move(joined);
}

TStringList SplitTextLines(std::string_view text) {
  TStringList lines;
  lines.reserve(text.size() / 64 + 1);
  for (size_t start = 0; start < text.size();) {
    const size_t end = FindLineBreak(text, start);
    lines.emplace_back(text.substr(start, end - start));
    start = end + (end + 1 < text.size() && text[end] == '\r' && text[end + 1] == '\n' ? 2 : 1);
  }
  return lines;
}

bool ReadWholeFile(const std::string& fileName, std::string& bytes) {
  std::ifstream in(fileName, std::ios::binary);
  if (!in) return false;
  in.seekg(0, std::ios::end);
  const std::streamoff size = in.tellg();
  in.seekg(0, std::ios::beg);
  if (size < 0 || !in) return false;
  bytes.resize(static_cast<size_t>(size));
  return static_cast<bool>(in.read(bytes.data(), size));
}

// The charset named by a Content-Type attribute string. The value is read from the
// ninth character on, which is right only when the string begins with "charset=";
// mailers put it first, and earlier exports were made by this rule.
std::string CharsetFromAttributes(std::string_view attributes) {
  if (ToLower(attributes).find("charset=") == std::string::npos) return {};
  std::string_view value = attributes.size() > 8 ? attributes.substr(8) : std::string_view();
  if (StartsWith(value, "\"")) value.remove_prefix(1);
  value = Trim(value.substr(0, value.find(';')));
  if (!value.empty() && value.back() == '"') value.remove_suffix(1);
  return std::string(Trim(value));
}

std::string TopLevelCharset(const TStringList& headerLines) {
  for (const std::string& line : headerLines) {
    if (!StartsWith(ToLower(line.substr(0, 13)), "content-type:")) continue;
    const size_t semicolon = line.find(';');
    return semicolon == std::string::npos ? std::string()
                                          : CharsetFromAttributes(Trim(std::string_view(line).substr(semicolon + 1)));
  }
  return {};
}

// The name of an attachment whose part gave none, by its lower-case content type.
std::string FallbackAttachmentName(std::string_view contentType) {
  if (contentType.empty() || contentType.find("plain") != std::string_view::npos) return "report.txt";
  if (contentType.find("rfc822-headers") != std::string_view::npos) return "rfc822-headers.eml";
  if (StartsWith(contentType, "message")) return "message.txt";
  const size_t slash = contentType.find('/');
  return std::string(slash == std::string_view::npos ? contentType : contentType.substr(slash + 1));
}

std::string SafeFileName(std::string_view name) { return ReplaceInvalidCharactersFilename(name, "_"); }

// The header block of a message text, up to its first empty line.
std::string_view HeaderBlock(std::string_view message) {
  size_t end = message.find("\r\n\r\n");
  const size_t lfEnd = message.find("\n\n");
  if (lfEnd < end) end = lfEnd;
  return message.substr(0, end);
}

// Whether a header line of source holds text (compared in lower case).
bool HeaderBlockMentions(std::string_view source, std::string_view text) {
  bool found = false;
  ForEachHeaderLine(source, [&](std::string_view line) {
    found = ToLower(line).find(text) != std::string::npos;
    return !found;
  });
  return found;
}

void WriteStrings(TKwPropertyWriter& writer, const TStringList& list) {
  writer.WriteListBegin();
  for (const std::string& item : list) writer.WriteString(item);
  writer.WriteListEnd();
}

void ReadStrings(TKwPropertyReader& reader, TStringList& list) {
  list.clear();
  reader.ReadListBegin();
  while (!reader.EndOfList()) list.push_back(reader.ReadString());
  reader.ReadListEnd();
}

bool Inflate(std::string_view compressed, std::string& out, std::string& error) {
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) {
    error = "Cannot start decompression";
    return false;
  }
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.data()));
  stream.avail_in = static_cast<uInt>(std::min<size_t>(compressed.size(), UINT32_MAX));
  char block[64 * 1024];
  int status = Z_OK;
  while (status == Z_OK && out.size() <= kMaxStoredMessageBytes) {
    stream.next_out = reinterpret_cast<Bytef*>(block);
    stream.avail_out = sizeof block;
    status = inflate(&stream, Z_NO_FLUSH);
    out.append(block, sizeof block - stream.avail_out);
    if (status == Z_BUF_ERROR && stream.avail_in > 0) status = Z_OK;
  }
  inflateEnd(&stream);
  if (status != Z_STREAM_END) error = "The stored message is damaged or truncated";
  return status == Z_STREAM_END;
}

}  // namespace

// ---------------------------------------------------------------- TKwBaseMessage

TKwBaseMessage::TKwBaseMessage() = default;
TKwBaseMessage::~TKwBaseMessage() = default;

void TKwBaseMessage::Publish(TKwPublisher& p) {
  p.Object("Attachments", *Attachments);
  p.Strings("Categories", Categories);
  p.Object("Headers", *Headers);
  p.Strings("HtmlPart", HtmlPart);
  p.String("HtmlPartCharset", HtmlPartCharset);
  p.String("SourceFilename", SourceFilename);
  p.Strings("TextPart", TextPart);
  p.String("TextPartCharset", TextPartCharset);
}

void TKwBaseMessage::Assign(const TKwPersistent& source) {
  auto* message = dynamic_cast<const TKwBaseMessage*>(&source);
  if (!message) {
    TKwPersistent::Assign(source);
    return;
  }
  if (message == this) return;
  Attachments->Assign(*message->Attachments);
  Categories = message->Categories;
  Headers->Assign(*message->Headers);
  HtmlPart = message->HtmlPart;
  TextPart = message->TextPart;
  SourceFilename = message->SourceFilename;
  HtmlPartCharset = message->HtmlPartCharset;
  TextPartCharset = message->TextPartCharset;
}

void TKwBaseMessage::Clear() {
  Attachments->Clear();
  Headers->Clear();
  HtmlPart.clear();
  TextPart.clear();
  Categories.clear();
  SourceFilename.clear();
}

bool TKwBaseMessage::LoadFromFile(const std::string& fileName) {
  Clear();
  SourceFilename = fileName;
  std::string stream;
  if (!ReadWholeFile(fileName, stream)) {
    LastError = "Cannot read " + fileName;
    return false;
  }
  return LoadFromCompressedStream(stream);
}

bool TKwBaseMessage::LoadFromCompressedStream(std::string_view stream) {
  LastError.clear();
  std::string data;
  const bool inflated = Inflate(stream, data, LastError);
  try {
    TKwPropertyReader reader(data);
    reader.ReadListBegin();
    Attachments->ReadData(reader);
    Headers->ReadData(reader);
    ReadStrings(reader, Categories);
    ReadStrings(reader, HtmlPart);
    ReadStrings(reader, TextPart);
    reader.ReadListEnd();
  } catch (const std::exception& error) {
    if (LastError.empty()) LastError = std::string("The stored message is damaged: ") + error.what();
    return false;
  }
  return inflated;
}

bool TKwBaseMessage::SaveToFile(const std::string& fileName) {
  std::string stream;
  SaveToCompressedStream(stream);
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  if (!out.write(stream.data(), static_cast<std::streamsize>(stream.size())) || !out.flush()) {
    LastError = "Cannot write " + fileName;
    return false;
  }
  return true;
}

void TKwBaseMessage::SaveToCompressedStream(std::string& stream) {
  TKwPropertyWriter writer;
  writer.WriteListBegin();
  Attachments->WriteData(writer);
  Headers->WriteData(writer);
  WriteStrings(writer, Categories);
  WriteStrings(writer, HtmlPart);
  WriteStrings(writer, TextPart);
  writer.WriteListEnd();
  const std::string data = writer.TakeData();
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  const size_t start = stream.size();
  stream.resize(start + size);
  compress2(reinterpret_cast<Bytef*>(stream.data() + start), &size, reinterpret_cast<const Bytef*>(data.data()),
            static_cast<uLong>(data.size()), Z_DEFAULT_COMPRESSION);
  stream.resize(start + size);
}

// ---------------------------------------------------------------- TKwMailMessage

TKwMailMessage::TKwMailMessage() { Clear(); }

TKwMailMessage::~TKwMailMessage() = default;

void TKwMailMessage::Publish(TKwPublisher& p) {
  TKwBaseMessage::Publish(p);
  p.Integer("Counter", Counter);
  p.Boolean("DownloadImages", DownloadImages, false);
  p.Strings("ImagesLinks", ImagesLinks);
  p.Boolean("RefreshDownloadedImagesInViewer", RefreshDownloadedImagesInViewer);
  p.Object("SaveOptions", *SaveOptions);
  p.Boolean("SourceIsMime", SourceIsMime);
  p.String("SourceText", SourceText);
  p.Strings("WordsList", WordsList);
}

void TKwMailMessage::Assign(const TKwPersistent& source) {
  auto* message = dynamic_cast<const TKwMailMessage*>(&source);
  if (!message) {
    TKwBaseMessage::Assign(source);
    return;
  }
  if (message == this) return;
  AssignMessage(*message);
  SaveOptions->Assign(*message->SaveOptions);
}

void TKwMailMessage::AssignMessage(const TKwMailMessage& source) {
  if (&source == this) return;
  TKwBaseMessage::Assign(source);
  const TKwMailMessage* const message = &source;
  Counter = message->Counter;
  DecodeOptions = message->DecodeOptions;
  DownloadImages = message->DownloadImages;
  ImagesLinks = message->ImagesLinks;
  RefreshDownloadedImagesInViewer = message->RefreshDownloadedImagesInViewer;
  SourceIsMime = message->SourceIsMime;
  SourceText = message->SourceText;
  Changed = message->Changed;
  DecodeDepth = message->DecodeDepth;
  ClassifiesBounces = message->ClassifiesBounces;
  WordsList = message->WordsList;
  for (auto [to, from] : {std::pair{&BounceType, &message->BounceType}, {&BounceDescription, &message->BounceDescription},
                          {&BounceRecipient, &message->BounceRecipient}, {&FolderName, &message->FolderName},
                          {&Labels, &message->Labels}, {&CountryCode, &message->CountryCode},
                          {&CountryName, &message->CountryName}, {&SenderLocation, &message->SenderLocation},
                          {&LastSavedFilename, &message->LastSavedFilename}})
    *to = *from;
  CertificateOptions->Assign(*message->CertificateOptions);
  BounceCheck->AssignVerdict(*message->BounceCheck);
}

void TKwMailMessage::Clear() {
  TKwBaseMessage::Clear();
  BounceType.clear();
  BounceDescription.clear();
  BounceRecipient.clear();
  BounceCheck->Clear();
  CertificateOptions->Clear();
  WordsList.clear();
  ImagesLinks.clear();
  SourceText.clear();
  OutputContent.clear();
  CountryCode.clear();
  CountryName.clear();
  Counter = 0;
  SourceIsMime = false;
  Changed = false;
}

// ---------------------------------------------------------------- loading

namespace {

bool DecryptToTemp(const std::string& fileName, TFileFormat format, const std::string& password,
                   std::string& tempFileName, std::string& error) {
  tempFileName = GenerateTempFilename(GetFileFormatExtension(format));
  if (tempFileName.empty()) {
    error = "Cannot create a temporary file";
    return false;
  }
  if (DecryptFileTo(fileName, tempFileName, password, error)) return true;
  std::remove(tempFileName.c_str());
  return false;
}

}  // namespace

bool TKwMailMessage::LoadFormat(const std::string& fileName) { return LoadFormatAtDepth(fileName, 0); }

bool TKwMailMessage::LoadFormatAtDepth(const std::string& fileName, int depth) {
  TFileFormat format = ffNone;
  bool encrypted = false;
  if (!ValidEmailSource(fileName, format, encrypted)) {
    LastError = "Not a message file: " + fileName;
    return false;
  }
  // An encrypted file is decrypted into a temporary file that is loaded and deleted; the
  // message keeps the encrypted file's name as its source.
  std::string decrypted;
  if (encrypted && !DecryptToTemp(fileName, format, SaveOptions->Compression->Password, decrypted, LastError))
    return false;
  const std::string& loadName = encrypted ? decrypted : fileName;
  bool loaded = false;
  switch (format) {
    case ffSfEml:
    case ffSfMht: loaded = LoadMIME(loadName); break;
    case ffSfPdf: loaded = LoadPDF(loadName); break;
    case ffSfMsg: loaded = LoadMSG(loadName); break;
    case ffSfZip:
    case ffSf7z: loaded = LoadArchive(loadName, depth); break;
    default: LastError = "Not a message file: " + fileName; break;
  }
  if (encrypted) std::remove(decrypted.c_str());
  if (loaded) SourceFilename = fileName;
  return loaded;
}

bool TKwMailMessage::LoadArchive(const std::string& fileName, int depth) {
  if (depth >= kMaxArchiveDepth) {
    LastError = "Archives nested too deep: " + fileName;
    return false;
  }
  const std::string& password =
      SaveOptions->Compression->Password.empty() ? SaveOptions->ZIP->Password : SaveOptions->Compression->Password;
  std::string tempFileName, error;
  if (!DeCompressFileToTemp(fileName, tempFileName, error, password)) {
    LastError = error;
    return false;
  }
  const bool loaded = LoadFormatAtDepth(tempFileName, depth + 1);
  std::remove(tempFileName.c_str());
  return loaded;
}

bool TKwMailMessage::LoadMIME(const std::string& fileName) {
  std::string text;
  if (!ReadWholeFile(fileName, text)) {
    LastError = "Cannot read " + fileName;
    return false;
  }
  return LoadMIMEFromString(std::move(text));
}

bool TKwMailMessage::LoadMIMEFromString(std::string text) {
  // The certificate set for this load outlives the load's own Clear.
  TKwCertificateOptions certificate;
  std::swap(certificate.CertEncoded, CertificateOptions->CertEncoded);
  std::swap(certificate.CertStore, CertificateOptions->CertStore);
  std::swap(certificate.CertSubject, CertificateOptions->CertSubject);
  Clear();
  std::swap(certificate.CertEncoded, CertificateOptions->CertEncoded);
  std::swap(certificate.CertStore, CertificateOptions->CertStore);
  std::swap(certificate.CertSubject, CertificateOptions->CertSubject);
  LastError.clear();
  CanonicalizeLineBreaks(text);
  SourceText = std::move(text);
  DecodeCanonicalSource();
  SourceIsMime = true;
  return true;
}

bool TKwMailMessage::LoadFromStream(std::istream& stream) {
  stream.clear();
  stream.seekg(0);
  std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  if (stream.bad()) {
    LastError = "Cannot read the message stream";
    return false;
  }
  return LoadMIMEFromString(std::move(text));
}

bool TKwMailMessage::LoadMSG(const std::string& fileName) {
  std::string error;
  if (!LoadMsgFile(fileName, *this, error)) {
    LastError = error + ": " + fileName;
    return false;
  }
  LastError.clear();
  return true;
}

bool TKwMailMessage::LoadPDF(const std::string& fileName) {
  std::string error;
  const std::string& password = SaveOptions->PDF->Encryption->UserPassword;
  if (!LoadPdfFile(fileName, *this, error, password)) {
    LastError = error + ": " + fileName;
    return false;
  }
  LastError.clear();
  return true;
}

// ---------------------------------------------------------------- MIME decoding

void TKwMailMessage::DecodeMimeMessage() {
  CanonicalizeLineBreaks(SourceText);
  DecodeCanonicalSource();
}

TStringList TKwMailMessage::SourceLines() const { return SplitTextLines(SourceText); }

void TKwMailMessage::DecodeCanonicalSource() {
  Changed = false;
  Attachments->Clear();
  Headers->Clear();
  TextPart.clear();
  HtmlPart.clear();
  FBounceClassified = false;
  try {
    if (!TryDecryptSMime()) {
      Headers->Clear();
      Headers->LoadHeaderLinesFromMimeText(SourceText);
      if (const std::string charset = TopLevelCharset(Headers->Lines); !charset.empty()) Headers->Charset = charset;
      Headers->DecodeHeaders();
      const std::string_view source = WithoutFinalLineBreak(SourceText);
      if (DecodeDepth >= TKwDecodeDepth::AllButAttachmentBytes) DecodeMimeText(source, ClassifiesBounces);
      else if (DecodeDepth == TKwDecodeDepth::BounceVerdict) ClassifyBounce(TKwMimeMessage(source));
    }
    if (DecodeDepth >= TKwDecodeDepth::AllButAttachmentBytes) ParseTextAndHtmlParts();
  } catch (const std::exception& error) {
    LastError = std::string("The message could not be decoded completely: ") + error.what();
  }
  const bool wanted = DecodeDepth == TKwDecodeDepth::BounceVerdict ||
                      (ClassifiesBounces && DecodeDepth != TKwDecodeDepth::Headers);
  if (!FBounceClassified && wanted) ClassifyBounce();
}

// Reads the raw lines on its own: for a decrypted message, and for one whose decoding
// stopped before its source was parsed.
void TKwMailMessage::ClassifyBounce() {
  BounceCheck->ParseMessage(SourceLines());
  CopyBounceVerdict();
}

void TKwMailMessage::ClassifyBounce(const TKwMimeMessage& source) {
  BounceCheck->ParseMimeMessage(source);
  CopyBounceVerdict();
  FBounceClassified = true;
}

void TKwMailMessage::CopyBounceVerdict() {
  BounceType = BounceTypeColumnText(BounceCheck->GetBounceType());
  BounceDescription = BounceCheck->GetDescription();
  BounceRecipient = BounceCheck->GetRecipient();
}

// Decrypts an enveloped message with the certificate options. The headers become the
// outer ones (their content headers excepted) followed by the decrypted entity's own.
bool TKwMailMessage::TryDecryptSMime() {
  const std::string& pem = CertificateOptions->CertEncoded;
  if (pem.empty() || !HeaderBlockMentions(SourceText, "pkcs7-mime") || SMimeCertificateSubject(pem).empty())
    return false;
  std::string decrypted, error;
  if (!SMimeDecrypt(WithoutFinalLineBreak(SourceText), pem, decrypted, error)) return false;
  std::string headerString;
  bool skipping = false;
  ForEachHeaderLine(SourceText, [&](std::string_view text) {
    if (text[0] != ' ' && text[0] != '\t') skipping = StartsWith(ToLower(text.substr(0, 8)), "content-");
    if (!skipping) headerString.append(text).append("\r\n");
    return true;
  });
  const std::string_view innerHeaders = HeaderBlock(decrypted);
  headerString.append(innerHeaders);
  const std::string_view body = std::string_view(decrypted).substr(innerHeaders.size());
  Headers->LoadHeadersFromString(headerString);
  std::string mimeText = headerString;
  mimeText.append(body.empty() ? std::string_view("\r\n\r\n") : body);
  DecodeMimeText(mimeText);
  return true;
}

void TKwMailMessage::DecodeMimeText(std::string_view mimeText, bool sourceText) {
  const TKwMimeMessage mime(mimeText);
  if (sourceText) ClassifyBounce(mime);
  FWalkDepth = 0;
  DecodeMimeWalk(mime.Root());
}

void TKwMailMessage::DecodeMimeWalk(const TKwMimePart& container) {
  HtmlPartCharset.clear();
  TextPartCharset.clear();
  if (const std::string charset = CharsetFromAttributes(container.ContentTypeAttributes()); !charset.empty())
    HtmlPartCharset = TextPartCharset = charset;
  if (!container.IsMultipart()) {
    DecodeMimeWalkPart(container);
    return;
  }
  if (container.ChildCount() == 0) {
    // A multipart whose boundary never appears: its content is all the text there is.
    if (TextPart.empty()) TextPart = SplitTextLines(ConvertToUtf8(container.DecodedBytes(), TextPartCharset));
    return;
  }
  for (int i = 0; i < container.ChildCount(); ++i) DecodeMimeWalkPart(container.Child(i));
}

// A text part fills its body (the last one wins) unless it is an attachment; a part with
// disposition attachment or inline becomes an attachment; a part without content type
// is body text. Beyond that, so that no content is lost: a text part marked as an
// attachment is one, uuencoded files inside body text become attachments, and a leaf
// without disposition that is a whole message or has a file name is an attachment.
void TKwMailMessage::DecodeMimeWalkPart(const TKwMimePart& part) {
  const std::string contentType = part.ContentType();
  if (StartsWith(contentType, "multipart") && FWalkDepth < kMaxWalkDepth) {
    ++FWalkDepth;
    DecodeMimeWalk(part);
    --FWalkDepth;
  }
  const std::string disposition = ToLower(part.Disposition());
  const bool isHtml = StartsWith(contentType, "text/html"), isPlain = StartsWith(contentType, "text/plain");
  const bool isAttachment = StartsWith(disposition, "attachment");
  if ((isHtml || isPlain) && !isAttachment) {
    std::string& charset = isHtml ? HtmlPartCharset : TextPartCharset;
    if (std::string named = CharsetFromAttributes(part.ContentTypeAttributes()); !named.empty()) charset = named;
    const std::string bytes = part.DecodedBytes();
    if (isHtml) HtmlPart = SplitTextLines(ConvertToUtf8(bytes, charset));
    else TextPart = SplitTextLines(ConvertToUtf8(TakeUuencodedFiles(bytes), charset));
  } else if (isAttachment || isHtml || isPlain || StartsWith(disposition, "inline")) {
    AddWalkAttachment(part, contentType);
  } else if (contentType.empty()) {
    const std::string bytes = part.DecodedBytes();
    if (bytes.empty()) return;
    TextPartCharset = CharsetFromAttributes(part.ContentTypeAttributes());
    TextPart = SplitTextLines(ConvertToUtf8(TakeUuencodedFiles(bytes), TextPartCharset));
  } else if (!part.IsMultipart() && part.IsMessage()) {
    AddEmbeddedMessage(part);
  } else if (!part.IsMultipart() && !part.FileName().empty()) {
    AddWalkAttachment(part, contentType);
  }
}

// The uuencoded files of body text as attachments; returns the text without them.
std::string TKwMailMessage::TakeUuencodedFiles(const std::string& bytes) {
  if (!HasUuencodedFile(bytes)) return bytes;
  std::string text;
  for (TKwUuFile& file : ExtractUuencodedFiles(bytes, text)) {
    const std::string name = SafeFileName(ConvertToUtf8(file.FileName, ""));
    Attachments->AddFromStream(file.Bytes, name.empty() ? FallbackAttachmentName("") : name);
  }
  return text;
}

void TKwMailMessage::AddWalkAttachment(const TKwMimePart& part, const std::string& contentType) {
  std::string name = SafeFileName(part.FileName());
  if (name.empty()) name = FallbackAttachmentName(contentType);
  const bool withBytes = DecodeDepth == TKwDecodeDepth::Everything;
  TKwAttachment& attachment = Attachments->AddFromStream(withBytes ? part.DecodedBytes() : std::string(), name);
  attachment.SetContentID(part.ContentId());
}

// ---------------------------------------------------------------- MIME tree walk

void TKwMailMessage::CheckMimePart(const TKwMimePart& part, const TKwMimePart& parent) {
  if (!part) return;
  if (!part.IsMultipart()) {
    if (!CheckMimePartForAttachments(part, parent)) CheckMimePartForTextHtml(part);
    return;
  }
  if (FWalkDepth >= kMaxWalkDepth) return;
  ++FWalkDepth;
  for (int i = 0; i < part.ChildCount(); ++i) CheckMimePart(part.Child(i), part);
  --FWalkDepth;
}

// A leaf is an attachment when it or its parent is marked as one, when it has a file
// name, or when it is a whole message. A text leaf holding uuencoded files gives those
// files as attachments and stays body text for the rest.
bool TKwMailMessage::CheckMimePartForAttachments(const TKwMimePart& part, const TKwMimePart& parent) {
  if (part.IsMessage()) {
    AddEmbeddedMessage(part);
    return true;
  }
  const std::string fileName = part.FileName();
  const bool marked = StartsWith(ToLower(part.Disposition()), "attachment") ||
                      (parent && StartsWith(ToLower(parent.Disposition()), "attachment"));
  const std::string contentType = part.ContentType().empty() ? "text/plain" : part.ContentType();
  if (!marked && fileName.empty()) {
    if (!StartsWith(contentType, "text/")) return false;
    std::string text;
    std::vector<TKwUuFile> files = ExtractUuencodedFiles(part.DecodedBytes(), text);
    if (files.empty()) return false;
    for (TKwUuFile& file : files) {
      const std::string name = SafeFileName(ConvertToUtf8(file.FileName, ""));
      Attachments->AddFromStream(file.Bytes, name.empty() ? FallbackAttachmentName("") : name);
    }
    CheckMimePartForText(part, text);
    return true;
  }
  std::string name = SafeFileName(fileName.empty() && parent ? parent.FileName() : fileName);
  if (name.empty()) name = FallbackAttachmentName(contentType);
  Attachments->AddFromStream(part.DecodedBytes(), name).SetContentID(part.ContentId());
  return true;
}

// An embedded message is named by its file name, else by its subject.
void TKwMailMessage::AddEmbeddedMessage(const TKwMimePart& part) {
  std::string bytes = part.DecodedBytes();
  std::string name = SafeFileName(part.FileName());
  if (name.empty()) {
    TKwHeaders headers;
    headers.LoadHeadersFromString(HeaderBlock(bytes));
    const std::string subject = SafeFileName(headers.Subject);
    name = subject.empty() ? FullFilenameWithNumberLengthLimited("ATT.dat", Attachments->GetCount() + 1, 260)
                           : subject + ".eml";
  }
  Attachments->AddFromStream(bytes, name).SetContentID(part.ContentId());
}

void TKwMailMessage::CheckMimePartForTextHtml(const TKwMimePart& part) {
  const std::string contentType = part.ContentType();
  if (contentType.empty() || contentType == "text/plain") {
    CheckMimePartForText(part, part.DecodedBytes());
  } else if (contentType == "text/html" && HtmlPart.empty()) {
    HtmlPartCharset = CharsetFromAttributes(part.ContentTypeAttributes());
    HtmlPart = SplitTextLines(ConvertToUtf8(part.DecodedBytes(), HtmlPartCharset));
  }
}

// The first plain part is the text body; one that holds a whole HTML document is the
// HTML body instead.
void TKwMailMessage::CheckMimePartForText(const TKwMimePart& part, std::string_view bytes) {
  if (!TextPart.empty()) return;
  const std::string charset = CharsetFromAttributes(part.ContentTypeAttributes());
  const std::string text = ConvertToUtf8(bytes, charset);
  const std::string lower = ToLower(text);
  if (lower.find("<html") != std::string::npos && lower.find("</html>") != std::string::npos) {
    HtmlPart = SplitTextLines(text);
    HtmlPartCharset = charset;
    return;
  }
  TextPart = SplitTextLines(text);
  TextPartCharset = charset;
}

// ---------------------------------------------------------------- derived data

void TKwMailMessage::ParseTextAndHtmlParts() {
  if (DecodeOptions.count(doParseWords)) ParseWords();
  if (DecodeOptions.count(doParseImageLinks)) ParseImageLinks();
  if (DecodeOptions.count(doDecodeCountry)) DecodeCountry();
}

void TKwMailMessage::ParseWords() {
  TStringList lines = !TextPart.empty() ? TextPart : !HtmlPart.empty() ? HtmlExtractText(HtmlPart) : TStringList();
  const TKwHeaders& h = *Headers;
  for (const std::string& line : {h.Subject, h.From.Address, h.ToList.AddressComma(), h.CCList.AddressComma(),
                                  h.ReplyTo.Address, h.Organization})
    lines.push_back(line);
  WordsParser(lines, WordsList);
}

namespace {

bool IsWordDelimiter(unsigned char c) {
  static constexpr std::string_view kDelimiters = " \b\t\r\n~`!@#$%^&*()+={}[]|\\:;<>,.?/\"";
  return kDelimiters.find(static_cast<char>(c)) != std::string_view::npos;
}

size_t CharacterCount(std::string_view utf8) {
  return static_cast<size_t>(std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

bool IsOnlyDashesOrUnderscores(std::string_view word) {
  return (word.front() == '-' || word.front() == '_') &&
         word.find_first_not_of(word.front()) == std::string_view::npos;
}

// The value of the src attribute of the <img tag that starts at `tag` in html.
std::string_view ImageSource(std::string_view html, std::string_view lowerHtml, size_t tag) {
  const size_t tagEnd = std::min(lowerHtml.find('>', tag), lowerHtml.size());
  for (size_t pos = lowerHtml.find("src", tag); pos < tagEnd; pos = lowerHtml.find("src", pos + 3)) {
    const char before = lowerHtml[pos - 1];
    if (before != ' ' && before != '\t' && before != '\n' && before != '\r') continue;
    size_t value = lowerHtml.find_first_not_of(" \t\r\n", pos + 3);
    if (value >= tagEnd || lowerHtml[value] != '=') continue;
    value = lowerHtml.find_first_not_of(" \t\r\n", value + 1);
    if (value >= tagEnd) return {};
    const char quote = html[value] == '"' || html[value] == '\'' ? html[value] : '\0';
    if (quote) ++value;
    const size_t end = quote ? html.find(quote, value) : html.find_first_of(" \t\r\n>", value);
    return html.substr(value, std::min(end, tagEnd) - value);
  }
  return {};
}

std::string DecodeAmpersands(std::string_view url) {
  std::string decoded(url);
  for (size_t pos = decoded.find("&amp;"); pos != std::string::npos; pos = decoded.find("&amp;", pos + 1))
    decoded.erase(pos + 1, 4);
  return decoded;
}

bool IsPrivateRelay(std::string_view ip) {
  return ip.empty() || ip == "127.0.0.1" || StartsWith(ip, "10.") || StartsWith(ip, "192.168") ||
         StartsWith(ip, "172.");  // every 172.x address counts, not only 172.16/12
}

}  // namespace

void WordsParser(const TStringList& lines, TStringList& wordsList) {
  std::set<std::string> words(wordsList.begin(), wordsList.end());
  std::string word;
  const auto endWord = [&] {
    if (CharacterCount(word) >= 3 && !IsOnlyDashesOrUnderscores(word)) words.insert(word);
    word.clear();
  };
  for (const std::string& line : lines) {
    for (const char c : line) {
      if (IsWordDelimiter(static_cast<unsigned char>(c))) {
        endWord();
      } else {
        word.push_back(c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c);
      }
    }
    endWord();  // the line break between lines
  }
  wordsList.assign(words.begin(), words.end());
}

void TKwMailMessage::ParseImageLinks() {
  ImagesLinks.clear();
  const std::string html = JoinLines(HtmlPart, "\n");
  const std::string lower = ToLower(html);
  for (size_t tag = lower.find("<img"); tag != std::string::npos; tag = lower.find("<img", tag + 4)) {
    const std::string url = DecodeAmpersands(Trim(ImageSource(html, lower, tag)));
    const std::string scheme = ToLower(url.substr(0, 8));
    if (!StartsWith(scheme, "http://") && !StartsWith(scheme, "https://")) continue;
    if (std::find(ImagesLinks.begin(), ImagesLinks.end(), url) == ImagesLinks.end()) ImagesLinks.push_back(url);
  }
}

void TKwMailMessage::DecodeCountry() {
  const TKwEmailReceivedList& received = Headers->ReceivedList;
  for (int i = 0; i < received.Count(); ++i) {
    const std::string ip(Trim(received.Items(i).FromIP));
    if (IsPrivateRelay(ip)) continue;
    if (!FIPToCountry) FIPToCountry = std::make_unique<TKwIPToCountry>(DataFolder.empty() ? GetCommonSettingsFolder() : DataFolder);
    FIPToCountry->GetCountry(ip, CountryCode, CountryName);
    SenderLocation = fmt::format("{} ({})", ip, received.Items(i).From);
    return;
  }
}

// ---------------------------------------------------------------- columns

std::string TKwMailMessage::ColumnFieldToDataString(TColumnField field) const {
  const TKwHeaders& h = *Headers;
  switch (field) {
    case cfSubmitDate: return DateTimeToLocaleString(GmtToLocal(h.SubmitDate.GmtDate));
    case cfDeliveryDate: return DateTimeToLocaleString(GmtToLocal(h.DeliveryDate.GmtDate));
    case cfFromName: return h.From.Name;
    case cfFromAddress: return h.From.Address;
    case cfToList: return h.ToList.Text();
    case cfToComma: return h.ToList.EmailAddressComma();
    case cfCCList: return h.CCList.Text();
    case cfCcComma: return h.CCList.EmailAddressComma();
    case cfSubject: return h.Subject;
    case cfHeaders: return JoinLines(h.Lines);
    case cfTextPart: return JoinLines(TextPart);
    case cfHtmlPart: return JoinLines(HtmlPart);
    case cfMessageId: return h.MessageID;
    case cfAttachCount: return std::to_string(Attachments->GetCount());
    case cfAttachList: return Attachments->GetText();
    case cfAttachComma: return Attachments->GetFileNamesDotComma();
    case cfPriority: return h.Priority == mpriHigh ? "True" : "False";
    case cfXMailer: return h.XMailer;
    case cfOrganization: return h.Organization;
    case cfReturnPath: return h.ReturnPath.Address;
    case cfEnvelopeTo: return h.EnvelopeTo.Address;
    case cfReplyTo: return h.ReplyTo.Address;
    case cfFilename: return SourceFilename;
    case cfFolderName: return FolderName;
    case cfLabels: return Labels;
    case cfFromIP: return h.FromIP;
    case cfBounceType: return BounceType;
    case cfBounceDescription: return BounceDescription;
    case cfBounceRecipient: return BounceRecipient;
    // Targets that need the saved file's name read LastSavedFilename directly.
    case cfLastSavedFile: return "";
  }
  return "";
}
