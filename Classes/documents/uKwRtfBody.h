#pragma once
// The RTF body of Outlook message files: the compressed form (PR_RTF_COMPRESSED, the
// "LZFu" scheme with its 207-byte preset dictionary, or "MELA" stored uncompressed), and
// the two readings of RTF a message needs: the HTML that Outlook encapsulated in it
// (\fromhtml1) and plain text. Pure functions; any thread; hostile input is cut short,
// never overrun.

#include <string>
#include <string_view>

// The RTF text, or false when the bytes are no compressed RTF. Output is capped at the
// size the header announces (and at 64 MiB).
bool DecompressRtf(std::string_view compressed, std::string& rtf);

// HTML encapsulated with \fromhtml1; false when the RTF holds none.
bool RtfExtractHtml(std::string_view rtf, std::string& html);
// The RTF's text: paragraphs and line breaks as "\n", tables' cells as tabs; font tables,
// pictures and other destinations left out. UTF-8.
std::string RtfToText(std::string_view rtf);
