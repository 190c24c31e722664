// SPDX-License-Identifier: Apache-2.0
// The bytes of requests on the connection: frames, batches, large content, and what a failed write
// leaves behind.
#include <gtest/gtest.h>
#include <new>
#include <vector>

#include "comm/transport/internal/qorGatherBlock.h"
#include "infra/util/qorExtendedProperties.h"
#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

const std::string STATUS_FRAME = frameOf("getStatus", "monitor");
const std::string END_OF_BATCH = frameOf("asyncAddDocument", "update", std::string(8, '\0'));

class Send : public testing::Test {
 protected:
  Send() { comm::detail::framedMessages = 0; }  // one count for all clients of the process

  /// Sends documents that are gathered when the client is buffered; returns their frames. A key of
  /// one letter makes a frame of 100 bytes, one of 79 to 900 letters a frame of 100 + the letters.
  static std::string add(OpenClient& client, std::size_t keySize, std::size_t count = 1,
                         const std::string& content = {}) {
    const std::string key = times("k", keySize);
    for (std::size_t i = 0; i < count; ++i) {
      const DocumentRequest request(ASYNC_ADD_DOCUMENT, key, content);
      EXPECT_EQ(outcome(client, request), "ok complete");
    }
    return times(documentFrame(key, content), count);
  }

  ScriptedPeer peer;
};

TEST_F(Send, WritesAFrameOfHeaderTextBodyAndContent) {
  peer.connection().expectFrames(1).reply(hex("0001 0001 0000")).expectFrames(4);
  OpenClient client(peer);
  EXPECT_EQ(outcome(client, GET_SERVER_VERSION), "ok complete");
  outcome(client, DocumentRequest(ASYNC_ADD_DOCUMENT, "k"));
  outcome(client, DocumentRequest(ASYNC_ADD_DOCUMENT, "key", "content"));
  outcome(client, LAST_DOC_SENT);
  outcome(client, DocumentRequest(ASYNC_ADD_DOCUMENT, "", "never sent"));
  ASSERT_TRUE(peer.awaitPlayed(1));
  const std::string expected =
      hex("004b") +  // header length
      "Content-Length  : \naction: getServerVersion\nactionType: monitor\nver: 1.1\n\r\n" +
      hex("004c") +
      "Content-Length  : 22\naction: asyncAddDocument\nactionType: update\nver: 1.1\n\r\n" +
      hex("00000000 0000000e") +                           // format, length of the rest
      hex("00000005") + "rowId" + hex("00000001") + "k" +  // key record
      hex("004c") +
      "Content-Length  : 43\naction: asyncAddDocument\nactionType: update\nver: 1.1\n\r\n" +
      hex("00000000 00000023") + hex("00000005") + "rowId" + hex("00000003") + "key" +
      hex("00000004") + "data" + hex("00000007") + "content" + hex("004b") +
      "Content-Length  : 8\naction: asyncAddDocument\nactionType: update\nver: 1.1\n\r\n" +
      hex("00000000 00000000") +  // end of the batch
      hex("004a") +
      "Content-Length  : \naction: asyncAddDocument\nactionType: update\nver: 1.1\n\r\n";
  EXPECT_EQ(peer.received(0), expected);
  EXPECT_EQ(peer.segments(0), 5U) << "each request is one write";
}

TEST_F(Send, CutsTheHeaderTextToItsSixteenBitLength) {
  for (const std::size_t length : {std::size_t{65535}, std::size_t{65536}, std::size_t{70000}}) {
    std::string header = STATUS_FRAME.substr(2);
    const std::string value = times("x", length - header.size() - sizeof "big: ");
    header.insert(header.find("\nver"), "\nbig: " + value);
    ScriptedPeer own;
    own.connection().expectFrames(1).reply(STATUS_REPLY);
    OpenClient client(own);
    util::ExtendedProperties properties;
    properties.putProperty(u"big", icu::UnicodeString::fromUTF8(value));
    comm::ClientRequest request;
    request.buildRequest(GET_STATUS, properties);
    EXPECT_EQ(outcome(client, request), STATUS_OUTCOME);
    own.stop();
    EXPECT_TRUE(own.received(0) == frame(header).substr(0, 2 + length % 65536));
  }
}

TEST_F(Send, BatchesFiftyMessagesOrTenThousandBytes) {
  struct Step {
    std::size_t count;
    std::size_t keySize;
    unsigned int writes;  // so far
  };
  const Step steps[] = {{49, 1, 0},  {1, 1, 1},   {49, 1, 1}, {1, 1, 2},  // the count starts anew
                        {9, 900, 2}, {1, 899, 2}, {1, 1, 3},   // 9999 bytes are only gathered
                        {9, 900, 3}, {1, 900, 4}, {3, 1, 4}};  // 10000 are written
  peer.connection().expectFrames(125);
  OpenClient client(peer);
  client.useBufferedConnection(true);
  std::string expected;
  for (const Step& step : steps) {
    expected += add(client, step.keySize, step.count);
    EXPECT_EQ(peer.segments(0), step.writes) << expected.size() << " bytes";
  }
  EXPECT_EQ(outcome(client, LAST_DOC_SENT), "ok complete");
  ASSERT_TRUE(peer.awaitPlayed(1));
  EXPECT_EQ(peer.segments(0), 5U) << "the end of a batch is always written";
  EXPECT_TRUE(peer.received(0) == expected + END_OF_BATCH);
}

