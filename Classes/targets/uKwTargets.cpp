#include "uKwTargets.h"

#include <typeinfo>




void TKwTargetMailSMTP::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Enum("ForwardSubject", ForwardSubject);
  p.String("From", From);
  p.Boolean("IncludeMessageAsAttachment", IncludeMessageAsAttachment);
  p.Boolean("IncludeMessageBody", IncludeMessageBody);
  p.String("Recipients", Recipients);
  p.Object("Remote", *Remote);
  p.String("Subject", Subject);
  p.Strings("TopPostedBody", TopPostedBody);
}

void TKwTargetMailIMAP::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Boolean("IncludeImagesInTarget", IncludeImagesInTarget);
  p.Object("Remote", *Remote);
  p.Enum("SubFolderStructure", SubFolderStructure);
  p.String("TargetRootFolder", TargetRootFolder);
}

void TKwTargetMailEDataSendEmail::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.String("Body", Body);
  p.String("From", From);
  p.String("Recipient", Recipient);
  p.String("Subject", Subject);
  p.Object("Remote", *Remote);
}

