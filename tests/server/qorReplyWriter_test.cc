// SPDX-License-Identifier: Apache-2.0
// Expected bytes are literals: what a reader of the protocol takes apart. The usual ones are compared
// with the page about the protocol.
#include "server/qorReplyWriter.h"

#include <gtest/gtest.h>
#include <string>

#include "tests/server/qorServerFixture.h"

namespace orvix::server {
namespace {

template <std::size_t N>
std::string bytes(const char (&literal)[N]) {
  return std::string(literal, N - 1);
}

TEST(ReplyWriter, HitsCarryTheirScoreInThousandthsCapped) {
  struct Case {
    double score;
    std::string thousandths;
  };
  for (const Case& c :
       {Case{1.0, bytes("\x03\xe8")}, Case{0.0004, bytes("\0\0")}, Case{0.0006, bytes("\0\x01")},
        Case{65.535, bytes("\xff\xff")}, Case{1e9, bytes("\xff\xff")}, Case{-1.0, bytes("\0\0")}}) {
    SCOPED_TRACE(c.score);
    std::string out;
    putScoredHit(out, c.score, "ab");
    EXPECT_EQ(out, bytes("\0\x05"  // with score
                         "\0\x04") +
                       c.thousandths + "ab");
  }
  std::string plain;
  putHit(plain, "ab");
  putEndMarker(plain);
  EXPECT_EQ(plain, bytes("\0\x01\0\x02"
                         "ab"
                         "\0\x01\0\0"));
}

TEST(ReplyWriter, AnErrorAmongHitsIsARecord) {
  std::string out;
  putErrorRecord(out, {MessageId::QUERY_INVALID, "no"});
  EXPECT_EQ(out,
            bytes("\0\x06\0\x29\0\x27\0\x05MsgId\0\x11SRV_QUERY_INVALID\0\x07MsgText\0\x02no"));
}

TEST(ReplyWriter, LongTextsAreCutBetweenCharactersAndFitTheirRecord) {
  EXPECT_EQ(cutAtCharacter("aé", 2), "a");
  EXPECT_EQ(cutAtCharacter("aé", 3), "aé");
  EXPECT_EQ(cutAtCharacter("\x80\x80", 1), "");
  std::string text;
  while (text.size() < 100000) text += "é";
  std::string out;
  const Fault fault{MessageId::QUERY_INVALID, text};
  putOutcome(out, std::string(16384, 'k'), &fault);
  EXPECT_LT(out.size(), RECORD_LIMIT);
  EXPECT_EQ(testing::pairsOf(std::string_view(out).substr(4))["MsgText"].size(), MAX_MESSAGE_TEXT);
}

TEST(ReplyWriter, AllChunksButTheLastAnnounceMore) {
  std::string out;
  putChunks(out, "");
  EXPECT_EQ(out, bytes("\0\x01\0\0"));
  out.clear();
  putChunks(out, std::string(CHUNK_DATA, 'x'));
  EXPECT_EQ(out.substr(0, 4), bytes("\0\x01\xc0\0"));
  out.clear();
  putChunks(out, std::string(CHUNK_DATA, 'x') + "y");
  EXPECT_EQ(out, bytes("\0\x0e\xc0\0") + std::string(CHUNK_DATA, 'x') + bytes("\0\x01\0\x01y"));
}

}  // namespace
}  // namespace orvix::server
