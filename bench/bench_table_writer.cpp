// Writing a columnar export: 100,000 rows of a dozen mixed columns (dates, numbers,
// Booleans, short and long text, some of it outside ASCII) into each table format.
// Reports rows per second; the files go to a temporary folder and are removed.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <vector>

#include "uKwTableWriter.h"

namespace {

constexpr int64_t kRows = 100000;

// Rows made on the fly, so the benchmark measures the writer and not a source.
class TGeneratedRows : public TKwTableRows {
 public:
  const std::vector<TKwTableColumn>& Columns() const override { return FColumns; }
  bool Next(TKwTableRow& row) override {
    if (FNext >= kRows) return false;
    const int64_t i = FNext++;
    row = {45000.0 + static_cast<double>(i) / 1440.0,
           "Sender " + std::to_string(i % 977),
           "sender" + std::to_string(i % 977) + "@example.org",
           (i % 5 == 0 ? "R\xc3\xa9sum\xc3\xa9, \xe4\xbd\xa0\xe5\xa5\xbd #" : "Quarterly report #") + std::to_string(i),
           "a@example.org, b@example.org, \"C, D\" <cd@example.org>",
           int64_t{1000 + i * 7 % 100000},
           static_cast<double>(i % 1000) / 7.0,
           int64_t{i % 2},
           int64_t{i % 4},
           "<" + std::to_string(i) + ".mail@example.org>",
           std::string(300 + i % 400, static_cast<char>('a' + i % 26)) + "\r\nsecond line",
           std::string("Inbox/Projects")};
    return true;
  }

 private:
  std::vector<TKwTableColumn> FColumns = {
      {"SubmitDate", TKwColumnKind::DateTime}, {"FromName", TKwColumnKind::Text},
      {"FromAddress", TKwColumnKind::Text},    {"Subject", TKwColumnKind::Text},
      {"ToList", TKwColumnKind::Text},         {"Size", TKwColumnKind::Integer},
      {"Score", TKwColumnKind::Float},         {"Read", TKwColumnKind::Boolean},
      {"AttachCount", TKwColumnKind::Integer}, {"MessageId", TKwColumnKind::Text},
      {"TextPart", TKwColumnKind::Text},       {"FolderName", TKwColumnKind::Text}};
  int64_t FNext = 0;
};

void WriteFormat(benchmark::State& state, TFileFormat format, TColumnsFieldDelimiter delimiter) {
  const std::filesystem::path file =
      std::filesystem::temp_directory_path() / ("quillon-bench-table-" + std::to_string(format));
  int64_t bytes = 0;
  for (auto _ : state) {
    TGeneratedRows rows;
    const TKwTableWriteResult result = WriteTableFile(format, file.string(), rows, {delimiter, ""});
    if (result.Rows != kRows) state.SkipWithError("not every row was written");
    bytes += static_cast<int64_t>(std::filesystem::file_size(file));
  }
  std::filesystem::remove(file);
  state.SetItemsProcessed(state.iterations() * kRows);
  state.counters["file_MB"] = static_cast<double>(bytes) / static_cast<double>(state.iterations()) / 1e6;
}

void BM_WriteTxtTab(benchmark::State& state) { WriteFormat(state, ffColTxt, cfdTab); }
void BM_WriteTxtFixed(benchmark::State& state) { WriteFormat(state, ffColTxt, cdfFixed); }
void BM_WriteXml(benchmark::State& state) { WriteFormat(state, ffColXml, cfdTab); }
void BM_WriteHtml(benchmark::State& state) { WriteFormat(state, ffColHtml, cfdTab); }
void BM_WriteXlsx(benchmark::State& state) { WriteFormat(state, ffColXlsx, cfdTab); }
void BM_WriteXls(benchmark::State& state) { WriteFormat(state, ffColExcel, cfdTab); }

BENCHMARK(BM_WriteTxtTab)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_WriteTxtFixed)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_WriteXml)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_WriteHtml)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_WriteXlsx)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_WriteXls)->Unit(benchmark::kMillisecond)->Iterations(2);

}  // namespace
