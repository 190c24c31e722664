// SPDX-License-Identifier: Apache-2.0
// The parser of binary replies, driven directly: what the reply of each kind gives.
#include <gtest/gtest.h>
#include <string>

#include "infra/oss/qorTraceHooks.h"
#include "tests/comm/response/qorReplyDriver.h"

namespace orvix::comm {
namespace {

using wirelit::BinaryReply;
using wirelit::expectRaises;
using wirelit::pairs;
using wirelit::record;
using wirelit::render;
using wirelit::u16;
using wirelit::utf8;
using wirelit::operator""_bytes;
using wirelit::END;
using wirelit::FAILED;
using wirelit::NOTHING;
using wirelit::OK;
using wirelit::outcome;

struct PieceCase {
  const char* name;
  std::uint32_t kind;
  std::string piece;
  std::int32_t left;
  bool end;
  std::string result;
};

void expectPieces(std::initializer_list<PieceCase> cases) {
  for (const PieceCase& c : cases) {
    SCOPED_TRACE(c.name);
    BinaryReply reply(c.kind, OK);
    EXPECT_EQ(reply.feed(c.piece), c.left);
    EXPECT_EQ(reply.end, c.end);
    EXPECT_EQ(render(reply.response), c.result);
    EXPECT_EQ(reply.wants(), c.end ? "finished" : "1024");
    EXPECT_TRUE(reply.response.success());
  }
}

TEST(BinarySearchReply, BecomesHits) {
  const std::string twoHits =
      "\0\1\0\3abc"
      "\0\1\0\2de"_bytes;
  for (const std::uint32_t kind : {6U, 8U, 20U}) {
    expectPieces({{"hits and the end", kind, twoHits + END, 0, true, "abc de | | 1,1,100 | "}});
  }
  // clang-format off
  expectPieces({
      {"scored hit", 8, "\0\5\0\4\3\xe8" "ab"_bytes, 0, false, "ab@1.000000/5 | | 1,1,100 | "},
      {"half a score", 8, "\0\5\0\1\3"_bytes, 0, false, "\3/5 | | 1,1,100 | "},
      {"empty scored hit is no end", 8, "\0\5\0\0"_bytes, 0, false, "/5 | | 1,1,100 | "},
      {"a server error travels as a hit", 8, record(6, "\0\0"_bytes) + END, 0, true,
       "\0\0/6 | | 1,1,100 | "_bytes},
      {"a server error whose record is cut", 8, record(6, "\xff"), 0, false,
       "\xff/6 | | 1,1,100 | "},
      {"unknown statuses are hits, 19 is one", 8, "\0\x13\0\1a" "\0\0\0\1b"_bytes, 0, false,
       "a/19 b | | 1,1,100 | "},
      {"surplus behind the end", 8, END + "xyz", 3, true, NOTHING},
      {"no end yet", 8, twoHits, 0, false, "abc de | | 1,1,100 | "},
      {"header cut", 8, twoHits + "\0\1\0"_bytes, 3, false, "abc de | | 1,1,100 | "},
      {"payload cut", 8, twoHits + "\0\1\0\5ab"_bytes, 6, false, "abc de | | 1,1,100 | "},
      {"one byte", 8, "\0"_bytes, 1, false, NOTHING},
  });
  // clang-format on
}

TEST(BinarySearchReply, CutRecordsNearTheEndOfShortPiecesLoseTheirHeader) {
  const struct {
    const char* name;
    std::string piece;
    std::int32_t left;
    // clang-format off
  } cases[] = {
      {"4 of 6", "\0\1\0\4ab"_bytes, 2}, {"3 of 6", "\0\1\0\3ab"_bytes, 2},
      {"2 of 5", "\0\1\0\2a"_bytes, 1}, {"1 of 4", "\0\1\0\1"_bytes, 0},
      {"as long as the piece", "\0\1\0\6ab"_bytes, 6}, {"9 of 10", "\0\1\0\x09" "abcdef"_bytes, 6},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    BinaryReply reply(8, OK);
    EXPECT_EQ(reply.feed(c.piece), c.left);
    EXPECT_EQ(render(reply.response), NOTHING);
  }
}

TEST(BinarySearchReply, ARecordTooLongForItsLengthFieldIsTheWholePiece) {
  const auto piece = [](unsigned int status, unsigned int length, std::size_t size) {
    return u16(status) + u16(length) + std::string(size - 4, 'p');
  };
  const struct {
    const char* name;
    std::string piece;
    std::int32_t left;
    std::size_t payload;  // 0: no hit; the last four bytes of it are zeros
  } cases[] = {{"length 40000", piece(1, 40000, 2000), -4, 2000},
               {"longest", piece(1, 65535, 2000), -4, 2000},
               {"shortest such", piece(1, 32765, 1025), -4, 1025},
               {"length below", piece(1, 32764, 1025), 1025, 0},
               {"piece below", piece(1, 32765, 1024), 1024, 0},
               {"unknown status", piece(19, 40000, 2000), -4, 2000}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    BinaryReply reply(8, OK);
    EXPECT_EQ(reply.feed(c.piece), c.left);
    EXPECT_FALSE(reply.end);
    SearchResponse& list = reply.response.getSearchResponse();
    ASSERT_EQ(list.count(), c.payload == 0 ? 0 : 1);
    const SearchResult& hit = list.getNext();
    const std::string got(reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength());
    EXPECT_EQ(got, c.payload == 0 ? "" : std::string(c.payload - 4, 'p') + "\0\0\0\0"_bytes);
  }
  BinaryReply scored(8, OK);
  EXPECT_EQ(scored.feed(piece(5, 40000, 2000)), -4);
  EXPECT_DOUBLE_EQ(scored.response.getSearchResponse().getNext().getScore(), 28.784);  // "pp"
  BinaryReply second(8, OK);
  EXPECT_EQ(second.feed("\0\1\0\3abc"_bytes + piece(1, 40000, 1993)), -11);
  EXPECT_EQ(second.response.getSearchResponse().count(), 2);
  // The record would fit behind its own header's place: an ordinary, complete one.
  BinaryReply fits(8, OK);
  EXPECT_EQ(fits.feed(piece(1, 40000, 40004)), 0);
  EXPECT_EQ(fits.response.getSearchResponse().getNext().getRawKeyLength(), 40000U);
  // A piece longer than the record, of which it is still cut, keeps it for the next one.
  BinaryReply later(8, OK);
  EXPECT_EQ(later.feed(record(1, std::string(40000, 'a')) + piece(1, 40000, 2000)), 2000);
}

TEST(BinaryOutcomes, BecomeParseResults) {
  const std::string rejected = record(6, pairs({{"Doc", "r"}, {"MsgId", "M"}, {"MsgText", "t"}}));
  expectPieces({
      {"outcomes and the end", 11, outcome("a") + rejected + END, 0, true, "| a: r:M | 1,1,100 | "},
      {"cut", 11, outcome("a") + outcome("b").substr(0, 11), 11, false, "| a: | 1,1,100 | "},
      {"end marker behind nothing", 11, END + "rest", 4, true, NOTHING},
      {"a cut record is not looked at", 11, outcome("a") + "\0\7\0"_bytes, 3, false,
       "| a: | 1,1,100 | "},
      {"what follows is no record: the rest belongs to the outcome", 11,
       outcome("a") + "\0\7\0\0"_bytes, -1, false, "| a: | 1,1,100 | "},
      {"no status is 19", 11, outcome("a") + "\0\x13\0\0"_bytes + outcome("b"), -1, false,
       "| a: | 1,1,100 | "},
      {"the rest may rename the outcome", 11, outcome("a") + "\0\3Doc\0\1z"_bytes, -1, false,
       "| z: | 1,1,100 | "},
  });
  for (const unsigned int status : {15U, 6U, 1U, 14U, 5U, 9U}) {
    expectPieces({{"a known status follows", 11, outcome("a") + outcome("b", status), 0, false,
                   "| a: b: | 1,1,100 | "}});
  }
}

TEST(BinaryOutcomes, WithoutADocumentAreUnreadableAndKeepWhatCameBefore) {
  BinaryReply reply(11, OK);
  expectRaises(
      [&] {
        reply.feed(outcome("a") + record(1, pairs({{"MsgId", "M"}})));
      },
      {"ERR_CLIENT_RESP_PARSING", nullptr, 0, {}, {"PROPERTY_MISSING"}});
  EXPECT_EQ(render(reply.response), "| a: | 1,1,100 | ");
}

TEST(BinaryEstimate, TakesTheLastRecord) {
  const std::string first = record(1,
                                   "\0\0\0\7"
                                   "\0\0\0\x08"
                                   "\0\0\0\x09"_bytes);
  expectPieces({
      {"one and the end", 14, first + END, 0, true, "| | 7,9,8 | "},
      {"a later one replaces it", 14, first + record(14, "\0\0\0\2"_bytes), 0, false,
       "| | 2,1,100 | "},
      {"an empty one of another status", 14, first + "\0\5\0\0"_bytes, 0, false, NOTHING},
      {"two words", 14, record(1, "\0\0\0\7\0\0\1\0"_bytes), 0, false, "| | 7,1,256 | "},
      {"cut, without its header", 14, first.substr(0, 15), 11, false, NOTHING},
      {"only the end", 14, END, 0, true, NOTHING},
  });
}

TEST(BinaryText, IsAppendedToTheContent) {
  const std::string text = record(1, "v\xc3\xa4"_bytes);
  for (const std::uint32_t kind : {22U, 25U}) {
    expectPieces(
        {{"whole", kind, text, 0, true, "| | 1,1,100 | v\xc3\xa4"},
         {"surplus", kind, text + "xy", 2, true, "| | 1,1,100 | v\xc3\xa4"},
         {"empty", kind, END, 0, true, NOTHING},
         {"up to a NUL", kind, record(1, "a\0b"_bytes), 0, true, "| | 1,1,100 | a"},
         {"other statuses are skipped", kind, record(14, "abc") + "x", 4, false, NOTHING}});
  }
  BinaryReply chunks(25, OK);
  EXPECT_EQ(chunks.feed("all of it is payload", true, 1), 0);
  EXPECT_TRUE(chunks.end);
  EXPECT_EQ(utf8(chunks.response.getContent()), "all of it is payload");
  BinaryReply other(25, OK);
  EXPECT_EQ(other.feed("skipped", true, 14), 7);
  EXPECT_FALSE(other.end);
  BinaryReply version(22, OK);  // is never continued, whatever it is told
  EXPECT_EQ(version.feed(text, true, 1), 0);
  EXPECT_EQ(utf8(version.response.getContent()), "v\xc3\xa4");
}

TEST(BinaryText, OfAnErrorRaisesWhatTheServerSays) {
  const std::string says = pairs({{"MsgId", "SRV"}, {"MsgText", "t"}});
  const std::string body = u16(static_cast<unsigned int>(says.size())) + says;
  for (const unsigned int status : {6U, 9U}) {
    for (const std::uint32_t kind : {22U, 25U}) {
      BinaryReply reply(kind, OK);
      expectRaises([&] { reply.feed(record(status, body)); }, {"SRV"});
      EXPECT_TRUE(reply.end);
      BinaryReply silent(kind, OK);
      expectRaises([&] { silent.feed(record(status, "")); },
                   {"ERR_SERVER_APP", nullptr, 0, {}, {"ERR_SERVER_APP"}});
    }
    BinaryReply chunks(25, OK);
    expectRaises([&] { chunks.feed(body, true, static_cast<std::uint16_t>(status)); }, {"SRV"});
  }
}

TEST(BinaryStatus, IsFineBusyOrInError) {
  const std::string says = pairs({{"MsgId", "SRV"}, {"MsgText", "t"}});
  const struct {
    const char* name;
    std::string header, body;
    const char* wanted;
    unsigned int code;
    const char* messageId;
  } cases[] = {
      {"fine", OK, "", "0", 0, ""},
      {"busy", "\0\5"_bytes, "", "0", 1, ""},
      {"in error", FAILED, u16(static_cast<unsigned int>(says.size())) + says, "256", 2, "SRV"},
      {"in error, silent", FAILED, "\0\0"_bytes, "256", 2, "ERR_SERVER_APP"},
      {"in error, nothing at all", FAILED, "", "256", 2, "ERR_SERVER_APP"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    BinaryReply reply(15, c.header);
    EXPECT_EQ(reply.wants(), c.wanted);
    EXPECT_EQ(reply.feed(c.body), 0);
    EXPECT_TRUE(reply.end);
    EXPECT_TRUE(reply.response.success());
    EXPECT_EQ(reply.response.getStatusCode(), c.code);
    EXPECT_EQ(utf8(reply.response.getStatusMessage().getMessageID()), c.messageId);
    EXPECT_EQ(reply.wants(), "finished");
  }
}

TEST(BinaryReplyWithoutBody, EndsAtOnce) {
  for (const std::uint32_t kind :
       {1U, 2U, 3U, 4U, 5U, 9U, 12U, 13U, 16U, 17U, 18U, 19U, 21U, 23U, 24U}) {
    SCOPED_TRACE(kind);
    BinaryReply reply(kind, OK);
    EXPECT_EQ(reply.wants(), "0");
    EXPECT_EQ(reply.feed(""), 0);
    EXPECT_TRUE(reply.end);
    EXPECT_EQ(reply.wants(), "finished");
  }
  BinaryReply surplus(1, OK);
  EXPECT_EQ(surplus.feed("xy"), 0);
  EXPECT_FALSE(surplus.end);
}

}  // namespace
}  // namespace orvix::comm
