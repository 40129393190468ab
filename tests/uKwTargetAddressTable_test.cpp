// The address table: which fields it rewrites, in which order its entries apply, and that
// the rewritten addresses reach an mbox written after it.

#include "uKwTargetAddressTable.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwFoldersTree.h"
#include "uKwHeaders.h"
#include "uKwMailMessage.h"
#include "uKwParameters.h"
#include "uKwSourceMbox.h"
#include "uKwTargetMbox.h"

namespace {

const char kMessage[] =
    "Return-Path: <Old@Corp.com>\r\n"
    "From: Ann <ann@corp.com>\r\n"
    "Reply-To: old@corp.com\r\n"
    "To: Bob <bob@corp.com>, kim@mail.corp.com\r\n"
    "Cc: OLD@CORP.COM\r\n"
    "Bcc: old@corp.com\r\n"
    "Subject: hello\r\n"
    "Message-ID: <m1@corp.com>\r\n\r\nBody\r\n";

void Load(TKwMailMessage& message) { ASSERT_TRUE(message.LoadMIMEFromString(kMessage)); }

std::string Addresses(const TKwMailMessage& message) {
  const TKwHeaders& h = *message.Headers;
  return h.From.Address + " " + h.ReplyTo.Address + " " + h.ReturnPath.Address + " " + h.ToList.AddressComma() +
         " " + h.CCList.AddressComma();
}

}  // namespace

TEST(AddressTableTest, AddressEntriesChainInListOrderAndIgnoreCase) {
  TKwTargetAddressTable table;
  table.AddressesList = {"old@corp.com=middle@corp.com", "MIDDLE@corp.com=New@Corp.com"};
  TKwMailMessage message;
  Load(message);
  EXPECT_TRUE(table.TranslateAddresses(message));
  EXPECT_EQ(Addresses(message),
            "ann@corp.com new@corp.com new@corp.com bob@corp.com, kim@mail.corp.com new@corp.com")
      << "the header model keeps addresses in lower case, replacements included";

  std::reverse(table.AddressesList.begin(), table.AddressesList.end());
  TKwMailMessage again;
  Load(again);
  table.TranslateAddresses(again);
  EXPECT_EQ(again.Headers->ReplyTo.Address, "middle@corp.com") << "the other order stops half way";
}

TEST(AddressTableTest, DomainEntriesMatchWholeDomainsOnly) {
  TKwTargetAddressTable table;
  table.DomainsList = {"CORP.com=new.com", "broken entry", "=x"};
  TKwMailMessage message;
  Load(message);
  table.TranslateAddresses(message);
  EXPECT_EQ(Addresses(message),
            "ann@new.com old@new.com old@new.com bob@new.com, kim@mail.corp.com old@new.com");
}

TEST(AddressTableTest, BothSwitchesOffLeaveTheMessageAlone) {
  TKwTargetAddressTable table;
  table.AddressesList = {"ann@corp.com=x@y.com"};
  table.DomainsList = {"corp.com=new.com"};
  table.EnableAddressTranslation = table.EnableDomainsTranslation = false;
  TKwMailMessage message;
  Load(message);
  EXPECT_FALSE(table.TranslateAddresses(message));
  EXPECT_EQ(Addresses(message),
            "ann@corp.com old@corp.com old@corp.com bob@corp.com, kim@mail.corp.com old@corp.com");
}

TEST(AddressTableTest, AnMboxWrittenBehindItShowsTheNewAddressesButTheSameBcc) {
  TTempHome home;
  WriteFileText(home / "in.mbox", std::string("From x@y Mon Jan 15 10:00:00 2024\n") + kMessage);
  TKwGlobalOptions global;
  TKwSourceMailMbox source;
  source.ItemType = stiMailSrcMbox;
  source.GlobalOptions = &global;
  source.SourceOptions->Filename = (home / "in.mbox").string();
  auto& table = static_cast<TKwTargetAddressTable&>(source.GetChild(source.AddChild(stiMailPasTargetAddressTable)));
  table.DomainsList = {"corp.com=new.com"};
  auto& mbox = static_cast<TKwTargetMailMbox&>(table.GetChild(table.AddChild(stiMailTarMbox)));
  mbox.TargetFilename = (home / "out.mbox").string();
  source.Execute();
  const std::string out = ReadFileText(home / "out.mbox");
  EXPECT_NE(out.find("From: Ann <ann@new.com>"), std::string::npos) << out;
  EXPECT_NE(out.find("To: Bob <bob@new.com>, kim@mail.corp.com"), std::string::npos) << out;
  EXPECT_NE(out.find("Bcc: old@corp.com"), std::string::npos) << out;
  EXPECT_EQ(out.find("ann@corp.com"), std::string::npos) << out;
  EXPECT_EQ(table.GetLog().Processed, 1);
}
