#include "uKwIPToCountry.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "TestSupport.h"
#include "uKwSqlite.h"

namespace fs = std::filesystem;

namespace {

const fs::path kFixture = fs::path(QUILLON_TEST_DATA) / "ipcountry" / "IpToCountry.csv";

struct TLookup {
  bool Found;
  std::string Code;
  std::string Name;
};

TLookup Lookup(TKwIPToCountry& table, std::string_view ip) {
  TLookup result{false, "?", "?"};
  result.Found = table.GetCountry(ip, result.Code, result.Name);
  return result;
}

// A data folder holding the fixture, as a user drops a new list of ranges into it.
void DropFixture(const fs::path& folder) {
  fs::create_directories(folder);
  fs::copy_file(kFixture, folder / "IpToCountry.csv", fs::copy_options::overwrite_existing);
}

}  // namespace

TEST(TKwIPToCountryTest, ConvertsDottedAddressesToTheirNumber) {
  EXPECT_EQ(TKwIPToCountry::IpAddressToInt("1.2.3.4"), 16909060);
  EXPECT_EQ(TKwIPToCountry::IpAddressToInt("255.255.255.255"), 4294967295LL);
  EXPECT_EQ(TKwIPToCountry::IpAddressToInt("010.0.0.1"), 167772161);  // leading zeros are decimal
  EXPECT_EQ(TKwIPToCountry::IpAddressToInt(" 10.0.0.1 "), 167772161);
}

TEST(TKwIPToCountryTest, ImportsTheCsvAndDeletesIt) {
  TTempDir data;
  DropFixture(data.Path());
  TKwIPToCountry table(data.Path().string(), "");
  EXPECT_FALSE(fs::exists(data / "IpToCountry.csv"));
  EXPECT_TRUE(fs::exists(data / "ipcountry.db3"));
  EXPECT_EQ(table.DBFilename(), (data / "ipcountry.db3").string());
  // Eight ranges; the duplicate, the non-numeric and the short line are left out.
  EXPECT_EQ(table.ImportedRowCount(), 8);

  TLookup au = Lookup(table, "1.0.0.77");
  EXPECT_TRUE(au.Found);
  EXPECT_EQ(au.Code, "AUS");
  EXPECT_EQ(au.Name, "Australia");
  EXPECT_EQ(Lookup(table, "198.51.100.9").Name, "Korea, Republic of");
  EXPECT_EQ(Lookup(table, "203.0.113.255").Code, "NLD");  // unquoted values, last address
  EXPECT_EQ(Lookup(table, "255.255.255.255").Name, "Top \"Quoted\" Range");
}

TEST(TKwIPToCountryTest, ReservedRangesGiveNoCountryButOtherPrivateRangesGiveWhatTheTableHolds) {
  TTempDir data;
  DropFixture(data.Path());
  TKwIPToCountry table(data.Path().string(), "");
  for (const char* reserved : {"127.0.0.1", "10.1.2.3"}) {
    TLookup lookup = Lookup(table, reserved);
    EXPECT_FALSE(lookup.Found) << reserved;
    EXPECT_EQ(lookup.Code, "") << reserved;
    EXPECT_EQ(lookup.Name, "") << reserved;
  }
  EXPECT_EQ(Lookup(table, "192.168.1.1").Name, "Private Example");
  TLookup outside = Lookup(table, "8.8.8.8");
  EXPECT_FALSE(outside.Found);
  EXPECT_EQ(outside.Code, "");
}

TEST(TKwIPToCountryTest, AddressZeroAndMalformedAddressesAreNeverLookedUp) {
  TTempDir data;
  DropFixture(data.Path());
  TKwIPToCountry table(data.Path().string(), "");
  // The table maps 0.0.0.0/8 to a country, so only the refusal explains a false here.
  EXPECT_TRUE(Lookup(table, "0.0.0.1").Found);
  for (const char* ip : {"0.0.0.0", "", "abc", "1.0.0", "1.0.0.5.6", "1..0.5", "256.0.0.1",
                         "-1.0.0.5", "1.0.0.5x", "1.0.0.1234", "1,0,0,5"}) {
    EXPECT_EQ(TKwIPToCountry::IpAddressToInt(ip), 0) << ip;
    EXPECT_FALSE(Lookup(table, ip).Found) << ip;
  }
}

