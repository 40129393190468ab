// The table of settings each kind keeps but does not act on: every entry names settings
// the kind really publishes, never one a run needs, and the kinds differ where their
// code differs.

#include "uKwIgnoredSettings.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "uKwActionBase.h"
#include "uKwActionSettings.h"

namespace {

bool ActsOn(TSourceTargetItem kind, std::string_view path) {
  std::unique_ptr<TKwActionBase> action = CreateNewAction(kind);
  return IsSettingActedOn(*action, path);
}

}  // namespace

TEST(TKwIgnoredSettingsTest, EveryEntryNamesAPublishedSettingAndNoneARunNeeds) {
  int carriedOut = 0;
  for (int i = 0; i < TSourceTargetItemCount; ++i) {
    const auto kind = static_cast<TSourceTargetItem>(i);
    if (!HasActionClass(kind)) continue;
    std::unique_ptr<TKwActionBase> action = CreateNewAction(kind);
    if (!action->IsAvailable()) continue;
    ++carriedOut;
    const std::vector<TKwPropertyPath> published = FlattenProperties(*action);
    for (std::string_view entry : IgnoredSettingsOf(kind)) {
      bool found = false;
      for (const TKwPropertyPath& p : published)
        found |= entry.ends_with('.') ? p.Path.starts_with(entry) : p.Path == entry;
      EXPECT_TRUE(found) << SourceTargetItemToString(kind) << " does not publish " << entry;
    }
    for (const TKwSettingNeed& need : SettingNeedsOf(*action))
      EXPECT_TRUE(IsSettingActedOn(*action, need.Path))
          << SourceTargetItemToString(kind) << " " << need.Path;
  }
  EXPECT_GT(carriedOut, 30);
}

TEST(TKwIgnoredSettingsTest, KindsDifferWhereTheirCodeDiffers) {
  EXPECT_TRUE(ActsOn(stiMailSrcMbox, "SourceOptions.Filename"));
  EXPECT_FALSE(ActsOn(stiMailSrcMbox, "SourceOptions.Folder"));
  EXPECT_FALSE(ActsOn(stiMailSrcMbox, "SourceOptions.Remote.Server")) << "a whole option object";
  EXPECT_TRUE(ActsOn(stiMailSrcSingleFiles, "SourceOptions.PDFPassword"));
  EXPECT_TRUE(ActsOn(stiMailSrcIMAP, "SourceOptions.DeleteMessages"));
  EXPECT_FALSE(ActsOn(stiMailSrcPOP, "SourceOptions.DeleteMessages"));
  EXPECT_TRUE(ActsOn(stiMailSrcPOP, "Filters.Range.Start")) << "the filters sources read";
  EXPECT_TRUE(ActsOn(stiMailSrcMbox, "Filters.Mail.From"));
  EXPECT_TRUE(ActsOn(stiMailSrcMbox, "Filters.Mail.To"));
  EXPECT_FALSE(ActsOn(stiMailUniqueIds, "Filters.Mail.To")) << "the cached summary holds no recipients";
  EXPECT_TRUE(ActsOn(stiMailSrcGmail, "Filters.Mail.To")) << "the server searches for them";
  EXPECT_FALSE(ActsOn(stiMailSrcPOP, "SourceOptions.Filters.Range.Start"))
      << "not their copy in SourceOptions";
  EXPECT_TRUE(ActsOn(stiMailPasFilter, "Filter.From"));
  EXPECT_FALSE(ActsOn(stiMailPasBounceFilter, "Filter.From"));
  EXPECT_TRUE(ActsOn(stiMailTarAttachments, "Options.SaveImagesToAttachmentsFolder"));
  EXPECT_FALSE(ActsOn(stiMailTarSingleFiles, "Options.SaveImagesToAttachmentsFolder"));
  EXPECT_TRUE(ActsOn(stiMailTarSingleFiles, "Options.PDF.Encryption.Encrypt"));
  EXPECT_FALSE(ActsOn(stiMailTarSingleFiles, "Options.PDF.Signature.Sign")) << "refused, not done";
  EXPECT_FALSE(ActsOn(stiMailTarEmailParts, "AppendToFile"));
  EXPECT_FALSE(ActsOn(stiMailTarMbox, "DeleteSourceMessage"));
  EXPECT_TRUE(ActsOn(stiMailTarMbox, "Name"));
}

TEST(TKwIgnoredSettingsTest, AKindThisBuildDoesNotCarryOutActsOnNothing) {
  std::unique_ptr<TKwActionBase> outlook = CreateNewAction(stiMailSrcOutlook);
  ASSERT_FALSE(outlook->IsAvailable());
  EXPECT_FALSE(IsSettingActedOn(*outlook, "Name"));
  EXPECT_FALSE(IsSettingActedOn(*outlook, "SourceOptions.ProfileName"));
}
