// Saving and loading large action trees: the cost a desktop shell pays to open a job.

#include <benchmark/benchmark.h>

#include <cstdlib>

#include "uKwActionFile.h"

namespace {

std::unique_ptr<TKwActionBase> WideTree(int sources, int targetsPerSource) {
  setenv("QUILLON_HOME", "/tmp/quillon-bench-home", 1);
  auto job = CreateNewAction(stiJob);
  for (int s = 0; s < sources; ++s) {
    TKwActionBase& source = job->GetChild(job->AddChild(stiMailSrcMbox));
    source.Name = "source " + std::to_string(s);
    for (int t = 0; t < targetsPerSource; ++t) source.AddChild(t % 2 ? stiMailTarSingleFiles : stiMailTarMbox);
  }
  return job;
}

void BM_SaveToString(benchmark::State& state) {
  auto job = WideTree(static_cast<int>(state.range(0)), 10);
  for (auto _ : state) benchmark::DoNotOptimize(job->SaveToString());
  state.SetItemsProcessed(state.iterations() * state.range(0) * 11);
}
BENCHMARK(BM_SaveToString)->Arg(10)->Arg(100);

void BM_LoadFromString(benchmark::State& state) {
  std::string text = WideTree(static_cast<int>(state.range(0)), 10)->SaveToString();
  for (auto _ : state) benchmark::DoNotOptimize(LoadActionFromText(text));
  state.SetItemsProcessed(state.iterations() * state.range(0) * 11);
}
BENCHMARK(BM_LoadFromString)->Arg(10)->Arg(100);

void BM_JsonRoundTrip(benchmark::State& state) {
  auto job = WideTree(static_cast<int>(state.range(0)), 10);
  for (auto _ : state) benchmark::DoNotOptimize(LoadActionFromJson(ActionToJson(*job)));
  state.SetItemsProcessed(state.iterations() * state.range(0) * 11);
}
BENCHMARK(BM_JsonRoundTrip)->Arg(10);

}  // namespace
