#pragma once
// Reads a PDF file into a message through poppler-cpp, the one place that includes its
// headers: the text of every page becomes the text body, files embedded in the PDF become
// attachments, and the document information (Title, Author, creation date) stands in for
// subject, sender and date, which is how the PDF export writes them. A PDF from anywhere
// else loads the same way, with whatever it carries.
//
// Damaged PDFs give false with an error; poppler's diagnostics never reach stderr. Any
// thread, one document per call.

#include <string>
#include <string_view>

class TKwMailMessage;

// Clears message first. password opens an encrypted PDF (as owner or user password).
bool LoadPdfFile(const std::string& fileName, TKwMailMessage& message, std::string& error,
                 std::string_view password = "");
