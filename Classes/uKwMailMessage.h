#pragma once
// The one in-memory form of an e-mail that flows from sources through passes to
// targets: decoded headers, bodies, and the facts derived from them. A source reuses one
// message for every item; each target keeps its own copy (Assign).
//
// Owns its headers and lists. Used from one thread.

#include <memory>
#include <string>

#include "uKwHeaders.h"
#include "uKwPersistent.h"
#include "uKwTypes.h"

// The minimal message that the local storage and the e-mail cache keep.
class TKwBaseMessage : public TKwPersistent {
 public:
  TKwBaseMessage();
  ~TKwBaseMessage() override;
  std::string_view ClassName() const override { return "TKwBaseMessage"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;
  // Empties headers, bodies, categories and SourceFilename; the charsets are kept.
  virtual void Clear();

  TStringList Categories;
  const std::unique_ptr<TKwHeaders> Headers = std::make_unique<TKwHeaders>();
  TStringList HtmlPart;
  std::string HtmlPartCharset;
  std::string SourceFilename;
  TStringList TextPart;
  std::string TextPartCharset;
};

class TKwMailMessage : public TKwBaseMessage {
 public:
  std::string_view ClassName() const override { return "TKwMailMessage"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;
  void Clear() override;

  // The text of one exportable column.
  std::string ColumnFieldToDataString(TColumnField field) const;

  int32_t Counter = 0;  // running number within a run
  bool SourceIsMime = false;
  TStringList SourceLines;  // the raw MIME source, one line per item
  TStringList WordsList;

  std::string TempFolder;  // working folder for temporary files
  std::string FolderName;  // the source folder the message came from
  std::string Labels;
  std::string LastSavedFilename;
};
