#pragma once
// TKwTargetAddressTable: the pass that rewrites e-mail addresses and domains in a message's
// address headers by two user tables ("old=new" lines) and hands the changed message on to
// its children. The changes are made on the message it receives, so they reach every child
// and every later target of the chain.
//
// Fields touched, in this order: From, Reply-To, Return-Path, each To, each Cc; Bcc and
// other headers never. Entries apply in list order and compare already changed fields
// again, so translations chain (a=b then b=c turns a into c). Comparison ignores case;
// the replacement is written as the entry gives it; a domain entry matches whole domains.
//
// A message read from MIME source also gets the rewritten header lines in its source, so
// exporters that write the source as it came (mbox, .eml) show the new addresses.

#include "uKwTargetBase.h"

class TKwTargetAddressTable : public TKwTargetMailPassBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetAddressTable"; }
  void Publish(TKwPublisher& publisher) override;
  void ProcessMessage(TKwMailMessage& message) override;

  // Applies both tables to the message; true when any field changed.
  bool TranslateAddresses(TKwMailMessage& message) const;

  TStringList AddressesList;  // old address=new address
  TStringList DomainsList;    // old domain=new domain
  bool EnableAddressTranslation = true;
  bool EnableDomainsTranslation = true;
};
