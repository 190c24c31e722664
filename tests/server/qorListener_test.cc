// SPDX-License-Identifier: Apache-2.0
// The server over a real socket: segmentation, order of replies, leaving and being sent away.
#include "server/qorListener.h"

#include <asio.hpp>
#include <gtest/gtest.h>
#include <string>

#include "tests/server/qorConnectionFixture.h"

namespace orvix::server {
namespace {

using testing::documentOf;
using testing::requestFrame;

class Connection : public testing::ConnectionFixture {};

const std::string STREAM =
    requestFrame("action: createCollection\nindex: c\n") +
    requestFrame("action: asyncAddDocument\nindex: c\n", documentOf("k", "word")) +
    requestFrame("action: asyncAddDocument\nindex: c\n", testing::TERMINATOR) +
    requestFrame("action: search\nindex: c\nmode: streaming\nquery: word\nscoreWanted: false\n") +
    requestFrame("action: nonsense\n") + requestFrame("action: getParseResult\nindex: c\n") +
    requestFrame("action: deleteCollection\nindex: c\n") + requestFrame("action: getStatus\n");

std::string expectedReplies() {
  const std::string text = "The action \"nonsense\" is not known to this server";
  const std::string pairs = testing::u16(5) + "MsgId" + testing::u16(18) + "SRV_ACTION_UNKNOWN" +
                            testing::u16(7) + "MsgText" + testing::u16(text.size()) + text;
  const std::string ok = testing::u16(1);
  const std::string end = testing::u16(1) + testing::u16(0);
  return ok + ok + testing::u16(1) + testing::u16(1) + "k" + end + testing::u16(6) +
         testing::u16(pairs.size()) + pairs + ok + testing::u16(1) + testing::u16(8) +
         testing::u16(3) + "Doc" + testing::u16(1) + "k" + end + ok + ok;
}

TEST_F(Connection, RepliesComeInOrderWhateverTheSegmentation) {
  const std::string expected = expectedReplies();
  auto socket = connect();
  write(socket, STREAM);
  EXPECT_EQ(read(socket, expected.size()), expected);
  for (const char byte : STREAM) write(socket, std::string(1, byte));
  EXPECT_EQ(read(socket, expected.size()), expected);
}

TEST_F(Connection, AnUnintelligibleFrameIsAnsweredAndThenTheConnectionEnds) {
  auto socket = connect();
  write(socket, requestFrame("action: getStatus\n") + testing::u16(4) + "ab\r\n" +
                    requestFrame("action: getStatus\n"));
  EXPECT_EQ(read(socket, 2), testing::u16(1));
  const std::string rest = read(socket, 100000);
  EXPECT_EQ(testing::verdictOf(rest), "SRV_REQUEST_MALFORMED");
}

TEST(ListenAddress, TakesHostAndPortAndNothingElse) {
  EXPECT_EQ(listenAddressOf("127.0.0.1:80").port, 80);
  EXPECT_TRUE(listenAddressOf("[::1]:0").host.is_v6());
  EXPECT_TRUE(listenAddressOf("localhost:1").host.is_loopback());
  for (const char* text : {"", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "name:1", ":1"}) {
    EXPECT_THROW(static_cast<void>(listenAddressOf(text)), Refusal) << text;
  }
}

}  // namespace
}  // namespace orvix::server
