#pragma once
// Country of an IPv4 address, from a local SQLite table of address ranges that this class
// builds itself from a CSV file.
//
// Files, in the data folder given at construction: "ipcountry.db3" (the table) and
// "IpToCountry.csv" (a new list of ranges). A CSV found there at construction replaces the
// table and is then deleted; one left in the user's documents folder is first moved into
// the data folder when no table exists yet. Without either file every lookup is false.
//
// CSV: one range per line, seven values in the table's column order, separated by ",",
// each optionally in double quotes (a quoted value may hold "," and doubled quotes); lines
// starting with "#" and blank lines are skipped, and so are lines without seven values or
// whose first two values are not numbers.
//
// Owns its connection, which is open only during a lookup or an import. Nothing throws.
// Used from one thread.

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

class TKwSqliteDatabase;

class TKwIPToCountry {
 public:
  // documentsFolder: where a user may have dropped "IpToCountry.csv"; by default
  // $XDG_DOCUMENTS_DIR, else ~/Documents.
  explicit TKwIPToCountry(std::string_view dataFolder);
  TKwIPToCountry(std::string_view dataFolder, std::string_view documentsFolder);
  ~TKwIPToCountry();
  TKwIPToCountry(const TKwIPToCountry&) = delete;
  TKwIPToCountry& operator=(const TKwIPToCountry&) = delete;

  // Outputs are emptied first. True when a range holds the address and names a country;
  // a range marked "ZZZ" (reserved) gives no country. Malformed addresses and 0.0.0.0 are
  // refused without opening the table; a failing table reports no country.
  bool GetCountry(std::string_view ip, std::string& countryCode, std::string& countryName);

  // a.b.c.d as a * 2^24 + b * 2^16 + c * 2^8 + d; 0 for anything else (parts must be 1-3
  // decimal digits of at most 255, blanks around the address are ignored).
  static int64_t IpAddressToInt(std::string_view ip);

  bool OpenDB();
  void CloseDB();
  // Deletes the table's file and creates it afresh with the empty table; leaves it open.
  bool CreateDB();
  // Rebuilds the table from the CSV file in one transaction; nothing of a failed import is
  // kept. The CSV file itself is left alone.
  bool GenerateDBFromCSVFile();

  const std::string& DBFilename() const { return FDBFilename; }
  const std::string& CSVFilename() const { return FCSVFilename; }
  // Why the last import or lookup failed; rows skipped by the last import are not errors.
  const std::string& LastError() const { return FLastError; }
  int ImportedRowCount() const { return FImportedRowCount; }  // of the last import

 private:
  void PrepareDatabase(std::string_view documentsFolder);
  bool ImportCSVLines(std::istream& input);
  bool Fail(std::string_view context);

  std::unique_ptr<TKwSqliteDatabase> FDatabase;
  std::string FDBFilename;
  std::string FCSVFilename;
  std::string FLastError;
  int FImportedRowCount = 0;
};

// The folder in which the user keeps documents, with a trailing "/".
std::string GetUserDocumentsFolder();
