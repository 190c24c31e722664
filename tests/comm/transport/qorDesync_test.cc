// SPDX-License-Identifier: Apache-2.0
// A reply is never read as the reply to another request: after whatever left bytes behind, the next
// request runs on a fresh connection; after a clean reply it does not.
#include <gtest/gtest.h>
#include <vector>

#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

/// A whole reply for every kind that has one.
std::string replyTo(std::uint32_t kind) {
  switch (kind) {
    case STREAM_SEARCH:
    case SCALAR_SEARCH:
      return hex("0001") + record(1, "a") + END_MARKER;
    case PARSE_RESULT:
      return hex("0001") + record(1, pair("Doc", "a")) + END_MARKER;
    case SELECTIVITY:
      return hex("0001") + record(1, u32(1) + u32(2) + u32(3)) + END_MARKER;
    case GET_SERVER_VERSION:
    case COLLECTION_STATUS:
      return hex("0001") + record(1, "text");
    default:
      return hex("0001");
  }
}

const std::string ERROR_REPLY = hex("0006") + errorBody(pair("MsgId", "E"));
/// What a client must not take for its reply: read as one it would be a good state.
const std::string STALE = hex("0001");

std::vector<std::uint32_t> answeredKinds() {
  std::vector<std::uint32_t> kinds;
  for (std::uint32_t kind = 1; kind <= 25; ++kind) {
    if (kind != 6 && kind != ASYNC_ADD_DOCUMENT && kind != LAST_DOC_SENT) kinds.push_back(kind);
  }
  return kinds;
}

/// Plays `reply` to a request of `kind`, then asks for the status; returns the connections used.
std::size_t connectionsAfter(std::uint32_t kind, const std::string& reply, bool closes) {
  ScriptedPeer peer;
  PeerScript& script = peer.connection().expectFrames(1).reply(reply);
  if (closes) {
    script.close();
  } else {
    script.expectFrames(1).reply(STATUS_REPLY);
  }
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  OpenClient client(peer);
  client.setNumRetries(0);
  comm::ClientRequest request = plainRequest(kind);
  outcome(client, request, peer);
  if (closes) {
    EXPECT_TRUE(peer.awaitPlayed(1));
  }
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  return peer.connections();
}

TEST(Desync, DoesNotArise) {
  for (const std::uint32_t kind : answeredKinds()) {
    SCOPED_TRACE("kind " + std::to_string(kind));
    EXPECT_EQ(connectionsAfter(kind, replyTo(kind), false), 1U) << "a clean reply";
    EXPECT_EQ(connectionsAfter(kind, ERROR_REPLY, false), 1U) << "an error read to its end";
    EXPECT_EQ(connectionsAfter(kind, replyTo(kind) + STALE, false), 2U) << "surplus bytes";
    EXPECT_EQ(connectionsAfter(kind, replyTo(kind) + hex("00"), false), 2U) << "one surplus byte";
    EXPECT_EQ(connectionsAfter(kind, ERROR_REPLY + STALE, false), 2U) << "behind an error";
    EXPECT_EQ(connectionsAfter(kind, hex("00"), true), 2U) << "half a header";
    EXPECT_EQ(connectionsAfter(kind, replyTo(kind), true), 2U) << "a clean reply, then closed";
    EXPECT_EQ(connectionsAfter(kind, hex("0191") + STALE, false), 2U) << "unauthorized";
    EXPECT_EQ(connectionsAfter(kind, hex("0007") + STALE, false), 2U) << "an unknown status";
  }
}

TEST(Desync, DoesNotArisePastAnErrorInPlaceOfText) {
  const std::string text = hex("0001") + record(6, errorBody(pair("MsgId", "E")));
  EXPECT_EQ(connectionsAfter(GET_SERVER_VERSION, text, false), 1U);
  EXPECT_EQ(connectionsAfter(GET_SERVER_VERSION, text + STALE, false), 2U);
}

TEST(Desync, DoesNotAriseFromRepliesThatNobodyAskedFor) {
  for (const std::uint32_t kind :
       {std::uint32_t{ASYNC_ADD_DOCUMENT}, std::uint32_t{LAST_DOC_SENT}}) {
    SCOPED_TRACE(kind);
    ScriptedPeer peer;
    peer.connection().expectFrames(1).reply(STALE);
    peer.connection().expectFrames(1).reply(STATUS_REPLY);
    OpenClient client(peer);
    DocumentRequest request(kind, "k");
    EXPECT_EQ(outcome(client, request, peer), "ok complete");
    ASSERT_TRUE(peer.awaitPlayed(1));
    EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
    EXPECT_EQ(peer.connections(), 2U);
  }
}

TEST(Desync, DoesNotAriseFromAnAbandonedStream) {
  const std::string stream = hex("0001") + record(1, "a") + record(1, std::string(9000, 'b')) +
                             record(1, std::string(9000, 'c')) + END_MARKER;
  for (const int pulls : {0, 1}) {
    SCOPED_TRACE(pulls);
    ScriptedPeer peer;
    peer.connection().expectFrames(1).reply(stream).expectFrames(1).reply(STALE);
    peer.connection().expectFrames(1).reply(STATUS_REPLY);
    OpenClient client(peer);
    client.useStreamedResults(true);
    comm::ClientRequest search = plainRequest(STREAM_SEARCH);
    comm::ClientResponse response;
    EXPECT_EQ(outcome(client, search, response, peer.port()),
              "ok incomplete open count=1 hit(YQ== 0.000 1)");
    for (int i = 0; i < pulls; ++i) client.recv(response);
    EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
    EXPECT_EQ(peer.connections(), 2U);
  }
}

/// The reply to the first of two requests comes too late: its connection is not used again.
TEST(Desync, DoesNotAriseFromAReplyThatCameTooLate) {
  ScriptedPeer peer;
  peer.connection().expectFrames(1).stall();
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  OpenClient client(peer);
  client.setNumRetries(0);
  client.setReceiveTimeOut(30);
  EXPECT_EQ(askStatus(client, peer),
            "ERR_SERVER_COMM_TIMEOUT@qorCorvaneClient:119[127.0.0.1|PORT] incomplete open");
  EXPECT_TRUE(client.isConnected()) << "closed only when the next attempt starts";
  client.setReceiveTimeOut(0);
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(peer.connections(), 2U);
}

}  // namespace
}  // namespace orvix::test
