#include "uKwMessagePrefetch.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vector>

#include "uKwHeaders.h"
#include "uKwMailMessage.h"

namespace {

// Texts waiting ahead of the loop are capped in bytes too, so that a run over huge
// messages holds about one of them at a time.
constexpr size_t kMaxPendingBytes = size_t{32} << 20;

struct TJob {
  TKwMessagePrefetcher::TCut Cut;  // when the worker cuts the text itself
  std::string Text;  // handed over to the message decoded from it
  size_t Bytes = 0;   // of Text as submitted
  size_t HeaderLength = 0;
  bool Done = false;
  TKwPrefetchedItem Result;
  std::exception_ptr Error;
};

}  // namespace

struct TKwMessagePrefetcher::TImpl {
  TImpl(const TKwMailMessage& prototype, size_t depth)
      : Depth(depth == 0 ? 1 : depth),
        TempFolder(prototype.TempFolder),
        DecodeOptions(prototype.DecodeOptions),
        DecodeDepth(prototype.DecodeDepth),
        ClassifiesBounces(prototype.ClassifiesBounces),
        DownloadImages(prototype.DownloadImages) {}

  void Run() {
    TKwHeaders headers;
    for (;;) {
      TJob* job = nullptr;
      {
        std::unique_lock lock(Mutex);
        WorkReady.wait(lock, [&] { return Stopping || NextToRun < Jobs.size(); });
        if (Stopping) return;
        job = Jobs[NextToRun++].get();
      }
      try {
        Decode(*job, headers);
      } catch (...) {
        job->Error = std::current_exception();
      }
      std::lock_guard lock(Mutex);
      job->Done = true;
      ResultReady.notify_all();
    }
  }

  // A message decoded whole gives the loop its header fields too; otherwise the header
  // block alone is read.
  void Decode(TJob& job, TKwHeaders& headers) {
    TKwPrefetchedItem& result = job.Result;
    if (job.Cut) {
      job.Text = job.Cut(job.HeaderLength, result.CutError);
      job.HeaderLength = std::min(job.HeaderLength, job.Text.size());
    }
    if (Loading) {
      std::unique_ptr<TKwMailMessage> message = AcquireMessage();
      // What a recycled message carries over belongs to whichever message it held before;
      // the loop fills these in from the message before this one in the source's order.
      message->Headers->ReturnPath.Clear();
      message->Headers->EnvelopeTo.Clear();
      try {
        message->LoadMIMEFromString(std::move(job.Text));
        TakeHeaderFields(*message->Headers, result);
        result.Message = std::move(message);
        return;
      } catch (const std::exception&) {
        // Left to the loop, which loads the message itself and logs its failure there, as
        // for any message that cannot be loaded. Its text may have been taken in its
        // line-break form, where the header length no longer holds.
        if (job.Text.empty()) {
          job.Text = std::move(message->SourceText);
          job.HeaderLength = job.Text.size();
        }
      }
    }
    headers.LoadHeadersFromString(std::string_view(job.Text).substr(0, job.HeaderLength));
    TakeHeaderFields(headers, result);
  }

  static void TakeHeaderFields(const TKwHeaders& headers, TKwPrefetchedItem& result) {
    result.UniqueId = headers.GetUniqueId();
    result.FromAddress = headers.From.Address;
    result.Recipients = headers.RecipientsComma();
    result.Subject = headers.Subject;
    result.GmtDate = headers.SubmitDate.GmtDate;
  }

  void Enqueue(std::unique_ptr<TJob> job) {
    {
      std::lock_guard lock(Mutex);
      PendingBytes += job->Bytes;
      Jobs.push_back(std::move(job));
    }
    WorkReady.notify_one();
  }

  std::unique_ptr<TKwMailMessage> AcquireMessage() {
    {
      std::lock_guard lock(Mutex);
      if (!Spares.empty()) {
        std::unique_ptr<TKwMailMessage> message = std::move(Spares.back());
        Spares.pop_back();
        return message;
      }
    }
    auto message = std::make_unique<TKwMailMessage>();
    message->TempFolder = TempFolder;
    message->DecodeOptions = DecodeOptions;
    message->DecodeDepth = DecodeDepth;
    message->ClassifiesBounces = ClassifiesBounces;
    message->DownloadImages = DownloadImages;
    return message;
  }

