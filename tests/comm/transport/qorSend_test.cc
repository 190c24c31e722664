// SPDX-License-Identifier: Apache-2.0
// The bytes of requests on the connection: frames, batches, large content, and what a failed write
// leaves behind.
#include <gtest/gtest.h>
#include <vector>

#include "comm/transport/internal/qorGatherBlock.h"
#include "infra/util/qorExtendedProperties.h"
#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

/// A client whose next writes fail, for the connection is taken away from under them.
class CutClient : public OpenClient {
 public:
  using OpenClient::OpenClient;
  enum class Cut { NONE, BEFORE_WRITING, BEHIND_GATHERING };

  void failNext(Cut where) { where_ = where; }

 protected:
  void sendMesg(comm::RESTMessage& message) override {
    const Cut where = where_;
    where_ = Cut::NONE;
    if (where == Cut::BEFORE_WRITING) closeConnection();
    OpenClient::sendMesg(message);
    if (where == Cut::BEHIND_GATHERING) closeConnection();
  }

 private:
  Cut where_ = Cut::NONE;
};

class Send : public testing::Test {
 protected:
  Send() { comm::detail::framedMessages = 0; }  // one count for all clients of the process

  /// Sends `count` documents that are gathered when the client is buffered.
  static void add(OpenClient& client, const std::string& key, int count = 1,
                  const std::string& content = {}) {
    for (int i = 0; i < count; ++i) {
      DocumentRequest request(ASYNC_ADD_DOCUMENT, key, content);
      comm::ClientResponse response;
      client.sendAndRecvMesg(request, response);
    }
  }
  static void endBatch(OpenClient& client) {
    comm::ClientRequest request = plainRequest(LAST_DOC_SENT);
    comm::ClientResponse response;
    client.sendAndRecvMesg(request, response);
  }
  static std::string times(const std::string& bytes, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += bytes;
    return all;
  }

  ScriptedPeer peer;
};

TEST_F(Send, WritesAFrameOfHeaderTextBodyAndContent) {
  peer.connection().expectFrames(1).reply(hex("0001 0001 0000")).expectFrames(4);
  OpenClient client(peer);
  comm::ClientRequest version = plainRequest(GET_SERVER_VERSION);
  comm::ClientResponse response;
  client.sendAndRecvMesg(version, response);
  add(client, "k");
  add(client, "key", 1, "content");
  endBatch(client);
  DocumentRequest keyless(ASYNC_ADD_DOCUMENT, "", "never sent");
  client.sendAndRecvMesg(keyless, response);
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
  const std::string around =
      "Content-Length  : \naction: getStatus\nactionType: monitor\nbig: \nver: 1.1\n\r\n";
  for (const std::size_t length : {std::size_t{65535}, std::size_t{65536}, std::size_t{70000}}) {
    SCOPED_TRACE(length);
    const std::string value(length - around.size(), 'x');
    std::string header = around;
    header.insert(header.find("\nver"), value);
    const std::string expected =
        u16(static_cast<std::uint32_t>(length % 65536)) + header.substr(0, length % 65536);
    ScriptedPeer own;
    own.connection().expectBytes(expected.size()).reply(STATUS_REPLY);
    OpenClient client(own);
    util::ExtendedProperties properties;
    properties.putProperty(icu::UnicodeString("big", ""), icu::UnicodeString::fromUTF8(value));
    comm::ClientRequest request;
    request.buildRequest(GET_STATUS, properties);
    EXPECT_EQ(outcome(client, request, own), STATUS_OUTCOME);
    own.stop();
    EXPECT_EQ(own.received(0), expected);
  }
}

TEST_F(Send, BatchesFiftyMessages) {
  peer.connection().expectFrames(50).expectFrames(50);
  OpenClient client(peer);
  client.useBufferedConnection(true);
  add(client, "k", 49);
  ASSERT_TRUE(peer.awaitAccepted(1));
  EXPECT_EQ(peer.segments(0), 0U) << "49 are only gathered";
  EXPECT_TRUE(client.isReplyComplete());
  add(client, "k");
  EXPECT_EQ(peer.segments(0), 1U);
  add(client, "k", 49);
  EXPECT_EQ(peer.segments(0), 1U) << "the count starts anew";
  add(client, "k");
  ASSERT_TRUE(peer.awaitPlayed(1));
  EXPECT_EQ(peer.segments(0), 2U);
  EXPECT_EQ(peer.received(0), times(documentFrame("k"), 100));
}

