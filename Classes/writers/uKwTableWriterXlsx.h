#pragma once
// The Excel workbook (xlsx) table writer, over libxlsxwriter in its constant-memory mode:
// rows go to disk as they come. Only this unit includes the library's header.

#include <string>

#include "uKwTableWriter.h"

// Header row in bold, then one row per record: dates as Excel dates with a date-time format
// (dates before 1900 as ISO text, which Excel cannot date), integers and floats as numbers,
// Booleans as Booleans, text as text. A text longer than Excel's cell limit is cut there,
// and more than a sheet's rows or columns continue on a new sheet, each with a warning.
// Throws std::runtime_error when the workbook cannot be written.
void WriteXlsxTable(const std::string& fileName, TKwTableRows& rows, TKwTableWriteResult& result);
