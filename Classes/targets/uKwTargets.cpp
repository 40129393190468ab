#include "uKwTargets.h"

#include <typeinfo>




void TKwTargetMailIMAP::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Boolean("IncludeImagesInTarget", IncludeImagesInTarget);
  p.Object("Remote", *Remote);
  p.Enum("SubFolderStructure", SubFolderStructure);
  p.String("TargetRootFolder", TargetRootFolder);
}

