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

namespace orvix::test {
namespace {

using comm::ClientResponse;

/// A response that has everything.
ClientResponse filled() {
  ClientResponse response(u"t", 9);
  response.addSearchResult(hit("hit"));
  response.addParseResult(outcome("outcome"));
  comm::SelectivityInfo info;
  decode(info, hex("00000007"));
  response.setSelectivityInfo(info);
  response.setStatusCode(2);
  response.setStatusMessage(oss::Message(u"ID", u"other", oss::Message::LEVEL_ERROR));
  response.setStatusMessage(u"m");  // the text alone
  response.appendContent(u"con");
  response.appendContent(u"tent");
  response.setResultsPending(true);
  return response;
}

TEST(ClientResponse, StartsEachReplyAfreshButKeepsListsOfOtherKinds) {
  EXPECT_EQ(render(ClientResponse()), "");
  EXPECT_EQ(render(ClientResponse(u"why", 3)), " failed");
  const std::pair<std::uint32_t, const char*> cases[] = {
      {6, " outcome: (7 1 100)"},     {8, " outcome: (7 1 100)"}, {20, " outcome: (7 1 100)"},
      {9, " hit outcome: (7 1 100)"}, {11, " hit (7 1 100)"},     {14, " hit outcome:"}};
  for (const auto& [kind, left] : cases) {
    ClientResponse response = filled();
    EXPECT_EQ(response.getResultCount(), 2U);
    response.beginReply(kind);
    EXPECT_EQ(render(response), left) << kind;
    EXPECT_EQ(response.getResultCount(), 0U);
  }
}

TEST(ClientResponse, CopiesAreDeep) {
  auto original = std::make_unique<ClientResponse>(filled());
  const ClientResponse copy(*original);
  ClientResponse assigned;
  assigned = *original;
  original.reset();
  EXPECT_EQ(render(copy), " hit outcome: (7 1 100) 'content' status=2 ID(m) failed");
  EXPECT_EQ(render(assigned), render(copy));
}

/// A client whose stream has been scripted: each receive hands out one batch of hits and outcomes.
class ScriptedStream : public comm::TamberPerfClient {
 public:
  explicit ScriptedStream(std::vector<std::vector<std::string>> batches)
      : TamberPerfClient(u"nowhere", 1), batches_(std::move(batches)) {
    endOfStream = batches_.empty();
  }
  void recv(ClientResponse& response) override {
    if (++receives > batches_.size()) raiseAt(comm::detail::sites::RECV_WHILE_ACTIVE);
    response.beginPull();
    for (const std::string& name : batches_[receives - 1]) {
      response.addSearchResult(hit(name));
      response.addParseResult(outcome(name));
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
  response.addSearchResult(hit("a"));
  response.setResultsPending(true);
  EXPECT_EQ(response.getSearchResponse(client, false).count(), 1);
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
  comm::SearchResponse& list = response.getSearchResponse(client, true);
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
  EXPECT_EQ(text(list.getNext().getKey()), "base64:eg==");
  response.getSearchResponse(client, true);  // the stream has ended
  EXPECT_EQ(client.receives, 5U);
  EXPECT_FALSE(list.hasMore());
}

TEST(PullingGetters, WithoutWaitingReceiveExactlyOnce) {
  ScriptedStream client({{"x"}, {}, {"y"}});
  ClientResponse response;
  for (const int count : {1, 1, 2}) {  // not drained: nothing is lost
    EXPECT_EQ(response.getSearchResponse(client, false).count(), count);
  }
  EXPECT_THROW(response.getSearchResponse(client, false), comm::RESTException);  // even at the end
  EXPECT_EQ(render(response), " x y x: y:");
  ScriptedStream outcomes({{}, {"x"}, {}});
  EXPECT_EQ(ClientResponse().getParseResponse(outcomes).count(), 1);  // which always waits
  EXPECT_EQ(outcomes.receives, 2U);
}

}  // namespace
}  // namespace orvix::test
