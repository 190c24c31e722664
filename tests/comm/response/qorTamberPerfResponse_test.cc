// SPDX-License-Identifier: Apache-2.0
// The parser of binary replies, driven directly: what no client hands to it in this way, replies
// that are cut or against the rules above all. The outcome of whole replies stands in
// tests/comm/transport/qorReplies_test.cc.
#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "tests/comm/response/qorReplyDriver.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

const std::string A = record(1, pair("Doc", "a"));
const std::string B = record(1, pair("Doc", "b"));
const std::string SAYS = pair("MsgId", "SRV") + pair("MsgText", "t");
const std::string NUMBERS = record(1, hex("00000007 00000008 00000009"));
const std::string LONGEST(40000, 'a');
const std::string AT = "ERR_SERVER_PROTOCOL@qorTamberPerfResponse:";

/// A record that claims `length` bytes, in a piece of `size`, and the payload that it has when it
/// is taken for the whole piece.
std::string claiming(std::uint32_t status, std::uint32_t length, std::size_t size) {
  return u16(status) + u16(length) + std::string(size - 4, 'p');
}
std::string padded(std::size_t size, std::size_t zeros = 4) {
  return std::string(size - 4, 'p') + std::string(zeros, '\0');
}

TEST(BinaryReply, GivesResultsOrRaisesAndReadsNothingBeyondThePiece) {
  const struct {
    std::uint32_t kind;
    std::string header, piece, expected;
    // clang-format off
  } cases[] = {
      // Hits. An error of the server is a hit, and any unknown status, too.
      {6, OK, record(1, "abc") + record(1, "de") + END_MARKER, "0 end abc de"},
      {STREAM_SEARCH, OK, record(1, "abc") + END_MARKER + "xyz", "3 end abc"},
      {STREAM_SEARCH, OK, record(5, "\3\xe8" "ab"), "0 ab@1.0000/5"},
      {STREAM_SEARCH, OK, record(5, "\3") + record(5, ""), "0 \3/5 /5"},
      {STREAM_SEARCH, OK, record(6, "\xff") + record(19, "a") + record(0, "b"), "0 \xff/6 a/19 b"},
      {STREAM_SEARCH, OK, record(1, "abc") + hex("0001 00"), "3 abc"},
      {STREAM_SEARCH, OK, record(1, "abc") + hex("0001 0005") + "ab", "6 abc"},
      {STREAM_SEARCH, OK, hex("00"), "1"},
      // A cut record so near to the end of a short piece loses its header.
      {STREAM_SEARCH, OK, hex("0001 0004") + "ab", "2"},
      {STREAM_SEARCH, OK, hex("0001 0001"), "0"},
      {STREAM_SEARCH, OK, hex("0001 0009") + "abcdef", "6"},
      {STREAM_SEARCH, OK, hex("0001 0006") + "ab", "6"},
      {SCALAR_SEARCH, OK, "", AT + "503[Zero(0) sized protocol body inparseStreamSearchresp]"},
      // A record too long for its length field is the whole piece, unless it would fit behind its
      // own header or the piece, too, is longer; then it is kept for the next one.
      {STREAM_SEARCH, OK, claiming(1, 40000, 2000), "-4 " + padded(2000)},
      {STREAM_SEARCH, OK, claiming(1, 65535, 2000), "-4 " + padded(2000)},
      {STREAM_SEARCH, OK, claiming(1, 32765, 1025), "-4 " + padded(1025)},
      {STREAM_SEARCH, OK, claiming(1, 32764, 1025), "1025"},
      {STREAM_SEARCH, OK, claiming(1, 32765, 1024), "1024"},
      {STREAM_SEARCH, OK, claiming(5, 40000, 2000), "-4 " + padded(2000).substr(2) + "@28.784/5"},
      {8, OK, record(1, "abc") + claiming(1, 40000, 1993), "-11 abc " + padded(1993, 11)},
      {STREAM_SEARCH, OK, claiming(1, 40000, 40004), "0 " + std::string(40000, 'p')},
      {STREAM_SEARCH, OK, record(1, LONGEST) + claiming(1, 40000, 2000), "2000 " + LONGEST},
      // Outcomes. What follows one and starts with no known status belongs to it.
      {PARSE_RESULT, OK, A + record(6, pair("Doc", "r") + SAYS) + END_MARKER, "0 end a: r:SRV"},
      {PARSE_RESULT, OK, A + B.substr(0, 11), "11 a:"},
      {PARSE_RESULT, OK, A + hex("0007 00"), "3 a:"},
      {PARSE_RESULT, OK, A + hex("0007 0000"), "-1 a:"},
      {PARSE_RESULT, OK, A + hex("0013 0000") + B, "-1 a:"},
      {PARSE_RESULT, OK, A + pair("Doc", "z"), "-1 z:"},
      {PARSE_RESULT, OK, A + record(15, pair("Doc", "b")) + record(14, pair("Doc", "c")) +
       record(5, pair("Doc", "d")) + record(9, pair("Doc", "e")), "0 a: b: c: d: e:"},
      {PARSE_RESULT, OK, A + record(1, SAYS), "ERR_CLIENT_RESP_PARSING+PROPERTY_MISSING a:"},
      {PARSE_RESULT, OK, "", AT + "572[Zero(0) sized protocol body in parseParseResult ]"},
      // Estimates: the last one counts.
      {SELECTIVITY, OK, NUMBERS + END_MARKER, "0 end (7 9 8)"},
      {SELECTIVITY, OK, NUMBERS + record(5, ""), "0"},
      // Texts: other statuses are skipped.
      {GET_SERVER_VERSION, OK, record(1, "v\xc3\xa4") + "xy", "2 end 'v\xc3\xa4'"},
      {COLLECTION_STATUS, OK, record(1, "a\0b"_bytes), "0 end 'a'"},
      {GET_SERVER_VERSION, OK, record(14, "abc") + "x", "4"},
      // A status is the header itself; an error is its result, even without a body.
      {GET_STATUS, FAILED, "", "0 end status=2 ERR_SERVER_APP"},
      // No body.
      {CREATE_COLLECTION, OK, "", "0 end"}, {CREATE_COLLECTION, OK, "xy", "0"},
      // Headers.
      {STREAM_SEARCH, "", "", AT + "188[Zero(0) sized Response Header for Request from remote]"},
      // Error bodies.
      {CREATE_COLLECTION, FAILED, errorBody(SAYS) + pair("MsgId", "other"), "SRV(t)"},
      {PARSE_RESULT, FAILED, errorBody(SAYS).substr(0, SAYS.size() + 1), "SRV"},
  };
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_EQ(BinaryReply(c.kind, c.header).fed(c.piece), c.expected)
        << c.kind << ' ' << testing::PrintToString((c.header + c.piece).substr(0, 100));
    for (std::size_t cut = 0; cut < std::min<std::size_t>(c.piece.size(), 100); ++cut) {
      BinaryReply(c.kind, c.header).fed(c.piece.substr(0, cut));
    }
  }
}

