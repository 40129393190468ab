#pragma once
// OLE2 compound files (structured storage) through libgsf, the one place that includes its
// headers: a whole file read into a tree of storages and streams, or a tree written out.
// Outlook message files are the users; the tree is small enough to hold in memory.
//
// Reading never trusts the file: depth, entry count and total bytes are capped, and a
// damaged file gives false with an error, never a crash. Pure functions; any thread.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One entry of a compound file: a storage (with children) or a stream (with data).
struct TKwOleNode {
  std::string Name;  // UTF-8
  bool IsStorage = false;
  std::string Data;  // a stream's bytes
  std::vector<TKwOleNode> Children;

  TKwOleNode& AddStorage(std::string name);
  TKwOleNode& AddStream(std::string name, std::string data);
  // The direct child of that name, or null.
  const TKwOleNode* Child(std::string_view name) const;
  const std::string* StreamData(std::string_view name) const;
};

using TKwOleClassId = std::array<uint8_t, 16>;

// Writes root (a storage) as a compound file with 512-byte sectors and 64-byte mini
// sectors, replacing fileName; classId is the root's CLSID. False with error.
bool WriteCompoundFile(const std::string& fileName, const TKwOleNode& root, const TKwOleClassId& classId,
                       std::string& error);

struct TKwOleReadLimits {
  int MaxDepth = 16;
  int MaxEntries = 20000;
  int64_t MaxTotalBytes = int64_t{1} << 30;
};

// The whole compound file as a tree under root (named "Root Entry"). False with error for
// a file that is no compound file, is damaged or goes past the limits.
bool ReadCompoundFile(const std::string& fileName, TKwOleNode& root, std::string& error,
                      const TKwOleReadLimits& limits = {});
bool ReadCompoundBytes(std::string_view bytes, TKwOleNode& root, std::string& error,
                       const TKwOleReadLimits& limits = {});
