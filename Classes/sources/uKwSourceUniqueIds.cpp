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

void TKwSourceUniqueIds::ProcessMailFolder(TKwFolderNode& folder) {
  TKwSourceMailBase::ProcessMailFolder(folder);
  TKwFolderInfo& info = folder.Info();
  const TStringList& ids = info.UniqueIdList;
  const auto count = static_cast<int32_t>(ids.size());
  info.MessagesCount = count;
  TriggerFolderEvent(info.GetFolderName(), count);
  Log->FoldersList.push_back(info.FolderPath + "=" + std::to_string(count));
  TKwFilterRangeOptions& range = *Filters->Range;
  TKwFilterSampling& sampling = *Filters->Sampling;
  if (sampling.Enabled) sampling.InitializeRandomList(count);
  TKwUniqueIdsWalk walk;
  walk.Aborted = [this] { return IsAborted(); };
  walk.InsideLimit = [&](int index, int total) { return !range.Enabled || range.InsideLimit(index + 1, total); };
  walk.PassesFilters = [&](int index, int total) {
    return (!range.Enabled || range.Check(index + 1, total)) && sampling.Check(index + 1);
  };
  walk.GetLocalFilename = [this](const std::string& uniqueId) {
    std::string local;
    bool inStorage = false, inCache = false;
    GetLocalFilename(uniqueId, "", local, inStorage, inCache);
    return local;
  };
  walk.ProcessMailItem = [&](int itemNumber, const std::string& fileName) {
    TKwMailItem item;
    item.Index = itemNumber;
    item.Count = count;
    item.ItemId = fileName;
    item.UniqueId = ids[static_cast<size_t>(itemNumber - 1)];
    ProcessMailItem(item, folder);
  };
  WalkUniqueIds(ids, walk);
}