TEST(TKwIPToCountryTest, CreatesTheTableWithItsExactStatement) {
  TTempDir data;
  DropFixture(data.Path());
  { TKwIPToCountry table(data.Path().string(), ""); }
  TKwSqliteDatabase database;
  ASSERT_TRUE(database.Open((data / "ipcountry.db3").string(), TKwSqliteDatabase::omReadOnly));
  TKwSqliteStatement schema(database, "SELECT sql FROM sqlite_master WHERE type = 'table'");
  ASSERT_EQ(schema.Step(), TKwSqliteStep::Row);
  EXPECT_EQ(schema.ColumnText(0),
            "CREATE TABLE \"IPCOUNTRY\" (\"IPFROM\" INTEGER,\"IPTO\" INTEGER,\"REGISTRY\" TEXT,"
            "\"ASSIGNED\" INTEGER,\"CTRY\" TEXT,\"CNTRY\" TEXT,\"COUNTRY\" TEXT,"
            "PRIMARY KEY (\"IPFROM\", \"IPTO\"))");
  EXPECT_EQ(schema.Step(), TKwSqliteStep::Done);

  TKwSqliteStatement row(database, "SELECT * FROM IPCOUNTRY WHERE CTRY = 'AU'");
  ASSERT_EQ(row.Step(), TKwSqliteStep::Row);
  EXPECT_EQ(row.ColumnInt64(0), 16777216);
  EXPECT_EQ(row.ColumnText(2), "apnic");
  EXPECT_EQ(row.ColumnInt64(3), 1313020800);
}

TEST(TKwIPToCountryTest, MovesACsvFromTheDocumentsFolderOnlyWhenThereIsNoTable) {
  TTempDir root;
  const fs::path data = root / "data";
  const fs::path documents = root / "documents";
  fs::create_directories(data);
  DropFixture(documents);
  {
    TKwIPToCountry table(data.string(), documents.string());
    EXPECT_FALSE(fs::exists(documents / "IpToCountry.csv"));
    EXPECT_EQ(Lookup(table, "1.0.0.1").Name, "Australia");
  }
  WriteFileText(documents / "IpToCountry.csv",
                "\"16777216\",\"16777471\",\"x\",\"0\",\"AU\",\"AUS\",\"Elsewhere\"\n");
  TKwIPToCountry again(data.string(), documents.string());
  EXPECT_TRUE(fs::exists(documents / "IpToCountry.csv"));
  EXPECT_EQ(Lookup(again, "1.0.0.1").Name, "Australia");
}

TEST(TKwIPToCountryTest, ANewCsvInTheDataFolderReplacesTheTable) {
  TTempDir data;
  DropFixture(data.Path());
  { TKwIPToCountry first(data.Path().string(), ""); }
  // CRLF line ends, a byte-order mark and blanks around unquoted values.
  WriteFileText(
      data / "IpToCountry.csv",
      "\xEF\xBB\xBF\"16777216\",\"16777471\",\"apnic\",\"0\",\"AU\",\"AUS\",\"Renamed\"\r\n"
      "# comment\r\n"
      " 3405803776 , 3405804031 ,ripencc, 5 ,NL, NLD ,Netherlands\r\n");
  TKwIPToCountry second(data.Path().string(), "");
  EXPECT_EQ(second.ImportedRowCount(), 2);
  EXPECT_EQ(Lookup(second, "1.0.0.1").Name, "Renamed");
  EXPECT_EQ(Lookup(second, "203.0.113.1").Code, "NLD");
  EXPECT_FALSE(Lookup(second, "198.51.100.9").Found);  // gone with the old table
}

// ---- Error paths ----

TEST(TKwIPToCountryErrorTest, WithoutCsvOrTableEveryLookupIsFalse) {
  TTempDir data;
  TKwIPToCountry table(data.Path().string(), (data / "no-documents").string());
  EXPECT_FALSE(fs::exists(data / "ipcountry.db3"));
  TLookup lookup = Lookup(table, "1.0.0.1");
  EXPECT_FALSE(lookup.Found);
  EXPECT_EQ(lookup.Code, "");
  EXPECT_EQ(lookup.Name, "");
}

TEST(TKwIPToCountryErrorTest, ATableFileThatIsNotADatabaseReportsNoCountry) {
  TTempDir data;
  WriteFileText(data / "ipcountry.db3", std::string(4096, 'x'));
  TKwIPToCountry table(data.Path().string(), "");
  EXPECT_FALSE(Lookup(table, "1.0.0.1").Found);
  EXPECT_NE(table.LastError(), "");
}

TEST(TKwIPToCountryErrorTest, AnEmptyOrCommentOnlyCsvGivesAnEmptyTable) {
  TTempDir data;
  WriteFileText(data / "IpToCountry.csv", "# nothing but a comment");
  TKwIPToCountry table(data.Path().string(), "");
  EXPECT_EQ(table.ImportedRowCount(), 0);
  EXPECT_TRUE(fs::exists(data / "ipcountry.db3"));
  EXPECT_FALSE(Lookup(table, "1.0.0.1").Found);
}

TEST(TKwIPToCountryErrorTest, AnUnwritableDataFolderLeavesTheServiceInert) {
  if (geteuid() == 0) GTEST_SKIP() << "root writes anywhere";
  TTempDir data;
  DropFixture(data.Path());
  fs::permissions(data.Path(), fs::perms::owner_read | fs::perms::owner_exec);
  TKwIPToCountry table(data.Path().string(), "");
  fs::permissions(data.Path(), fs::perms::owner_all);
  EXPECT_FALSE(Lookup(table, "1.0.0.1").Found);
  EXPECT_NE(table.LastError(), "");
}
