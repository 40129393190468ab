#pragma once
// Decoding ahead: while the run loop hands one message to its targets, worker threads
// (one per core, at most four) read the header fields of the next messages and, as
// long as the loop keeps loading what it is given, decode them whole. A source that cuts
// messages out of a container (an mbox file) submits each message's text in loop order
// and takes the results back in the same order; decoding, the costliest step of a run,
// then overlaps writing.
//
// Whether the workers decode whole messages follows the loop: a run that skips its
// messages (all already in the processed-message log, say) gets header fields only, so
// that it costs no more than reading headers did.
//
// The workers touch nothing but the texts and message objects handed to them. Messages
// they decode are configured as the prototype given at construction (working folder,
// decode options).

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "uKwDateTime.h"

class TKwMailMessage;

struct TKwPrefetchedItem {
  int64_t Key = -1;
  // From the header block alone, as the run loop needs them before deciding to load.
  std::string UniqueId;
  std::string FromAddress;
  std::string Recipients;  // To and Cc addresses joined by ","
  std::string Subject;
  TDateTime GmtDate = 0;
  // Why a message submitted to be cut was cut short, if it was.
  std::string CutError;
  // The whole message decoded from the text, or null when the worker did not decode it.
  std::unique_ptr<TKwMailMessage> Message;
};

class TKwMessagePrefetcher {
 public:
  // depth: how many submitted messages may wait ahead of the loop.
  explicit TKwMessagePrefetcher(const TKwMailMessage& prototype, size_t depth = 8);
  ~TKwMessagePrefetcher();  // stops the worker; results not taken are dropped
  TKwMessagePrefetcher(const TKwMessagePrefetcher&) = delete;
  TKwMessagePrefetcher& operator=(const TKwMessagePrefetcher&) = delete;

  // True when another message may be submitted without waiting.
  bool HasRoom() const;
  // text: the message; its first headerLength bytes are the header block.
  void Submit(int64_t key, std::string text, size_t headerLength);
  // A message the worker cuts itself: cut returns its text and header length, and puts a
  // problem in its error argument. bytes: about the size of the text.
  using TCut = std::function<std::string(size_t& headerLength, std::string& error)>;
  void SubmitCut(int64_t key, size_t bytes, TCut cut);
  // True when a submitted message has not been taken yet.
  bool HasPending() const;
  // The oldest submitted message's result, waiting for the worker if need be. Rethrows
  // what the worker raised on it.
  TKwPrefetchedItem TakeNext();
  // Tells whether the loop loaded the last message it took; whole decoding goes on or
  // stops accordingly.
  void SetLoading(bool loading);
  // A message object the loop is done with, to be decoded into again.
  void Recycle(std::unique_ptr<TKwMailMessage> message);

 private:
  struct TImpl;
  std::unique_ptr<TImpl> FImpl;
};