  const size_t Depth;
  const std::string TempFolder;
  const TDecodeOptions DecodeOptions;
  const TKwDecodeDepth DecodeDepth;
  const bool ClassifiesBounces;
  const bool DownloadImages;

  std::mutex Mutex;
  std::condition_variable WorkReady;
  std::condition_variable ResultReady;
  std::deque<std::unique_ptr<TJob>> Jobs;  // submission order; the front is taken next
  size_t NextToRun = 0;                    // the first job the worker has not started
  size_t PendingBytes = 0;
  bool Refilling = false;  // HasRoom's state: filling the queue up
  std::vector<std::unique_ptr<TKwMailMessage>> Spares;
  std::atomic<bool> Loading{true};
  bool Stopping = false;
  std::vector<std::thread> Workers;
};

namespace {

// One worker per core: decoding costs more than writing, so the loop spends much of its
// time waiting for the next message, and a core left to it alone would idle that long.
size_t WorkerCount() { return std::clamp<size_t>(std::thread::hardware_concurrency(), 1, 4); }

}  // namespace

TKwMessagePrefetcher::TKwMessagePrefetcher(const TKwMailMessage& prototype, size_t depth)
    : FImpl(std::make_unique<TImpl>(prototype, depth)) {
  for (size_t i = WorkerCount(); i > 0; --i) FImpl->Workers.emplace_back([impl = FImpl.get()] { impl->Run(); });
}

TKwMessagePrefetcher::~TKwMessagePrefetcher() {
  {
    std::lock_guard lock(FImpl->Mutex);
    FImpl->Stopping = true;
  }
  FImpl->WorkReady.notify_all();
  for (std::thread& worker : FImpl->Workers) worker.join();
}

bool TKwMessagePrefetcher::HasRoom() const {
  // The main thread alone adds and removes jobs, so their count needs no lock.
  TImpl& impl = *FImpl;
  if (impl.Jobs.empty()) return true;
  if (impl.Jobs.size() >= impl.Depth || impl.PendingBytes >= kMaxPendingBytes) {
    impl.Refilling = false;
    return false;
  }
  // Jobs are added in batches once half the queue is taken, so that a waiting worker is
  // woken for several messages rather than for each.
  if (!impl.Refilling && impl.Jobs.size() > impl.Depth / 2) return false;
  impl.Refilling = true;
  return true;
}

void TKwMessagePrefetcher::Submit(int64_t key, std::string text, size_t headerLength) {
  auto job = std::make_unique<TJob>();
  job->Result.Key = key;
  job->HeaderLength = std::min(headerLength, text.size());
  job->Text = std::move(text);
  job->Bytes = job->Text.size();
  FImpl->Enqueue(std::move(job));
}

void TKwMessagePrefetcher::SubmitCut(int64_t key, size_t bytes, TCut cut) {
  auto job = std::make_unique<TJob>();
  job->Result.Key = key;
  job->Bytes = bytes;
  job->Cut = std::move(cut);
  FImpl->Enqueue(std::move(job));
}

bool TKwMessagePrefetcher::HasPending() const { return !FImpl->Jobs.empty(); }

TKwPrefetchedItem TKwMessagePrefetcher::TakeNext() {
  std::unique_ptr<TJob> job;
  {
    std::unique_lock lock(FImpl->Mutex);
    if (FImpl->Jobs.empty()) throw std::logic_error("No message was submitted for decoding");
    FImpl->ResultReady.wait(lock, [&] { return FImpl->Jobs.front()->Done; });
    job = std::move(FImpl->Jobs.front());
    FImpl->Jobs.pop_front();
    --FImpl->NextToRun;
    FImpl->PendingBytes -= job->Bytes;
  }
  if (job->Error) std::rethrow_exception(job->Error);
  return std::move(job->Result);
}

void TKwMessagePrefetcher::SetLoading(bool loading) { FImpl->Loading = loading; }

void TKwMessagePrefetcher::Recycle(std::unique_ptr<TKwMailMessage> message) {
  if (!message) return;
  std::lock_guard lock(FImpl->Mutex);
  if (FImpl->Spares.size() < FImpl->Depth + 1) FImpl->Spares.push_back(std::move(message));
}
