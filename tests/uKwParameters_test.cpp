#include "uKwParameters.h"

#include <cstdlib>
#include <ctime>
#include <functional>
#include <map>
#include <set>

#include <gtest/gtest.h>

#include "uKwStream.h"

namespace {

// An action stand-in: owns one option object and publishes it under `name`, so that
// the option's properties are stored as "<name>.<Property>".
class TOwner : public TKwPersistent {
 public:
  TOwner(std::string name, std::unique_ptr<TKwPersistent> options)
      : FName(std::move(name)), FOptions(std::move(options)) {}
  std::string_view ClassName() const override { return "TOwner"; }
  void Publish(TKwPublisher& publisher) override { publisher.Object(FName, *FOptions); }
  TKwPersistent& Options() { return *FOptions; }

 private:
  std::string FName;
  std::unique_ptr<TKwPersistent> FOptions;
};

template <class T>
std::function<std::unique_ptr<TKwPersistent>()> Maker() {
  return [] { return std::make_unique<T>(); };
}

const std::vector<std::function<std::unique_ptr<TKwPersistent>()>>& AllOptionClasses() {
  static const std::vector<std::function<std::unique_ptr<TKwPersistent>()>> makers = {
      Maker<TKwCertificateOptions>(),   Maker<TKwRemoteOptions>(),        Maker<TKwMailAccountOptions>(),
      Maker<TKwRestApiOptions>(),       Maker<TKwAmazonStorageOptions>(), Maker<TKwScheduleOptions>(),
      Maker<TKwPDFEncryptionOptions>(), Maker<TKwPDFSigningOptions>(),    Maker<TKwPDFOptions>(),
      Maker<TKwZIPCompressionOptions>(), Maker<TKwCompressionOptions>(),  Maker<TKwFilenameOptions>(),
      Maker<TKwAttachmentFilenameOptions>(), Maker<TKwPageOptions>(),     Maker<TKwFolderOptions>(),
      Maker<TKwSingleFilesOptions>(),   Maker<TKwEmailCacheOptions>(),    Maker<TKwFolderNameOptions>(),
      Maker<TKwFirewallOptions>(),      Maker<TKwProxyOptions>(),         Maker<TKwGlobalOptions>(),
      Maker<TKwSourceOptions>(),
  };
  return makers;
}

// Gives every property, nested ones included, a value that differs from its initial
// one and from every declared or implied default, so that each of them is stored.
void FillWithNonDefaults(TKwPersistent& object) {
  int n = 0;
  for (auto& [path, p] : FlattenProperties(object)) {
    ++n;
    switch (p.Kind) {
      case TKwPropKind::Boolean: p.SetOrdinalValue(p.Ordinal() == 0 ? 1 : 0); break;
      case TKwPropKind::Integer: p.SetOrdinalValue(70000 + n); break;
      case TKwPropKind::Int64: p.SetOrdinalValue(5'000'000'000 + n); break;
      case TKwPropKind::Enum: p.SetOrdinalValue((p.Ordinal() + 1) % p.EnumType->Count()); break;
      case TKwPropKind::Double:
      case TKwPropKind::DateTime: *static_cast<double*>(p.Field) = 1.25 + n; break;
      case TKwPropKind::String: *static_cast<std::string*>(p.Field) = "Wert " + path + " \xC3\xBC"; break;
      case TKwPropKind::Strings: *static_cast<TStringList*>(p.Field) = {"a=x:y~1", "b=z"}; break;
      case TKwPropKind::Set: p.SetOrdinalValue(p.Ordinal() ^ 1u); break;
      case TKwPropKind::Object: break;
    }
  }
}

std::string Write(TKwPersistent& object) {
  TKwPropertyWriter writer;
  WriteObject(writer, object);
  return writer.TakeData();
}

std::vector<std::string> Read(const std::string& data, TKwPersistent& object) {
  std::vector<std::string> warnings;
  TKwPropertyReader reader(data);
  ReadObject(reader, object, warnings);
  return warnings;
}

// The top-level entries of a property stream: name -> value as text, identifiers and
// integers spelled out, other values as "?".
std::map<std::string, std::string> StoredEntries(const std::string& data) {
  std::map<std::string, std::string> entries;
  TKwPropertyReader reader(data);
  reader.ReadListBegin();
  while (!reader.EndOfList()) {
    std::string name = reader.ReadStr();
    switch (reader.NextValue()) {
      case vaIdent: case vaFalse: case vaTrue: entries[name] = reader.ReadIdent(); break;
      case vaInt8: case vaInt16: case vaInt32: case vaInt64: entries[name] = std::to_string(reader.ReadInteger()); break;
      case vaString: case vaLString: case vaUTF8String: entries[name] = reader.ReadString(); break;
      default: reader.SkipValue(); entries[name] = "?";
    }
  }
  reader.ReadListEnd();
  return entries;
}

TDateTime UnixToUtcDateTime(int64_t unixTime) { return static_cast<double>(unixTime) / 86400.0 + 25569.0; }

// Switches the process's time zone for one test (POSIX TZ rules, no zone files needed).
class TTimeZone {
 public:
  explicit TTimeZone(const char* tz) {
    if (const char* old = std::getenv("TZ")) FOld = old;
    setenv("TZ", tz, 1);
    tzset();
  }
  ~TTimeZone() {
    setenv("TZ", FOld.c_str(), 1);
    tzset();
  }

 private:
  std::string FOld = "UTC";
};

}  // namespace

// ---- Persistence inside an owner ----

TEST(TKwParametersTest, FreshSingleFilesOptionsStoreTheirFormatAndNameLengthAndReloadThem) {
  TOwner saved("SingleFilesOptions", std::make_unique<TKwSingleFilesOptions>());
  const std::string data = Write(saved);

  auto entries = StoredEntries(data);
  EXPECT_EQ(entries["SingleFilesOptions.TargetFileFormat"], "ffSfEml");
  EXPECT_EQ(entries["SingleFilesOptions.Filename.FilenameLength"], "128");
  EXPECT_EQ(entries["SingleFilesOptions.Remote.Port"], "993");
  EXPECT_EQ(entries.count("SingleFilesOptions.Remote.Server"), 0u) << "empty strings are not stored";

  auto loadedOptions = std::make_unique<TKwSingleFilesOptions>();
  auto& loaded = *loadedOptions;
  loaded.TargetFileFormat = ffSfPdf;
  loaded.Filename->FilenameLength = 7;
  TOwner owner("SingleFilesOptions", std::move(loadedOptions));
  EXPECT_TRUE(Read(data, owner).empty());
  EXPECT_EQ(loaded.TargetFileFormat, ffSfEml);
  EXPECT_EQ(loaded.Filename->FilenameLength, 128);
}

TEST(TKwParametersTest, SourceOptionsStoreTheirTrueDefaultsOnlyWhenSwitchedOff) {
  auto options = std::make_unique<TKwSourceOptions>();
  auto& source = *options;
  TOwner owner("SourceOptions", std::move(options));

  auto entries = StoredEntries(Write(owner));
  EXPECT_EQ(entries.count("SourceOptions.IndexMessages"), 0u);
  EXPECT_EQ(entries.count("SourceOptions.OneEmailPerThread"), 0u);
  EXPECT_EQ(entries["SourceOptions.AdminPrivilege"], "False") << "ordinals without a default are always stored";
  EXPECT_EQ(entries["SourceOptions.Filters.Mail.SentAge"], "fsaDate");

  source.IndexMessages = false;
  source.IncludeThreadedReplies = false;
  const std::string data = Write(owner);
  EXPECT_EQ(StoredEntries(data)["SourceOptions.IndexMessages"], "False");

  auto reloadedOptions = std::make_unique<TKwSourceOptions>();
  auto& reloaded = *reloadedOptions;
  TOwner reloadedOwner("SourceOptions", std::move(reloadedOptions));
  Read(data, reloadedOwner);
  EXPECT_FALSE(reloaded.IndexMessages);
  EXPECT_FALSE(reloaded.IncludeThreadedReplies);
  EXPECT_TRUE(reloaded.OneEmailPerThread);
}

TEST(TKwParametersTest, EveryOptionClassSurvivesWriteReadWriteByteForByte) {
  for (const auto& make : AllOptionClasses()) {
    TOwner saved("Options", make());
    FillWithNonDefaults(saved.Options());
    const std::string first = Write(saved);
    SCOPED_TRACE(std::string(saved.Options().ClassName()));

    auto entries = StoredEntries(first);
    for (auto& [path, p] : FlattenProperties(saved)) {
      const std::string name = p.Kind == TKwPropKind::Strings ? path + ".Strings" : path;
      EXPECT_EQ(entries.count(name), 1u) << name << " is not stored";
    }

    TOwner loaded("Options", make());
    EXPECT_TRUE(Read(first, loaded).empty());
    EXPECT_EQ(Write(loaded), first);
  }
}

TEST(TKwParametersTest, NoObjectPublishesTwoPropertiesUnderOneNameOrOverOneField) {
  for (const auto& make : AllOptionClasses()) {
    auto object = make();
    SCOPED_TRACE(std::string(object->ClassName()));
    std::set<std::string> names;
    std::set<const void*> fields;
    for (auto& [path, p] : FlattenProperties(*object)) {
      EXPECT_TRUE(names.insert(path).second) << path;
      if (p.Field) {
        EXPECT_TRUE(fields.insert(p.Field).second) << path;
      }
    }
  }
}

// ---- Assign and Clear ----

TEST(TKwParametersTest, AssignCopiesEveryPropertyOfEveryOptionClass) {
  for (const auto& make : AllOptionClasses()) {
    TOwner source("Options", make());
    FillWithNonDefaults(source.Options());
    TOwner target("Options", make());
    target.Options().Assign(source.Options());
    SCOPED_TRACE(std::string(source.Options().ClassName()));
    EXPECT_EQ(Write(target), Write(source));
  }
}

TEST(TKwParametersTest, AssignBetweenSourceOptionsLeavesTheNestedObjectsDistinct) {
  TKwSourceOptions source, target;
  source.Remote->Port = 110;
  source.Filters->Range->Start = 3;
  target.Assign(source);
  EXPECT_NE(target.Remote.get(), source.Remote.get());
  EXPECT_EQ(target.Remote->Port, 110);
  EXPECT_EQ(target.Filters->Range->Start, 3);

  source.Remote->Port = 995;
  source.Remote->SSLCert->CertSubject = "changed";
  source.Filters->Range->Start = 9;
  EXPECT_EQ(target.Remote->Port, 110);
  EXPECT_EQ(target.Remote->SSLCert->CertSubject, "");
  EXPECT_EQ(target.Filters->Range->Start, 3);
}

TEST(TKwParametersTest, RemoteClearRestoresTheInitialValuesAndClearsTheCertificate) {
  TKwRemoteOptions remote;
  FillWithNonDefaults(remote);
  remote.Clear();
  TOwner a("Remote", std::make_unique<TKwRemoteOptions>()), b("Remote", std::make_unique<TKwRemoteOptions>());
  a.Options().Assign(remote);
  EXPECT_EQ(Write(a), Write(b));
  EXPECT_EQ(remote.Port, 993);
  EXPECT_EQ(remote.SSLCert->CertEncoded, "");
}

TEST(TKwParametersTest, AmazonStorageClearKeepsItsCertificate) {
  TKwAmazonStorageOptions storage;
  storage.StorageName = "bucket";
  storage.SSLCert->CertStore = "MY";
  storage.Clear();
  EXPECT_EQ(storage.StorageName, "");
  EXPECT_EQ(storage.SSLCert->CertStore, "MY");
}

TEST(TKwParametersTest, ScheduleClearRestartsAtTheCurrentLocalTime) {
  TTimeZone zone("XST-2");  // two hours ahead of UTC
  TKwScheduleOptions schedule;
  schedule.StartDateTime = 1;
  schedule.WeekDays = 3;
  schedule.Clear();
  const TDateTime expected = UnixToUtcDateTime(std::time(nullptr) + 2 * 3600);
  EXPECT_NEAR(schedule.StartDateTime, expected, 5.0 / 86400);
  EXPECT_EQ(schedule.WeekDays, 127);
  EXPECT_EQ(schedule.SchedulingInterval, siDateTime);
}

// ---- The OAuth token store ----

TEST(TKwParametersTest, OauthTokensRoundTripThroughOneLinePerKey) {
  TKwGlobalOptions global;
  global.OauthList = {"other=x:y~5"};
  global.OauthSetTokens("me@example.com", "access", "refresh", UnixToUtcDateTime(1700000000));
  EXPECT_EQ(global.OauthList.back(), "me@example.com=access:refresh~1700000000");

  global.OauthSetTokens("ME@example.com", "access2", "refresh2", UnixToUtcDateTime(1700003600));
  ASSERT_EQ(global.OauthList.size(), 2u) << "a key is matched regardless of case";
  EXPECT_EQ(global.OauthList[0], "other=x:y~5");

  std::string access, refresh;
  TDateTime expiry = 0;
  ASSERT_TRUE(global.OauthGetTokens("me@example.com", access, refresh, expiry));
  EXPECT_EQ(access, "access2");
  EXPECT_EQ(refresh, "refresh2");
  EXPECT_NEAR(expiry, UnixToUtcDateTime(1700003600), 0.5 / 86400);
}

TEST(TKwParametersTest, OauthExpiryIsLocalTimeAndStoredAsUnixTime) {
  TTimeZone zone("XST-2");
  TKwGlobalOptions global;
  global.OauthList = {"k=a:r~0"};
  std::string access, refresh;
  TDateTime expiry = 0;
  ASSERT_TRUE(global.OauthGetTokens("k", access, refresh, expiry));
  EXPECT_NEAR(expiry, 25569.0 + 2.0 / 24, 0.5 / 86400);
  global.OauthSetTokens("k", "a", "r", expiry);
  EXPECT_EQ(global.OauthList[0], "k=a:r~0");
}

TEST(TKwParametersTest, OauthValueWithoutExpiryGivesTheRefreshTokenAndAZeroExpiry) {
  TKwGlobalOptions global;
  global.OauthList = {"key=ya29.token:1//refresh"};
  std::string access, refresh;
  TDateTime expiry = 99;
  ASSERT_TRUE(global.OauthGetTokens("key", access, refresh, expiry));
  EXPECT_EQ(access, "ya29.token");
  EXPECT_EQ(refresh, "1//refresh");
  EXPECT_EQ(expiry, 0.0);
}

// ---- Error paths ----

TEST(TKwParametersTest, OauthUnknownKeyGivesFalseAndEmptyOutputs) {
  TKwGlobalOptions global;
  global.OauthList = {"keyx=a:b~1", "no equals sign", "=a:b~1"};
  std::string access = "old", refresh = "old";
  TDateTime expiry = 5;
  EXPECT_FALSE(global.OauthGetTokens("key", access, refresh, expiry));
  EXPECT_EQ(access, "");
  EXPECT_EQ(refresh, "");
  EXPECT_EQ(expiry, 0.0);
  EXPECT_FALSE(TKwGlobalOptions().OauthGetTokens("", access, refresh, expiry));
}

TEST(TKwParametersTest, OauthUnreadableExpiryOrMissingColonStillGivesTheTokens) {
  TKwGlobalOptions global;
  global.OauthList = {"a=tok:ref~soon", "b=onlyaccess", "c=tok:ref~"};
  std::string access, refresh;
  TDateTime expiry = 1;
  ASSERT_TRUE(global.OauthGetTokens("a", access, refresh, expiry));
  EXPECT_EQ(refresh, "ref");
  EXPECT_EQ(expiry, 0.0);
  ASSERT_TRUE(global.OauthGetTokens("b", access, refresh, expiry));
  EXPECT_EQ(access, "onlyaccess");
  EXPECT_EQ(refresh, "");
  ASSERT_TRUE(global.OauthGetTokens("c", access, refresh, expiry));
  EXPECT_EQ(expiry, 0.0);
}

TEST(TKwParametersTest, AssignFromAnotherClassRaisesAConvertErrorAndChangesNothing) {
  TKwRemoteOptions remote;
  TKwCertificateOptions certificate;
  certificate.CertStore = "MY";
  remote.Port = 143;
  EXPECT_THROW(remote.Assign(certificate), EConvertError);
  EXPECT_EQ(remote.Port, 143);
  EXPECT_THROW(TKwSourceOptions().Assign(TKwFilterOptions()), EConvertError);
}

// Strings are stored only when not empty: one emptied by the user comes back as its
// initial value. The property writer's rule, kept deliberately.
TEST(TKwParametersTest, AnEmptiedStringWithAnInitialValueReloadsAsThatValue) {
  auto options = std::make_unique<TKwFilenameOptions>();
  options->Separator = "";
  TOwner saved("Filename", std::move(options));
  auto reloadedOptions = std::make_unique<TKwFilenameOptions>();
  auto& reloaded = *reloadedOptions;
  TOwner owner("Filename", std::move(reloadedOptions));
  Read(Write(saved), owner);
  EXPECT_EQ(reloaded.Separator, "-");
}

TEST(TKwParametersTest, UnknownIdentifiersAndNamesAreSkippedWhileTheRestLoads) {
  TKwPropertyWriter writer;
  writer.WriteListBegin();
  writer.WritePropName("SingleFilesOptions.TargetFileFormat");
  writer.WriteIdent("ffSfBogus");
  writer.WritePropName("SingleFilesOptions.NoSuchProperty");
  writer.WriteInteger(1);
  writer.WritePropName("SingleFilesOptions.Filename.FilenameLength");
  writer.WriteInteger(64);
  writer.WriteListEnd();

  auto options = std::make_unique<TKwSingleFilesOptions>();
  auto& loaded = *options;
  TOwner owner("SingleFilesOptions", std::move(options));
  EXPECT_EQ(Read(writer.Data(), owner).size(), 2u);
  EXPECT_EQ(loaded.TargetFileFormat, ffSfEml);
  EXPECT_EQ(loaded.Filename->FilenameLength, 64);
}