TEST(BinaryReply, WantsWhatItsStateSays) {
  BinaryReply reply(STREAM_SEARCH, "");
  EXPECT_EQ(reply.wants(), "2");
  EXPECT_EQ(reply.feed("\0"_bytes), 1);  // not consumed
  EXPECT_EQ(reply.wants(), "2");
  EXPECT_EQ(reply.feed(hex("0001") + "xyz"), 3);
  EXPECT_EQ(reply.wants(), "1024");
  reply.feed(record(1, "a"));
  EXPECT_EQ(reply.wants(), "1024");
  reply.feed(END_MARKER);
  EXPECT_EQ(reply.wants(), "nothing");
  EXPECT_EQ(raisedBy([&] { reply.feed("x"); }), "ERR_CLIENT_RESP_PARSING");
  EXPECT_EQ(BinaryReply(STREAM_SEARCH, FAILED).wants(), "256");
  EXPECT_EQ(BinaryReply(GET_STATUS, hex("0005")).wants(), "0");
  for (const std::uint32_t bodiless :
       {1U, 2U, 3U, 4U, 5U, 9U, 12U, 13U, 15U, 16U, 17U, 18U, 19U, 21U, 23U, 24U}) {
    EXPECT_EQ(BinaryReply(bodiless, OK).wants(), "0") << bodiless;
  }
}

TEST(BinaryReply, TakesAChunkedTextForPayloadOnly) {
  EXPECT_EQ(BinaryReply(COLLECTION_STATUS, OK).fed("all of it", true, 1), "0 end 'all of it'");
  EXPECT_EQ(BinaryReply(COLLECTION_STATUS, OK).fed("skipped", true, 14), "7");
  EXPECT_EQ(BinaryReply(COLLECTION_STATUS, OK).fed(errorBody(SAYS), true, 6), "SRV(t) end");
  EXPECT_EQ(BinaryReply(COLLECTION_STATUS, OK).fed(errorBody(SAYS), true, 9), "SRV(t) end");
  EXPECT_EQ(BinaryReply(GET_SERVER_VERSION, OK).fed(record(1, "v"), true, 1), "0 end 'v'");
}

TEST(BinaryReply, DrivenOutOfTurnKeepsToItsState) {
  BinaryReply reply(STREAM_SEARCH, "");  // before its header a cut record keeps its own
  EXPECT_EQ(reply.parser.parseStreamSearch("\0\1\0\2a", 5, reply.response, reply.end), 5);
  comm::TamberPerfResponse expecting(DROP_COLLECTION, true);  // results that this kind never has
  expecting.parse("\0\1", 2, reply.response, reply.end);
  EXPECT_EQ(expecting.parse("", 0, reply.response, reply.end), 0);
  EXPECT_FALSE(reply.end);
  testing::internal::CaptureStderr();
  expecting.printState(u"h\u00e4re");
  BinaryReply(GET_STATUS, OK).parser.printState(u"");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            " <Printing State for context  h\xc3\xa4re Req : 2 response StatCode : 1 <<"
            " ResultsExpected : 1 Resp State=: 3 ResultsExpected:1  Content Len 0***>>\n"
            " <Printing State for context   Req : 15 response StatCode : 1 <<"
            " ResultsExpected : 0 Resp State=: 2 ResultsExpected:0  Content Len 0***>>\n");
}

}  // namespace
}  // namespace orvix::test
