// SPDX-License-Identifier: Apache-2.0
// What is tried again and how often: whatever breaks, and whatever takes longer than allowed.
#include <chrono>
#include <gtest/gtest.h>

#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

TEST(Retry, IsMadeAsOftenAsAllowedAndRepeatsNoResults) {
  const std::string hits = hex("0001") + record(1, "a") + record(1, "b") + END_MARKER;
  const std::string fine = "ok complete count=2 hit(YQ== 0.000 1) hit(Yg== 0.000 1)";
  const std::pair<std::string, const char*> breaks[] = {
      {"", NO_HEADER},
      {hex("00"), NO_STREAM},
      {hits.substr(0, 9), NO_STREAM},                // in the header of a record
      {hits.substr(0, hits.size() - 5), NO_STREAM},  // in a record
      {hits.substr(0, hits.size() - 1), NO_STREAM},  // in the end marker
  };
  for (const auto& [reply, expected] : breaks) {
    for (const unsigned int retries : {0U, 1U, 3U}) {
      for (const unsigned int broken : {retries, retries + 1}) {
        SCOPED_TRACE(std::to_string(reply.size()) + " bytes, retries " + std::to_string(retries));
        ScriptedPeer peer;
        for (unsigned int i = 0; i < broken; ++i) {
          peer.connection().expectFrames(1).reply(reply).close();
        }
        peer.connection().expectFrames(1).reply(hits).expectFrames(1).reply(hits);
        OpenClient client(peer);
        if (retries != 1) client.setNumRetries(retries);  // 1 is the default
        comm::ClientResponse response;
        EXPECT_EQ(errorOf(outcome(client, STREAM_SEARCH, &response)),
                  broken == retries ? fine : expected);
        EXPECT_EQ(outcome(client, STREAM_SEARCH, &response), fine) << "the same objects serve on";
        peer.stop();
        EXPECT_EQ(peer.connections(), broken + 1);
        for (std::size_t i = 0; i < broken; ++i) {
          EXPECT_EQ(peer.received(i), frameOf("search", "select"));
        }
      }
    }
  }
}

struct Case {
  std::uint32_t kind;
  std::string reply;
  const char* expected;
};

const Case CASES[] = {
    {GET_STATUS, "", TIMED_OUT},
    {SCALAR_SEARCH, hex("0001 0001 0009 61"), TIMED_OUT},
    {COLLECTION_STATUS, hex("0001 0001 0009 61"), TIMED_OUT},
    {ADD_DOCUMENT, "", NOT_SENT},
};

TEST(TimeOut, BoundsEveryWaitAndIsTriedAgain) {
  constexpr unsigned int LIMIT = 60;           // milliseconds
  const std::string content(16U << 20U, 'c');  // more than the system takes in without a reader
  for (const Case& c : CASES) {
    SCOPED_TRACE(c.kind);
    ScriptedPeer peer;
    for (int i = 0; i < 2; ++i) {
      PeerScript& script = peer.connection();
      if (!c.reply.empty()) script.expectFrames(1).reply(c.reply);
      script.stall();
    }
    peer.connection().expectFrames(1).reply(STATUS_REPLY);
    OpenClient client(peer);
    client.setReceiveTimeOut(LIMIT);
    client.setSendTimeOut(LIMIT);
    DocumentRequest request(c.kind, "k", c.kind == ADD_DOCUMENT ? content : "");
    const auto start = Clock::now();
    EXPECT_EQ(errorOf(outcome(client, request)), c.expected);
    const auto took = Clock::now() - start;
    EXPECT_GE(took, milliseconds(2 * LIMIT)) << "two attempts";
    EXPECT_LT(took, milliseconds(2000)) << "with room for a machine under load";
    EXPECT_TRUE(client.isConnected()) << "closed only when the next attempt starts";
    client.setReceiveTimeOut(0);
    EXPECT_EQ(askStatus(client), STATUS_OUTCOME) << "nor is a late reply taken for this one";
    EXPECT_EQ(peer.connections(), 3U);
  }
}

}  // namespace
}  // namespace orvix::test
