// SPDX-License-Identifier: Apache-2.0
// The companion server, given the requests of docs/protocol.md one after the other, answers what
// the page shows.
#include <fstream>

#include "tests/docs/qorProtocolPage.h"
#include "tests/server/qorServerFixture.h"

namespace orvix::docs {
namespace {

using server::Dispatcher;
using server::FrameReader;

class ProtocolPageServer : public server::testing::ServerFixture {
 protected:
  static std::string answer(Dispatcher& dispatcher, const std::string& request) {
    FrameReader frames;
    frames.feed(request);
    const auto frame = frames.next();
    if (!frame) return "no whole frame";
    return server::testing::wholeReply(dispatcher.handle(*frame));
  }
};

TEST_F(ProtocolPageServer, AnswersAsShown) {
  ProtocolPage page = readProtocolPage();
  int answered = 0;
  for (const std::string& name : page.names) {
    if (!name.starts_with("request ") || name.ends_with(" token")) continue;
    SCOPED_TRACE(name);
    std::string expected = page.bytes["reply " + name.substr(8)];
    std::string got = answer(dispatcher(), page.bytes[name]);
    if (name == "request GET_SERVER_VERSION") {  // the versions are those of the day
      expected.resize(expected.find(' '));
      got.resize(std::min(got.size(), expected.size()));
      expected[5] = got[5];  // the length of the text
    }
    EXPECT_EQ(asShown(got), asShown(expected));
    ++answered;
  }
  EXPECT_GT(answered, 20);
}

TEST_F(ProtocolPageServer, RefusesATokenAsShown) {
  ProtocolPage page = readProtocolPage();
  const std::filesystem::path file = root() / "tokens";
  const auto tokensOf = [&file](const std::string& token) {
    std::ofstream(file) << server::Tokens::lineFor(token, "all") << '\n';
    std::filesystem::permissions(
        file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    return server::Tokens(file);
  };
  const server::Tokens others = tokensOf("another");
  Dispatcher refusing(context(), others);
  const std::string& request = page.bytes["request GET_STATUS with a token"];
  EXPECT_EQ(asShown(answer(refusing, request)),
            asShown(page.bytes["reply GET_STATUS with a token"]));
  const server::Tokens right = tokensOf("secret");
  Dispatcher admitting(context(), right);
  EXPECT_EQ(asShown(answer(admitting, request)), asShown(page.bytes["reply GET_STATUS"]));
}

}  // namespace
}  // namespace orvix::docs