TEST_F(Send, CountsTheMessagesOfAllClientsTogether) {
  peer.connection().expectFrames(25);
  peer.connection().stall();
  OpenClient first(peer);
  OpenClient second(peer);
  first.useBufferedConnection(true);
  second.useBufferedConnection(true);
  add(first, "a", 24);
  add(second, "b", 25);
  add(first, "c");
  ASSERT_TRUE(peer.awaitPlayed(2));
  EXPECT_EQ(peer.received(0), times(documentFrame("a"), 24) + documentFrame("c"));
  EXPECT_EQ(peer.segments(1), 0U) << "another client's frames stay gathered";
}

TEST_F(Send, BatchesTenThousandBytes) {
  const std::string thousand = keyForFrameOf(1000);
  ASSERT_EQ(documentFrame(thousand).size(), 1000U);
  peer.connection().expectFrames(11).expectFrames(10).expectFrames(4);
  OpenClient client(peer);
  client.useBufferedConnection(true);
  add(client, thousand, 9);
  add(client, keyForFrameOf(999));
  ASSERT_TRUE(peer.awaitAccepted(1));
  EXPECT_EQ(peer.segments(0), 0U) << "9999 bytes are only gathered";
  add(client, "k");
  EXPECT_EQ(peer.segments(0), 1U);
  add(client, thousand, 9);
  EXPECT_EQ(peer.segments(0), 1U);
  add(client, thousand);
  EXPECT_EQ(peer.segments(0), 2U) << "10000 bytes are written";
  add(client, "k", 3);
  EXPECT_EQ(peer.segments(0), 2U);
  endBatch(client);
  ASSERT_TRUE(peer.awaitPlayed(1));
  EXPECT_EQ(peer.segments(0), 3U) << "the end of a batch is always written";
  EXPECT_EQ(peer.received(0), times(documentFrame(thousand), 9) +
                                  documentFrame(keyForFrameOf(999)) + documentFrame("k") +
                                  times(documentFrame(thousand), 10) +
                                  times(documentFrame("k"), 3) + lastDocumentFrame());
}

TEST_F(Send, SplitsLargeContent) {
  struct Case {
    const char* name;
    std::vector<std::size_t> gathered;  // sizes of the frames before it
    std::size_t content;
    unsigned int writes;
  };
  // The frame without its content has 2 + 79 + 34 = 115 bytes.
  const Case cases[] = {
      {"not large", {}, 10000, 1},
      {"large: 5000 with the frame, then 5001", {}, 10001, 2},
      {"5000, 10000, 10000", {}, 25000, 3},
      {"5000, 10000, 10000, 1", {}, 25001, 4},
      {"not large behind other frames", {1000, 1000}, 10000, 1},
      {"behind 6000 bytes: none with the frame, then 10000, 10000, 5000",
       {1000, 1000, 1000, 1000, 1000, 1000},
       25000,
       4},
      {"4999 bytes up to the content", {1000, 1000, 1000, 1000, 884}, 15000, 2},
      {"5000 bytes up to the content", {1000, 1000, 1000, 1000, 885}, 15000, 3},
  };
  for (const bool buffered : {true, false}) {
    for (const Case& c : cases) {
      if (!buffered && !c.gathered.empty()) continue;
      SCOPED_TRACE(c.name);
      std::string content;
      for (std::size_t i = 0; i < c.content; ++i) content += static_cast<char>('a' + i % 23);
      std::string expected;
      ScriptedPeer own;
      own.connection().expectFrames(c.gathered.size() + 1);
      OpenClient client(own);
      client.useBufferedConnection(buffered);
      for (const std::size_t size : c.gathered) {
        add(client, keyForFrameOf(size));
        expected += documentFrame(keyForFrameOf(size));
      }
      add(client, "k", 1, content);
      expected += documentFrame("k", content);
      ASSERT_TRUE(own.awaitPlayed(1));
      EXPECT_EQ(own.segments(0), c.writes);
      EXPECT_TRUE(own.received(0) == expected);
    }
  }
}

TEST_F(Send, WritesWhatIsGatheredBeforeItAwaitsAReply) {
  peer.connection()
      .expectFrames(4)
      .reply(STATUS_REPLY)
      .expectFrames(1)
      .reply(STATUS_REPLY)
      .expectFrames(1);
  OpenClient client(peer);
  client.useBufferedConnection(true);
  add(client, "k", 3);
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(peer.segments(0), 2U);
  client.useBufferedConnection(false);
  add(client, "k");
  ASSERT_TRUE(peer.awaitPlayed(1));
  EXPECT_EQ(peer.received(0), times(documentFrame("k"), 3) +
                                  times(plainFrame("getStatus", "monitor"), 2) +
                                  documentFrame("k"));
}

