// SPDX-License-Identifier: Apache-2.0
// When the client connects, how often, and how it says that it cannot.
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

TEST(Connection, IsKeptWhilePersistentAndOpenedAnewWhenNot) {
  ScriptedPeer peer;
  peer.connection().expectFrames(1).reply(STATUS_REPLY).expectFrames(2).reply(STATUS_REPLY);
  peer.connection().expectFrames(1).reply(STATUS_REPLY).expectClose();
  peer.connection().expectFrames(1).reply(STATUS_REPLY).expectFrames(1).reply(STATUS_REPLY);
  OpenClient client(peer);
  EXPECT_FALSE(client.isConnected());
  EXPECT_EQ(askStatus(client), STATUS_OUTCOME);
  DocumentRequest document(ASYNC_ADD_DOCUMENT, "k");
  EXPECT_EQ(outcome(client, document), "ok complete");
  const std::pair<bool, std::size_t> settings[] = {{true, 1}, {false, 2}, {false, 3}, {true, 3}};
  for (const auto& [persistent, connections] : settings) {
    client.usePeristentConnection(persistent);
    EXPECT_TRUE(client.isConnected()) << "the switch alone closes nothing";
    EXPECT_EQ(askStatus(client), STATUS_OUTCOME);
    EXPECT_EQ(peer.connections(), connections);
  }
  EXPECT_TRUE(peer.awaitPlayed(3)) << "the one that was not kept is closed";
}

/// Neither a document nor a request is written to a peer that has gone meanwhile.
TEST(Connection, IsOpenedAnewWhenThePeerHasClosedItMeanwhile) {
  ScriptedPeer peer;
  peer.connection().expectFrames(1).reply(STATUS_REPLY).close();
  peer.connection().expectFrames(1).close();
  peer.connection().expectFrames(1).reply(STATUS_REPLY).expectClose();
  {
    OpenClient client(peer);
    client.setNumRetries(0);
    EXPECT_EQ(askStatus(client), STATUS_OUTCOME);
    ASSERT_TRUE(peer.awaitPlayed(1));
    DocumentRequest document(ASYNC_ADD_DOCUMENT, "k");
    EXPECT_EQ(outcome(client, document), "ok complete");
    ASSERT_TRUE(peer.awaitPlayed(2));
    EXPECT_EQ(peer.received(1), documentFrame("k"));
    EXPECT_EQ(askStatus(client), STATUS_OUTCOME);
  }
  EXPECT_TRUE(peer.awaitPlayed(3)) << "closed with its client";
}

TEST(Connection, IsTriedOnceMoreUnlessToldOtherwise) {
  ScriptedPeer peer;
  for (int i = 0; i < 3; ++i) peer.connection().expectFrames(1).close();
  OpenClient client(peer);
  EXPECT_EQ(errorOf(askStatus(client)), NO_HEADER);
  EXPECT_EQ(peer.connections(), 2U);
}

TEST(Connection, FailureSaysHostPortAndReason) {
  constexpr unsigned int CLOSED = 1;  // nobody listens there
  const std::string at = "ERR_CONNECT_SERVER@qorCorvaneClient:";
  const struct {
    unsigned int port;
    const char* host;
    std::string expected;
  } cases[] = {{CLOSED, HOST, "236[127.0.0.1|PORT]+SOCKET_CONNECT"},
               {CLOSED, "no such host.invalid", "236[no such host.invalid|PORT]+SOCKET_RESOLVE"},
               {0, HOST, "242[127.0.0.1|PORT]"},
               {65536, HOST, "242[127.0.0.1|PORT]"},
               {4294967295U, HOST, "242[127.0.0.1|PORT]"}};
  for (const auto& c : cases) {
    OpenClient client(c.port, c.host);
    client.setNumRetries(0);
    EXPECT_EQ(errorOf(askStatus(client)), at + c.expected);
    EXPECT_FALSE(client.isConnected());
  }
}

}  // namespace
}  // namespace orvix::test