TEST_F(Send, CountsTheMessagesOfAllClientsTogether) {
  peer.connection().expectFrames(25);
  peer.connection().stall();
  OpenClient first(peer);
  OpenClient second(peer);
  first.useBufferedConnection(true);
  second.useBufferedConnection(true);
  std::string expected = add(first, 1, 24);
  add(second, 2, 25);
  expected += add(first, 3);
  ASSERT_TRUE(peer.awaitPlayed(2));
  EXPECT_EQ(peer.received(0), expected);
  EXPECT_EQ(peer.segments(1), 0U) << "another client's frames stay gathered";
}

TEST_F(Send, SplitsLargeContent) {
  struct Case {
    std::vector<std::size_t> keys;  // of the frames that are gathered before it
    std::size_t content;
    unsigned int writes;
  };
  // The frame without its content has 115 bytes.
  const Case cases[] = {{{}, 10000, 1},
                        {{}, 10001, 2},  // 5000 with the frame, 5001
                        {{}, 25000, 3},  // 5000, 10000, 10000
                        {{}, 25001, 4},  // and 1
                        {{900, 900}, 10000, 1},
                        {{900, 900, 900, 900, 784}, 15000, 2},   // 4999 bytes up to the content
                        {{900, 900, 900, 900, 785}, 15000, 3}};  // 5000: none with the frame
  for (const Case& c : cases) {
    SCOPED_TRACE(c.content);
    std::string content;
    for (std::size_t i = 0; i < c.content; ++i) content += static_cast<char>('a' + i % 23);
    ScriptedPeer own;
    own.connection().expectFrames(c.keys.size() + 1);
    OpenClient client(own);
    client.useBufferedConnection(!c.keys.empty());
    std::string expected;
    for (const std::size_t size : c.keys) expected += add(client, size);
    expected += add(client, 1, 1, content);
    ASSERT_TRUE(own.awaitPlayed(1));
    EXPECT_EQ(own.segments(0), c.writes);
    EXPECT_TRUE(own.received(0) == expected);
  }
}

TEST_F(Send, WritesWhatIsGatheredBeforeItAwaitsAReply) {
  peer.connection().expectFrames(4).reply(STATUS_REPLY).expectFrames(11).reply(STATUS_REPLY);
  peer.connection().expectFrames(4);
  OpenClient client(peer);
  client.useBufferedConnection(true);
  std::string expected = add(client, 1, 3) + STATUS_FRAME;
  EXPECT_EQ(askStatus(client), STATUS_OUTCOME);
  expected += add(client, 900, 9);
  expected += add(client, 899) + STATUS_FRAME;
  EXPECT_EQ(askStatus(client), STATUS_OUTCOME) << "this frame alone fills the batch";
  EXPECT_EQ(peer.segments(0), 2U);
  EXPECT_TRUE(peer.received(0) == expected);
  const std::string next = add(client, 1, 3) + END_OF_BATCH;
  client.closeConnection();
  EXPECT_EQ(outcome(client, LAST_DOC_SENT), "ok complete");
  ASSERT_TRUE(peer.awaitPlayed(2));
  EXPECT_EQ(peer.received(1), next) << "what is gathered goes over the next connection";
}

/// Whatever write fails, a retry sends every gathered frame and the failed one once.
TEST_F(Send, RetriesAFailedWriteWithEachFrameOnce) {
  struct Case {
    std::uint32_t kind;
    SteppedClient::Step SteppedClient::*cut;  // when the connection is taken away
    std::string frame;
    std::string expected;
  };
  const Case cases[] = {
      {LAST_DOC_SENT, &SteppedClient::sending, END_OF_BATCH, "ok complete"},
      {GET_STATUS, &SteppedClient::sent, STATUS_FRAME, STATUS_OUTCOME},
  };
  for (const Case& c : cases) {
    ScriptedPeer own;
    own.connection().expectClose();
    own.connection().expectFrames(4).reply(STATUS_REPLY);
    SteppedClient client(own);
    client.useBufferedConnection(true);
    const std::string gathered = add(client, 1, 3);
    client.*c.cut = [&] { client.closeConnection(); };
    EXPECT_EQ(outcome(client, c.kind), c.expected);
    ASSERT_TRUE(own.awaitPlayed(2));
    EXPECT_EQ(own.received(0), "");
    EXPECT_EQ(own.received(1), gathered + c.frame);
  }
}

TEST_F(Send, RetriesTheWholeWhenThePeerClosesInTheMiddleOfContent) {
  peer.connection().expectFrames(3).close();
  peer.connection().expectFrames(4);
  OpenClient client(peer);
  client.useBufferedConnection(true);
  std::string expected = add(client, 1, 3);
  expected += add(client, 5, 1, std::string(16U << 20U, 'c'));  // more than fits without a reader
  ASSERT_TRUE(peer.awaitPlayed(2));
  EXPECT_TRUE(peer.received(1) == expected);
  EXPECT_EQ(peer.connections(), 2U);
}

/// A frame whose sender failed before it was written must not go out with the next request: nobody
/// would expect its reply.
TEST_F(Send, ForgetsTheFrameOfARequestThatFailedBeforeItWasWritten) {
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  SteppedClient client(peer);
  client.useBufferedConnection(true);
  client.sent = [] { throw std::bad_alloc(); };
  EXPECT_EQ(errorOf(outcome(client, SCALAR_SEARCH)), REQUEST_FAILED);
  EXPECT_EQ(askStatus(client), STATUS_OUTCOME);
  peer.stop();
  EXPECT_EQ(peer.received(0), STATUS_FRAME);
}

}  // namespace
}  // namespace orvix::test
