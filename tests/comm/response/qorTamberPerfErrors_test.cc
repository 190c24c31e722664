// SPDX-License-Identifier: Apache-2.0
// The parser of binary replies, driven directly: its header, what each cut of a reply gives, and
// every error that it raises.
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

TEST(BinaryHeader, OfOneByteIsNotConsumed) {
  BinaryReply reply(8);
  EXPECT_EQ(reply.wants(), "2");
  EXPECT_EQ(reply.feed("\0"_bytes), 1);
  EXPECT_EQ(reply.wants(), "2");
  EXPECT_EQ(reply.feed("\0\1xyz"_bytes), 3);
  EXPECT_EQ(reply.parser.getStatusCode(), 1U);
  EXPECT_EQ(reply.wants(), "1024");
}

TEST(BinaryReply, RaisesAtItsSites) {
  const std::string says = pairs({{"MsgId", "SRV"}, {"MsgText", "t"}});
  const std::string errorBody = u16(static_cast<unsigned int>(says.size())) + says;
  constexpr const char* FILE = "qorTamberPerfResponse";
  const struct {
    const char* name;
    std::uint32_t kind;
    std::string header, piece;
    wirelit::Raised expected;
    // clang-format off
  } cases[] = {
      {"401", 8, "\1\x91"_bytes, "", {"ERR_SERVER_INVALID_AUTH", FILE, 285}},
      {"401 of a status", 15, "\1\x91"_bytes, "", {"ERR_SERVER_INVALID_AUTH", FILE, 285}},
      {"status 0", 1, "\0\0"_bytes, "", {"ERR_SERVER_PROTOCOL", FILE, 291}},
      {"status 19", 8, "\0\x13"_bytes, END, {"ERR_SERVER_PROTOCOL", FILE, 291}},
      {"status 200", 8, "\0\xc8"_bytes, END, {"ERR_SERVER_PROTOCOL", FILE, 291}},
      {"status 65535", 8, "\xff\xff"_bytes, END, {"ERR_SERVER_PROTOCOL", FILE, 291}},
      {"busy, but no status was asked for", 8, "\0\5"_bytes, "", {"ERR_SERVER_PROTOCOL", FILE, 259,
       {"Unpexpected StatCode 5 in response header"}}},
      {"text missing", 22, OK, "", {"ERR_SERVER_PROTOCOL", FILE, 436,
       {"Zero(0) sized protocol body in parseContent"}}},
      {"chunk text missing", 25, OK, "", {"ERR_SERVER_PROTOCOL", FILE, 436,
       {"Zero(0) sized protocol body in parseContent"}}},
      {"text header cut", 22, OK, "\0\1\0"_bytes, {"ERR_SERVER_PROTOCOL", FILE, 452,
       {"Invalid message envelope, status code not available in parseContent"}}},
      {"text cut", 25, OK, "\0\1\0\3ab"_bytes, {"ERR_SERVER_PROTOCOL", FILE, 452,
       {"Invalid message envelope, status code not available in parseContent"}}},
      {"hits missing", 20, OK, "", {"ERR_SERVER_PROTOCOL", FILE, 503,
       {"Zero(0) sized protocol body inparseStreamSearchresp"}}},
      {"outcomes missing", 11, OK, "", {"ERR_SERVER_PROTOCOL", FILE, 572,
       {"Zero(0) sized protocol body in parseParseResult "}}},
      {"estimate missing", 14, OK, "", {"ERR_SERVER_PROTOCOL", FILE, 648,
       {"Zero(0) sized protocol body in parseSelectivity "}}},
      {"error body", 8, FAILED, errorBody, {"SRV"}},
      {"error body and more", 1, FAILED, errorBody + pairs({{"MsgId", "other"}}), {"SRV"}},
      {"error body cut inside its text", 11, FAILED, errorBody.substr(0, errorBody.size() - 1),
       {"SRV"}},
      {"error body without message", 22, FAILED, "\0\0"_bytes, {"ERR_SERVER_APP", nullptr, 0, {},
       {"ERR_SERVER_APP"}}},
      {"no error body at all", 1, FAILED, "", {"ERR_SERVER_APP", nullptr, 0, {},
       {"ERR_SERVER_APP"}}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    BinaryReply reply(c.kind, c.header);
    expectRaises([&] { reply.feed(c.piece); }, c.expected);
    EXPECT_EQ(reply.end, c.expected.line == 436 || c.expected.line == 452);
  }
  BinaryReply noHeader(8);
  expectRaises([&] { noHeader.feed(""); },
               {"ERR_SERVER_PROTOCOL",
                FILE,
                188,
                {"Zero(0) sized Response Header for Request from remote"}});
  BinaryReply finished(1, OK);
  finished.feed("");
  expectRaises([&] { finished.feed(""); }, {"ERR_CLIENT_RESP_PARSING"});
}

/// Whole records of `piece` that end within its first `length` bytes.
std::size_t wholeBytes(const std::string& piece, std::size_t length) {
  std::size_t at = 0;
  for (;;) {
    if (at + 4 > length) return at;
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(piece[at + i]); };
    const std::size_t next = at + 4 + byte(2) * 256U + byte(3);
    if (next > length) return at;
    at = next;
  }
}

