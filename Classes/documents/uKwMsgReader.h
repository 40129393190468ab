#pragma once
// Reads an Outlook message file (.msg) into a message: ours and those Outlook and other
// tools write. Headers come from the transport headers when the file has them, the
// rest from the properties (subject, sender, recipients, dates, Message-ID, importance);
// bodies from the Unicode or 8-bit text body, the HTML body (in the file's code page) and,
// when neither HTML nor text is there, the compressed RTF body (its encapsulated HTML, or
// its text). Attachments by value keep their names, content ids and kinds; attached
// messages (nested storages) become ".eml" attachments rebuilt as MIME.
//
// Hostile input is expected: sizes, depth and entry counts are capped and a damaged file
// gives false with an error, never a crash. Any thread, one message per call.

#include <string>
#include <string_view>

class TKwMailMessage;

// Clears message first. False with error when the file is no readable message file.
bool LoadMsgFile(const std::string& fileName, TKwMailMessage& message, std::string& error);
bool LoadMsgBytes(std::string_view bytes, TKwMailMessage& message, std::string& error);
