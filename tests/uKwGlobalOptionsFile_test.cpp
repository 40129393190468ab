// The host's global options: JSON form, options.json and NAME=VALUE assignments.

#include "uKwGlobalOptionsFile.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "TestSupport.h"
#include "uKwParameters.h"

TEST(TKwGlobalOptionsFileTest, AssignmentsSetEachKindOfProperty) {
  TKwGlobalOptions options;
  std::string error;
  EXPECT_TRUE(SetGlobalOption(options, "DetailedLog=true", error)) << error;
  EXPECT_TRUE(SetGlobalOption(options, "Proxy.Port=8080", error)) << error;
  EXPECT_TRUE(SetGlobalOption(options, "Proxy.Server=proxy.example=1", error)) << error;
  EXPECT_TRUE(SetGlobalOption(options, "Proxy.SSLtype=" + EnumToString(options.Proxy->SSLtype), error)) << error;
  EXPECT_TRUE(SetGlobalOption(options, "OauthList=k=a:r~1", error)) << error;
  EXPECT_TRUE(SetGlobalOption(options, "OauthList=other=x", error)) << error;
  EXPECT_TRUE(SetGlobalOption(options, "OauthList=k=b:r~2", error)) << error;  // same key: replaced
  EXPECT_TRUE(SetGlobalOption(options, "DateFormat=iso", error)) << error;
  EXPECT_TRUE(options.DetailedLog);
  EXPECT_EQ(options.DateFormat, TKwDateFormat::Iso);
  EXPECT_EQ(options.Proxy->Port, 8080);
  EXPECT_EQ(options.Proxy->Server, "proxy.example=1");
  EXPECT_EQ(options.OauthList, (TStringList{"k=b:r~2", "other=x"}));
  const auto json = GlobalOptionsToJson(options);
  TKwGlobalOptions back;
  std::vector<std::string> problems;
  ASSERT_TRUE(GlobalOptionsFromJson(back, json, problems));
  EXPECT_EQ(GlobalOptionsToJson(back), json);
}

TEST(TKwGlobalOptionsFileTest, AMissingFileChangesNothing) {
  TTempDir dir;
  TKwGlobalOptions options;
  options.IndexEmail = true;
  std::vector<std::string> problems;
  EXPECT_TRUE(LoadGlobalOptionsFile(options, (dir / "options.json").string(), problems));
  EXPECT_TRUE(options.IndexEmail);
  WriteFileText(dir / "options.json", R"({"UseLocalStorage": true})");
  EXPECT_TRUE(LoadGlobalOptionsFile(options, (dir / "options.json").string(), problems));
  EXPECT_TRUE(options.UseLocalStorage);
  EXPECT_TRUE(problems.empty());
}

// ---- error paths

TEST(TKwGlobalOptionsFileTest, BadInputIsRefusedWholeAndNamed) {
  TKwGlobalOptions options;
  std::string error;
  EXPECT_FALSE(SetGlobalOption(options, "DetailedLog", error));
  EXPECT_FALSE(SetGlobalOption(options, "=true", error));
  EXPECT_FALSE(SetGlobalOption(options, "DetailedLog=maybe", error));
  EXPECT_NE(error.find("not true or false"), std::string::npos);
  EXPECT_FALSE(SetGlobalOption(options, "Proxy.Port=80x", error));
  EXPECT_FALSE(SetGlobalOption(options, "Proxy.SSLtype=pstNever", error));
  EXPECT_FALSE(SetGlobalOption(options, "DateFormat=ISO8601", error));
  EXPECT_NE(error.find("\"ISO8601\" is not one of locale, iso"), std::string::npos) << error;
  EXPECT_FALSE(SetGlobalOption(options, "Proxy=1", error));  // an object, not a property
  EXPECT_FALSE(SetGlobalOption(options, "IndexEmial=true", error));
  EXPECT_NE(error.find("did you mean \"IndexEmail\""), std::string::npos) << error;

  std::vector<std::string> problems;
  options.IndexEmail = true;
  EXPECT_FALSE(GlobalOptionsFromJsonText(options, R"({"IndexEmail": false, "Bogus": 1, "DetailedLog": "x"})", problems));
  EXPECT_EQ(problems.size(), 2u);
  EXPECT_TRUE(options.IndexEmail);  // nothing of a refused text is taken
  problems.clear();
  EXPECT_FALSE(GlobalOptionsFromJsonText(options, "[true]", problems));
  EXPECT_FALSE(GlobalOptionsFromJsonText(options, "{\"a\":", problems));
  EXPECT_FALSE(GlobalOptionsFromJsonText(options, "", problems));
  EXPECT_EQ(problems.size(), 3u);
}
