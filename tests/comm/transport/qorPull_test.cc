// SPDX-License-Identifier: Apache-2.0
// Streams whose results the caller pulls piece by piece.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;
using Strings = std::vector<std::string>;

std::string hit(char key) { return record(1, std::string(3000, key)); }
std::string document(const std::string& key) { return record(1, pair("Doc", key)); }

class PulledStream : public testing::Test {
 protected:
  /// The first letters of the keys that the list hands out now.
  static std::string letters(comm::SearchResponse& list) {
    std::string all;
    while (list.hasMore()) all += static_cast<char>(*list.getNext().getRawKey());
    return all;
  }

  /// Starts a stream of `kind` over the next connection; the reply comes in these segments.
  void start(std::uint32_t kind, const Strings& segments, bool closes = false) {
    PeerScript& script = peer.connection().expectFrames(1).replySegments(segments);
    if (closes) script.close();
    client.closeConnection();
    client.useStreamedResults(true);
    comm::ClientRequest request = plainRequest(kind);
    client.sendAndRecvMesg(request, response);
  }

  ScriptedPeer peer;
  OpenClient client{peer};
  comm::ClientResponse response;
};

TEST_F(PulledStream, HandsOutResultsAsTheyCome) {
  struct Case {
    std::uint32_t kind;
    bool waits;
    Strings segments;
    Strings expected;  // of each pull
    bool complete = true;
  };
  const std::string fine = hex("0001");
  // clang-format off
  const Case cases[] = {
      {STREAM_SEARCH, true, {fine, hit('a'), hit('b'), hit('c'), END_MARKER}, {"a", "b", "c", "", ""}},
      {STREAM_SEARCH, false, {fine, hit('a'), hit('b'), hit('c'), END_MARKER}, {"a", "b", "c", "", ""}},
      {SCALAR_SEARCH, false, {fine, hit('a'), hit('b'), END_MARKER}, {"ab", ""}},
      {STREAM_SEARCH, true, {fine, hit('a'), hit('b')}, {"a", "b", ""}, false},
      {STREAM_SEARCH, true, {fine, hit('a'), hit('b').substr(0, 9)}, {"a", NO_STREAM, ""}, false},
      {PARSE_RESULT, true, {fine + document("a") + document("b"), document("c") + END_MARKER},
       {" doc(a )", " doc(b )", " doc(c )", "", ""}},
      {PARSE_RESULT, true, {fine + document("a") + record(5, "") + document("c") + END_MARKER},
       {" doc(a )", "ERR_CLIENT_RESP_PARSING+PROPERTY_MISSING", ""}, false},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    start(c.kind, c.segments, !c.complete);
    EXPECT_EQ(client.isEndOfStream(), c.kind == SCALAR_SEARCH);
    for (const std::string& expected : c.expected) {
      std::string pulled;
      const std::string error = raised(client, [&] {
        pulled = c.kind == PARSE_RESULT ? documents(response.getParseResponse(client))
                                        : letters(response.getSearchResponse(client, c.waits));
      });
      EXPECT_EQ(error == "ok" ? pulled : error, expected);
    }
    EXPECT_TRUE(client.isEndOfStream());
    EXPECT_EQ(client.isReplyComplete(), c.complete);
    client.recv(response);  // after the end: an empty list takes its place
    EXPECT_EQ(letters(response.getSearchResponse()) + documents(response.getParseResponse()), "");
  }
}

TEST_F(PulledStream, KeepsWhatItHandedOutUntilThereIsMore) {
  start(STREAM_SEARCH, {hex("0001"), hit('a'), hit('b'), END_MARKER});
  EXPECT_EQ(response.getSearchResponse(client, true).count(), 1);
  EXPECT_EQ(response.getSearchResponse(client, true).count(), 1) << "as long as hits are at hand";
  EXPECT_EQ(response.getSearchResponse(client, false).count(), 2) << "receives once, whatever";
  comm::SearchResponse& list = response.getSearchResponse();
  list.getNext();
  const comm::SearchResult& second = list.getNext();
  EXPECT_EQ(response.getSearchResponse(client, true).count(), 0);
  EXPECT_EQ(second.getRawKeyLength(), 3000U);
  EXPECT_EQ(second.getRawKey()[2999], 'b') << "the end marker replaces nothing";
}

TEST_F(PulledStream, IsRefusedWhenThereIsNothingToPull) {
  const auto pull = [&] { return raised(client, [&] { client.recv(response); }); };
  const std::string notConnected = "ERR_CONNECT_SERVER@qorTamberPerfClient:131[127.0.0.1|PORT]";
  peer.connection().expectFrames(1).reply(hex("0191"));
  EXPECT_EQ(pull(), notConnected);
  outcome(client, STREAM_SEARCH);
  EXPECT_EQ(pull(), "ERR_INVALID_STATE@qorTamberPerfClient:137") << "after one that failed";
  client.closeConnection();
  EXPECT_EQ(pull(), notConnected);
  class OtherClient : public comm::CorvaneClient {
  } other;
  const auto foreign = [&] { response.getSearchResponse(other, false); };
  EXPECT_EQ(raised(client, foreign), "ERR_INVALID_STATE");
  EXPECT_EQ(raised(client, [&] { response.getParseResponse(other); }), "ERR_INVALID_STATE");
}

}  // namespace
}  // namespace orvix::test
