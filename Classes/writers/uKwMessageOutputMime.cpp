#include "uKwMessageOutputMime.h"

#include <gmime/gmime.h>

#include "uKwGMime.h"

namespace {

using TObjectPtr = TGObjectPtr<GMimeObject>;

struct TGFree {
  void operator()(void* memory) const noexcept { g_free(memory); }
};

struct TMimeTypeEntry {
  std::string_view Extension;
  std::string_view Type;
};

constexpr TMimeTypeEntry kMimeTypes[] = {
    {"png", "image/png"},        {"jpg", "image/jpeg"},       {"jpeg", "image/jpeg"},
    {"jpe", "image/jpeg"},       {"gif", "image/gif"},        {"bmp", "image/bmp"},
    {"tif", "image/tiff"},       {"tiff", "image/tiff"},      {"emf", "image/emf"},
    {"svg", "image/svg+xml"},    {"webp", "image/webp"},      {"ico", "image/x-icon"},
    {"pdf", "application/pdf"},  {"txt", "text/plain"},       {"htm", "text/html"},
    {"html", "text/html"},       {"csv", "text/csv"},         {"xml", "text/xml"},
    {"rtf", "application/rtf"},  {"zip", "application/zip"},  {"7z", "application/x-7z-compressed"},
    {"gz", "application/gzip"},  {"doc", "application/msword"},
    {"docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {"xls", "application/vnd.ms-excel"},
    {"xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {"ppt", "application/vnd.ms-powerpoint"},
    {"pptx", "application/vnd.openxmlformats-officedocument.presentationml.presentation"},
    {"ics", "text/calendar"},    {"vcf", "text/vcard"},       {"mp3", "audio/mpeg"},
    {"wav", "audio/wav"},        {"mp4", "video/mp4"},        {"json", "application/json"}};

std::string AsciiLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  return lower;
}

std::string Utf8OrRepaired(std::string_view text) {
  return IsValidUtf8(text) ? std::string(text) : RepairUtf8AsLatin1(text);
}

void SetContent(GMimePart* part, std::string_view bytes) {
  TGObjectPtr<GMimeStream> stream(
      g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size()));
  TGObjectPtr<GMimeDataWrapper> wrapper(
      g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
  g_mime_part_set_content(part, wrapper.get());
}

TObjectPtr NewTextPart(const char* subtype, const std::string& utf8) {
  GMimeTextPart* part = g_mime_text_part_new_with_subtype(subtype);
  TObjectPtr object(GMIME_OBJECT(part));
  SetContent(GMIME_PART(part), utf8);
  g_mime_object_set_content_type_parameter(object.get(), "charset", "utf-8");
  g_mime_part_set_content_encoding(
      GMIME_PART(part), g_mime_part_get_best_content_encoding(GMIME_PART(part), GMIME_ENCODING_CONSTRAINT_7BIT));
  return object;
}

TObjectPtr NewFilePart(const TKwMimeOutputPart& source) {
  const std::string type = MimeTypeOfFileName(source.FileName);
  const size_t slash = type.find('/');
  GMimePart* part = g_mime_part_new_with_type(type.substr(0, slash).c_str(), type.substr(slash + 1).c_str());
  TObjectPtr object(GMIME_OBJECT(part));
  SetContent(part, source.Bytes);
  g_mime_part_set_content_encoding(part, GMIME_CONTENT_ENCODING_BASE64);
  g_mime_object_set_disposition(object.get(), source.IsInline ? "inline" : "attachment");
  if (!source.FileName.empty()) g_mime_part_set_filename(part, Utf8OrRepaired(source.FileName).c_str());
  if (!source.ContentId.empty())
    g_mime_object_set_content_id(object.get(), std::string(source.ContentId).c_str());
  return object;
}

TObjectPtr NewMultipart(const char* subtype, std::vector<TObjectPtr> children) {
  TObjectPtr multipart(GMIME_OBJECT(g_mime_multipart_new_with_subtype(subtype)));
  for (const TObjectPtr& child : children) g_mime_multipart_add(GMIME_MULTIPART(multipart.get()), child.get());
  return multipart;
}

bool IsRelatedPart(const TKwMimeOutputPart& part, bool hasHtml) {
  return hasHtml && part.IsInline && !part.ContentId.empty();
}

// The HTML body with its inline parts; null when there is no HTML.
TObjectPtr BuildHtmlNode(const TKwMimeOutputMessage& message) {
  if (!message.HtmlBody) return nullptr;
  std::vector<TObjectPtr> related;
  related.push_back(NewTextPart("html", Utf8OrRepaired(*message.HtmlBody)));
  for (const TKwMimeOutputPart& part : message.Parts)
    if (IsRelatedPart(part, true)) related.push_back(NewFilePart(part));
  if (related.size() == 1 && !message.WebArchive) return std::move(related.front());
  TObjectPtr node = NewMultipart("related", std::move(related));
  g_mime_object_set_content_type_parameter(node.get(), "type", "text/html");
  return node;
}

TObjectPtr BuildBody(const TKwMimeOutputMessage& message) {
  TObjectPtr html = BuildHtmlNode(message);
  if (message.WebArchive) return html ? std::move(html) : NewTextPart("html", "");
  TObjectPtr text = message.TextBody ? NewTextPart("plain", Utf8OrRepaired(*message.TextBody)) : nullptr;
  TObjectPtr body;
  if (text && html) {
    std::vector<TObjectPtr> alternatives;
    alternatives.push_back(std::move(text));
    alternatives.push_back(std::move(html));
    body = NewMultipart("alternative", std::move(alternatives));
  } else {
    body = text ? std::move(text) : html ? std::move(html) : NewTextPart("plain", "");
  }
  std::vector<TObjectPtr> mixed;
  for (const TKwMimeOutputPart& part : message.Parts)
    if (!IsRelatedPart(part, message.HtmlBody.has_value())) mixed.push_back(NewFilePart(part));
  if (mixed.empty()) return body;
  mixed.insert(mixed.begin(), std::move(body));
  return NewMultipart("mixed", std::move(mixed));
}

void AppendSplitLines(TStringList& lines, std::string_view text) {
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.emplace_back(line);
    start = end + 1;
  }
}

bool IsMimeHeader(std::string_view line) {
  const std::string lower = AsciiLower(line.substr(0, 13));
  return lower.starts_with("mime-version:") || lower.starts_with("content-");
}

}  // namespace

