#pragma once
// The local storage: a source's own copy of every message it extracted, kept under its
// unique id in the "LocalStorage/" data folder. Switched on by the source option
// CopyToStorage or the global option UseLocalStorage.

#include "uKwMessageStore.h"
#include "uKwRegFolders.h"

class TKwStorageLocal : public TKwMessageStore {
 public:
  TKwStorageLocal() : TKwMessageStore(GetLocalStorageFolder()) {}
  // Same as AddMessage: the storage keeps one copy per id.
  bool Store(TKwMailMessage& message, const std::string& uniqueId, const std::string& sourceFile) {
    return AddMessage(message, uniqueId, sourceFile);
  }
  std::string GetFileName(const std::string& uniqueId) { return GetFilename(uniqueId); }
};
