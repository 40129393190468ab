#include "uKwTableWriterText.h"

#include <algorithm>

#include "uKwTableCells.h"
#include "uKwUtf8.h"

namespace {

constexpr std::string_view kLineEnd = "\r\n";

// ---- Plain text ----

// The first character of the user's separator; none given reads as code 0, as an unset
// one-character setting does.
std::string UserSeparator(const std::string& other) {
  if (other.empty()) return std::string(1, '\0');
  size_t length = 1;
  while (length < other.size() && (static_cast<unsigned char>(other[length]) & 0xC0) == 0x80)
    ++length;
  return other.substr(0, length);
}

std::string Separator(const TKwTableWriteOptions& options) {
  switch (options.Delimiter) {
    case cfdNone:
      return std::string(1, '\0');
    case cdfFixed:
      return {};
    case cfdTab:
      return "\t";
    case cfdSemicolon:
      return ";";
    case cfdComma:
      return ",";
    case cfdSpace:
      return " ";
    case cfdUserDefined:
      return UserSeparator(options.OtherDelimiter);
  }
  return "\t";
}

std::string QuotedIfNeeded(const std::string& value, const std::string& separator) {
  const bool needsQuotes = value.find(separator) != std::string::npos ||
                           value.find_first_of("\"\r\n") != std::string::npos;
  if (!needsQuotes) return value;
  std::string quoted = "\"";
  for (const char c : value) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

// One line of a fixed-width file may not break, so each line break becomes a space.
std::string OnOneLine(const std::string& value) {
  std::string line;
  line.reserve(value.size());
  for (size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '\r' && i + 1 < value.size() && value[i + 1] == '\n') continue;
    line += value[i] == '\r' || value[i] == '\n' ? ' ' : value[i];
  }
  return line;
}

std::vector<std::string> HeaderTexts(const std::vector<TKwTableColumn>& columns) {
  std::vector<std::string> names;
  for (const TKwTableColumn& column : columns) names.push_back(column.Name);
  return names;
}

std::vector<std::string> RowTexts(const TKwTableRow& row, const std::vector<TKwTableColumn>& columns,
                                  TKwDateText dateText) {
  std::vector<std::string> texts(columns.size());
  for (size_t i = 0; i < columns.size(); ++i)
    texts[i] = CellText(row[i], columns[i].Kind, dateText);
  return texts;
}

void WriteSeparatedLine(TKwOutputFile& file, const std::vector<std::string>& texts,
                        const std::string& separator) {
  for (size_t i = 0; i < texts.size(); ++i) {
    if (i > 0) file.Write(separator);
    file.Write(QuotedIfNeeded(texts[i], separator));
  }
  file.Write(kLineEnd);
}

void WriteSeparated(TKwOutputFile& file, TKwTableRows& rows, const std::string& separator,
                    TKwDateText dateText, TKwTableWriteResult& result) {
  const auto& columns = rows.Columns();
  WriteSeparatedLine(file, HeaderTexts(columns), separator);
  TKwTableRow row;
  while (rows.Next(row)) {
    WriteSeparatedLine(file, RowTexts(row, columns, dateText), separator);
    ++result.Rows;
  }
}

void WritePaddedLine(TKwOutputFile& file, TKwSpoolFile& spool, const std::vector<size_t>& widths) {
  std::string line;
  for (const size_t width : widths) {
    const std::string text = spool.ReadString();
    line += text;
    line.append(width - CodePointCount(text), ' ');
  }
  file.Write(line);
  file.Write(kLineEnd);
}

void SpoolLine(TKwSpoolFile& spool, const std::vector<std::string>& texts, std::vector<size_t>& widths) {
  for (size_t i = 0; i < texts.size(); ++i) {
    const std::string text = OnOneLine(texts[i]);
    widths[i] = std::max(widths[i], CodePointCount(text));
    spool.WriteString(text);
  }
}

void WriteFixedWidth(TKwOutputFile& file, TKwTableRows& rows, TKwDateText dateText, TKwTableWriteResult& result) {
  const auto& columns = rows.Columns();
  std::vector<size_t> widths(columns.size(), 0);
  TKwSpoolFile spool;
  SpoolLine(spool, HeaderTexts(columns), widths);
  TKwTableRow row;
  int64_t count = 0;
  while (rows.Next(row)) {
    SpoolLine(spool, RowTexts(row, columns, dateText), widths);
    ++count;
  }
  spool.Rewind();
  for (int64_t line = 0; line <= count; ++line) WritePaddedLine(file, spool, widths);
  result.Rows = count;
}

// ---- XML and HTML ----

void AppendEscaped(std::string& out, std::string_view text, bool inAttribute) {
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += inAttribute ? "&quot;" : "\"";
        break;
      case '\r':  // a parser would turn a bare CR into LF
        out += "&#13;";
        break;
      case '\n':
        out += inAttribute ? "&#10;" : "\n";
        break;
      case '\t':
        out += inAttribute ? "&#9;" : "\t";
        break;
      default:
        out += c;
    }
  }
}

bool IsNameStartCharacter(char32_t c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || (c >= 0xC0 && c <= 0xD6) ||
         (c >= 0xD8 && c <= 0xF6) || (c >= 0xF8 && c <= 0x2FF) || (c >= 0x370 && c <= 0x37D) ||
         (c >= 0x37F && c <= 0x1FFF) || (c >= 0x200C && c <= 0x200D) ||
         (c >= 0x2070 && c <= 0x218F) || (c >= 0x2C00 && c <= 0x2FEF) ||
         (c >= 0x3001 && c <= 0xD7FF) || (c >= 0xF900 && c <= 0xFDCF) ||
         (c >= 0xFDF0 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0xEFFFF);
}

