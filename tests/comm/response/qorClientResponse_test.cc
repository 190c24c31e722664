// SPDX-License-Identifier: Apache-2.0
// The caller's response: what success means, and what a new reply starts afresh.
#include "comm/response/qorClientResponse.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>

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

}  // namespace
}  // namespace orvix::test
