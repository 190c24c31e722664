// SPDX-License-Identifier: Apache-2.0
// What only a class derived from a client can do: read the connection itself, go on with a reply
// that has ended, pull before anything was asked; and a pull that its caller has not drained.
#include <gtest/gtest.h>
#include <string>

#include "comm/response/internal/qorParseGuard.h"
#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

class ReadingClient : public OpenClient {
 public:
  using OpenClient::OpenClient;
  std::size_t read(char* to, std::size_t offset, std::size_t length, bool once) {
    const ReceiveStep step(*this);
    return readSocket(to, offset, length, once);
  }
  void readOn(comm::ClientResponse& response) {
    endOfStream = false;
    recvStream(response);
  }
};

/// A client without a protocol.
class BareClient : public comm::CorvaneRESTClient {
 public:
  using CorvaneClient::getHost;
  using CorvaneClient::getPort;
  using CorvaneClient::isPersistent;
  using CorvaneRESTClient::CorvaneRESTClient;
  void recv(comm::ClientResponse&) override {}

 protected:
  void sendAndRecvMesgOnce(comm::ClientRequest&, comm::ClientResponse&) override {}
  void sendMesg(comm::RESTMessage&) override {}
  void recvMesg(comm::ClientResponse&) override {}
  void recvStream(comm::ClientResponse&) override {}
};

TEST(DerivedClient, StartsFromEachConstructor) {
  const BareClient nowhere;
  EXPECT_EQ(text(nowhere.getHost()), "<unspecified>");
  EXPECT_EQ(nowhere.getPort(), 0U);
  EXPECT_FALSE(nowhere.isPersistent());
  const BareClient named(icu::UnicodeString("h", ""), 7, true);
  EXPECT_EQ(text(named.getHost()), "h");
  EXPECT_EQ(named.getPort(), 7U);
  EXPECT_TRUE(named.isPersistent());
}

TEST(DerivedClient, ReadsOnceOrUntilThePeerCloses) {
  for (const unsigned int limit : {0U, 10000U}) {
    SCOPED_TRACE(limit);
    ScriptedPeer peer;
    peer.connection().reply("abc").close();
    ReadingClient client(peer);
    client.setReceiveTimeOut(limit);
    client.openConnection();
    char bytes[8] = {};
    EXPECT_EQ(client.read(bytes, 0, 0, true), 0U);
    EXPECT_EQ(client.read(bytes, 0, 1, true), 1U);
    EXPECT_EQ(client.read(bytes, 1, 7, false), 2U);
    EXPECT_STREQ(bytes, "abc");
  }
}

TEST(DerivedClient, FindsAReplyThatHasEndedAtItsEnd) {
  ScriptedPeer peer;
  PeerScript& script = peer.connection().expectFrames(1).reply(STATUS_REPLY);
  script.expectFrames(1).reply(hex("0001") + END_MARKER);
  ReadingClient client(peer);
  comm::ClientResponse response;
  outcome(client, GET_STATUS, &response);
  client.readOn(response);
  EXPECT_TRUE(client.isEndOfStream());
  outcome(client, SCALAR_SEARCH, &response);
  EXPECT_EQ(raised(client, [&] { client.readOn(response); }), "ERR_CLIENT_RESP_PARSING");
}

TEST(DerivedClient, CannotPullBeforeTheFirstRequest) {
  ScriptedPeer peer;
  peer.connection().stall();
  ReadingClient client(peer);
  client.openConnection();
  comm::ClientResponse response;
  EXPECT_EQ(raised(client, [&] { client.recv(response); }),
            "ERR_INVALID_STATE@qorTamberPerfClient:137");
}

TEST(UndrainedPull, AddsToAListThatIsNotDrainedAndEmptiesItAtTheEnd) {
  const std::string hit = record(1, std::string(3000, 'a'));
  const std::string document = record(1, pair("Doc", "a"));
  const struct {
    std::uint32_t kind;
    std::string unit;
  } cases[] = {{STREAM_SEARCH, hit}, {PARSE_RESULT, document}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.kind);
    ScriptedPeer peer;
    peer.connection().expectFrames(1).replySegments({hex("0001"), c.unit, c.unit, END_MARKER});
    ReadingClient client(peer);
    client.useStreamedResults(true);
    comm::ClientResponse response;
    const auto held = [&] {
      return response.getSearchResponse().count() + response.getParseResponse().count();
    };
    comm::ClientRequest request = plainRequest(c.kind);
    client.sendAndRecvMesg(request, response);
    EXPECT_EQ(held(), 1);
    client.recv(response);
    EXPECT_EQ(held(), 2);
    client.recv(response);
    EXPECT_TRUE(client.isReplyComplete());
    EXPECT_EQ(held(), 2);
    client.recv(response);
    EXPECT_EQ(held(), 0);
  }
}

TEST(ParseGuard, LetsAFailureOfTextConversionPass) {
  const auto failing = []() -> int {
    throw oss::NLSException(icu::UnicodeString("ES_ERR_OUT_OF_MEMORY", ""), "somewhere", 1);
  };
  EXPECT_THROW(comm::detail::translatingParseFailures(failing), oss::NLSException);
}

}  // namespace
}  // namespace orvix::test
