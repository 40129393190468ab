#include "uKwPdfReader.h"

#include <poppler/cpp/poppler-document.h>
#include <poppler/cpp/poppler-embedded-file.h>
#include <poppler/cpp/poppler-global.h>
#include <poppler/cpp/poppler-page.h>

#include <memory>
#include <mutex>

#include "uKwDateTime.h"
#include "uKwMailMessage.h"
#include "uKwSubs.h"

namespace {

constexpr int kMaxPages = 10000;
constexpr double kUnixEpochDays = 25569.0;  // 1970-01-01 as a TDateTime

void SilencePoppler() {
  static std::once_flag silenced;
  std::call_once(silenced, [] { poppler::set_debug_error_function([](const std::string&, void*) {}, nullptr); });
}

std::string Utf8(const poppler::ustring& text) {
  const poppler::byte_array bytes = text.to_utf8();
  std::string out(bytes.begin(), bytes.end());
  while (!out.empty() && out.back() == '\0') out.pop_back();
  return out;
}

TStringList SplitLines(const std::string& text) {
  TStringList lines;
  size_t start = 0;
  for (;;) {
    const size_t end = text.find('\n', start);
    std::string line = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty() && line.back() == '\f') line.pop_back();
    lines.push_back(std::move(line));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}

void FillHeaders(const poppler::document& document, TKwMailMessage& message) {
  TKwHeaders& headers = *message.Headers;
  headers.Subject = Utf8(document.info_key("Title"));
  const std::string author = Utf8(document.info_key("Author"));
  if (!author.empty()) headers.From.SetEmailAddress(author);
  const time_t created = document.info_date_t("CreationDate");
  if (created > 0) headers.SubmitDate.GmtDate = kUnixEpochDays + static_cast<double>(created) / 86400.0;
  headers.EncodeHeaders(false);
}

}  // namespace

bool LoadPdfFile(const std::string& fileName, TKwMailMessage& message, std::string& error,
                 std::string_view password) {
  SilencePoppler();
  message.Clear();
  const std::string secret(password);
  std::unique_ptr<poppler::document> document(poppler::document::load_from_file(fileName, secret, secret));
  if (!document) {
    error = "Not a readable PDF file";
    return false;
  }
  if (document->is_locked() && !document->unlock(secret, secret)) {
    error = "The PDF file is protected by a password";
    return false;
  }
  FillHeaders(*document, message);
  std::string text;
  const int pages = std::min(document->pages(), kMaxPages);
  for (int i = 0; i < pages; ++i) {
    std::unique_ptr<poppler::page> page(document->create_page(i));
    if (!page) continue;
    if (i > 0) text += "\n";
    text += Utf8(page->text(poppler::rectf(), poppler::page::physical_layout));
  }
  message.TextPart = SplitLines(text);
  message.TextPartCharset = "utf-8";
  if (document->has_embedded_files()) {
    for (poppler::embedded_file* file : document->embedded_files()) {
      if (file == nullptr || !file->is_valid()) continue;
      const poppler::byte_array data = file->data();
      std::string name = ReplaceInvalidCharactersFilename(file->name(), "_");
      if (name.empty()) name = "attachment.dat";
      message.Attachments->AddFromStream(std::string(data.begin(), data.end()), name);
    }
  }
  message.ParseTextAndHtmlParts();
  return true;
}
