// The IMAP reply parsers over tables of real and odd replies; each input is also run
// truncated, which must never crash or read past its end.

#include "uKwImapResponse.h"

#include <gtest/gtest.h>

namespace {

struct ListCase {
  const char* Line;
  bool Ok;
  const char* Name;
  char Delimiter;
  bool Selectable;
  const char* Why;
};

const ListCase kListCases[] = {
    {R"(* LIST (\HasNoChildren) "/" INBOX)", true, "INBOX", '/', true, "atom name"},
    {R"(* LIST (\Noselect \HasChildren) "/" "Archive")", true, "Archive", '/', false, "\\Noselect parent"},
    {R"(* LIST (\NonExistent) "." "a.b")", true, "a.b", '.', false, "\\NonExistent counts as not selectable"},
    {R"(* LIST () NIL "Flat")", true, "Flat", 0, true, "a server without hierarchy"},
    {"* LIST () \"/\" {11}\r\nWith \"quote", true, "With \"quote", '/', true, "name as a literal"},
    {R"(* LIST (\HasNoChildren) "/" "Back\\slash")", true, "Back\\slash", '/', true, "escaped backslash"},
    {R"(* list (\Marked) "/" Sent)", true, "Sent", '/', true, "keyword in lower case"},
    {R"(* LSUB () "/" Old)", true, "Old", '/', true, "LSUB has the same form"},
    {R"(* LIST (\HasNoChildren) "//" Two)", false, "", 0, true, "a delimiter of two characters"},
    {R"(* LIST (\HasNoChildren "/" Open)", false, "", 0, true, "unbalanced flags"},
    {R"(* LIST () "/" "")", false, "", 0, true, "empty name"},
    {"* LIST () \"/\" {99}\r\nshort", false, "", 0, true, "literal longer than the reply"},
    {R"(* SEARCH 1 2)", false, "", 0, true, "another reply"},
};

TEST(TKwImapResponseTest, ParsesListRepliesAndRefusesBrokenOnes) {
  for (const ListCase& c : kListCases) {
    TKwImapMailbox mailbox;
    ASSERT_EQ(ParseImapListLine(c.Line, mailbox), c.Ok) << c.Why;
    if (!c.Ok) continue;
    EXPECT_EQ(mailbox.Name, c.Name) << c.Why;
    EXPECT_EQ(mailbox.Delimiter, c.Delimiter) << c.Why;
    EXPECT_EQ(mailbox.IsSelectable, c.Selectable) << c.Why;
  }
  for (const ListCase& c : kListCases) {
    const std::string line = c.Line;
    for (size_t n = 0; n < line.size(); ++n) {
      TKwImapMailbox mailbox;
      ParseImapListLine(std::string(line, 0, n), mailbox);
    }
  }
}

TEST(TKwImapResponseTest, ParsesSearchRepliesWithAndWithoutMatches) {
  std::vector<uint32_t> uids;
  EXPECT_TRUE(ParseImapSearchLine("* SEARCH 4 9 1", uids));
  EXPECT_EQ(uids, (std::vector<uint32_t>{4, 9, 1}));
  uids.clear();
  EXPECT_TRUE(ParseImapSearchLine("* SEARCH", uids)) << "no match";
  EXPECT_TRUE(uids.empty());
  EXPECT_TRUE(ParseImapSearchLine("* SEARCH 2 (MODSEQ 917162500)", uids)) << "CONDSTORE's addition is skipped";
  EXPECT_EQ(uids, (std::vector<uint32_t>{2}));
  EXPECT_FALSE(ParseImapSearchLine("* SEARCH 1 x", uids)) << "not a number";
  EXPECT_FALSE(ParseImapSearchLine("* SEARCH 99999999999", uids)) << "beyond 32 bits";
  EXPECT_FALSE(ParseImapSearchLine("* 3 EXISTS", uids));
}

TEST(TKwImapResponseTest, ParsesFetchRepliesWithLiteralsInPlace) {
  const std::string header = "Subject: a\r\n\r\n";
  const std::string line = "* 12 FETCH (UID 40 FLAGS (\\Seen \\Answered) RFC822.SIZE 321 BODY[HEADER] {" +
                           std::to_string(header.size()) + "}\r\n" + header + ")";
  TKwImapFetch fetch;
  ASSERT_TRUE(ParseImapFetch(line, fetch));
  EXPECT_EQ(fetch.SequenceNumber, 12u);
  EXPECT_EQ(fetch.Uid, 40u);
  EXPECT_EQ(fetch.Size, 321);
  EXPECT_TRUE(fetch.IsSeen);
  EXPECT_TRUE(fetch.HasHeader);
  EXPECT_EQ(fetch.Header, header);

  ASSERT_TRUE(ParseImapFetch("* 1 FETCH (BODY[] {3}\r\n)()  UID 7)", fetch)) << "parentheses inside a literal";
  EXPECT_EQ(fetch.Body, ")()");
  EXPECT_EQ(fetch.Uid, 7u);
  EXPECT_FALSE(fetch.IsSeen);
  ASSERT_TRUE(ParseImapFetch("* 2 FETCH (FLAGS (\\Seen))", fetch)) << "an unsolicited flag change";
  EXPECT_EQ(fetch.Uid, 0u);
  EXPECT_TRUE(ParseImapFetch("* 3 FETCH (UID 5 BODY[] NIL)", fetch));
  EXPECT_FALSE(fetch.HasBody) << "a message the server could not read";
  EXPECT_FALSE(ParseImapFetch("* x FETCH (UID 5)", fetch)) << "no sequence number";
  EXPECT_FALSE(ParseImapFetch("* 3 FETCH (UID five)", fetch));
  for (size_t n = 0; n < line.size(); ++n) ParseImapFetch(line.substr(0, n), fetch);
}

TEST(TKwImapResponseTest, ReadsSelectData) {
  uint32_t value = 0;
  EXPECT_TRUE(ParseImapExists("* 172 EXISTS", value));
  EXPECT_EQ(value, 172u);
  EXPECT_FALSE(ParseImapExists("* 172 RECENT", value));
  EXPECT_TRUE(ParseImapUidValidity("* OK [UIDVALIDITY 3857529045] UIDs valid", value));
  EXPECT_EQ(value, 3857529045u);
  EXPECT_FALSE(ParseImapUidValidity("* OK [UIDNEXT 4392] Predicted next UID", value));
  EXPECT_FALSE(ParseImapUidValidity("* OK [UIDVALIDITY 12", value)) << "unterminated";
}

TEST(TKwImapResponseTest, ModifiedUtf7RoundTripsAndKeepsDamagedRuns) {
  const struct {
    const char* Utf8;
    const char* Wire;
  } kNames[] = {
      {"Entw\xC3\xBC" "rfe", "Entw&APw-rfe"},
      {"~peter/mail/\xE5\x8F\xB0\xE5\x8C\x97/\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E", "~peter/mail/&U,BTFw-/&ZeVnLIqe-"},
      {"A&B", "A&-B"},
      {"\xF0\x9F\x93\xA7 mail", "&2D3c5w- mail"},  // outside the BMP: a surrogate pair
  };
  for (const auto& name : kNames) {
    EXPECT_EQ(EncodeModifiedUtf7(name.Utf8), name.Wire);
    EXPECT_EQ(DecodeModifiedUtf7(name.Wire), name.Utf8);
  }
  EXPECT_EQ(DecodeModifiedUtf7("Bad&*-run"), "Bad&*-run") << "not base64";
  EXPECT_EQ(DecodeModifiedUtf7("Open&AP"), "Open&AP") << "no closing dash";
  EXPECT_EQ(DecodeModifiedUtf7("&2D0-"), "&2D0-") << "a lone high surrogate";
}

TEST(TKwImapResponseTest, QuotesTextForCommands) {
  EXPECT_EQ(ImapQuoted("a\"b\\c"), "\"a\\\"b\\\\c\"");
  EXPECT_EQ(ImapQuoted("two\r\nlines"), "\"twolines\"");
}

}  // namespace
