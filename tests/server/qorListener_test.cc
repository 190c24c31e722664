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
using testing::frameOf;

class Connection : public testing::ConnectionFixture {};

const std::string STREAM =
    frameOf("action: createCollection\nindex: c\n") +
    frameOf("action: asyncAddDocument\nindex: c\n", documentOf("k", "word")) +
    frameOf("action: asyncAddDocument\nindex: c\n", testing::TERMINATOR) +
    frameOf("action: search\nindex: c\nmode: streaming\nquery: word\nscoreWanted: false\n") +
    frameOf("action: nonsense\n") + frameOf("action: getParseResult\nindex: c\n") +
    frameOf("action: deleteCollection\nindex: c\n") + frameOf("action: getStatus\n");

std::string expectedReplies() {
  const std::string text = "The action \"nonsense\" is not known to this server";
  const std::string pairs = testing::u16Bytes(5) + "MsgId" + testing::u16Bytes(18) +
                            "SRV_ACTION_UNKNOWN" + testing::u16Bytes(7) + "MsgText" +
                            testing::u16Bytes(text.size()) + text;
  const std::string ok = testing::u16Bytes(1);
  const std::string end = testing::u16Bytes(1) + testing::u16Bytes(0);
  return ok + ok + testing::u16Bytes(1) + testing::u16Bytes(1) + "k" + end + testing::u16Bytes(6) +
         testing::u16Bytes(pairs.size()) + pairs + ok + testing::u16Bytes(1) +
         testing::u16Bytes(8) + testing::u16Bytes(3) + "Doc" + testing::u16Bytes(1) + "k" + end +
         ok + ok;
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
  write(socket, frameOf("action: getStatus\n") + testing::u16Bytes(4) + "ab\r\n" +
                    frameOf("action: getStatus\n"));
  EXPECT_EQ(read(socket, 2), testing::u16Bytes(1));
  const std::string rest = read(socket, 100000);
  EXPECT_EQ(testing::verdictOf(rest), "SRV_REQUEST_MALFORMED");
}

TEST_F(Connection, APeerThatLeavesInTheMiddleHarmsNobody) {
  for (std::size_t cut : {std::size_t{1}, std::size_t{10}, STREAM.size() / 2, STREAM.size()}) {
    auto socket = connect();
    write(socket, STREAM.substr(0, cut));
    socket.close();
  }
  auto socket = connect();
  write(socket, frameOf("action: getServerVersion\n"));
  EXPECT_EQ(read(socket, 2), testing::u16Bytes(1));
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
