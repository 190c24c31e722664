// SPDX-License-Identifier: Apache-2.0
// Streams whose results the caller pulls piece by piece.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

std::string hit(char key, std::size_t size = 3000) {
  return record(1, std::string(size, key));  // two of them do not come with one receive
}

std::string document(const std::string& key) { return record(1, pair("Doc", key)); }

class Pull : public testing::Test {
 protected:
  /// The first letters of the keys that the list hands out now.
  static std::string letters(comm::SearchResponse& list) {
    std::string all;
    while (list.hasMore()) all += static_cast<char>(*list.getNext().getRawKey());
    return all;
  }

  /// Starts a stream of `kind`; the reply comes in these segments.
  void start(std::uint32_t kind, const std::vector<std::string>& segments, bool closes = false) {
    PeerScript& script = peer.connection().expectFrames(1).replySegments(segments);
    if (closes) {
      script.close();
    } else {
      script.expectFrames(1).reply(STATUS_REPLY);
    }
    client.useStreamedResults(true);
    client.setNumRetries(0);
    comm::ClientRequest request = plainRequest(kind);
    client.sendAndRecvMesg(request, response);
  }

  ScriptedPeer peer;
  OpenClient client{peer};
  comm::ClientResponse response;
};

TEST_F(Pull, ReadsTheWholeReplyAtOnceUnlessStreaming) {
  peer.connection().expectFrames(1).replySegments(
      {hex("0001"), hit('a'), hit('b'), hit('c') + END_MARKER});
  comm::ClientRequest search = plainRequest(STREAM_SEARCH);
  client.sendAndRecvMesg(search, response);
  EXPECT_TRUE(client.isEndOfStream());
  EXPECT_TRUE(client.isReplyComplete());
  EXPECT_EQ(letters(response.getSearchResponse(client, false)), "abc")
      << "what came with the request comes first, though it may not wait";
}

TEST_F(Pull, HandsOutHitsAsTheyCome) {
  start(STREAM_SEARCH, {hex("0001"), hit('a'), hit('b'), hit('c'), END_MARKER});
  EXPECT_FALSE(client.isEndOfStream());
  EXPECT_FALSE(client.isReplyComplete());
  EXPECT_EQ(response.getResultCount(), 1U);
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "a");
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "b");
  EXPECT_EQ(response.getResultCount(), 1U);
  comm::SearchResponse& third = response.getSearchResponse(client, true);
  EXPECT_EQ(third.count(), 1);
  EXPECT_EQ(&response.getSearchResponse(client, true), &third);
  EXPECT_EQ(third.count(), 1) << "nothing is received while hits are at hand";
  EXPECT_EQ(letters(third), "c");
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "");
  EXPECT_TRUE(client.isEndOfStream());
  EXPECT_TRUE(client.isReplyComplete());
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "") << "and nothing is awaited";
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(peer.connections(), 1U) << "a stream read to its end leaves a clean connection";
}

TEST_F(Pull, WithoutWaitingReceivesExactlyOnce) {
  start(STREAM_SEARCH, {hex("0001"), hit('a'), hit('b'), hit('c'), END_MARKER});
  comm::SearchResponse& list = response.getSearchResponse(client, false);
  EXPECT_EQ(list.count(), 1);
  EXPECT_EQ(response.getSearchResponse(client, false).count(), 2) << "whatever is at hand";
  EXPECT_EQ(letters(list), "ab");
  EXPECT_EQ(letters(response.getSearchResponse(client, false)), "c");
  EXPECT_EQ(letters(response.getSearchResponse(client, false)), "");
  EXPECT_TRUE(client.isReplyComplete());
}

TEST_F(Pull, KeepsWhatItHandedOutUntilThereIsMore) {
  start(STREAM_SEARCH, {hex("0001"), hit('a'), END_MARKER});
  const comm::SearchResult& first = response.getSearchResponse(client, true).getNext();
  EXPECT_EQ(response.getSearchResponse(client, true).count(), 0);
  EXPECT_EQ(first.getRawKeyLength(), 3000U);
  EXPECT_EQ(first.getRawKey()[2999], 'a') << "the end marker replaces nothing";
  response.getSearchResponse(client, false);  // after the end: an empty list takes its place
  EXPECT_FALSE(response.getSearchResponse().hasMore());
}

TEST_F(Pull, HandsOutDocumentsOneByOne) {
  start(PARSE_RESULT, {hex("0001") + document("a") + document("b"), document("c") + END_MARKER});
  for (const char* expected : {" doc(a )", " doc(b )", " doc(c )"}) {
    EXPECT_FALSE(client.isEndOfStream());
    EXPECT_EQ(documents(response.getParseResponse(client)), expected);
  }
  EXPECT_EQ(documents(response.getParseResponse(client)), "");
  EXPECT_TRUE(client.isReplyComplete());
  EXPECT_EQ(documents(response.getParseResponse(client)), "");
}

TEST_F(Pull, DoesNotStreamOtherKinds) {
  start(SCALAR_SEARCH, {hex("0001"), hit('a'), hit('b'), END_MARKER});
  EXPECT_TRUE(client.isReplyComplete());
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "ab");
}

TEST_F(Pull, EndsWhenThePeerClosesBetweenRecords) {
  start(STREAM_SEARCH, {hex("0001"), hit('a'), hit('b')}, true);
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "a");
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "b");
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "");
  EXPECT_TRUE(client.isEndOfStream());
  EXPECT_FALSE(client.isReplyComplete());
}