bool IsNameCharacter(char32_t c) {
  return IsNameStartCharacter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == 0xB7 ||
         (c >= 0x300 && c <= 0x36F) || (c >= 0x203F && c <= 0x2040);
}

// An element name for a column: characters a name may not hold become "_"; a name that
// would start badly, or with the reserved "xml", gets a leading "_". Colons go too, since
// a namespace-aware reader takes them for a prefix.
std::string ElementName(const std::string& columnName) {
  const std::u16string units = Utf8ToUtf16(XmlText(columnName));
  std::u32string name;
  for (size_t i = 0; i < units.size(); ++i) {
    char32_t c = units[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units.size())
      c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00);
    name += IsNameCharacter(c) ? c : U'_';
  }
  const bool reserved = name.size() >= 3 && (name[0] | 0x20) == 'x' && (name[1] | 0x20) == 'm' &&
                        (name[2] | 0x20) == 'l';
  if (name.empty() || !IsNameStartCharacter(name[0]) || reserved) name.insert(name.begin(), U'_');
  std::string utf8;
  for (const char32_t c : name) {
    AppendUtf8(utf8, c);
  }
  return utf8;
}

struct TXmlColumn {
  std::string Open, Close, Empty;
};

std::vector<TXmlColumn> XmlColumns(const std::vector<TKwTableColumn>& columns) {
  std::vector<TXmlColumn> tags;
  for (const TKwTableColumn& column : columns) {
    const std::string element = ElementName(column.Name);
    std::string attributes;
    if (element != column.Name) {
      attributes = " name=\"";
      AppendEscaped(attributes, XmlText(column.Name), true);
      attributes += '"';
    }
    tags.push_back({"<" + element + attributes + ">", "</" + element + ">",
                    "<" + element + attributes + "/>"});
  }
  return tags;
}

std::string XmlRow(const TKwTableRow& row, const std::vector<TKwTableColumn>& columns,
                   const std::vector<TXmlColumn>& tags) {
  std::string out = "  <row>\n";
  for (size_t i = 0; i < columns.size(); ++i) {
    out += "    ";
    if (std::holds_alternative<std::monostate>(row[i])) {
      out += tags[i].Empty;
    } else {
      out += tags[i].Open;
      AppendEscaped(out, XmlText(CellText(row[i], columns[i].Kind, TKwDateText::Iso)), false);
      out += tags[i].Close;
    }
    out += '\n';
  }
  return out + "  </row>\n";
}

// Escaped HTML text with each line break (CR LF, CR or LF) shown as <br>.
std::string HtmlText(const std::string& value) {
  std::string out;
  const std::string text = XmlText(value);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' || text[i] == '\n') {
      if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
      out += "<br>";
    } else {
      AppendEscaped(out, std::string_view(&text[i], 1), true);
    }
  }
  return out;
}

constexpr std::string_view kHtmlStyle =
    "table{border-collapse:collapse}"
    "th,td{border:1px solid #999;padding:2px 6px;vertical-align:top;text-align:start;"
    "unicode-bidi:plaintext}"
    "th{background:#eee}";

}  // namespace

void WriteTextTable(const std::string& fileName, TKwTableRows& rows,
                    const TKwTableWriteOptions& options, TKwTableWriteResult& result) {
  TKwOutputFile file(fileName);
  if (options.Delimiter == cdfFixed)
    WriteFixedWidth(file, rows, options.DateText, result);
  else
    WriteSeparated(file, rows, Separator(options), options.DateText, result);
  file.Close();
}

void WriteXmlTable(const std::string& fileName, TKwTableRows& rows, TKwTableWriteResult& result) {
  TKwOutputFile file(fileName);
  const auto& columns = rows.Columns();
  const std::vector<TXmlColumn> tags = XmlColumns(columns);
  file.Write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<table>\n");
  TKwTableRow row;
  while (rows.Next(row)) {
    file.Write(XmlRow(row, columns, tags));
    ++result.Rows;
  }
  file.Write("</table>\n");
  file.Close();
}

void WriteHtmlTable(const std::string& fileName, const std::string& title, TKwTableRows& rows,
                    TKwTableWriteResult& result) {
  TKwOutputFile file(fileName);
  const auto& columns = rows.Columns();
  std::string head = "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n<title>" +
                     HtmlText(title) + "</title>\n<style>" + std::string(kHtmlStyle) +
                     "</style>\n</head>\n<body>\n<table>\n<thead>\n<tr>";
  for (const TKwTableColumn& column : columns) head += "<th>" + HtmlText(column.Name) + "</th>";
  file.Write(head + "</tr>\n</thead>\n<tbody>\n");
  TKwTableRow row;
  while (rows.Next(row)) {
    std::string line = "<tr>";
    for (size_t i = 0; i < columns.size(); ++i)
      line += "<td>" + HtmlText(CellText(row[i], columns[i].Kind, TKwDateText::Locale)) + "</td>";
    file.Write(line + "</tr>\n");
    ++result.Rows;
  }
  file.Write("</tbody>\n</table>\n</body>\n</html>\n");
  file.Close();
}
