#pragma once
// Writes a message as an Outlook message file (.msg): an OLE2 compound file holding the
// message's properties (class IPM.Note, Unicode strings), one storage per recipient and
// per attachment, the MIME header lines as transport headers, the text body, the HTML
// body (UTF-8, code page 65001) and the dates. An attached message (".eml") is written as
// a nested message storage, as Outlook does, up to kMaxEmbeddedDepth levels; deeper ones
// stay plain attachments. Pure function of the message; any thread.

#include <string>

class TKwMailMessage;

inline constexpr int kMaxEmbeddedDepth = 3;

// Replaces fileName. False with error when it cannot be written.
bool WriteMsgFile(const TKwMailMessage& message, const std::string& fileName, std::string& error);
