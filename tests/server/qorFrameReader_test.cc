// SPDX-License-Identifier: Apache-2.0
// What makes a header unreadable, and what becomes of the bytes behind it. That cuts do not matter is
// checked by fuzz/ and over a socket.
#include "server/qorFrameReader.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/server/qorServerFixture.h"

namespace orvix::server {
namespace {

using testing::requestFrame;
using testing::u16;

std::string manyLines(int count) {
  std::string lines;
  for (int i = 0; i < count; ++i) lines += "k" + std::to_string(i) + ": \n";
  return lines;
}

TEST(FrameReader, AValueMayBeEmptyOrHaveWhatEndsAKey) {
  FrameReader reader;
  reader.feed(requestFrame("action: a: b\nempty: \n"));
  const auto frame = reader.next();
  ASSERT_TRUE(frame && !frame->fault);
  EXPECT_EQ(frame->properties,
            (Properties{{"Content-Length  ", ""}, {"action", "a: b"}, {"empty", ""}}));
}

TEST(FrameReader, TheHeaderIsJudgedBeforeItsBodyIsKept) {
  int judged = 0;
  FrameReader reader([&judged](Frame& frame) {
    ++judged;
    EXPECT_EQ(frame.body, "");
    EXPECT_EQ(frame.bodyLength, 7U);
    frame.admission = Admission::NO_TOKEN;
    frame.positionLost = true;
  });
  const std::string frame = requestFrame("action: x\n", "content");
  reader.feed(std::string_view(frame).substr(0, frame.size() - 7));
  const auto refused = reader.next();
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->body, "");
  EXPECT_EQ(judged, 1);
  reader.feed("content" + frame);
  EXPECT_FALSE(reader.next());
}

TEST(FrameReader, AFrameThatHidesItsLengthEndsTheStream) {
  struct Case {
    const char* name;
    std::string header;
  };
  const std::vector<Case> cases{
      {"no separator", "Content-Length  : \naction\n\r\n"},
      {"separator without its blank", "Content-Length  : \naction:x\n\r\n"},
      {"no terminator", "Content-Length  : \naction: x\n"},
      {"last line without its line feed", "Content-Length  : \naction: x\r\n"},
      {"empty header", ""},
      {"no length line", "action: x\n\r\n"},
      {"key without its two blanks", "Content-Length: 4\n\r\n"},
      {"length twice", "Content-Length  : \nContent-Length  : \n\r\n"},
      {"length with a sign", "Content-Length  : -1\n\r\n"},
      {"length with a tail", "Content-Length  : 1x\n\r\n"},
      {"length of 33 bits", "Content-Length  : 4294967296\n\r\n"},
      {"key twice", "Content-Length  : \na: 1\na: 2\n\r\n"},
      {"zero byte in a key", std::string("Content-Length  : \na\0b: 1\n\r\n", 28)},
      {"carriage return in a key", "Content-Length  : \na\rb: 1\n\r\n"},
      {"key of 1001 bytes", "Content-Length  : \n" + std::string(1001, 'k') + ": 1\n\r\n"},
      {"1001 lines", "Content-Length  : \n" + manyLines(1000) + "\r\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FrameReader reader;
    reader.feed(u16(c.header.size()) + c.header + requestFrame("action: x\n"));
    const auto frame = reader.next();
    ASSERT_TRUE(frame);
    EXPECT_TRUE(frame->fault);
    EXPECT_TRUE(frame->positionLost);
    EXPECT_FALSE(reader.next());
  }
}

TEST(FrameReader, AnOversizedBodyIsSkippedAndTheNextFrameRead) {
  const std::uint32_t size = FrameReader::MAX_BODY + 1;
  FrameReader reader;
  const std::string header = "Content-Length  : " + std::to_string(size) + "\n\r\n";
  reader.feed(u16(header.size()) + header);
  const std::string piece(1U << 20U, 'x');
  for (std::uint32_t sent = 0; sent < size - 1; sent += static_cast<std::uint32_t>(piece.size())) {
    reader.feed(piece);
    EXPECT_FALSE(reader.next());
  }
  reader.feed("x" + requestFrame("action: after\n"));
  const auto refused = reader.next();
  ASSERT_TRUE(refused && refused->fault);
  EXPECT_EQ(refused->fault->id, MessageId::DOCUMENT_TOO_LARGE);
  EXPECT_FALSE(refused->positionLost);
  EXPECT_EQ(refused->body.size(), FrameReader::KEPT_HEAD);
  const auto after = reader.next();
  ASSERT_TRUE(after);
  EXPECT_EQ(after->properties.at("action"), "after");
}

}  // namespace
}  // namespace orvix::server
