// SPDX-License-Identifier: Apache-2.0
// The caller's response: what success means, what a new reply starts afresh, and when the pulling
// getters receive.
#include "comm/response/qorClientResponse.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "comm/support/internal/qorRaiseSites.h"
#include "comm/transport/qorTamberPerfClient.h"
#include "tests/comm/response/qorReplyDriver.h"

namespace orvix::comm {
namespace {

using wirelit::ExactBytes;
using wirelit::text;
using wirelit::utf8;

void addHit(ClientResponse& response, const std::string& name) {
  SearchResult record(true);
  const ExactBytes bytes(name);
  record.decode(bytes.raw(), static_cast<unsigned short>(bytes.size()), 1);
  response.addSearchResult(record);
}

void addOutcome(ClientResponse& response, const std::string& name) {
  ParseResult record(true);
  const ExactBytes bytes(wirelit::pairs({{"Doc", name}}));
  record.decode(bytes.raw(), static_cast<unsigned short>(bytes.size()), 1);
  response.addParseResult(record);
}

TEST(ClientResponse, StartsEmptyAndSucceedsByItsResultCodeAlone) {
  ClientResponse fresh;
  EXPECT_TRUE(fresh.success());
  EXPECT_EQ(fresh.getStatusCode(), 0U);
  EXPECT_EQ(fresh.getResultCount(), 0U);
  EXPECT_TRUE(fresh.getStatusMessage().getMessageID().isEmpty());
  EXPECT_EQ(wirelit::render(fresh), "| | 1,1,100 | ");
  fresh.setStatusCode(2);
  EXPECT_TRUE(fresh.success());
  const ClientResponse failed(text("why"), 3);
  EXPECT_FALSE(failed.success());
  EXPECT_EQ(failed.getStatusCode(), 0U);
  EXPECT_EQ(failed.getResultCount(), 0U);
}

/// A response that has everything.
ClientResponse filled() {
  ClientResponse response(text("t"), 9);
  addHit(response, "hit");
  addOutcome(response, "outcome");
  SelectivityInfo info;
  const ExactBytes words(std::string("\0\0\0\7", 4));
  info.decode(words.raw(), 4, 1);
  response.setSelectivityInfo(info);
  response.setStatusCode(2);
  response.setStatusMessage(oss::Message(text("ID"), text("m"), oss::Message::ERROR_TEXT));
  response.appendContent(text("con"));
  response.appendContent(text("tent"));
  response.setResultsPending(true);
  return response;
}

TEST(ClientResponse, StartsEachReplyAfreshButKeepsListsOfOtherKinds) {
  const struct {
    std::uint32_t kind;
    const char* left;
  } cases[] = {{6, "| outcome: | 7,1,100 | "},      {8, "| outcome: | 7,1,100 | "},
               {20, "| outcome: | 7,1,100 | "},     {11, "hit | | 7,1,100 | "},
               {14, "hit | outcome: | 1,1,100 | "}, {9, "hit | outcome: | 7,1,100 | "},
               {22, "hit | outcome: | 7,1,100 | "}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.kind);
    ClientResponse response = filled();
    EXPECT_EQ(response.getResultCount(), 2U);
    EXPECT_EQ(utf8(response.getContent()), "content");
    response.beginReply(c.kind);
    EXPECT_EQ(wirelit::render(response), c.left);
    EXPECT_TRUE(response.success());
    EXPECT_EQ(response.getStatusCode(), 0U);
    EXPECT_EQ(response.getResultCount(), 0U);
    EXPECT_TRUE(response.getStatusMessage().getMessageID().isEmpty());
  }
}

TEST(ClientResponse, CopiesAreDeep) {
  auto original = std::make_unique<ClientResponse>(filled());
  ClientResponse copy(*original);
  ClientResponse assigned;
  assigned = *original;
  original.reset();
  for (ClientResponse* each : {&copy, &assigned}) {
    EXPECT_EQ(wirelit::render(*each), "hit | outcome: | 7,1,100 | content");
    EXPECT_EQ(utf8(each->getStatusMessage().getMessageText()), "m");
    EXPECT_FALSE(each->success());
  }
}

/// A client whose stream has been scripted: each receive hands out one batch of hits and outcomes.
class ScriptedStream : public TamberPerfClient {
 public:
  explicit ScriptedStream(std::vector<std::vector<std::string>> batches)
      : TamberPerfClient(text("nowhere"), 1), batches_(std::move(batches)) {
    endOfStream = batches_.empty();
  }
  void recv(ClientResponse& response) override {
    ++receives;
    if (receives > batches_.size()) detail::raiseAt(detail::sites::RECV_WHILE_ACTIVE);
    response.beginPull();
    for (const std::string& name : batches_[receives - 1]) {
      addHit(response, name);
      addOutcome(response, name);
    }
    response.endPull();
    endOfStream = receives == batches_.size();
  }
  std::size_t receives = 0;

