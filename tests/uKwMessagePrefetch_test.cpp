// Decoding ahead must give exactly what decoding in the loop gives, in submission order.

#include "uKwMessagePrefetch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "uKwHeaders.h"
#include "uKwMailMessage.h"

namespace {

std::string Header(int n) {
  return "From: Sender " + std::to_string(n) + " <s" + std::to_string(n) + "@example.org>\r\n" +
         "Subject: =?utf-8?b?w6l0w6k=?= number " + std::to_string(n) + "\r\n" +
         "Date: Mon, 15 Jan 2024 10:0" + std::to_string(n % 10) + ":00 +0100\r\n" +
         "Message-ID: <m" + std::to_string(n) + "@example.org>\r\n" +
         "Content-Type: text/plain; charset=iso-8859-1\r\n";
}

std::string Body(int n) { return "Caf\xE9 number " + std::to_string(n) + "\r\n"; }

void SubmitAll(TKwMessagePrefetcher& prefetcher, int first, int last) {
  for (int n = first; n <= last; ++n) prefetcher.Submit(n, Header(n) + "\r\n" + Body(n), Header(n).size());
}

}  // namespace

TEST(MessagePrefetchTest, ResultsMatchDecodingInTheLoopAndKeepTheirOrder) {
  TKwMailMessage prototype;
  prototype.TempFolder = "/tmp/prefetch-folder";
  TKwMessagePrefetcher prefetcher(prototype, 4);
  int submitted = 0;
  for (int taken = 0; taken < 20; ++taken) {
    while (submitted < 20 && prefetcher.HasRoom()) SubmitAll(prefetcher, submitted, submitted), ++submitted;
    TKwPrefetchedItem item = prefetcher.TakeNext();
    ASSERT_EQ(item.Key, taken);

    TKwHeaders headers;
    headers.LoadHeadersFromString(Header(taken));
    EXPECT_EQ(item.UniqueId, headers.GetUniqueId());
    EXPECT_EQ(item.FromAddress, "s" + std::to_string(taken) + "@example.org");
    EXPECT_EQ(item.Subject, "\xC3\xA9t\xC3\xA9 number " + std::to_string(taken));
    EXPECT_EQ(item.GmtDate, headers.SubmitDate.GmtDate);

    ASSERT_TRUE(item.Message);
    TKwMailMessage direct;
    direct.LoadMIMEFromString(Header(taken) + "\r\n" + Body(taken));
    EXPECT_EQ(item.Message->TextPart, direct.TextPart);
    EXPECT_EQ(item.Message->SourceText, direct.SourceText);
    EXPECT_EQ(item.Message->TempFolder, "/tmp/prefetch-folder");
    prefetcher.Recycle(std::move(item.Message));
  }
  EXPECT_FALSE(prefetcher.HasPending());
}

TEST(MessagePrefetchTest, ReadsHeadersOnlyWhileTheLoopSkipsItsMessages) {
  TKwMailMessage prototype;
  TKwMessagePrefetcher prefetcher(prototype, 8);
  prefetcher.SetLoading(false);
  SubmitAll(prefetcher, 0, 2);
  for (int n = 0; n <= 2; ++n) {
    TKwPrefetchedItem item = prefetcher.TakeNext();
    EXPECT_FALSE(item.Message);
    EXPECT_FALSE(item.UniqueId.empty());
  }
  prefetcher.SetLoading(true);
  SubmitAll(prefetcher, 3, 3);
  EXPECT_TRUE(prefetcher.TakeNext().Message);
}

TEST(MessagePrefetchTest, OddInputAndEarlyEndAreHarmless) {
  TKwMailMessage prototype;
  TKwMessagePrefetcher prefetcher(prototype, 2);
  EXPECT_THROW(prefetcher.TakeNext(), std::logic_error);
  prefetcher.Submit(0, "", 10);                                    // header length past the text
  prefetcher.Submit(1, std::string("\0\0\xFF\r\n\r\n", 7), 4);     // not a message at all
  EXPECT_FALSE(prefetcher.HasRoom());
  EXPECT_EQ(prefetcher.TakeNext().Key, 0);
  SubmitAll(prefetcher, 2, 2);
  // Destroyed with results not taken: the worker stops without waiting for them.
}
