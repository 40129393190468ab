// The two example jobs of the data chain run as a user runs them: the order mails into
// orders.csv and orders.xlsx, and the address table before an mbox export.

#include <gtest/gtest.h>

#include <filesystem>

#include "CliRun.h"
#include "CsvReader.h"
#include "TestSupport.h"

namespace fs = std::filesystem;

namespace {

const fs::path kSource = QUILLON_SOURCE_DIR;

// A copy of the repository's examples in a fresh folder, since runs write beside the job.
class CliEmailDataTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  void SetUp() override {
    fs::create_directories(FHome / "examples");
    fs::copy(kSource / "examples" / "orders", FHome / "examples" / "orders");
    for (const char* file : {"orders.json", "address-table.json", "sample.mbox"})
      fs::copy_file(kSource / "examples" / file, FHome / "examples" / file);
  }
  // The example's paths name the repository's folders, so it runs from the copy's root.
  TCliRun RunExample(const std::string& job) {
    TCliRun run;
    const std::string command =
        "cd '" + FHome.Path().string() + "' && " + QUILLON_CLI_PATH + " run --quiet examples/" + job + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    char buffer[4096];
    while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) run.Out.append(buffer, n);
    const int status = pclose(pipe);
    run.Status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
  }
};

}  // namespace

TEST_F(CliEmailDataTest, TheOrdersJobWritesOrderNumbersAndAmounts) {
  const TCliRun run = RunExample("orders.json");
  ASSERT_EQ(run.Status, 0) << run.Out;
  const auto rows = ParseCsvStrict(ReadFileText(FHome / "demo-out" / "orders" / "orders.csv"));
  ASSERT_EQ(rows.size(), 7u);
  EXPECT_EQ(rows[0], (TCsvRecord{"SubmitDate", "FromAddress", "Subject", "OrderNumber", "Amount", "OrderDate",
                                 "Customer", "Tracking"}));
  bool invoice = false;
  for (const TCsvRecord& row : rows) invoice |= row.at(3) == "A-10026" && row.at(4) == "2345.67";
  EXPECT_TRUE(invoice);
  EXPECT_TRUE(fs::exists(FHome / "demo-out" / "orders" / "orders.xlsx"));
  EXPECT_EQ(rows[1][0].find('T'), std::string::npos) << "the locale's date form by default";

  // Collected dates no longer know their header's zone: ISO gives them the local one (UTC here).
  fs::create_directories(FHome / "home" / "Common");
  WriteFileText(FHome / "home" / "Common" / "options.json", R"({"DateFormat": "iso"})");
  ASSERT_EQ(RunExample("orders.json").Status, 0);
  const auto isoRows = ParseCsvStrict(ReadFileText(FHome / "demo-out" / "orders" / "orders.csv"));
  ASSERT_EQ(isoRows.size(), 7u);
  EXPECT_EQ(isoRows[1][0].size(), 25u) << isoRows[1][0];
  EXPECT_EQ(isoRows[1][0].substr(10, 1) + isoRows[1][0].substr(19), "T+00:00") << isoRows[1][0];
}

TEST_F(CliEmailDataTest, TheAddressTableJobMovesTheOldDomain) {
  const TCliRun run = RunExample("address-table.json");
  ASSERT_EQ(run.Status, 0) << run.Out;
  const std::string out = ReadFileText(FHome / "demo-out" / "address-table" / "rewritten.mbox");
  EXPECT_NE(out.find("From: Tobias Fenn <t.fenn@sales.example.com>"), std::string::npos);
  EXPECT_EQ(out.find("\nFrom: Tobias Fenn <tobias.fenn@sales.example.org>"), std::string::npos);
}
