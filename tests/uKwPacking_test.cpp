// Messages packed into zip and 7z archives and encrypted into "._ext" files by the
// single-file writers, checked with Debian's 7z program and read back by LoadFormat.
#include <gtest/gtest.h>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "ShellRun.h"
#include "TestSupport.h"
#include "uKwFileCipher.h"
#include "uKwMailMessage.h"
#include "uKwMessageOutput.h"

namespace fs = std::filesystem;

namespace {

const fs::path kMessages = fs::path(QUILLON_TEST_DATA) / "messages";

std::unique_ptr<TKwMailMessage> MessageFor(const fs::path& folder, TFileFormat format = ffSfEml) {
  auto message = std::make_unique<TKwMailMessage>();
  EXPECT_TRUE(message->LoadFormat((kMessages / "03-mixed-pdf.eml").string()));
  message->SaveOptions->TargetFolder = folder.string();
  message->SaveOptions->TargetFileFormat = format;
  return message;
}

// Every file below folder, as names relative to it.
std::vector<std::string> FilesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    if (entry.is_regular_file()) names.push_back(fs::relative(entry.path(), folder).string());
  return names;
}

// The loaded message of a packed or encrypted file, opened with password.
std::string SubjectOf(const std::string& fileName, const std::string& password) {
  TKwMailMessage message;
  message.SaveOptions->Compression->Password = password;
  if (!message.LoadFormat(fileName)) return "load failed: " + message.LastError;
  return message.Headers->Subject;
}

class TPathGuard {
 public:
  explicit TPathGuard(const char* path) : FOld(std::getenv("PATH")) { setenv("PATH", path, 1); }
  ~TPathGuard() { setenv("PATH", FOld.c_str(), 1); }

 private:
  std::string FOld;
};

}  // namespace

// ---------------------------------------------------------------- archives

TEST(TKwPackingTest, APasswordAloneGivesAnAes256ZipThat7zOpensOnlyWithIt) {
  TTempDir dir;
  auto message = MessageFor(dir.Path());
  message->SaveOptions->Compression->CompressionMethod = cmZip;
  message->SaveOptions->Compression->Password = "s3cret pass";
  const TSaveResult result = SaveAs(*message);
  ASSERT_EQ(result.Status, ssSaved) << result.ErrorMessage;
  const std::string zip = message->LastSavedFilename;
  EXPECT_EQ(fs::path(zip).extension(), ".zip");
  EXPECT_EQ(FilesIn(dir.Path()).size(), 1u) << "the plain .eml must not stay";

  EXPECT_EQ(Shell("7z t '-ps3cret pass' " + Quoted(zip)).Status, 0);
  EXPECT_NE(Shell("7z t -pwrong " + Quoted(zip)).Status, 0);
  const TShellRun listing = Shell("7z l -slt '-ps3cret pass' " + Quoted(zip));
  EXPECT_NE(listing.Out.find("AES-256"), std::string::npos) << listing.Out;
  EXPECT_EQ(SubjectOf(zip, "s3cret pass"), message->Headers->Subject);
  EXPECT_NE(SubjectOf(zip, "wrong").find("load failed"), std::string::npos);
}

TEST(TKwPackingTest, ZipOptionsMayAskForAes128) {
  TTempDir dir;
  auto message = MessageFor(dir.Path());
  message->SaveOptions->Compression->CompressionMethod = cmZip;
  message->SaveOptions->Compression->Password = "pw";
  message->SaveOptions->ZIP->EncryptionMethod = zemAes128;
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  const TShellRun listing = Shell("7z l -slt -ppw " + Quoted(message->LastSavedFilename));
  EXPECT_NE(listing.Out.find("AES-128"), std::string::npos) << listing.Out;
}

TEST(TKwPackingTest, SevenZipWithAPasswordIsEncryptedHeadersIncluded) {
  TTempDir dir;
  auto message = MessageFor(dir.Path());
  message->SaveOptions->Compression->CompressionMethod = cmSevenZip;
  message->SaveOptions->Compression->Password = "pässwörd with blanks";
  const TSaveResult result = SaveAs(*message);
  ASSERT_EQ(result.Status, ssSaved) << result.ErrorMessage;
  const std::string archive = message->LastSavedFilename;
  EXPECT_EQ(fs::path(archive).extension(), ".7z");
  EXPECT_EQ(FilesIn(dir.Path()).size(), 1u);
  EXPECT_EQ(Shell("7z t '-ppässwörd with blanks' " + Quoted(archive)).Status, 0);
  EXPECT_NE(Shell("7z t -pwrong " + Quoted(archive)).Status, 0);
  EXPECT_NE(Shell("7z l -p " + Quoted(archive) + " </dev/null").Status, 0) << "names are hidden without the password";
  EXPECT_EQ(SubjectOf(archive, "pässwörd with blanks"), message->Headers->Subject);
  EXPECT_NE(SubjectOf(archive, "wrong").find("wrong password"), std::string::npos);
}

