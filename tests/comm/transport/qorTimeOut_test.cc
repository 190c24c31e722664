// SPDX-License-Identifier: Apache-2.0
// The time-outs of sending and receiving: a peer that says or takes nothing, or only now and then,
// cannot hold a caller.
#include <chrono>
#include <functional>
#include <gtest/gtest.h>

#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr unsigned int LIMIT = 60;  // milliseconds
constexpr char TIMED_OUT[] = "ERR_SERVER_COMM_TIMEOUT@qorCorvaneClient:119[127.0.0.1|PORT]";

/// Far below what would be waited without a limit, with room for a machine under load.
void expectWithin(Clock::duration took, unsigned int attempts) {
  EXPECT_GE(took, milliseconds(LIMIT) * attempts);
  EXPECT_LT(took, milliseconds(LIMIT) * attempts + milliseconds(2000));
}

TEST(ReceiveTimeOut, BoundsEveryWaitForAReply) {
  struct Case {
    const char* name;
    std::uint32_t kind;
    std::function<void(PeerScript&)> play;
  };
  const std::string longRecord = hex("0001 0001 ffff") + std::string(2000, 'x');
  std::string emptyChunks;  // there is always one more to read
  for (int i = 0; i < 1 << 20; ++i) emptyChunks += record(14, "");
  const Case cases[] = {
      {"chunks without end", COLLECTION_STATUS,
       [&](PeerScript& s) { s.expectFrames(1).reply(hex("0001") + emptyChunks); }},
      {"silent", GET_STATUS, [](PeerScript& s) { s.expectFrames(1).stall(); }},
      {"accepts and does not read", GET_STATUS, [](PeerScript& s) { s.stall(); }},
      {"half a header", GET_STATUS, [](PeerScript& s) { s.expectFrames(1).reply(hex("00")); }},
      {"half an error", GET_STATUS,
       [](PeerScript& s) { s.expectFrames(1).reply(hex("0006 0005 00")); }},
      {"half a record", SCALAR_SEARCH,
       [](PeerScript& s) { s.expectFrames(1).reply(hex("0001 0001 0009 61")); }},
      {"half a chunk", COLLECTION_STATUS,
       [](PeerScript& s) { s.expectFrames(1).reply(hex("0001 0001 0009 61")); }},
      {"no chunk", COLLECTION_STATUS, [](PeerScript& s) { s.expectFrames(1).reply(hex("0001")); }},
      {"a record that trickles in", SCALAR_SEARCH,
       [&](PeerScript& s) { s.expectFrames(1).trickle(longRecord, milliseconds(5)); }},
      {"a chunk that trickles in", COLLECTION_STATUS,
       [&](PeerScript& s) {
         s.expectFrames(1)
             .replySegments(
                 {longRecord.substr(0, 2), longRecord.substr(2, 2), longRecord.substr(4, 2)})
             .trickle(longRecord.substr(6), milliseconds(5));
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScriptedPeer peer;
    c.play(peer.connection());
    c.play(peer.connection());
    OpenClient client(peer);
    client.setReceiveTimeOut(LIMIT);
    comm::ClientRequest request = plainRequest(c.kind);
    const auto start = Clock::now();
    const std::string line = outcome(client, request, peer);
    expectWithin(Clock::now() - start, 2);
    EXPECT_EQ(line.substr(0, line.find(" incomplete")), TIMED_OUT);
    peer.stop();
    EXPECT_EQ(peer.connections(), 2U) << "a time-out is tried again";
  }
}

TEST(ReceiveTimeOut, LeavesAReplyInTimeAlone) {
  ScriptedPeer peer;
  peer.connection()
      .expectFrames(1)
      .replySegments({hex("0001"), record(14, std::string(40000, 'x')), record(1, "y")})
      .expectFrames(1)
      .reply(STATUS_REPLY);
  OpenClient client(peer);
  client.setReceiveTimeOut(5000);
  comm::ClientRequest request = plainRequest(COLLECTION_STATUS);
  EXPECT_EQ(outcome(client, request, peer), "ok complete text=" + std::string(40000, 'x') + 'y');
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(peer.connections(), 1U);
}

TEST(SendTimeOut, BoundsEveryWriteToAPeerThatDoesNotRead) {
  const std::string content(16U << 20U, 'c');  // more than the system takes in without a reader
  ScriptedPeer peer(4096);
  peer.connection().stall();
  peer.connection().stall();
  OpenClient client(peer);
  client.setSendTimeOut(LIMIT);
  DocumentRequest request(ADD_DOCUMENT, "k", content);
  const auto start = Clock::now();
  const std::string line = outcome(client, request, peer);
  expectWithin(Clock::now() - start, 2);
  EXPECT_EQ(line.substr(0, line.find(" incomplete")),
            "ERR_SERVER_COMM_SEND@qorTamberPerfClient:280[127.0.0.1|PORT]");
  peer.stop();
  EXPECT_EQ(peer.connections(), 2U) << "a time-out is tried again";
}

TEST(SendTimeOut, LeavesAWriteInTimeAlone) {
  const std::string content(1U << 20U, 'c');
  ScriptedPeer peer;
  peer.connection().expectFrames(1).reply(hex("0001"));
  OpenClient client(peer);
  client.setSendTimeOut(5000);
  DocumentRequest request(ADD_DOCUMENT, "k", content);
  EXPECT_EQ(outcome(client, request, peer), "ok complete");
}

}  // namespace
}  // namespace orvix::test
