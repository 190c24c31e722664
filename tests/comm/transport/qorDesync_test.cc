// SPDX-License-Identifier: Apache-2.0
// A reply is never read as the reply to another request: after whatever left bytes behind, the next
// request runs on a fresh connection; after a clean reply it does not.
#include <gtest/gtest.h>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

/// A whole reply to a request of `kind`; nothing for the kinds that have none.
std::string replyTo(std::uint32_t kind) {
  switch (kind) {
    case ASYNC_ADD_DOCUMENT:
    case LAST_DOC_SENT:
      return {};
    case STREAM_SEARCH:
    case SCALAR_SEARCH:
    case PARSE_RESULT:
    case SELECTIVITY:
      return hex("0001") + record(1, pair("Doc", "12345")) + END_MARKER;
    case GET_SERVER_VERSION:
    case COLLECTION_STATUS:
      return hex("0001") + record(1, "text");
    default:
      return hex("0001");
  }
}

/// Plays `reply` to a request of `kind`, then asks for the status, over this connection or another.
void expectReuse(bool reused, std::uint32_t kind, const std::string& reply, bool closes = false) {
  ScriptedPeer peer;
  PeerScript& script = peer.connection().expectFrames(1).reply(reply);
  if (closes) script.close();
  if (reused) script.expectFrames(1).reply(STATUS_REPLY);
  peer.connection().expectFrames(1).reply(STATUS_REPLY);
  OpenClient client(peer);
  client.setNumRetries(0);
  DocumentRequest request(kind, "k");
  outcome(client, request);
  if (!reused) {
    EXPECT_TRUE(peer.awaitPlayed(1));
  }
  EXPECT_EQ(askStatus(client), STATUS_OUTCOME);
  EXPECT_EQ(peer.connections(), reused ? 1U : 2U);
}

TEST(Desync, DoesNotArise) {
  const std::string refusal = hex("0006") + errorBody(pair("MsgId", "E"));
  const std::string stale = hex("0001");  // read as a reply it would be a good state
  for (std::uint32_t kind = 1; kind <= comm::detail::MAX_REQUEST_KIND; ++kind) {
    if (kind == 6) continue;  // expects what nobody can send
    SCOPED_TRACE("kind " + std::to_string(kind));
    const std::string reply = replyTo(kind);
    expectReuse(true, kind, reply);
    expectReuse(false, kind, reply + stale);
    expectReuse(false, kind, reply + hex("00"));
    expectReuse(false, kind, reply, true);
    expectReuse(false, kind, hex("00"), true);
    expectReuse(false, kind, hex("0191") + stale);  // unauthorized
    expectReuse(false, kind, refusal + stale);
    if (!reply.empty()) expectReuse(true, kind, refusal);
  }
  const std::string inPlaceOfText = hex("0001") + record(6, errorBody(""));
  expectReuse(true, GET_SERVER_VERSION, inPlaceOfText);
  expectReuse(false, GET_SERVER_VERSION, inPlaceOfText + stale);
}

}  // namespace
}  // namespace orvix::test
