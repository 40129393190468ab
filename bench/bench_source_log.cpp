// The processed-message log at the size a long-lived source reaches: one lookup per listed
// message and one insert (committed on its own) per processed message, on a log of
// 1,000,000 ids. The log is built once per process in a fresh folder under
// QUILLON_BENCH_DIR (default: the system's temporary folder) and removed at exit; point
// that variable at the disk whose speed matters, since each insert waits for its commit.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "uKwDateTime.h"
#include "uKwSourceLogDB.h"
#include "uKwSqlite.h"

namespace {

constexpr int64_t kLogSize = 1'000'000;
constexpr char kSourceId[] = "{B0000000-0000-4000-8000-000000000001}";

// Logged ids are the even numbers below 2 * kLogSize, so odd ones are never logged.
std::string UniqueIdOf(int64_t number) {
  char text[32];
  std::snprintf(text, sizeof text, "%025" PRIX64, static_cast<uint64_t>(number));
  return text;
}

// A cheap, fixed sequence that scatters lookups over the whole index.
int64_t Scatter(int64_t step) { return (step * 2654435761LL) % kLogSize; }

class TBenchLog {
 public:
  TBenchLog() {
    const char* base = std::getenv("QUILLON_BENCH_DIR");
    const std::filesystem::path parent =
        base && *base ? std::filesystem::path(base) : std::filesystem::temp_directory_path();
    std::string pattern = (parent / "quillon-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) return;
    FFolder = pattern;
    setenv("QUILLON_HOME", FFolder.c_str(), 1);
    Log.CreateDatabase(kSourceId);  // the schema, as a first run makes it
    Log.CloseDatabase();
    FillLog();
    Log.CreateDatabase(kSourceId);
  }
  ~TBenchLog() {
    Log.CloseDatabase();
    std::error_code ec;
    if (!FFolder.empty()) std::filesystem::remove_all(FFolder, ec);
  }
  bool IsReady() const { return Log.IsOpen(); }

  TKwSourceLogDB Log;

 private:
  // Filling a million rows one commit at a time would take hours: one transaction here.
  void FillLog() {
    TKwSqliteDatabase database;
    if (!database.Open(Log.DatabaseFilename())) return;
    TKwSqliteStatement insert(
        database,
        "INSERT INTO SLOG (msg_uniqueid, slog_date, msg_date, msg_subject ) VALUES (?,?,?,?)");
    TKwSqliteTransaction transaction(database);
    const double now = DateTimeToJulianDate(NowLocal());
    for (int64_t i = 0; i < kLogSize; ++i) {
      insert.BindText(1, UniqueIdOf(2 * i));
      insert.BindDouble(2, now);
      insert.BindDouble(3, now - static_cast<double>(i % 3650));
      insert.BindText(4, "Subject of message " + std::to_string(i));
      if (!insert.Execute()) return;
    }
    transaction.Commit();
  }

  std::string FFolder;
};

TBenchLog* BenchLog(benchmark::State& state) {
  static TBenchLog log;
  if (log.IsReady()) return &log;
  state.SkipWithError(("the log could not be built: " + log.Log.LastError()).c_str());
  return nullptr;
}

// Every message a source lists that earlier runs already processed.
void BM_LookupLoggedId(benchmark::State& state) {
  TBenchLog* bench = BenchLog(state);
  if (!bench) return;
  int64_t step = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(bench->Log.ExistMessageInDB(UniqueIdOf(2 * Scatter(++step))));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LookupLoggedId)->MinTime(2);

// Every new message a source lists.
void BM_LookupNewId(benchmark::State& state) {
  TBenchLog* bench = BenchLog(state);
  if (!bench) return;
  int64_t step = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(bench->Log.ExistMessageInDB(UniqueIdOf(2 * Scatter(++step) + 1)));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LookupNewId)->MinTime(2);

// Every processed message: a lookup, then an insert committed on its own.
void BM_AddMessage(benchmark::State& state) {
  TBenchLog* bench = BenchLog(state);
  if (!bench) return;
  static int64_t next = 2 * kLogSize;
  const double messageDate = NowLocal();
  for (auto _ : state) bench->Log.AddMessage(UniqueIdOf(next++), messageDate, "A new message");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_AddMessage)->MinTime(2)->Unit(benchmark::kMicrosecond);

}  // namespace
