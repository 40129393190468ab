// The bounce classifier on its own, over the bounce corpus of the tests (read from
// QUILLON_BENCH_BOUNCES, by default tests/data/bounces below the current folder): what
// classification adds to every message a source decodes.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "uKwBounceCheck.h"

namespace {

const std::vector<std::string>& Reports() {
  static const std::vector<std::string> reports = [] {
    std::vector<std::string> texts;
    const char* folder = std::getenv("QUILLON_BENCH_BOUNCES");
    std::error_code ec;
    for (std::filesystem::directory_iterator it(folder && *folder ? folder : "tests/data/bounces", ec), end;
         !ec && it != end; it.increment(ec)) {
      if (it->path().extension() != ".eml") continue;
      std::ifstream file(it->path(), std::ios::binary);
      std::ostringstream text;
      text << file.rdbuf();
      texts.push_back(text.str());
    }
    return texts;
  }();
  return reports;
}

void BM_ClassifyReports(benchmark::State& state) {
  const std::vector<std::string>& reports = Reports();
  if (reports.empty()) {
    state.SkipWithError("no reports found: set QUILLON_BENCH_BOUNCES or run from the repository root");
    return;
  }
  TKwBounceCheck check;  // reused, as a message reuses its own
  int64_t bounces = 0;
  for (auto _ : state)
    for (const std::string& text : reports) bounces += check.ParseMessage(text);
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(reports.size()));
  state.counters["bounces"] = benchmark::Counter(static_cast<double>(bounces), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_ClassifyReports)->Unit(benchmark::kMicrosecond)->MinTime(2);

}  // namespace
