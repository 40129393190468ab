// Indexing and cutting a large mailbox: the cost of opening a mail store of millions of
// messages. The mailbox is named by QUILLON_BENCH_MBOX (a file of a gigabyte or so, made by
// bench/gen_mbox.py and kept outside the source tree); without it the benchmarks are skipped.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "uKwMbox.h"

namespace {

const char* BenchMailbox(benchmark::State& state) {
  const char* path = std::getenv("QUILLON_BENCH_MBOX");
  if (!path || !*path) state.SkipWithError("QUILLON_BENCH_MBOX is not set: no mailbox to read");
  return path && *path ? path : nullptr;
}

bool OpenMailbox(benchmark::State& state, TKwMbox& mbox, const char* path) {
  std::string errorText;
  if (mbox.LoadFromFile(path, mbmRead, errorText)) return true;
  state.SkipWithError(errorText.c_str());
  return false;
}

void BM_IndexMbox(benchmark::State& state) {
  const char* path = BenchMailbox(state);
  if (!path) return;
  TKwMbox mbox(mbfMboxrd);
  for (auto _ : state)
    if (!OpenMailbox(state, mbox, path)) return;
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(path)));
  state.counters["messages"] = static_cast<double>(mbox.Count());
  state.counters["unique_ids"] = static_cast<double>(mbox.UniqueIds().Count());
}
BENCHMARK(BM_IndexMbox)->Unit(benchmark::kMillisecond)->MinTime(3);

// The index and every message's unique id, as a writer that appends to the file needs them.
void BM_IndexMboxWithUniqueIds(benchmark::State& state) {
  const char* path = BenchMailbox(state);
  if (!path) return;
  TKwMbox mbox(mbfMboxrd);
  for (auto _ : state) {
    if (!OpenMailbox(state, mbox, path)) return;
    benchmark::DoNotOptimize(mbox.UniqueIds().Count());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(path)));
  state.SetItemsProcessed(state.iterations() * mbox.Count());
}
BENCHMARK(BM_IndexMboxWithUniqueIds)->Unit(benchmark::kMillisecond)->MinTime(3);

// Every message in file order, as the mbox source walks them.
void BM_CutMessagesInOrder(benchmark::State& state) {
  const char* path = BenchMailbox(state);
  if (!path) return;
  TKwMbox mbox(mbfMboxrd);
  if (!OpenMailbox(state, mbox, path)) return;
  int64_t lines = 0;
  for (auto _ : state) {
    for (int64_t i = 0; i < mbox.Count(); ++i)
      lines += static_cast<int64_t>(mbox.GetHeader(i).size() + mbox.GetBody(i).size());
  }
  benchmark::DoNotOptimize(lines);
  state.SetItemsProcessed(state.iterations() * mbox.Count());
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(path)));
}
BENCHMARK(BM_CutMessagesInOrder)->Unit(benchmark::kMillisecond)->MinTime(3);

// Messages far apart, as a caller that jumps around would ask for them.
void BM_CutMessagesScattered(benchmark::State& state) {
  const char* path = BenchMailbox(state);
  if (!path) return;
  TKwMbox mbox(mbfMboxrd);
  if (!OpenMailbox(state, mbox, path) || mbox.Count() == 0) return;
  constexpr int64_t kStride = 7919;  // a prime: visits every message when Count is not a multiple
  int64_t index = 0;
  for (auto _ : state) {
    index = (index + kStride) % mbox.Count();
    benchmark::DoNotOptimize(mbox.GetBody(index).size());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CutMessagesScattered)->MinTime(2);

}  // namespace