/// 4 when the record at `whole` is cut at `length`, short of its end by so little that its header
/// counts as consumed.
std::size_t lostHeader(const std::string& piece, std::size_t whole, std::size_t length) {
  if (length - whole < 4) return 0;
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(piece[whole + i]); };
  const std::size_t claimed = byte(2) * 256U + byte(3);
  return claimed < length && length - claimed < 4 ? 4 : 0;
}

TEST(BinaryReply, CutAnywhereGivesTheWholeRecordsBeforeTheCut) {
  const struct {
    std::uint32_t kind;
    std::string piece;
    // clang-format off
  } cases[] = {
      {8, "\0\1\0\3abc" "\0\5\0\4\1\0xy" "\0\6\0\1e" "\0\1\0\0"_bytes},
      {11, outcome("a") + record(6, pairs({{"Doc", "r"}, {"MsgId", "M"}})) + outcome("c") + END},
      {14, record(1, "\0\0\0\7\0\0\0\x08\0\0\0\x09"_bytes) + record(1, "\0\0\0\2"_bytes) + END},
  };
  // clang-format on
  for (const auto& c : cases) {
    for (std::size_t length = 1; length <= c.piece.size(); ++length) {
      SCOPED_TRACE(length);
      const std::size_t whole = wholeBytes(c.piece, length);
      BinaryReply cut(c.kind, OK);
      const std::int32_t left = cut.feed(c.piece.substr(0, length));
      BinaryReply expected(c.kind, OK);
      if (whole != 0) expected.feed(c.piece.substr(0, whole));
      EXPECT_EQ(render(cut.response), render(expected.response));
      EXPECT_EQ(cut.end, length == c.piece.size());
      EXPECT_EQ(left,
                static_cast<std::int32_t>(length - whole - lostHeader(c.piece, whole, length)));
      if (cut.end) continue;
      // What was not consumed, with the rest behind it, completes the reply.
      cut.feed(c.piece.substr(whole));
      BinaryReply atOnce(c.kind, OK);
      atOnce.feed(c.piece);
      EXPECT_TRUE(cut.end);
      EXPECT_EQ(render(cut.response), render(atOnce.response));
    }
  }
}

TEST(BinaryReply, IsTracedInAndOutButNotOutByAnException) {
  static int inside;
  static std::string recorded;
  inside = 0;
  recorded.clear();
  oss::TraceHooks hooks;
  hooks.flags = oss::TraceHooks::TRACE | oss::TraceHooks::FLIGHT_RECORD;
  hooks.traceEntry = [](std::uint32_t) { ++inside; };
  hooks.traceExit = [](std::uint32_t) { --inside; };
  hooks.flightRecord = [](std::uint32_t, const void* data, std::size_t length) {
    recorded.append(static_cast<const char*>(data), length);
  };
  oss::installTraceHooks(&hooks);
  {
    BinaryReply reply(8, OK);
    reply.feed("\0\1\0\1a"_bytes + END);
  }
  const int balanced = inside;
  BinaryReply failing(8, OK);
  const int before = inside;
  EXPECT_THROW(failing.feed(""), RESTException);
  const int after = inside;
  oss::installTraceHooks(nullptr);
  EXPECT_EQ(balanced, 0);
  EXPECT_GT(after, before);
  EXPECT_EQ(recorded.substr(0, 2), OK);
}

TEST(BinaryReply, PrintsItsStateInOneLine) {
  BinaryReply reply(8, OK);
  reply.feed("\0\1\0\1a"_bytes);
  testing::internal::CaptureStderr();
  reply.parser.printState(wirelit::text("h\xc3\xa4re"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            " <Printing State for context  h\xc3\xa4re Req : 8 response StatCode : 1 <<"
            " ResultsExpected : 1 Resp State=: 3 ResultsExpected:1  Content Len 5***>>\n");
}

}  // namespace
}  // namespace orvix::comm