std::string MimeTypeOfFileName(std::string_view fileName) {
  const size_t dot = fileName.rfind('.');
  const size_t slash = fileName.find_last_of("/\\");
  if (dot == std::string_view::npos || (slash != std::string_view::npos && dot < slash))
    return "application/octet-stream";
  const std::string extension = AsciiLower(fileName.substr(dot + 1));
  for (const TMimeTypeEntry& entry : kMimeTypes)
    if (entry.Extension == extension) return std::string(entry.Type);
  return "application/octet-stream";
}

TStringList FoldHeaderLine(std::string_view line) {
  constexpr size_t kFoldWidth = 78;
  TStringList folded;
  const size_t colon = line.find(':');
  size_t minimum = colon == std::string_view::npos ? 1 : colon + 2;  // never fold inside the name
  while (line.size() > kFoldWidth) {
    size_t cut = kFoldWidth;
    while (cut > minimum && line[cut] != ' ' && line[cut] != '\t') --cut;
    if (cut <= minimum) {  // no blank in reach: fold at the next one, however far
      cut = line.find_first_of(" \t", kFoldWidth);
      if (cut == std::string_view::npos) break;
    }
    folded.emplace_back(line.substr(0, cut));
    line.remove_prefix(cut);
    minimum = 1;
  }
  folded.emplace_back(line);
  return folded;
}

TStringList BuildMimeLines(const TKwMimeOutputMessage& message) {
  EnsureGMimeInitialized();
  TStringList lines;
  for (const std::string& header : message.HeaderLines) {
    if (IsMimeHeader(header)) continue;
    for (std::string& piece : FoldHeaderLine(header)) lines.push_back(std::move(piece));
  }
  lines.emplace_back("MIME-Version: 1.0");
  const TObjectPtr body = BuildBody(message);
  TGMimeFormatOptionsPtr options(g_mime_format_options_new());
  g_mime_format_options_set_newline_format(options.get(), GMIME_NEWLINE_FORMAT_DOS);
  const std::unique_ptr<char, TGFree> text(g_mime_object_to_string(body.get(), options.get()));
  if (text) AppendSplitLines(lines, text.get());
  return lines;
}