 private:
  std::vector<std::vector<std::string>> batches_;
};

TEST(PullingGetters, FirstReturnWhatCameWithTheReply) {
  ScriptedStream client({{"b"}});
  ClientResponse response;
  addHit(response, "a");
  response.setResultsPending(true);
  EXPECT_EQ(response.getSearchResponse(client, false).count(), 1);
  EXPECT_EQ(client.receives, 0U);
  response.setResultsPending(true);
  EXPECT_EQ(response.getParseResponse(client).count(), 0);  // pending, though it holds none
  EXPECT_EQ(client.receives, 0U);
  response.setResultsPending(true);
  response.getSearchResponse();
  response.getSearchResponse(client, false);  // the plain getter took the mark away
  EXPECT_EQ(client.receives, 1U);
}

TEST(PullingGetters, WaitForResultsOnlyWhenNoneAreThere) {
  ScriptedStream client({{}, {}, {"x", "y"}, {}, {"z"}});
  ClientResponse response;
  SearchResponse& list = response.getSearchResponse(client, true);
  EXPECT_EQ(client.receives, 3U);
  EXPECT_EQ(list.count(), 2);
  EXPECT_EQ(response.getResultCount(), 4U);
  EXPECT_EQ(&response.getSearchResponse(client, true), &list);
  EXPECT_EQ(client.receives, 3U);
  EXPECT_EQ(response.getResultCount(), 0U);
  while (list.hasMore()) list.getNext();
  response.getSearchResponse(client, true);
  EXPECT_EQ(client.receives, 5U);
  ASSERT_EQ(list.count(), 1);
  EXPECT_EQ(utf8(list.getNext().getKey()), "base64:eg==");
  response.getSearchResponse(client, true);  // the stream has ended
  EXPECT_EQ(client.receives, 5U);
  EXPECT_FALSE(list.hasMore());
}

TEST(PullingGetters, WithoutWaitingReceiveExactlyOnce) {
  ScriptedStream client({{"x"}, {}, {"y"}});
  ClientResponse response;
  EXPECT_EQ(response.getSearchResponse(client, false).count(), 1);
  EXPECT_EQ(response.getSearchResponse(client, false).count(), 1);
  EXPECT_EQ(client.receives, 2U);
  EXPECT_EQ(response.getSearchResponse(client, false).count(), 2);  // not drained: nothing is lost
  EXPECT_EQ(wirelit::hits(response), "x y ");
  EXPECT_THROW(response.getSearchResponse(client, false), RESTException);  // even at the end
  EXPECT_EQ(wirelit::hits(response), "x y ");
}

TEST(PullingGetters, OfOutcomesAlwaysWait) {
  ScriptedStream client({{}, {"x"}, {}});
  ClientResponse response;
  ParseResponse& list = response.getParseResponse(client);
  EXPECT_EQ(client.receives, 2U);
  EXPECT_EQ(utf8(list.getNext().getText()), "x");
  EXPECT_EQ(response.getParseResponse(client).count(), 0);
  response.getParseResponse(client);
  EXPECT_EQ(client.receives, 3U);
}

TEST(PullingGetters, RefuseAClientOfAnotherClass) {
  class Foreign : public CorvaneClient {};
  Foreign client;
  ClientResponse response;
  const wirelit::Raised refused{"ERR_INVALID_STATE"};
  wirelit::expectRaises([&] { response.getSearchResponse(client, true); }, refused);
  wirelit::expectRaises([&] { response.getParseResponse(client); }, refused);
}

}  // namespace
}  // namespace orvix::comm
