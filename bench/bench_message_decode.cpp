// Decoding messages into TKwMailMessage, the cost every source pays per message: MIME
// parsing, both bodies, attachments, headers and the derived data. The messages come from
// the mailbox named by QUILLON_BENCH_MBOX (made by gen_mbox.py, kept outside the source
// tree), cut apart with TKwMbox before timing; without it the benchmarks are skipped.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "uKwMailMessage.h"
#include "uKwMbox.h"

namespace {

struct TCorpus {
  std::vector<std::string> Messages;
  int64_t Bytes = 0;
  std::string Error;
};

// The mailbox's messages as MIME texts, read once for all benchmarks.
const TCorpus& Corpus() {
  static const TCorpus corpus = [] {
    TCorpus result;
    const char* path = std::getenv("QUILLON_BENCH_MBOX");
    if (!path || !*path) {
      result.Error = "QUILLON_BENCH_MBOX is not set: no mailbox to decode";
      return result;
    }
    TKwMbox mbox(mbfMboxrd);
    if (!mbox.LoadFromFile(path, mbmRead, result.Error)) return result;
    result.Messages.reserve(static_cast<size_t>(mbox.Count()));
    for (int64_t i = 0; i < mbox.Count(); ++i) {
      std::string text;
      for (const std::string& line : mbox.GetHeader(i)) text.append(line).append("\r\n");
      text.append("\r\n");
      for (const std::string& line : mbox.GetBody(i)) text.append(line).append("\r\n");
      result.Bytes += static_cast<int64_t>(text.size());
      result.Messages.push_back(std::move(text));
    }
    return result;
  }();
  return corpus;
}

void DecodeAll(benchmark::State& state, const TDecodeOptions& options) {
  const TCorpus& corpus = Corpus();
  if (corpus.Messages.empty()) {
    state.SkipWithError(corpus.Error.empty() ? "the mailbox holds no message" : corpus.Error.c_str());
    return;
  }
  TKwMailMessage message;  // reused, as a source does
  message.DecodeOptions = options;
  int64_t attachments = 0;
  for (auto _ : state) {
    for (const std::string& text : corpus.Messages) {
      message.LoadMIMEFromString(text);
      attachments += message.Attachments->GetCount();
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(corpus.Messages.size()));
  state.SetBytesProcessed(state.iterations() * corpus.Bytes);
  state.counters["messages"] = static_cast<double>(corpus.Messages.size());
  state.counters["attachments"] =
      benchmark::Counter(static_cast<double>(attachments), benchmark::Counter::kAvgIterations);
}

// What a source does by default: decoding plus the image links of the HTML body.
void BM_DecodeMessages(benchmark::State& state) { DecodeAll(state, {doParseImageLinks}); }
BENCHMARK(BM_DecodeMessages)->Unit(benchmark::kMillisecond)->MinTime(2);

// Decoding with the word list as well, as the indexing of message bodies asks for it.
void BM_DecodeMessagesWithWords(benchmark::State& state) { DecodeAll(state, {doParseWords, doParseImageLinks}); }
BENCHMARK(BM_DecodeMessagesWithWords)->Unit(benchmark::kMillisecond)->MinTime(2);

}  // namespace
