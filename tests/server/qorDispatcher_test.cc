// SPDX-License-Identifier: Apache-2.0
// Which request is recognised as which kind, who may send it, and who gets an answer.
#include "server/qorDispatcher.h"

#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "tests/server/qorServerFixture.h"

namespace orvix::server {
namespace {

using testing::documentOf;
using testing::requestOf;
using testing::TERMINATOR;

class Requests : public testing::ServerFixture {};

TEST(KindOf, EveryActionIsItsKindAndSharedOnesAreToldApart) {
  for (const comm::detail::RequestKind& row : comm::detail::REQUEST_KINDS) {
    if (row.pathWord == nullptr) continue;
    SCOPED_TRACE(row.kind);
    Frame request = requestOf(row.pathWord, {});
    if (row.mode != nullptr) request.properties["mode"] = row.mode;
    if (row.kind == 10) request = requestOf(row.pathWord, {}, std::string(TERMINATOR));
    EXPECT_EQ(kindOf(request), row.kind == 21 ? 12 : row.kind);
  }
  EXPECT_EQ(kindOf(requestOf("search", {})), 8U);
  EXPECT_EQ(kindOf(requestOf("asyncAddDocument", {}, "\1\0\0\0\0\0\0")), 9U);
  EXPECT_EQ(kindOf(requestOf("asyncAddDocument", {})), 9U);
  EXPECT_FALSE(kindOf(requestOf("CreateCollection", {})));
  EXPECT_FALSE(kindOf(Frame()));
}

TEST_F(Requests, ServerWideKindsAnswer) {
  EXPECT_EQ(verdict("getStatus", {}), "status 1");
  EXPECT_EQ(verdict("takeover", {}), "status 1");
  EXPECT_EQ(verdict("versionsValidation", {{"ver", "1.1"}}), "status 1");
  EXPECT_EQ(verdict("versionsValidation", {{"ver", "9"}}), "SRV_VERSION_UNSUPPORTED");
  EXPECT_EQ(verdict("versionsValidation", {{"ver", "1.1"}, {"Supported-Server-Versions", "2-3"}}),
            "SRV_VERSION_UNSUPPORTED");
  EXPECT_EQ(verdict("makeTea", {}), "SRV_ACTION_UNKNOWN");
  const std::string version = ask("getServerVersion", {});
  EXPECT_EQ(version.substr(0, 5), std::string("\0\x01\0\x01\0", 5));
  EXPECT_EQ(version.substr(6, 10), "qorserver ");
  EXPECT_EQ(version.size(), 6U + static_cast<unsigned char>(version[5]));
  const Reply reply = dispatcher().handle(requestOf("shutdown", {}));
  EXPECT_EQ(reply.bytes, std::string("\0\x01", 2));
  EXPECT_TRUE(reply.stop);
}

TEST_F(Requests, UnreadableFramesAreAnsweredUnlessTheirKindNeverIs) {
  create("c");
  Frame broken = requestOf("search", {{"index", "c"}});
  broken.fault = Fault{MessageId::REQUEST_MALFORMED, "x"};
  broken.positionLost = true;
  Reply reply = dispatcher().handle(broken);
  EXPECT_EQ(testing::verdictOf(reply.bytes), "SRV_REQUEST_MALFORMED");
  EXPECT_TRUE(reply.close);

  Frame huge =
      requestOf("asyncAddDocument", {{"index", "c"}}, documentOf("k", "head").substr(0, 30));
  huge.fault = Fault{MessageId::DOCUMENT_TOO_LARGE, "x"};
  reply = dispatcher().handle(huge);
  EXPECT_EQ(reply.bytes, "");
  EXPECT_FALSE(reply.close);
  EXPECT_EQ(outcomes(), std::vector<std::string>{"k=SRV_DOCUMENT_TOO_LARGE"});
}

TEST_F(Requests, WithATokenFileOnlyItsTokensAreServed) {
  create("c");
  const std::filesystem::path file = root() / "tokens";
  std::ofstream(file) << "# comment\n\nfirst token\r\nsecond\n";
  const Tokens tokens(file);
  DataDirectory elsewhere(root() / "elsewhere");
  Backups backups(elsewhere, store());
  ServerContext context{store(), backups};
  Dispatcher guarded(context, tokens);
  for (const char* token : {"", "firs", "first token ", "# comment", "third"}) {
    SCOPED_TRACE(token);
    Reply reply = guarded.handle(requestOf("getStatus", {{"Authorization", token}}));
    EXPECT_EQ(reply.bytes, std::string("\x01\x91", 2));
    EXPECT_TRUE(reply.close);
    reply = guarded.handle(
        requestOf("asyncAddDocument", {{"index", "c"}, {"Authorization", token}}, documentOf("k")));
    EXPECT_EQ(reply.bytes, "");
    EXPECT_TRUE(reply.close);
  }
  for (const char* token : {"first token", "second"}) {
    EXPECT_EQ(guarded.handle(requestOf("getStatus", {{"Authorization", token}})).bytes,
              std::string("\0\x01", 2));
  }
  EXPECT_EQ(outcomes(), std::vector<std::string>{});
  std::ofstream(file, std::ios::trunc) << "\n# nothing\n";
  EXPECT_THROW(Tokens{file}, Refusal);
}

}  // namespace
}  // namespace orvix::server
