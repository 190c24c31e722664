// SPDX-License-Identifier: Apache-2.0
// The one exception: how it is caught and copied, how raising composes it, and how the server's own
// message gets into it.
#include "comm/support/qorRESTException.h"

#include <gtest/gtest.h>
#include <string>

#include "comm/support/internal/qorRaiseSites.h"
#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using comm::RESTException;
using comm::detail::raiseAt;
namespace sites = comm::detail::sites;

TEST(Raise, ComposesIdPlaceArgumentsAndCauseInOrder) {
  const icu::UnicodeString host = u"h\u00f6st";
  const comm::detail::Peer peer{host, 4711};
  oss::BaseException cause(u"CAUSE", nullptr, 0);
  cause.addMessage(oss::Message(u"UNSEEN", u"", oss::Message::LEVEL_NONE));
  EXPECT_EQ(raisedBy([&] { raiseAt(sites::RECV_WHILE_ACTIVE); }),
            "ERR_INVALID_STATE@qorTamberPerfClient:137");
  EXPECT_EQ(raisedBy([&] { raiseAt(sites::CHUNK_STATUS_SHORT); }),
            "ERR_SERVER_PROTOCOL@qorTamberPerfClient:583"
            "[Error reading payload (chunk) status from socket]");
  EXPECT_EQ(raisedBy([&] { raiseAt(sites::CONNECT_INFRASTRUCTURE, peer); }),
            "ERR_CONNECT_SERVER@qorCorvaneClient:242[h\xc3\xb6st|4711]");
  EXPECT_EQ(raisedBy([&] { raiseAt(sites::CONNECT_SOCKET, peer, cause); }),
            "ERR_CONNECT_SERVER@qorCorvaneClient:236[h\xc3\xb6st|4711]+CAUSE");
  EXPECT_EQ(raisedBy([&] { comm::detail::raiseAtHost(sites::SEND_INTERNAL, peer, cause); }),
            "ERR_CLIENT_INTERNAL@qorTamberPerfClient:285[h\xc3\xb6st]+CAUSE");
  EXPECT_EQ(raisedBy([&] { raiseAt(sites::REPLY_UNREADABLE, oss::BaseException()); }),
            "ERR_CLIENT_RESP_PARSING");
}

TEST(ServerFailure, TakesTheServersMessageInPlaceOfAllOthersWhenItHasAnId) {
  for (const std::string& record :
       {std::string(), pair("MsgText", "lost"), pair("MsgId", "") + pair("MsgText", "lost")}) {
    RESTException failure = comm::detail::serverFailure();
    decode(failure, record, 6);
    EXPECT_EQ(inOneLine(failure), "ERR_SERVER_APP+ERR_SERVER_APP");
    EXPECT_EQ((failure.getMessages().begin() + 1)->getMessageLevel(), 4U);
  }
  RESTException failure = comm::detail::serverFailure();
  decode(failure, pair("MsgText", "n\xc3\xb6") + pair("MsgId", "ERR_SERVER_COMM_RECV"), 6);
  EXPECT_EQ(inOneLine(failure), "ERR_SERVER_COMM_RECV(n\xc3\xb6)");
  EXPECT_EQ(failure.getErrorMessage().getMessageLevel(), 4U);
  ASSERT_NE(failure.getProperties(), nullptr);
  try {
    comm::detail::raise(failure);
  } catch (const RESTException& caught) {
    const RESTException copy(caught);  // carries the messages and who reported, but no map
    EXPECT_EQ(copy.getProperties(), nullptr);
    EXPECT_STREQ(copy.what(), failure.what());
    EXPECT_TRUE(copy.isServerReported());
  }
  EXPECT_FALSE(RESTException(comm::StaticDefs::ERR_SERVER_COMM_RECV, "qorX", 1).isServerReported());
}

}  // namespace
}  // namespace orvix::test
