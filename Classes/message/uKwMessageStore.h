#pragma once
// A folder of messages kept once each under their unique ids, in the compressed message
// stream, with an SQLite index ("index.db3") of ids, the source files they came from, and
// the headers and filter data a source asks for before loading a message. The e-mail
// cache and the local storage are two such stores in two data folders.
//
// Owns its database connection and statements (prepared once per open). One thread.

#include <memory>
#include <string>

#include "uKwSqlite.h"
#include "uKwTypes.h"

class TKwMailMessage;

// What the store remembers of a message without opening its file.
struct TKwStoredSummary {
  std::string UniqueId, From, Subject, SourceFile;
  TDateTime LocalDate = 0;
  int64_t Size = 0;
};

class TKwMessageStore {
 public:
  // folder: where the store lives (with a trailing "/"); created on Open.
  explicit TKwMessageStore(std::string folder);
  virtual ~TKwMessageStore();
  TKwMessageStore(const TKwMessageStore&) = delete;
  TKwMessageStore& operator=(const TKwMessageStore&) = delete;

  // False with ErrorText when the folder or its index cannot be created or opened.
  bool Open();
  bool ExistMessage(const std::string& uniqueId);
  // The stored message file of an id ("" when not stored).
  std::string GetFilename(const std::string& uniqueId);
  // The id stored for a message that came from sourceFile ("" when none).
  std::string GetUniqueIdFromFilename(const std::string& sourceFile);
  bool LoadSummary(const std::string& uniqueId, TKwStoredSummary& summary);
  // Stores the message once: an id already present keeps its first copy (true).
  bool AddMessage(TKwMailMessage& message, const std::string& uniqueId, const std::string& sourceFile);
  // Records one more file that holds the stored message uniqueId (a copy a target wrote),
  // so that GetUniqueIdFromFilename finds it by that file too. False when the id is not
  // stored.
  bool AddFilename(const std::string& uniqueId, const std::string& fileName);
  // Loads a stored message; false when absent or unreadable.
  bool LoadMessage(const std::string& uniqueId, TKwMailMessage& message);

  const std::string& Folder() const { return FFolder; }
  const std::string& ErrorText() const { return FErrorText; }

 private:
  bool Fail(const std::string& text);
  std::string MessagePath(const std::string& uniqueId) const;

  std::string FFolder;
  std::string FErrorText;
  TKwSqliteDatabase FDatabase;
  TKwSqliteStatement FFind, FFindBySource, FInsert, FInsertFile;
};
