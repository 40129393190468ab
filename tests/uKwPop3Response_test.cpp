// The POP3 reply parsers over real and odd replies.

#include "uKwPop3Response.h"

#include <gtest/gtest.h>

TEST(TKwPop3ResponseTest, ReadsStatusAndStat) {
  EXPECT_TRUE(IsPop3Ok("+OK"));
  EXPECT_TRUE(IsPop3Ok("+OK Dovecot ready."));
  EXPECT_FALSE(IsPop3Ok("+OKAY"));
  EXPECT_FALSE(IsPop3Ok("-ERR [AUTH] Authentication failed."));
  int count = -1;
  int64_t size = -1;
  EXPECT_TRUE(ParsePop3Stat("+OK 2 320", count, size));
  EXPECT_EQ(count, 2);
  EXPECT_EQ(size, 320);
  EXPECT_TRUE(ParsePop3Stat("+OK 0 0", count, size)) << "empty mailbox";
  EXPECT_FALSE(ParsePop3Stat("+OK 2", count, size)) << "no size";
  EXPECT_FALSE(ParsePop3Stat("+OK -1 0", count, size));
  EXPECT_FALSE(ParsePop3Stat("-ERR 2 320", count, size));
}

TEST(TKwPop3ResponseTest, ReadsListingsAndSkipsWhatItCannotRead) {
  const auto listing = ParsePop3Listing(
      "1 whqtswO00WBw418f9t5JxYwZ\r\n"
      "2  QhdPYR:00WBw1Ph7x7\r\n"  // two blanks
      "3\r\n"                       // no value
      "0 zero\r\n"                  // numbers start at 1
      "x abc\r\n"
      "4 bad\x01id\r\n"  // outside 0x21..0x7E
      "5 320\n");         // LF alone, as LIST gives sizes
  ASSERT_EQ(listing.size(), 3u);
  EXPECT_EQ(listing[0].Number, 1);
  EXPECT_EQ(listing[0].Value, "whqtswO00WBw418f9t5JxYwZ");
  EXPECT_EQ(listing[1].Value, "QhdPYR:00WBw1Ph7x7");
  EXPECT_EQ(listing[2].Number, 5);
  EXPECT_EQ(listing[2].Value, "320");
  EXPECT_TRUE(ParsePop3Listing("").empty());
}
