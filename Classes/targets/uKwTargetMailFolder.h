#pragma once
// The "Folder" pass: groups targets in the tree and hands each message to all of them.

#include "uKwTargetBase.h"

class TKwTargetMailFolder : public TKwTargetMailPassBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailFolder"; }
  TKwDecodeDepth OwnDecodeDepth() const override { return TKwDecodeDepth::Headers; }

 protected:
  bool KeepsOwnCopy() const override { return false; }
};
