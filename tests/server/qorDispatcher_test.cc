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
  EXPECT_EQ(kindOf(requestOf("asyncAddDocument", {}, std::string(7, '\0'))), 9U);
  EXPECT_EQ(kindOf(requestOf("asyncAddDocument", {}, std::string("\0\0\0\0\0\0\0\1", 8))), 9U);
  EXPECT_EQ(kindOf(requestOf("asyncAddDocument", {})), 9U);
  EXPECT_FALSE(kindOf(requestOf("CreateCollection", {})));
  EXPECT_FALSE(kindOf(Frame()));
}

TEST_F(Requests, ServerWideKindsAnswer) {
  EXPECT_EQ(verdict("versionsValidation", {{"ver", "1.1"}}), "status 1");
  EXPECT_EQ(verdict("versionsValidation", {{"ver", "9"}}), "SRV_VERSION_UNSUPPORTED");
  EXPECT_EQ(verdict("versionsValidation", {{"ver", "1.1"}, {"Supported-Server-Versions", "2-3"}}),
            "SRV_VERSION_UNSUPPORTED");
  EXPECT_EQ(verdict("makeTea", {}), "SRV_ACTION_UNKNOWN");
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

TEST_F(Requests, EachTokenIsServedWhatItsClassesAllow) {
  create("c");
  const std::filesystem::path file = root() / "tokens";
  std::ofstream(file) << "# comment\n\n"
                      << Tokens::lineFor("reader", "select,monitor") << "\r\n"
                      << Tokens::lineFor("loader", "update") << "\n"
                      << Tokens::lineFor("root", "all") << "\n";
  EXPECT_THROW(Tokens{file}, Refusal) << "others may read it";
  std::filesystem::permissions(file, std::filesystem::perms::owner_read);
  const Tokens tokens(file);
  Dispatcher guarded(context(), tokens);
  const auto told = [&](const char* token, const char* action, const std::string& body = {}) {
    return guarded.handle(requestOf(
        action,
        {{"Authorization", token}, {"index", "c"}, {"query", "x"}, {"actionType", "monitor"}},
        body));
  };
  for (const char* token : {"", "reade", "reader ", "# comment", "select,monitor"}) {
    SCOPED_TRACE(token);
    Reply reply = told(token, "getStatus");
    EXPECT_EQ(reply.bytes, std::string("\x01\x91", 2));
    EXPECT_TRUE(reply.close);
    reply = told(token, "asyncAddDocument", documentOf("k"));
    EXPECT_EQ(reply.bytes, "");
    EXPECT_TRUE(reply.close);
  }
  EXPECT_EQ(board().metrics().authenticationFailures.value(), 10U);
  const struct {
    const char* action;
    const char* allowed;  // besides root
  } cases[] = {{"getStatus", "reader"},      {"search", "reader"},
               {"addDocument", "loader"},    {"deleteDocument", "loader"},
               {"getParseResult", "loader"}, {"openCollection", "loader"},
               {"deleteCollection", "root"}, {"backup", "root"}};
  for (const auto& c : cases) {
    for (const std::string token : {"reader", "loader", "root"}) {
      SCOPED_TRACE(c.action + (" by " + token));
      const bool denied =
          testing::verdictOf(told(token.c_str(), c.action).bytes) == "SRV_ACCESS_DENIED";
      EXPECT_EQ(denied, token != c.allowed && token != "root");
    }
    if (std::string(c.action) == "deleteCollection") create("c");
  }
  Reply reply = told("reader", "asyncAddDocument", documentOf("k"));
  EXPECT_EQ(reply.bytes, "");
  EXPECT_TRUE(reply.close);
  EXPECT_EQ(outcomes(), std::vector<std::string>{});
}

TEST_F(Requests, ATokenFileIsRightOrRefused) {
  const std::string line = Tokens::lineFor("t", "all");
  const std::filesystem::path file = root() / "tokens";
  const auto isRefused = [&file](const std::string& text) {
    std::ofstream(file, std::ios::trunc) << text;
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    try {
      static_cast<void>(Tokens{file});
      return false;
    } catch (const Refusal& refusal) {
      EXPECT_EQ(refusal.fault().text.find("s3cret"), std::string::npos) << refusal.fault().text;
      return true;
    }
  };
  EXPECT_FALSE(isRefused(line));
  for (const std::string& text : {std::string("\n# nothing\n"), std::string("s3cret\n"),
                                  line + " more", line + "0", line.substr(0, line.size() - 2),
                                  std::string("all s3cret s3cret"), "none" + line.substr(3)}) {
    EXPECT_TRUE(isRefused(text)) << text;
  }
}

TEST_F(Requests, AReadOnlyServerRefusesChangesOnly) {
  create("c");
  add("k", "word");
  const Tokens everybody;
  Dispatcher readOnly(context(), everybody, true);
  const auto verdictOf = [&](const char* action, const std::string& body = {}) {
    return testing::verdictOf(testing::wholeReply(readOnly.handle(
        requestOf(action, {{"index", "c"}, {"query", "word"}, {"dataDir", "b"}}, body))));
  };
  for (const char* action :
       {"createCollection", "deleteCollection", "addDocument", "updateIndex", "deleteDocument",
        "restore", "setConstructorConfiguration", "takeover"}) {
    EXPECT_EQ(verdictOf(action, documentOf("k")), "SRV_READ_ONLY") << action;
  }
  for (const char* action : {"search", "getStatus", "backup", "openCollection", "getParseResult"}) {
    EXPECT_EQ(verdictOf(action), "status 1") << action;
  }
  EXPECT_EQ(find("word"), std::vector<std::string>{"k"});
}

TEST_F(Requests, ABodyThatStatesAnotherLengthEndsTheConnection) {
  create("c");
  for (const char* action : {"addDocument", "deleteDocument", "asyncAddDocument"}) {
    SCOPED_TRACE(action);
    const Reply reply =
        dispatcher().handle(requestOf(action, {{"index", "c"}}, documentOf("k") + "x"));
    EXPECT_TRUE(reply.close);
    const bool answered = std::string(action) != "asyncAddDocument";
    EXPECT_EQ(testing::verdictOf(reply.bytes), answered ? "SRV_BODY_MALFORMED" : "status 0");
  }
  EXPECT_EQ(outcomes(), std::vector<std::string>{"k=SRV_BODY_MALFORMED"});
}

}  // namespace
}  // namespace orvix::server
