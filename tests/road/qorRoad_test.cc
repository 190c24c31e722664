// SPDX-License-Identifier: Apache-2.0
// The library against the real server: every request kind, over a real connection and engine.
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "infra/oss/internal/qorTextConversion.h"
#include "qorcomm.h"
#include "tests/road/qorServerProcess.h"

namespace orvix::road {
namespace {

using namespace orvix::comm;  // NOLINT: a test body
using icu::UnicodeString;
using Pairs = std::vector<std::pair<UnicodeString, UnicodeString>>;
using Request = ClientRequest;

const UnicodeString COLLECTION("papers", "");

util::ExtendedProperties propertiesOf(const Pairs& pairs) {
  util::ExtendedProperties properties;
  for (const auto& [key, value] : pairs) properties.putProperty(key, value);
  return properties;
}

class Road : public testing::Test {
 protected:
  Road() { client.setReceiveTimeOut(60000); }

  ClientResponse ask(Request::REQUEST kind, const Pairs& pairs = {}) {
    Request request;
    request.buildRequest(COLLECTION, kind, propertiesOf(pairs));
    ClientResponse response;
    client.sendAndRecvMesg(request, response);
    EXPECT_TRUE(response.success());
    EXPECT_TRUE(client.isReplyComplete());
    return response;
  }

  void send(Request::REQUEST kind, const std::string& key, const std::string& content,
            const Pairs& pairs = {}) {
    Request request;
    request.buildRequest(COLLECTION, kind, propertiesOf(pairs));
    request.setDocKey(key.data(), static_cast<unsigned int>(key.size()));
    request.setContent({}, content.data(), static_cast<unsigned int>(content.size()));
    ClientResponse response;
    client.sendAndRecvMesg(request, response);
  }

  /// "key" for an accepted document, "key: MsgId" for a rejected one; sorted.
  std::vector<std::string> outcomes() {
    ClientResponse response = ask(Request::PARSE_RESULT);
    std::vector<std::string> all;
    ParseResponse& list = response.getParseResponse();
    while (list.hasMore()) {
      const ParseResult& outcome = list.getNext();
      std::string line = oss::utf8(outcome.getText());
      const std::string id = oss::utf8(outcome.getMessage().getMessageID());
      if (!id.empty()) line += ": " + id;
      all.push_back(line);
    }
    std::sort(all.begin(), all.end());
    return all;
  }

  /// The keys of the hits, sorted.
  std::vector<std::string> search(const char16_t* query,
                                  Request::REQUEST kind = Request::SCALAR_SEARCH) {
    ClientResponse response = ask(kind, {{StaticDefs::PARAM_QUERY, query}});
    std::vector<std::string> keys;
    for (SearchResponse& hits = response.getSearchResponse(); hits.hasMore();) {
      const SearchResult& hit = hits.getNext();
      keys.emplace_back(reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength());
    }
    std::sort(keys.begin(), keys.end());
    return keys;
  }

  /// The server's message id when it refuses, or empty.
  std::string refusal(const std::function<void()>& action) {
    try {
      action();
    } catch (RESTException& e) {
      EXPECT_TRUE(e.isServerReported()) << e.what();
      EXPECT_FALSE(e.getErrorMessage().getMessageText().isEmpty());
      return oss::utf8(e.getErrorMessage().getMessageID());
    }
    return {};
  }

  ServerProcess server;
  TamberPerfClient client{UnicodeString("127.0.0.1", ""), server.port()};
};

TEST_F(Road, EveryKindDoesWhatItsNameSays) {
  ask(Request::CREATE_COLLECTION,
      {{StaticDefs::PARAM_DISPLAY_NAME, u"Papers"}, {u"docLang", u"en"}});
  ask(Request::OPEN_COLLECTION);
  ask(Request::OPEN_COLLECTION_ALT);
  ask(Request::SET_CONSTRUCTOR_CONFIGURATION, {{u"colConfig", u"plain"}});
  ask(Request::VERSIONS_VALIDATION);

  send(Request::ADD_DOCUMENT, "one", "a mountain river");
  send(Request::ASYNC_ADD_DOCUMENT, "two", "a river of stars");
  send(Request::ASYNC_ADD_DOCUMENT, "three", "nothing of the kind");
  send(Request::ASYNC_ADD_DOCUMENT, "bad", "x", {{StaticDefs::PARAM_KNOWN_CHARSET, u"no-such"}});
  ask(Request::LAST_DOC_SENT);
  EXPECT_EQ(outcomes(), (std::vector<std::string>{"bad: SRV_CHARSET_UNKNOWN", "three", "two"}))
      << "outcomes are those of the batch; ADD_DOCUMENT was answered itself";
  EXPECT_TRUE(outcomes().empty()) << "outcomes are told once";
  ask(Request::UPDATE_INDEX);

  const std::vector<std::string> rivers{"one", "two"};
  EXPECT_EQ(search(u"river"), rivers);
  EXPECT_EQ(search(u"river", Request::STREAM_SEARCH), rivers);
  ClientResponse estimate = ask(Request::SELECTIVITY, {{StaticDefs::PARAM_QUERY, u"river"}});
  EXPECT_EQ(estimate.getSelectivityInfo().getValue1(), 2U);
  EXPECT_LE(estimate.getSelectivityInfo().getValue2(), 2U);
  EXPECT_EQ(estimate.getSelectivityInfo().getValue3(), 3U);

  EXPECT_EQ(ask(Request::GET_STATUS).getStatusCode(), 0U);
  EXPECT_FALSE(ask(Request::GET_SERVER_VERSION).getContent().isEmpty());
  EXPECT_GE(ask(Request::COLLECTION_STATUS).getContent().indexOf(u"Papers"), 0);

  ask(Request::BACKUP, {{StaticDefs::PARAM_COLLECTION_DIR, u"before"}});
  send(Request::DELETE_DOCUMENT, "two", "");
  ask(Request::UPDATE_INDEX);
  EXPECT_EQ(search(u"river"), std::vector<std::string>{"one"});
  EXPECT_EQ(refusal([&] {
              ask(Request::RESTORE, {{StaticDefs::PARAM_COLLECTION_DIR, u"before"}});
            }),
            "SRV_COLLECTION_EXISTS");
  ask(Request::RESTORE,
      {{StaticDefs::PARAM_COLLECTION_DIR, u"before"}, {StaticDefs::PARAM_INCREMENTAL, u"false"}});
  EXPECT_EQ(search(u"river"), rivers);

  ask(Request::TAKEOVER);
  ask(Request::CLOSE_COLLECTION);
  EXPECT_EQ(search(u"river"), rivers) << "a closed collection opens on demand";
  ask(Request::DROP_COLLECTION);
  EXPECT_EQ(refusal([&] { search(u"river"); }), "SRV_COLLECTION_UNKNOWN");
  ask(Request::SHUTDOWN);
  EXPECT_TRUE(server.endsWell());
}

}  // namespace
}  // namespace orvix::road
