// SPDX-License-Identifier: Apache-2.0
// What is tried again, how often, and what is never.
#include <functional>
#include <gtest/gtest.h>

#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

const std::string HITS = hex("0001") + record(1, "a") + record(1, "b") + END_MARKER;
constexpr char HITS_OUTCOME[] = "ok complete count=2 hit(YQ== 0.000 1) hit(Yg== 0.000 1)";

struct Drop {
  const char* name;
  std::function<void(PeerScript&)> play;
  std::string raised;  // by the last attempt
};

const std::string AT_HEADER = "ERR_SERVER_COMM_RECV@qorTamberPerfClient:382[127.0.0.1|PORT]";
const std::string IN_STREAM = "ERR_SERVER_COMM_RECV@qorTamberPerfClient:508[127.0.0.1|PORT]";

/// Where the connection may break during a search. A reset may overtake what was sent before it, so
/// it stands only where nothing was.
const Drop DROPS[] = {
    {"once connected", [](PeerScript& s) { s.endOfFile().expectFrames(1); }, AT_HEADER},
    {"behind the request", [](PeerScript& s) { s.expectFrames(1).close(); }, AT_HEADER},
    {"behind the request, by reset", [](PeerScript& s) { s.expectFrames(1).reset(); }, AT_HEADER},
    {"behind half a header", [](PeerScript& s) { s.expectFrames(1).reply(hex("00")).close(); },
     IN_STREAM},
    {"in the header of a record",
     [](PeerScript& s) { s.expectFrames(1).reply(hex("0001 0001 00")).close(); }, IN_STREAM},
    {"in a record",
     [](PeerScript& s) { s.expectFrames(1).reply(HITS.substr(0, HITS.size() - 5)).close(); },
     IN_STREAM},
    {"in the end marker",
     [](PeerScript& s) { s.expectFrames(1).reply(HITS.substr(0, HITS.size() - 1)).close(); },
     IN_STREAM},
    {"in a record, by reset",
     [](PeerScript& s) {
       s.expectFrames(1).replySegments({HITS.substr(0, 10), hex("01")}).reset();
     },
     IN_STREAM},
};

TEST(Retry, IsMadeAsOftenAsAllowedWhereverTheConnectionBreaks) {
  for (const Drop& drop : DROPS) {
    for (const unsigned int retries : {0U, 1U, 3U}) {
      SCOPED_TRACE(std::string(drop.name) + ", retries " + std::to_string(retries));
      ScriptedPeer peer;
      for (unsigned int i = 0; i <= retries; ++i) drop.play(peer.connection());
      OpenClient client(peer);
      if (retries != 1) client.setNumRetries(retries);  // 1 is the default
      comm::ClientRequest search = plainRequest(STREAM_SEARCH);
      comm::ClientResponse response;
      const std::string line = outcome(client, search, response, peer.port());
      EXPECT_EQ(line.substr(0, line.find(" incomplete")), drop.raised);
      ASSERT_TRUE(peer.awaitPlayed(retries + 1));
      peer.connection().expectFrames(1).reply(HITS);
      EXPECT_EQ(outcome(client, search, response, peer.port()), HITS_OUTCOME)
          << "the same client and response serve a clean request";
      peer.stop();
      EXPECT_EQ(peer.connections(), retries + 2);
      for (std::size_t i = 0; i < peer.connections(); ++i) {
        EXPECT_EQ(peer.received(i),
                  frame("Content-Length  : \naction: search\nactionType: select\nver: 1.1\n\r\n"));
      }
    }
  }
}

TEST(Retry, SucceedsWithoutRepeatingResults) {
  for (const Drop& drop : DROPS) {
    SCOPED_TRACE(drop.name);
    ScriptedPeer peer;
    drop.play(peer.connection());
    peer.connection().expectFrames(1).reply(HITS);
    OpenClient client(peer);
    comm::ClientRequest search = plainRequest(STREAM_SEARCH);
    EXPECT_EQ(outcome(client, search, peer), HITS_OUTCOME);
    EXPECT_EQ(peer.connections(), 2U);
  }
}

