#pragma once
// The table writers of the text formats: plain text with a separator or in fixed-width
// columns, an XML document and an HTML page. Each writes a header row of column names and
// then every row in order into fileName (created or truncated), holding one row at a time,
// and throws std::runtime_error when the file cannot be written or the rows not read.

#include <string>

#include "uKwTableWriter.h"

// Plain text in UTF-8 as the values come (invalid bytes are kept), lines ended by CR LF.
// Separated columns: a value holding the separator, a double quote or a line break is put
// in double quotes with its quotes doubled. Fixed-width columns: no separator, line breaks
// inside values become spaces, every column padded with spaces to its widest value in
// characters (the rows are spooled to a temporary file to learn the widths first).
void WriteTextTable(const std::string& fileName, TKwTableRows& rows,
                    const TKwTableWriteOptions& options, TKwTableWriteResult& result);

// <table><row><Column>text</Column>...</row>...</table> in UTF-8. A column name that is not
// a valid element name is made one and kept whole in the attribute name="...". Dates are
// ISO 8601 local times; NULL is an empty element.
void WriteXmlTable(const std::string& fileName, TKwTableRows& rows, TKwTableWriteResult& result);

// A complete HTML5 page in UTF-8 whose one table has the column names in th cells and one
// tr per row; line breaks in values show as <br>.
void WriteHtmlTable(const std::string& fileName, const std::string& title, TKwTableRows& rows,
                    TKwTableWriteResult& result);
