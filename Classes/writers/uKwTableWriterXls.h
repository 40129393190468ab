#pragma once
// The Excel 97-2003 (xls) table writer: a BIFF8 workbook stream, built here record by
// record, in an OLE2 compound file written by libgsf. Rows go to temporary spool files as
// they come (one per sheet, one for the shared strings), and the stream is put together
// when the rows are done, so a table of any length is held one row at a time.
// Only this unit includes the library's headers.

#include <string>

#include "uKwTableWriter.h"

// Header row in bold, then one row per record: text through the shared string table
// (a text longer than the cell limit is cut there, with a warning), integers as RK or
// NUMBER, floats as NUMBER, dates as numbers with a date-time format (dates before 1900 as
// ISO text), Booleans as Boolean cells. A sheet holds 65,536 rows and 256 columns: more
// rows continue on new sheets, each starting with the header row again, and more columns
// are left out, each with a warning. Throws std::runtime_error when the file cannot be
// written.
void WriteXlsTable(const std::string& fileName, TKwTableRows& rows, TKwTableWriteResult& result);
