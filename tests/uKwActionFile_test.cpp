#include "uKwActionFile.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "uKwJson.h"
#include "uKwSourceBase.h"

namespace {

// Gives every published property of `object` a value away from its default, so that a
// property that does not persist cannot hide.
void FillEveryProperty(TKwPersistent& object, int seed) {
  for (TKwPropertyPath& entry : FlattenProperties(object)) {
    const TKwProperty& p = entry.Property;
    if (entry.Path == "ItemType") continue;
    switch (p.Kind) {
      case TKwPropKind::Boolean: p.SetOrdinalValue(p.Default ? !*p.Default : !p.Ordinal()); break;
      case TKwPropKind::Integer: p.SetOrdinalValue(seed * 1000 + 7); break;
      case TKwPropKind::Int64: p.SetOrdinalValue((int64_t{seed} << 33) + 1); break;
      case TKwPropKind::Enum: p.SetOrdinal(p.EnumType->Count() - 1); break;
      case TKwPropKind::Double: *static_cast<double*>(p.Field) = seed + 0.25; break;
      case TKwPropKind::DateTime: *static_cast<double*>(p.Field) = 45000.5 + seed; break;
      case TKwPropKind::String: *static_cast<std::string*>(p.Field) = entry.Path + " ü " + std::to_string(seed); break;
      case TKwPropKind::Strings: *static_cast<TStringList*>(p.Field) = {"a=b", "", "ß"}; break;
      case TKwPropKind::Set: p.SetOrdinalValue(1u | (1u << (p.EnumType->Count() - 1))); break;
      case TKwPropKind::Object: break;
    }
  }
}

std::string StreamOf(TKwActionBase& action) {
  std::string stream;
  action.SaveToStream(stream);
  return stream;
}

class ActionFileTest : public ::testing::Test {
 protected:
  TTempHome FHome;
};

}  // namespace

TEST_F(ActionFileTest, EveryKindRoundTripsEveryPropertyThroughStreamAndJson) {
  int seed = 1;
  for (int i = 0; i < TSourceTargetItemCount; ++i) {
    auto kind = static_cast<TSourceTargetItem>(i);
    if (!HasActionClass(kind)) continue;
    auto action = CreateNewAction(kind);
    FillEveryProperty(*action, seed++);
    std::string stream = StreamOf(*action);

    TKwActionLoadResult fromStream = LoadActionFromStream(stream);
    ASSERT_TRUE(fromStream.Action) << fromStream.Error;
    EXPECT_TRUE(fromStream.Warnings.empty()) << SourceTargetItemToString(kind);
    EXPECT_EQ(StreamOf(*fromStream.Action), stream) << SourceTargetItemToString(kind);

    nlohmann::ordered_json json = ActionToJson(*action);
    TKwActionLoadResult fromJson = LoadActionFromJson(json);
    ASSERT_TRUE(fromJson.Action) << fromJson.Error;
    EXPECT_TRUE(fromJson.Warnings.empty()) << SourceTargetItemToString(kind);
    EXPECT_EQ(StreamOf(*fromJson.Action), stream) << SourceTargetItemToString(kind);
    EXPECT_EQ(ActionToJson(*fromJson.Action), json);
  }
}

TEST_F(ActionFileTest, JsonOfATreeWithFoldersIsTheIdentityThroughTheStream) {
  const char* text = R"({
    "kind": "stiJob", "Name": "Export",
    "children": [{
      "kind": "stiMailSrcMbox",
      "SourceOptions.Filename": "/data/in.mbox",
      "SourceOptions.Remote.Port": 995,
      "Filters.Range.Enabled": true,
      "SourceFoldersItems": [{"FolderName": "Inbox", "children": [{"FolderName": "Archive 2024"}]}],
      "children": [{
        "kind": "stiMailPasFilter",
        "Filter.From": "alice@example.com",
        "children": [
          {"kind": "stiMailPasFilterTrue", "children": [{"kind": "stiMailTarMbox", "TargetFilename": "/out/alice.mbox"}]},
          {"kind": "stiMailPasFilterFalse"}
        ]
      }]
    }]
  })";
  TKwActionLoadResult first = LoadActionFromText(text);
  ASSERT_TRUE(first.Action) << first.Error;
  for (auto& w : first.Warnings) ADD_FAILURE() << w;
  nlohmann::ordered_json json = ActionToJson(*first.Action);

  TKwActionLoadResult second = LoadActionFromText(first.Action->SaveToString());
  ASSERT_TRUE(second.Action) << second.Error;
  EXPECT_EQ(ActionToJson(*second.Action), json);
  auto& source = static_cast<TKwSourceBase&>(second.Action->GetChild(0));
  EXPECT_EQ(source.SourceFolders->Count(), 2);
  EXPECT_EQ(source.SourceOptions->Remote->Port, 995);
  EXPECT_EQ(json["children"][0]["SourceFoldersItems"][0]["children"][0]["FolderName"], "Archive 2024");
}

TEST_F(ActionFileTest, SavesByExtensionAndLoadsEitherForm) {
  auto job = CreateNewAction(stiJob);
  job->AddChild(stiMailSrcMbox);
  TTempDir dir;
  std::string error;
  ASSERT_TRUE(SaveActionToFile(*job, (dir / "a.json").string(), error)) << error;
  ASSERT_TRUE(SaveActionToFile(*job, (dir / "a.qaf").string(), error)) << error;
  EXPECT_EQ(ReadFileText(dir / "a.json").front(), '{');
  auto fromJson = LoadActionFromFile((dir / "a.json").string());
  auto fromQaf = LoadActionFromFile((dir / "a.qaf").string());
  ASSERT_TRUE(fromJson.Action && fromQaf.Action);
  EXPECT_EQ(StreamOf(*fromJson.Action), StreamOf(*fromQaf.Action));
}

// ---- error paths

TEST_F(ActionFileTest, JsonMembersOfTheWrongTypeAreSkippedWithWarnings) {
  TKwActionLoadResult loaded = LoadActionFromText(R"({
    "kind": "stiMailTarMbox", "TargetFilename": 5, "Overwrite": "yes", "Nonsense": 1,
    "Level": 99999999999, "TargetFolder": "/kept"})");
  ASSERT_TRUE(loaded.Action) << loaded.Error;
  EXPECT_EQ(loaded.Warnings.size(), 4u);
  auto json = ActionToJson(*loaded.Action);
  EXPECT_EQ(json["TargetFolder"], "/kept");
}

TEST_F(ActionFileTest, FoldersAndUnreadableFilesAreRefused) {
  TTempDir dir;
  EXPECT_NE(LoadActionFromFile(dir.Path().string()).Error.find("is a folder"), std::string::npos);
  WriteFileText(dir / "empty.qaf", "");
  EXPECT_FALSE(LoadActionFromFile((dir / "empty.qaf").string()).Action);
  std::string error;
  auto job = CreateNewAction(stiJob);
  EXPECT_FALSE(SaveActionToFile(*job, (dir / "missing" / "a.json").string(), error));
  EXPECT_FALSE(error.empty());
}