TEST_F(Send, AwaitsTheReplyToARequestThatFillsTheBatch) {
  peer.connection().expectFrames(11).reply(STATUS_REPLY).expectClose();
  OpenClient client(peer);
  client.useBufferedConnection(true);
  add(client, keyForFrameOf(1000), 9);
  add(client, keyForFrameOf(999));
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(peer.segments(0), 1U);
  add(client, "k", 30);
  EXPECT_EQ(peer.segments(0), 1U);
  client.closeConnection();  // and with it nothing of what is gathered
  peer.connection().expectFrames(31).reply(STATUS_REPLY);
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  ASSERT_TRUE(peer.awaitAccepted(2));
  EXPECT_EQ(peer.received(1), times(documentFrame("k"), 30) + plainFrame("getStatus", "monitor"));
}

TEST_F(Send, SendsGatheredFramesOverTheNextConnectionWhenTheirOwnIsGone) {
  peer.connection().expectFrames(1).reply(STATUS_REPLY).close();
  peer.connection().expectFrames(4);
  OpenClient client(peer);
  client.useBufferedConnection(true);
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  ASSERT_TRUE(peer.awaitPlayed(1));
  add(client, "k", 3);
  endBatch(client);
  ASSERT_TRUE(peer.awaitPlayed(2));
  EXPECT_EQ(peer.received(1), times(documentFrame("k"), 3) + lastDocumentFrame());
}

/// Whatever write fails, a retry sends every gathered frame and the failed one once.
TEST_F(Send, RetriesAFailedWriteWithEachFrameOnce) {
  using Cut = CutClient::Cut;
  struct Case {
    const char* name;
    std::uint32_t kind;
    Cut cut;
    std::string frame;
  };
  const Case cases[] = {
      {"end of a batch", LAST_DOC_SENT, Cut::BEFORE_WRITING, lastDocumentFrame()},
      {"a request with a reply", GET_STATUS, Cut::BEHIND_GATHERING,
       plainFrame("getStatus", "monitor")},
  };
  for (const Case& c : cases) {
    for (const unsigned int retries : {1U, 0U}) {
      SCOPED_TRACE(c.name);
      ScriptedPeer own;
      own.connection().expectClose();
      own.connection().expectFrames(4).reply(STATUS_REPLY);
      CutClient client(own);
      client.setNumRetries(retries);
      client.useBufferedConnection(true);
      add(client, "k", 3);
      client.failNext(c.cut);
      comm::ClientRequest request = plainRequest(c.kind);
      const std::string failed = outcome(client, request, own);
      const std::string fine = c.kind == GET_STATUS ? STATUS_OUTCOME : "ok complete";
      if (retries == 0) {
        EXPECT_EQ(failed.substr(0, failed.find(" incomplete")),
                  "ERR_SERVER_COMM_SEND@qorTamberPerfClient:280[127.0.0.1|PORT]");
        EXPECT_EQ(outcome(client, request, own), fine);
      } else {
        EXPECT_EQ(failed, fine);
      }
      ASSERT_TRUE(own.awaitPlayed(2));
      EXPECT_EQ(own.received(0), "");
      EXPECT_EQ(own.received(1), times(documentFrame("k"), 3) + c.frame);
      EXPECT_EQ(own.connections(), 2U);
    }
  }
}

TEST_F(Send, FailsWhenThePeerResetsInTheMiddleOfContentAndRetriesTheWhole) {
  const std::string content(16U << 20U, 'c');  // more than the system takes in without a reader
  ScriptedPeer own(4096);
  own.connection().expectBytes(2000).reset();
  own.connection().expectFrames(4);
  OpenClient client(own);
  client.useBufferedConnection(true);
  add(client, "k", 3);
  add(client, "large", 1, content);
  ASSERT_TRUE(own.awaitPlayed(2));
  EXPECT_TRUE(own.received(1) == times(documentFrame("k"), 3) + documentFrame("large", content));
  EXPECT_EQ(own.connections(), 2U);
}

/// A frame whose sender failed before it was written must not go out with the next request: nobody
/// would expect its reply.
TEST_F(Send, ForgetsTheFrameOfARequestThatFailedBeforeItWasWritten) {
  class Throwing : public OpenClient {
   public:
    using OpenClient::OpenClient;
    bool armed = true;

   protected:
    void sendMesg(comm::RESTMessage& message) override {
      OpenClient::sendMesg(message);
      if (armed) throw std::bad_alloc();
    }
  };
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  Throwing client(peer);
  client.useBufferedConnection(true);
  comm::ClientRequest search = plainRequest(SCALAR_SEARCH);
  EXPECT_EQ(outcome(client, search, peer),
            "ERR_CLIENT_INTERNAL@qorTamberPerfClient:112[unknown error from sendandrecvMesgOnce]"
            " incomplete open");
  client.armed = false;
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  peer.stop();
  EXPECT_EQ(peer.received(0), plainFrame("getStatus", "monitor"));
}

}  // namespace
}  // namespace orvix::test
