// SPDX-License-Identifier: Apache-2.0
// The parser of plain-text replies, driven directly: headers, chunk sizes, bodies of every kind,
// and every error that it raises.
#include <gtest/gtest.h>
#include <string>

#include "tests/comm/response/qorReplyDriver.h"

namespace orvix::comm {
namespace {

using wirelit::counted;
using wirelit::ExactBytes;
using wirelit::expectRaises;
using wirelit::pairs;
using wirelit::Raised;
using wirelit::render;
using wirelit::utf8;
using wirelit::operator""_bytes;

/// A plain-text reply, fed piece by piece.
struct TextReply {
  explicit TextReply(std::uint32_t kind, bool streaming = false) : parser(kind, streaming) {}
  std::uint32_t feed(const std::string& piece) {
    const ExactBytes held(piece);
    return parser.parse(held.data(), held.size(), response, end);
  }
  /// Header with the body's length, then the body.
  std::uint32_t feedBody(const char* status, const std::string& body) {
    feed(std::string("HTTP/1.1 ") + status +
         " why\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n");
    return feed(body);
  }
  [[nodiscard]] std::uint32_t state() const {
    return static_cast<std::uint32_t>(parser.getState());
  }

  ClientResponse response;
  RESTResponse parser;
  bool end = false;
};

TEST(TextHeader, GivesStatusLengthAndWhatIsLeft) {
  const struct {
    const char* name;
    std::string bytes;
    std::uint32_t left, status, length, state;
    bool chunked, error;
  } cases[] = {
      {"length", "HTTP/1.1 200 OK\r\nContent-Length: 12\r\n\r\nbody", 4, 200, 12, 3, false, false},
      {"nothing but a status", "HTTP/1.1 404 Not Found\r\n\r\n", 0, 404, 0, 2, false, false},
      {"status line only, cut", "HTTP/1.1 500", 0, 500, 0, 2, false, false},
      {"no status", "HTTP/1.1\r\n\r\nx", 1, 0, 0, 2, false, false},
      {"lower case is not known", "HTTP/1.1 200 OK\r\ncontent-length: 12\r\n\r\n", 0, 200, 0, 2,
       false, false},
      {"name anywhere in the line, no blank", "HTTP/1.0 200\r\nX-Content-Length:7\r\n\r\n", 0, 200,
       7, 3, false, false},
      {"no number", "HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\n", 0, 200, 0, 3, false, false},
      {"name at the very end", "HTTP/1.1 200 OK\r\nContent-Length", 0, 200, 0, 3, false, false},
      {"any transfer coding is chunked",
       "HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip\r\n\r\n1a\r\nXYZ", 3, 200, 26, 3, true, false},
      {"chunked without a size", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", 0, 200, 0,
       3, true, false},
      {"a NUL ends it", "HTTP/1.1 200 OK\r\n\0Content-Length: 12\r\n\r\n"_bytes, 22, 200, 0, 2,
       false, false},
      {"cut behind a CR", "HTTP/1.1 200 OK\r", 0, 200, 0, 2, false, false},
      {"cut behind the second CR", "HTTP/1.1 200 OK\r\n\r", 0, 200, 0, 2, false, false},
      {"nothing", "", 0, 0, 0, 1, false, true},
      {"no line", "\n\n", 0, 0, 0, 1, false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TextReply reply(8);
    EXPECT_EQ(reply.feed(c.bytes), c.left);
    EXPECT_EQ(reply.parser.getStatusCode(), c.status);
    EXPECT_EQ(reply.parser.getContentLength(), c.length);
    EXPECT_EQ(reply.state(), c.state);
    EXPECT_EQ(reply.parser.isChunked(), c.chunked);
    EXPECT_EQ(reply.parser.hasError(), c.error);
  }
}

TEST(TextChunkSize, IsHexadecimal) {
  const struct {
    const char* line;
    std::uint32_t left, size;
    // clang-format off
  } cases[] = {
      {"1A\r\n", 0, 26}, {"1a\r\nrest", 4, 26}, {"\r\nff\r\n", 0, 255}, {"\rff\r\n!", 1, 255},
      {"", 0, 0}, {"zz\r\n", 0, 0}, {"10;ext=1\r\n", 0, 16}, {"8", 0, 8}, {"\r", 0, 0},
      {"ffffffff\r\n", 0, 0xffffffffU},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    TextReply reply(8, true);
    EXPECT_EQ(reply.feed(c.line), c.left);
    EXPECT_EQ(reply.parser.getContentLength(), c.size);
    EXPECT_EQ(reply.state(), 3U);
  }
  TextReply longLine(8, true);
  EXPECT_EQ(longLine.feed(std::string(5000, 'f') + "\r\n"), 0U);
}

TEST(TextReply, WantsWhatItsStateSays) {
  const auto wants = [](const RESTResponse& parser) {
    std::uint32_t wanted = 77777;
    return parser.getNextReadSize(wanted) == 1 && wanted == 77777 ? "finished"
                                                                  : std::to_string(wanted);
  };
  TextReply reply(8);
  EXPECT_EQ(wants(reply.parser), "256");
  reply.feed("HTTP/1.1 200 OK\r\nContent-Length: 300\r\n\r\n");
  EXPECT_EQ(wants(reply.parser), "300");
  reply.feed("....");
  EXPECT_EQ(wants(reply.parser), "finished");
  expectRaises([&] { reply.feed("more"); }, {"ERR_CLIENT_RESP_PARSING"});
  reply.parser.reset(true);
  EXPECT_EQ(wants(reply.parser), "16");
  EXPECT_EQ(reply.parser.getStatusCode(), 200U);
  EXPECT_EQ(reply.parser.getContentLength(), 0U);
  reply.parser.reset(false);
  EXPECT_EQ(wants(reply.parser), "256");
  TextReply notChunked(8);
  notChunked.feed("HTTP/1.1 200 OK\r\n\r\n");
  EXPECT_EQ(notChunked.feed("abc"), 3U);
  EXPECT_TRUE(notChunked.parser.hasError());
}

TEST(TextBody, IsReadByKind) {
  const std::string skipped = "????";
  const std::string estimate =
      "\0\0\0\7"
      "\0\0\0\x08"
      "\0\0\0\x09"_bytes;
  const struct {
    const char* name;
    std::uint32_t kind;
    std::string body;
    std::uint32_t left;
    bool end;
    const char* result;
    // clang-format off
  } cases[] = {
      {"hits", 8, skipped + counted("ab") + counted("c") + "\0\0\0\0"_bytes, 4, true,
       "ab c | | 1,1,100 | "},
      {"hits of kind 6", 6, skipped + counted("ab"), 0, false, "ab | | 1,1,100 | "},
      {"two hits and half of a third", 20, skipped + counted("ab") + counted("c") +
       "\0\0\0\2x"_bytes, 5, false, "ab c | | 1,1,100 | "},
      {"half a length", 8, skipped + counted("ab") + "\0\0"_bytes, 2, false, "ab | | 1,1,100 | "},
      {"largest length", 8, skipped + "\xff\xff\xff\xff" "ab"_bytes, 6, false, "| | 1,1,100 | "},
      {"outcomes", 11, skipped + counted(pairs({{"Doc", "a"}, {"MsgId", "M"}})) +
       counted(pairs({{"Doc", "b"}})), 0, false, "| a:M b: | 1,1,100 | "},
      {"outcomes with their end", 11, skipped + counted(pairs({{"Doc", "a"}})) + "\0\0\0\0x"_bytes,
       5, true, "| a: | 1,1,100 | "},
      {"no outcomes", 11, skipped, 0, false, "| | 1,1,100 | "},
      {"estimate", 14, skipped + counted(estimate) + "xy", 2, false, "| | 7,9,8 | "},
      {"estimate cut", 14, skipped + counted(estimate).substr(0, 15), 15, false, "| | 1,1,100 | "},
      {"no estimate", 14, "???", 0, false, "| | 1,1,100 | "},
      {"kinds without a body", 22, skipped + "text", 0, false, "| | 1,1,100 | "},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TextReply reply(c.kind);
    EXPECT_EQ(reply.feedBody("200", c.body), c.left);
    EXPECT_EQ(reply.end, c.end);
    EXPECT_EQ(render(reply.response), c.result);
    EXPECT_EQ(reply.state(), 4U);
    EXPECT_TRUE(reply.response.success());
  }
}

TEST(TextBody, GivesTheStatusCodeOfTheServer) {
  const std::string record = pairs({{"STATUS_CODE", "4294967295"}});
  const struct {
    const char* name;
    std::string body;
    unsigned int code;
    std::uint32_t left;
  } cases[] = {{"code", "????" + counted(record) + "x", 4294967295U, 1},
               {"cut", "????" + counted(record).substr(0, 20), 0, 20},
               {"nothing", "????", 0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TextReply reply(15);
    reply.response.setStatusCode(5);
    EXPECT_EQ(reply.feedBody("200", c.body), c.left);
    EXPECT_EQ(reply.response.getStatusCode(), c.code);
  }
}

TEST(TextBody, OfAStreamIsRecordsFromItsFirstByteOn) {
  TextReply hits(8, true);
  hits.feed("40\r\n");
  EXPECT_EQ(hits.feed(counted("ab") + "\0\0\0\x09z"_bytes), 5U);
  EXPECT_EQ(render(hits.response), "ab | | 1,1,100 | ");
  TextReply outcomes(11, true);
  outcomes.feed("1\r\n");  // the whole piece counts, whatever the chunk's size was
  EXPECT_EQ(outcomes.feed(counted(pairs({{"Doc", "a"}}))), 0U);
  EXPECT_EQ(wirelit::outcomes(outcomes.response), "a: ");
}

TEST(TextBody, IsBoundedByItsLengthAndByThePiece) {
  TextReply reply(8);
  reply.feed("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
  EXPECT_EQ(reply.feed("????" + counted("ab") + counted("next reply")), 0U);
  EXPECT_EQ(wirelit::hits(reply.response), "ab ");
  TextReply promised(8);
  promised.feed("HTTP/1.1 200 OK\r\nContent-Length: 4000000\r\n\r\n");
  EXPECT_EQ(promised.feed("????" + counted("ab")), 0U);
  EXPECT_EQ(wirelit::hits(promised.response), "ab ");
}

TEST(TextBody, WithoutHitsWarnsAndEnds) {
  TextReply reply(8);
  testing::internal::CaptureStderr();
  EXPECT_EQ(reply.feedBody("200", "????"), 0U);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            " [WARN]: parseStreamSearch !!: 0 len for resp\n");
  EXPECT_TRUE(reply.end);
}

TEST(TextBody, OfLengthZeroEndsWhateverTheStatusIs) {
  for (const char* status : {"200", "400", "401", "500", "999"}) {
    TextReply reply(8);
    reply.response.setResultCode(7);
    EXPECT_EQ(reply.feedBody(status, ""), 0U);
    EXPECT_TRUE(reply.end);
    EXPECT_EQ(reply.state(), 4U);
    EXPECT_EQ(reply.response.success(), std::string(status) == "200");
  }
}

TEST(TextReply, RaisesAtItsSites) {
  const std::string says = "????" + counted(pairs({{"MsgId", "SRV"}, {"MsgText", "t"}}));
  const Raised silent{"ERR_SERVER_APP", nullptr, 0, {}, {"ERR_SERVER_APP"}};
  const struct {
    const char* name;
    std::uint32_t kind;
    const char* status;
    std::string body;
    Raised expected;
    // clang-format off
  } cases[] = {
      {"400", 8, "400", "x", {"ERR_SERVER_PROTOCOL", "qorRESTResponse", 337}},
      {"401", 8, "401", "x", {"ERR_SERVER_INVALID_AUTH", "qorRESTResponse", 341}},
      {"404", 8, "404", "x", {"ERR_SERVER_PROTOCOL", "qorRESTResponse", 344}},
      {"no number", 8, "fine", "x", {"ERR_SERVER_PROTOCOL", "qorRESTResponse", 344}},
      {"500", 15, "500", says, {"SRV"}},
      {"500, record cut", 8, "500", says.substr(0, says.size() - 1), silent},
      {"500, nothing behind the first word", 8, "500", "????", silent},
      {"500, not even that", 8, "500", "?", silent},
      {"outcome cut", 11, "200", "????" + counted("abc").substr(0, 6), {"ERR_CLIENT_RESP_PARSING"}},
      {"outcome's length cut", 11, "200", "????" "\0\0\0"_bytes, {"ERR_CLIENT_RESP_PARSING"}},
      {"outcome without a document", 11, "200", "????" + counted(pairs({{"doc", "a"}})),
       {"ERR_CLIENT_RESP_PARSING", nullptr, 0, {}, {"PROPERTY_MISSING"}}},
      {"no status code", 15, "200", "????" "\0\0\0\0"_bytes, {"ERR_CLIENT_RESP_PARSING", nullptr, 0,
       {}, {"PROPERTY_MISSING"}}},
      {"status code is no number", 15, "200", "????" + counted(pairs({{"STATUS_CODE", "ok"}})),
       {"ERR_CLIENT_RESP_PARSING", nullptr, 0, {}, {"PROPERTY_NOT_A_NUMBER"}}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TextReply reply(c.kind);
    expectRaises([&] { reply.feedBody(c.status, c.body); }, c.expected);
  }
}

}  // namespace
}  // namespace orvix::comm