TEST(TKwPackingTest, WithoutThe7zProgramAProtectedMessageFailsAndNothingIsLeft) {
  TTempDir dir;
  auto message = MessageFor(dir.Path());
  message->SaveOptions->Compression->CompressionMethod = cmSevenZip;
  message->SaveOptions->Compression->Password = "pw";
  TSaveResult result;
  {
    TPathGuard noPrograms("/nonexistent");
    result = SaveAs(*message);
  }
  EXPECT_EQ(result.Status, ssError);
  EXPECT_NE(result.ErrorMessage.find("p7zip-full"), std::string::npos) << result.ErrorMessage;
  EXPECT_TRUE(FilesIn(dir.Path()).empty());
  EXPECT_EQ(message->LastSavedFilename, "");

  message->SaveOptions->Compression->Password = "two\nlines";
  EXPECT_EQ(SaveAs(*message).Status, ssError);
  EXPECT_TRUE(FilesIn(dir.Path()).empty());
}

TEST(TKwPackingTest, ArchiveFormatsPackTheMessageAsEmlWithoutAPasswordToo) {
  TTempDir dir;
  for (const TFileFormat format : {ffSfZip, ffSf7z}) {
    auto message = MessageFor(dir.Path() / GetFileFormatExtension(format).substr(1), format);
    const TSaveResult result = SaveAs(*message);
    ASSERT_EQ(result.Status, ssSaved) << result.ErrorMessage;
    EXPECT_EQ(fs::path(message->LastSavedFilename).extension(), GetFileFormatExtension(format));
    const TShellRun listing = Shell("7z l " + Quoted(message->LastSavedFilename));
    EXPECT_NE(listing.Out.find(".eml"), std::string::npos) << listing.Out;
    EXPECT_EQ(SubjectOf(message->LastSavedFilename, ""), message->Headers->Subject);
  }
}

// ---------------------------------------------------------------- encrypted files

TEST(TKwPackingTest, EncryptedMessageFilesGetTheHiddenExtensionAndReadBack) {
  TTempDir dir;
  for (const TFileFormat format : {ffSfEml, ffSfMsg}) {
    for (const TEncryptionAlgorithm algorithm : {eaAES, eaTripleDES, eaBlowfish, eaDES}) {
      if (!IsCipherAvailable(algorithm)) continue;
      SCOPED_TRACE(EncryptionAlgorithmToStr(algorithm));
      const fs::path folder = dir / (EncryptionAlgorithmToStr(algorithm) + GetFileFormatExtension(format));
      auto message = MessageFor(folder, format);
      message->SaveOptions->Compression->EncryptionAlgorithm = algorithm;
      message->SaveOptions->Compression->Password = "pw";
      const TSaveResult result = SaveAs(*message);
      ASSERT_EQ(result.Status, ssSaved) << result.ErrorMessage;
      const std::string file = message->LastSavedFilename;
      EXPECT_EQ(fs::path(file).extension(), GetFileFormatExtensionEx(format, true));
      EXPECT_EQ(FilesIn(folder).size(), 1u);
      EXPECT_EQ(ReadFileText(file).find("Subject"), std::string::npos);
      EXPECT_EQ(SubjectOf(file, "pw"), message->Headers->Subject);
      EXPECT_NE(SubjectOf(file, "other").find("Wrong password"), std::string::npos);
    }
  }
  EXPECT_TRUE(IsCipherAvailable(eaAES));
}

TEST(TKwPackingTest, UnavailableCiphersAndMissingPasswordsWriteNothing) {
  TTempDir dir;
  auto tea = MessageFor(dir.Path());
  tea->SaveOptions->Compression->EncryptionAlgorithm = eaTEA;
  tea->SaveOptions->Compression->Password = "pw";
  const TSaveResult teaResult = SaveAs(*tea);
  EXPECT_EQ(teaResult.Status, ssError);
  EXPECT_EQ(teaResult.ErrorMessage, "Format not available in this build: TEA encryption");
  auto noPassword = MessageFor(dir.Path());
  noPassword->SaveOptions->Compression->EncryptionAlgorithm = eaAES;
  const TSaveResult result = SaveAs(*noPassword);
  EXPECT_EQ(result.Status, ssError);
  EXPECT_EQ(result.ErrorMessage, "Encryption needs a password");
  EXPECT_TRUE(FilesIn(dir.Path()).empty());
}

TEST(TKwPackingTest, TamperedOrForeignEncryptedBytesAreRejected) {
  std::string encrypted, plain, error;
  ASSERT_TRUE(EncryptBytes("From: a@b\r\n\r\nbody", eaAES, "pw", encrypted, error)) << error;
  ASSERT_TRUE(DecryptBytes(encrypted, "pw", plain, error)) << error;
  EXPECT_EQ(plain, "From: a@b\r\n\r\nbody");
  for (size_t i = 0; i < encrypted.size(); i += 7) {
    std::string damaged = encrypted;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x01);
    EXPECT_FALSE(DecryptBytes(damaged, "pw", plain, error)) << "byte " << i;
  }
  for (size_t size = 0; size < encrypted.size(); size += 5)
    EXPECT_FALSE(DecryptBytes(encrypted.substr(0, size), "pw", plain, error));
  EXPECT_FALSE(DecryptBytes("From: a@b\r\n\r\nplain mail", "pw", plain, error));
  EXPECT_EQ(error, "Not an encrypted message file");
}
