#include "uKwSourceUniqueIds.h"

#include "uKwActionLog.h"
#include "uKwEmailCache.h"
#include "uKwSourceLogDB.h"
#include "uKwStorageLocal.h"

bool TKwSourceUniqueIds::InitializeSourceFolders() {
  TStringList ids;
  SourceFolders->ForEach([&](TKwFolderNode& node) {
    const TStringList& list = node.Info().UniqueIdList;
    ids.insert(ids.end(), list.begin(), list.end());
  });
  LoadUniqueIdsFolders(*SourceFolders, ids);
  FProcessAllFolders = true;
  return true;
}

// The stores are where this source reads from, whatever the options say.
bool TKwSourceUniqueIds::InitializeExtraction() {
  if (!TKwSourceMailBase::InitializeExtraction()) return false;
  if (!FStorage) {
    FStorage = std::make_unique<TKwStorageLocal>();
    FStorage->Open();
  }
  if (!FCache) {
    FCache = std::make_unique<TKwEmailCacheExplorer>();
    FCache->Open();
  }
  return true;
}

// An id without a stored copy cannot be read; it is reported, never passed over quietly.
void TKwSourceUniqueIds::ProcessMailFolder(TKwFolderNode& folder) {
  TKwSourceMailBase::ProcessMailFolder(folder);
  TKwFolderInfo& info = folder.Info();
  const TStringList ids = info.UniqueIdList;
  const auto count = static_cast<int32_t>(ids.size());
  WalkFolderItems(folder, count, info.FolderPath, [&](int32_t number) {
    std::string uniqueId = ids[static_cast<size_t>(number - 1)], local;
    bool inStorage = false, inCache = false;
    if (!GetLocalFilename(uniqueId, "", local, inStorage, inCache)) {
      Log->AddErrorFull("Couldn't load message.", "Index: " + std::to_string(number) + " (no stored copy of " +
                        uniqueId + ")", "", info.GetFolderName(), "", "", 0);
      return;
    }
    TKwMailItem item;
    item.Index = number;
    item.Count = count;
    item.ItemId = local;
    item.UniqueId = std::move(uniqueId);
    ProcessMailItem(item, folder);
  });
}
