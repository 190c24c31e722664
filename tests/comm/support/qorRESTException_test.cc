// SPDX-License-Identifier: Apache-2.0
// The one exception: how it is caught and copied, how raising composes it, and how the server's own
// message gets into it.
#include "comm/support/qorRESTException.h"

#include <gtest/gtest.h>
#include <string>

#include "comm/support/internal/qorRaiseSites.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::comm {
namespace {

using wirelit::ExactBytes;
using wirelit::expectRaises;
using wirelit::pairs;
using wirelit::text;
using wirelit::utf8;
namespace sites = detail::sites;

TEST(RESTException, IsCaughtAsEachOfItsBases) {
  const auto raise = [] { detail::raiseAt(sites::FOREIGN_CLIENT); };
  EXPECT_THROW(raise(), RESTException);
  EXPECT_THROW(raise(), oss::BaseException);
  EXPECT_THROW(raise(), std::exception);
  EXPECT_THROW(raise(), GenRespRecord);
}

TEST(Raise, ComposesIdPlaceArgumentsAndCauseInOrder) {
  const icu::UnicodeString host = text("h\xc3\xb6st");
  const detail::Peer peer{host, 4711};
  oss::BaseException cause(text("CAUSE"), nullptr, 0);
  cause.addMessage(oss::Message(text("UNSEEN"), text(""), oss::Message::NONE));
  const oss::BaseException nothing;
  expectRaises([&] { detail::raiseAt(sites::RECV_WHILE_ACTIVE); },
               {"ERR_INVALID_STATE", "qorTamberPerfClient", 137});
  expectRaises([&] { detail::raiseAt(sites::CHUNK_STATUS_SHORT); },
               {"ERR_SERVER_PROTOCOL",
                "qorTamberPerfClient",
                583,
                {"Error reading payload (chunk) status from socket"}});
  expectRaises([&] { detail::raiseAt(sites::CONNECT_INFRASTRUCTURE, peer); },
               {"ERR_CONNECT_SERVER", "qorCorvaneClient", 242, {"h\xc3\xb6st", "4711"}});
  expectRaises([&] { detail::raiseAt(sites::CONNECT_SOCKET, peer, cause); },
               {"ERR_CONNECT_SERVER", "qorCorvaneClient", 236, {"h\xc3\xb6st", "4711"}, {"CAUSE"}});
  expectRaises([&] { detail::raiseAtHost(sites::SEND_INTERNAL, peer, cause); },
               {"ERR_CLIENT_INTERNAL", "qorTamberPerfClient", 285, {"h\xc3\xb6st"}, {"CAUSE"}});
  expectRaises([&] { detail::raiseAt(sites::REPLY_UNREADABLE, nothing); },
               {"ERR_CLIENT_RESP_PARSING"});
}

RESTException serverSays(const std::string& record) {
  RESTException failure = detail::serverFailure();
  const ExactBytes bytes(record);
  failure.decode(bytes.raw(), static_cast<unsigned short>(bytes.size()), 6);
  return failure;
}

TEST(ServerFailure, TakesTheServersMessageInPlaceOfAllOthers) {
  const RESTException failure = serverSays(pairs({{"MsgText", "n\xc3\xb6"}, {"MsgId", "SRV1"}}));
  ASSERT_EQ(failure.getMessages().size(), 1U);
  const oss::Message& message = failure.getMessages().getFirstMessage();
  EXPECT_EQ(utf8(message.getMessageID()), "SRV1");
  EXPECT_EQ(utf8(message.getMessageText()), "n\xc3\xb6");
  EXPECT_EQ(message.getMessageLevel(), 4U);
  EXPECT_EQ(message.getFileName(), nullptr);
  EXPECT_EQ(message.getLineNumber(), 0U);
  EXPECT_TRUE(message.getArguments().empty());
}

TEST(ServerFailure, WithoutAnIdKeepsItsTwoMessages) {
  for (const std::string& record :
       {std::string(), pairs({{"MsgText", "lost"}}), pairs({{"MsgId", ""}, {"MsgText", "lost"}})}) {
    const RESTException failure = serverSays(record);
    wirelit::expectRaised(failure, {"ERR_SERVER_APP", nullptr, 0, {}, {"ERR_SERVER_APP"}});
    const oss::Message& second = *(failure.getMessages().begin() + 1);
    EXPECT_EQ(second.getMessageLevel(), 4U);
    EXPECT_TRUE(second.getMessageText().isEmpty());
  }
}

TEST(RESTException, CopiesCarryMessagesAndWhoReportedButNoMap) {
  RESTException failure = serverSays(pairs({{"MsgId", "ERR_SERVER_COMM_RECV"}}));
  ASSERT_NE(failure.getProperties(), nullptr);
  try {
    detail::raise(failure);
  } catch (const RESTException& caught) {
    const RESTException copy(caught);
    EXPECT_EQ(copy.getProperties(), nullptr);
    EXPECT_STREQ(copy.what(), failure.what());
    EXPECT_TRUE(copy.isServerReported());
  }
  const RESTException own(StaticDefs::ERR_SERVER_COMM_RECV, "qorX", 1);
  EXPECT_FALSE(RESTException(own).isServerReported());
}

}  // namespace
}  // namespace orvix::comm
