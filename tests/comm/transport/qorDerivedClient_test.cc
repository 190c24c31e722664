// SPDX-License-Identifier: Apache-2.0
// What only a class derived from a client can do: read the connection itself, go on with a reply
// that has ended.
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

TEST(ParseGuard, LetsAFailureOfTextConversionPass) {
  const auto failing = []() -> int {
    throw oss::NLSException(icu::UnicodeString("ES_ERR_OUT_OF_MEMORY", ""), "somewhere", 1);
  };
  EXPECT_THROW(comm::detail::translatingParseFailures(failing), oss::NLSException);
}

}  // namespace
}  // namespace orvix::test