TEST_F(Pull, FailsInARecordAndKeepsEarlierResults) {
  start(STREAM_SEARCH, {hex("0001"), hit('a'), hit('b').substr(0, 2000)}, true);
  const comm::SearchResult& first = response.getSearchResponse(client, true).getNext();
  expectSite([&] { response.getSearchResponse(client, true); }, "ERR_SERVER_COMM_RECV",
             "qorTamberPerfClient", 508, {HOST, std::to_string(peer.port())});
  EXPECT_EQ(first.getRawKey()[0], 'a');
  EXPECT_TRUE(client.isEndOfStream());
  EXPECT_FALSE(client.isReplyComplete());
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "");
  EXPECT_EQ(peer.connections(), 1U) << "a pull is never tried again";
}

TEST_F(Pull, MeetsARecordThatCannotBeRead) {
  start(PARSE_RESULT, {hex("0001") + document("a") + record(5, "") + document("c") + END_MARKER});
  EXPECT_EQ(documents(response.getParseResponse(client)), " doc(a )");
  EXPECT_EQ(
      expectSite([&] { response.getParseResponse(client); }, "ERR_CLIENT_RESP_PARSING", "", 0, {}),
      std::vector<std::string>{"PROPERTY_MISSING"});
  EXPECT_EQ(documents(response.getParseResponse(client)), "") << "a failure ends the stream";
  EXPECT_FALSE(client.isReplyComplete());
}

TEST_F(Pull, TimesOutOfItsOwn) {
  peer.connection().expectFrames(1).reply(hex("0001") + hit('a')).stall();
  client.useStreamedResults(true);
  client.setReceiveTimeOut(40);
  comm::ClientRequest search = plainRequest(STREAM_SEARCH);
  client.sendAndRecvMesg(search, response);
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "a");
  expectSite([&] { response.getSearchResponse(client, true); }, "ERR_SERVER_COMM_TIMEOUT",
             "qorCorvaneClient", 119, {HOST, std::to_string(peer.port())});
  EXPECT_TRUE(client.isEndOfStream());
}

/// What a failed allocation left unread is lost; what comes behind must not be read in its place.
TEST_F(Pull, ReadsNothingOutOfPlaceAfterAFailedAllocation) {
  // Cut anywhere else than between records this reads as a hit with the key "out of place".
  const std::string decoy = record(1, record(1, "out of place"));
  start(STREAM_SEARCH, {hex("0001"), hit('a'), hit('b') + record(1, "c") + decoy.substr(0, 4),
                        decoy.substr(4) + END_MARKER});
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "a");
  {
    const FailingAllocation failing(3000);
    expectSite([&] { response.getSearchResponse(client, true); }, "ERR_CLIENT_INTERNAL",
               "qorTamberPerfClient", 146, {"unknown error from sendandrecvMesgOnce"});
  }
  for (int i = 0; i < 4 && !client.isEndOfStream(); ++i) client.recv(response);
  const std::string outOfPlace = "b3V0IG9mIHBsYWNl";  // in Base64
  EXPECT_EQ(hits(response.getSearchResponse()).find(outOfPlace), std::string::npos);
}

/// The same when there is no memory for a record that is larger than the buffer.
TEST_F(Pull, StaysUsableWithoutMemoryForALargeRecord) {
  const std::string large = hit('b', 60000);
  start(STREAM_SEARCH, {hex("0001"), hit('a') + large.substr(0, 5), large.substr(5) + END_MARKER});
  EXPECT_EQ(letters(response.getSearchResponse(client, true)), "a");
  {
    const FailingAllocation failing(60000);
    expectSite([&] { response.getSearchResponse(client, true); }, "ERR_CLIENT_INTERNAL",
               "qorTamberPerfClient", 146, {"unknown error from sendandrecvMesgOnce"});
  }
  for (int i = 0; i < 4 && !client.isEndOfStream(); ++i) client.recv(response);
  const std::string rest = letters(response.getSearchResponse());
  EXPECT_TRUE(rest.empty() || rest == "b") << rest;
}

TEST(PullState, IsChecked) {
  ScriptedPeer peer;
  peer.connection().expectFrames(1).reply(hex("0191"));
  peer.connection().expectFrames(1).reply(hex("0001") + END_MARKER);
  const std::string port = std::to_string(peer.port());
  OpenClient client(peer);
  comm::ClientResponse response;
  expectSite([&] { client.recv(response); }, "ERR_CONNECT_SERVER", "qorTamberPerfClient", 131,
             {HOST, port});
  comm::ClientRequest search = plainRequest(STREAM_SEARCH);
  EXPECT_THROW(client.sendAndRecvMesg(search, response), comm::RESTException);
  for (int i = 0; i < 2; ++i) {
    expectSite([&] { client.recv(response); }, "ERR_INVALID_STATE", "qorTamberPerfClient", 137, {});
  }
  client.sendAndRecvMesg(search, response);
  response.addSearchResult(comm::SearchResult());
  client.recv(response);
  EXPECT_EQ(response.getSearchResponse().count(), 0) << "after the end an empty list";
  client.closeConnection();
  expectSite([&] { client.recv(response); }, "ERR_CONNECT_SERVER", "qorTamberPerfClient", 131,
             {HOST, port});
}

TEST(PullState, NeedsAClientThatCanPull) {
  class OtherClient : public comm::CorvaneClient {};
  OtherClient other;
  comm::ClientResponse response;
  expectSite([&] { response.getSearchResponse(other, true); }, "ERR_INVALID_STATE", "", 0, {});
  expectSite([&] { response.getSearchResponse(other, false); }, "ERR_INVALID_STATE", "", 0, {});
  expectSite([&] { response.getParseResponse(other); }, "ERR_INVALID_STATE", "", 0, {});
}

}  // namespace
}  // namespace orvix::test
