#include "uKwTypes.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "uKwAssert.h"

namespace {

TSourceTargetItem Item(int ordinal) { return static_cast<TSourceTargetItem>(ordinal); }

// ---- Action kinds ----

TEST(TKwTypesTest, EveryKindHasADistinctIdentifierThatConvertsBack) {
  std::set<std::string> identifiers;
  for (int ordinal = 0; ordinal < TSourceTargetItemCount; ++ordinal) {
    const std::string identifier = SourceTargetItemToString(Item(ordinal));
    EXPECT_TRUE(identifiers.insert(identifier).second) << identifier;
    EXPECT_EQ(StringToSourceTargetItem(identifier), ordinal) << identifier;
  }
}

TEST(TKwTypesTest, DeliberateSpellingsSurviveTheRoundTrip) {
  EXPECT_EQ(EnumToString(reInitializingFolders), "reInitializingFolders");
  EXPECT_EQ(StringToEnum<TColumnsFieldDelimiter>("cdfFixed"), cdfFixed);
  EXPECT_EQ(StringToEnum<TSFFilenamePart>("ftToDomain"), ftToDomain);
  EXPECT_EQ(StringToFileFormat("ffXslx"), ffXslx);
}

TEST(TKwTypesTest, SourcesAndTargetsOfOneStoreShareTheirShortName) {
  EXPECT_EQ(GetSourceTargetItemName(stiMailSrcIMAP), "IMAPServer");
  EXPECT_EQ(GetSourceTargetItemName(stiMailTarIMAP), "IMAPServer");
  EXPECT_EQ(GetSourceTargetItemCaption(stiMailTarEDataSendEmail),
            GetSourceTargetItemCaption(stiSendEmail));
  EXPECT_EQ(GetSourceTargetItemName(stiMailTarDownloadManager), "Downloadmanager");
  EXPECT_EQ(GetSourceTargetItemCaption(stiZipDecompress), "Zip DeCompress");
  EXPECT_EQ(GetSourceTargetItemCaption(stiRunDosCommand), "Execute DOS Command");
  EXPECT_EQ(GetSourceTargetItemCaption(stiMailPasFilterFalse), "Filter Condition: False");
}

TEST(TKwTypesTest, RolesFollowTheOrdinalRangesAtEveryBoundary) {
  EXPECT_EQ(GetItemActionRol(stiOther), arNil);
  EXPECT_EQ(GetItemActionRol(stiJobRemote), arJob);
  EXPECT_EQ(GetItemActionRol(stiJobTarget), arJobTarget);
  EXPECT_EQ(GetItemActionRol(stiMailSrcSingleFiles), arSource);
  EXPECT_EQ(GetItemActionRol(Item(37)), arSource);
  EXPECT_EQ(GetItemActionRol(Item(38)), arPass);
  EXPECT_EQ(GetItemActionRol(Item(49)), arPass);
  EXPECT_EQ(GetItemActionRol(Item(50)), arTarget);
  EXPECT_EQ(GetItemActionRol(Item(92)), arTarget);
  EXPECT_EQ(GetItemActionRol(Item(93)), arSimple);
  EXPECT_EQ(GetItemActionRol(stiFTPFileOperation), arSimple);
  // A pass by position in spite of its prefix.
  EXPECT_EQ(GetItemActionRol(stiMailTarRemotePC), arPass);
}

TEST(TKwTypesTest, NoKindHasTheRoleNone) {
  for (int ordinal = 0; ordinal < TSourceTargetItemCount; ++ordinal)
    EXPECT_NE(GetItemActionRol(Item(ordinal)), arNone) << ordinal;
}

// ---- Which kind may be a child of which ----

TEST(TKwTypesTest, AFilterTakesOnlyItsConditionBranches) {
  EXPECT_FALSE(IsChildItemPossible(stiMailPasFilter, stiMailTarSingleFiles, false));
  EXPECT_TRUE(IsChildItemPossible(stiMailPasFilter, stiMailPasFilterTrue, false));
  EXPECT_TRUE(IsChildItemPossible(stiMailPasBounceFilter, stiMailPasFilterFalse, false));
  EXPECT_FALSE(IsChildItemPossible(stiMailSrcPOP, stiMailPasFilterTrue, false));
  EXPECT_TRUE(IsChildItemPossible(stiMailPasFilterTrue, stiMailTarSingleFiles, false));
}

TEST(TKwTypesTest, TheRemoteFlagAdmitsOnlyRemoteCapableChildren) {
  EXPECT_FALSE(IsChildItemPossible(stiJob, stiMailSrcGmailApi, true));
  EXPECT_TRUE(IsChildItemPossible(stiJob, stiMailSrcGmailApi, false));
  EXPECT_TRUE(IsChildItemPossible(stiJob, stiMailSrcPOP, true));
  EXPECT_TRUE(IsChildItemPossible(stiMailSrcPOP, stiMailTarExchangeApi, true));
}

TEST(TKwTypesTest, RolesDecideTheTreeShape) {
  EXPECT_TRUE(IsChildItemPossible(stiOther, stiJob, false));
  EXPECT_TRUE(IsChildItemPossible(stiOther, stiJobTarget, false));
  EXPECT_FALSE(IsChildItemPossible(stiOther, stiMailSrcMbox, false));
  EXPECT_TRUE(IsChildItemPossible(stiJob, stiZipCompress, false));
  EXPECT_FALSE(IsChildItemPossible(stiJob, stiMailTarMbox, false));
  EXPECT_TRUE(IsChildItemPossible(stiJobTarget, stiMailTarMbox, false));
  EXPECT_FALSE(IsChildItemPossible(stiJobTarget, stiMailSrcMbox, false));
  EXPECT_TRUE(IsChildItemPossible(stiMailSrcMbox, stiMailPasTargetsFolder, false));
  EXPECT_FALSE(IsChildItemPossible(stiMailTarMbox, stiMailTarSingleFiles, false));
  EXPECT_FALSE(IsChildItemPossible(stiZipCompress, stiFileOperation, false));
}

TEST(TKwTypesTest, TheEmailDataChainRunsParserThenCollectThenColumnar) {
  EXPECT_TRUE(IsChildItemPossible(stiMailPasEmailDataParser, stiMailPasEmailDataDBCollect, false));
  EXPECT_TRUE(IsChildItemPossible(stiMailPasEmailDataParser, stiMailTarDB, false));
  EXPECT_FALSE(IsChildItemPossible(stiMailSrcMbox, stiMailPasEmailDataDBCollect, false));
  EXPECT_FALSE(IsChildItemPossible(stiMailSrcMbox, stiMailTarReport, false));
  EXPECT_TRUE(IsChildItemPossible(stiMailPasEmailDataDBCollect, stiMailTarEDataColumnar, false));
  EXPECT_FALSE(IsChildItemPossible(stiMailPasEmailDataDBCollect, stiMailTarSingleFiles, false));
  EXPECT_FALSE(IsChildItemPossible(stiMailSrcMbox, stiMailTarEDataColumnar, false));
  EXPECT_FALSE(IsChildItemPossible(stiMailPasEmailDataParser, stiMailTarEDataColumnar, false));
}

// ---- File formats ----

TEST(TKwTypesTest, ImagesArchivesAndTheWebSpreadsheetAreGroupedAsOther) {
  EXPECT_EQ(GetFileFormatGroup(ffColGSSheet), ffgOther);
  EXPECT_EQ(GetFileFormatGroup(ffSfPng), ffgOther);
  EXPECT_EQ(GetFileFormatGroup(ffSfTiff), ffgOther);
  EXPECT_EQ(GetFileFormatGroup(ffColAccess), ffgColumnar);
  EXPECT_EQ(GetFileFormatGroup(ffComChm), ffgCompilation);
  EXPECT_EQ(GetFileFormatGroup(ffSfEml), ffgSingleFiles);
  EXPECT_EQ(GetFileFormatGroup(ffSfRtf), ffgSingleFiles);
  EXPECT_EQ(GetFileFormatExtension(ffColGSSheet), "");
}

TEST(TKwTypesTest, FileNamesMapByTheirLowerCasedExtension) {
  struct TCase {
    const char* FileName;
    TFileFormat Expected;
    const char* Reason;
  };
  const TCase cases[] = {
      {"A.EML", ffSfEml, "comparison ignores case"},
      {"dir/report.final.PDF", ffSfPdf, "only the last extension counts"},
      {"sheet.xslx", ffXslx, "the identifier's spelling is the recognised one"},
      {"sheet.xlsx", ffNone, "the usual spelling is not recognised"},
      {"page.html", ffNone, "long spelling not recognised"},
      {"photo.jpeg", ffNone, "long spelling not recognised"},
      {"scan.tiff", ffNone, "long spelling not recognised"},
      {"archive.7Z", ffSf7z, "two-character extension"},
      {"a._eml", ffNone, "the plain mapping knows no underscore"},
  };
  for (const TCase& c : cases)
    EXPECT_EQ(FilenameToSingleFileFormat(c.FileName), c.Expected) << c.FileName << ": " << c.Reason;
}

TEST(TKwTypesTest, UnderscoredExtensionsMarkHiddenMessageFiles) {
  bool hidden = false;
  EXPECT_EQ(FilenameToSingleFileFormatEx("a._eml", hidden), ffSfEml);
  EXPECT_TRUE(hidden);
  EXPECT_EQ(FilenameToSingleFileFormatEx("a._ZIP", hidden), ffSfZip);
  EXPECT_FALSE(hidden);
  hidden = true;
  EXPECT_EQ(FilenameToSingleFileFormatEx("A.EML", hidden), ffSfEml);
  EXPECT_FALSE(hidden);
  hidden = true;
  EXPECT_EQ(FilenameToSingleFileFormatEx("a._xyz", hidden), ffNone);
  EXPECT_FALSE(hidden);
}

TEST(TKwTypesTest, HiddenNamesRoundTripForEverySingleFileFormat) {
  EXPECT_EQ(GetFileFormatExtensionEx(ffSfEml, false), "._eml");
  for (int ordinal = ffSfEml; ordinal <= ffSf7z; ++ordinal) {
    const auto format = static_cast<TFileFormat>(ordinal);
    bool hidden = false;
    EXPECT_EQ(FilenameToSingleFileFormatEx("msg" + GetFileFormatExtensionEx(format, true), hidden),
              format)
        << FileFormatToString(format);
    EXPECT_EQ(hidden, format != ffSfZip && format != ffSf7z) << FileFormatToString(format);
  }
}

// ---- Smaller texts and STypeFF ----

TEST(TKwTypesTest, FormattedNamesDropTheTwoLetterPrefix) {
  EXPECT_EQ(SaveStatusToStringFormated(ssSkipped), "Skipped");
  EXPECT_EQ(GetPaperSizeName(psLetter), "Letter");
  EXPECT_EQ(GetPaperSizeName(psA4), "A4");
}

TEST(TKwTypesTest, STypeFFPacksKindAndFormatIntoOneNumber) {
  EXPECT_EQ(ItemTypeFileFormatToSTypeFF(stiMailTarSingleFiles, ffSfPdf), 5012);
  TSourceTargetItem item = stiOther;
  TFileFormat format = ffNone;
  STypeFFToItemTypeFileFormat(5012, item, format);
  EXPECT_EQ(item, stiMailTarSingleFiles);
  EXPECT_EQ(format, ffSfPdf);
  for (int i = 0; i < TSourceTargetItemCount; ++i) {
    for (int f = 0; f < TFileFormatCount; ++f) {
      const int packed = ItemTypeFileFormatToSTypeFF(Item(i), static_cast<TFileFormat>(f));
      ASSERT_EQ(STypeFFToItemType(packed), i) << packed;
      ASSERT_EQ(STypeFFToFileFormat(packed), f) << packed;
    }
  }
}

// ---- Error paths ----

TEST(TKwTypesTest, KindsWithoutDisplayTextsRaiseAnAssertionFailure) {
  for (TSourceTargetItem item : {stiOther, stiMailSrcExchangeApi, stiMailTarExchangeApi}) {
    try {
      GetSourceTargetItemName(item);
      ADD_FAILURE() << "no assertion failure for " << SourceTargetItemToString(item);
    } catch (const EAssertionFailed& failure) {
      EXPECT_EQ(failure.Unit(), "Classes/uKwTypes");
      EXPECT_NE(std::string(failure.what()).find("Assertion failure"), std::string::npos);
    }
    EXPECT_THROW(GetSourceTargetItemCaption(item), EAssertionFailed);
  }
  EXPECT_THROW(GetSourceTargetItemName(Item(TSourceTargetItemCount)), EAssertionFailed);
}

TEST(TKwTypesTest, UnknownIdentifiersConvertToMinusOne) {
  EXPECT_EQ(StringToSourceTargetItem(""), -1);
  EXPECT_EQ(StringToSourceTargetItem("stimailsrcpop"), -1);
  EXPECT_EQ(StringToSourceTargetItem("stiMailSrcPOP "), -1);
  EXPECT_EQ(StringToSaveStatus("Skipped"), -1);
  EXPECT_EQ(StringToDBType("dbPostgres"), -1);
}

TEST(TKwTypesTest, ValuesOutsideTheirTablesGiveEmptyTexts) {
  EXPECT_EQ(GetFileFormatName(ffXslx), "");
  EXPECT_EQ(GetFileFormatExtensionEx(ffNone, false), "._");
  EXPECT_EQ(GetFileFormatName(static_cast<TFileFormat>(TFileFormatCount)), "");
  EXPECT_EQ(GetColumnFieldName(static_cast<TColumnField>(-1)), "");
  EXPECT_EQ(DriveToText(static_cast<TDrive>(TDriveCount)), "");
  EXPECT_EQ(SaveStatusToStringFormated(static_cast<TSaveStatus>(TSaveStatusCount)), "");
  EXPECT_EQ(SourceTargetItemToString(Item(-1)), "");
  EXPECT_EQ(GetItemActionRol(Item(TSourceTargetItemCount)), arNil);
  EXPECT_FALSE(IsRemoteItem(Item(TSourceTargetItemCount)));
  EXPECT_EQ(FilenameToSingleFileFormat(""), ffNone);
  EXPECT_EQ(FilenameToSingleFileFormat("no-extension"), ffNone);
  EXPECT_EQ(FilenameToSingleFileFormat("dir.eml/no-extension"), ffNone);
  EXPECT_EQ(FilenameToSingleFileFormat("trailing."), ffNone);
}

}  // namespace