TEST(Retry, IsMadeOfAConnectionThatIsResetAtOnce) {
  ScriptedPeer peer;  // has no script: it resets whatever connects
  OpenClient client(peer);
  client.setNumRetries(3);
  comm::ClientRequest request = plainRequest(CREATE_COLLECTION);
  const std::string line = outcome(client, request, peer);
  const std::string raised = line.substr(0, line.find(']') + 1);  // whoever meets the reset first
  EXPECT_TRUE(raised == AT_HEADER ||
              raised == "ERR_SERVER_COMM_SEND@qorTamberPerfClient:280[127.0.0.1|PORT]" ||
              raised == "ERR_CONNECT_SERVER@qorCorvaneClient:236[127.0.0.1|PORT]")
      << line;
  peer.stop();
  EXPECT_EQ(peer.connections(), 4U);
}

TEST(Retry, IsNotMadeOfWhatTheServerRefusedOrGotWrong) {
  const auto refused = [](const std::string& id) {
    return hex("0006") + errorBody(pair("MsgId", id) + pair("MsgText", "t"));
  };
  struct Case {
    std::uint32_t kind;
    std::string reply;
    const char* expected;
  };
  const Case cases[] = {
      {CREATE_COLLECTION, refused("ERR_SERVER_COMM_RECV"),
       "ERR_SERVER_COMM_RECV(t) (server) complete"},
      {SCALAR_SEARCH, refused("ERR_CONNECT_SERVER"), "ERR_CONNECT_SERVER(t) (server) complete"},
      {PARSE_RESULT, refused("ERR_SERVER_COMM_TIMEOUT"),
       "ERR_SERVER_COMM_TIMEOUT(t) (server) complete"},
      {GET_SERVER_VERSION,
       hex("0001") + record(9, errorBody(pair("MsgId", "ERR_SERVER_COMM_SEND"))),
       "ERR_SERVER_COMM_SEND (server) complete"},
      {CREATE_COLLECTION, hex("0006 0000"), "ERR_SERVER_APP+ERR_SERVER_APP (server) complete"},
      {CREATE_COLLECTION, hex("0191"),
       "ERR_SERVER_INVALID_AUTH@qorTamberPerfResponse:285 incomplete"},
      {COLLECTION_STATUS, hex("0001 0002"),
       "ERR_SERVER_PROTOCOL@qorTamberPerfClient:590"
       "[Payload (chunk) status must be OK or OK_CHUNKED] incomplete"},
      {PARSE_RESULT, hex("0001") + record(1, ""), "ok complete"},
      {PARSE_RESULT, hex("0001") + record(5, ""),
       "ERR_CLIENT_RESP_PARSING+PROPERTY_MISSING incomplete"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected);
    ScriptedPeer peer;
    peer.connection().expectFrames(1).reply(c.reply);
    OpenClient client(peer);
    client.setNumRetries(3);
    comm::ClientRequest request = plainRequest(c.kind);
    EXPECT_EQ(outcome(client, request, peer), c.expected);
    peer.stop();
    EXPECT_EQ(peer.connections(), 1U);
  }
}

TEST(Retry, IsWorthWhileForFourIds) {
  const OpenClient client(1);
  for (const char* id : {"ERR_SERVER_COMM_RECV", "ERR_CONNECT_SERVER", "ERR_SERVER_COMM_SEND",
                         "ERR_SERVER_COMM_TIMEOUT"}) {
    EXPECT_TRUE(client.isRetryableError(icu::UnicodeString(id, ""))) << id;
  }
  for (const char* id : {"", "ERR_SERVER_PROTOCOL", "ERR_SERVER_APP", "ERR_CLIENT_INTERNAL",
                         "err_server_comm_recv", "ERR_SERVER_COMM_RECV "}) {
    EXPECT_FALSE(client.isRetryableError(icu::UnicodeString(id, ""))) << id;
  }
}

}  // namespace
}  // namespace orvix::test
