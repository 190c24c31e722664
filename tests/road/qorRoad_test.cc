// SPDX-License-Identifier: Apache-2.0
// The library against the real server: every request kind, over a real connection and engine.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <list>
#include <string>
#include <unistd.h>
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

/// A document whose bytes live as long as it does.
struct Document {
  std::string key;
  std::string content;
  std::list<KVPair> fields{};
};

std::vector<std::string> keysOf(SearchResponse& hits) {
  std::vector<std::string> keys;
  while (hits.hasMore()) {
    const SearchResult& hit = hits.getNext();
    keys.emplace_back(reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength());
  }
  return keys;
}

std::vector<std::string> sorted(std::vector<std::string> keys) {
  std::sort(keys.begin(), keys.end());
  return keys;
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

  void send(Request::REQUEST kind, const Document& document, const Pairs& pairs = {}) {
    Request request;
    request.buildRequest(COLLECTION, kind, propertiesOf(pairs));
    request.setDocKey(document.key.data(), static_cast<unsigned int>(document.key.size()));
    request.setContent(document.fields, document.content.data(),
                       static_cast<unsigned int>(document.content.size()));
    ClientResponse response;
    client.sendAndRecvMesg(request, response);
  }

  /// "key" for an accepted document, "key: MsgId" for a rejected one.
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
    return all;
  }

  std::vector<std::string> search(const char* query, const Pairs& more = {},
                                  Request::REQUEST kind = Request::SCALAR_SEARCH) {
    Pairs pairs = more;
    pairs.emplace_back(StaticDefs::PARAM_QUERY, UnicodeString::fromUTF8(query));
    ClientResponse response = ask(kind, pairs);
    return keysOf(response.getSearchResponse());
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

  send(Request::ADD_DOCUMENT, {"one", "a mountain river"});
  send(Request::ASYNC_ADD_DOCUMENT, {"two", "a river of stars"});
  send(Request::ASYNC_ADD_DOCUMENT, {"three", "nothing of the kind"});
  send(Request::ASYNC_ADD_DOCUMENT, {"bad", "x"}, {{StaticDefs::PARAM_KNOWN_CHARSET, u"no-such"}});
  ask(Request::LAST_DOC_SENT);
  EXPECT_EQ(sorted(outcomes()),
            (std::vector<std::string>{"bad: SRV_CHARSET_UNKNOWN", "three", "two"}))
      << "outcomes are those of the batch; ADD_DOCUMENT was answered itself";
  EXPECT_TRUE(outcomes().empty()) << "outcomes are told once";
  ask(Request::UPDATE_INDEX);

  const std::vector<std::string> rivers{"one", "two"};
  EXPECT_EQ(sorted(search("river")), rivers);
  EXPECT_EQ(sorted(search("river", {}, Request::STREAM_SEARCH)), rivers);
  ClientResponse estimate = ask(Request::SELECTIVITY, {{StaticDefs::PARAM_QUERY, u"river"}});
  EXPECT_EQ(estimate.getSelectivityInfo().getValue1(), 2U);
  EXPECT_LE(estimate.getSelectivityInfo().getValue2(), 2U);
  EXPECT_EQ(estimate.getSelectivityInfo().getValue3(), 3U);

  EXPECT_EQ(ask(Request::GET_STATUS).getStatusCode(), 0U);
  EXPECT_FALSE(ask(Request::GET_SERVER_VERSION).getContent().isEmpty());
  EXPECT_GE(ask(Request::COLLECTION_STATUS).getContent().indexOf(u"Papers"), 0);

  ask(Request::BACKUP, {{StaticDefs::PARAM_COLLECTION_DIR, u"before"}});
  send(Request::DELETE_DOCUMENT, {"two", ""});
  ask(Request::UPDATE_INDEX);
  EXPECT_EQ(search("river"), std::vector<std::string>{"one"});
  EXPECT_EQ(refusal([&] {
              ask(Request::RESTORE, {{StaticDefs::PARAM_COLLECTION_DIR, u"before"}});
            }),
            "SRV_COLLECTION_EXISTS");
  ask(Request::RESTORE,
      {{StaticDefs::PARAM_COLLECTION_DIR, u"before"}, {StaticDefs::PARAM_INCREMENTAL, u"false"}});
  EXPECT_EQ(sorted(search("river")), rivers);

  ask(Request::TAKEOVER);
  ask(Request::CLOSE_COLLECTION);
  EXPECT_EQ(sorted(search("river")), rivers) << "a closed collection opens on demand";
  ask(Request::DROP_COLLECTION);
  EXPECT_EQ(refusal([&] { search("river"); }), "SRV_COLLECTION_UNKNOWN");
  ask(Request::SHUTDOWN);
  EXPECT_EQ(server.awaitExit(), 0);
}

TEST_F(Road, StreamedAndScalarSearchFindTheSameManyDocuments) {
  constexpr int DOCUMENTS = 3000;
  ask(Request::CREATE_COLLECTION);
  client.useBufferedConnection(true);
  std::vector<std::string> expected;
  for (int i = 0; i < DOCUMENTS; ++i) {
    const std::string key = "document/" + std::to_string(i);
    expected.push_back(key);
    send(Request::ASYNC_ADD_DOCUMENT, {key, "common word number" + std::to_string(i)});
  }
  ask(Request::LAST_DOC_SENT);
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(sorted(outcomes()), expected);
  EXPECT_EQ(sorted(search("common")), expected);

  client.useStreamedResults(true);
  Request request;
  request.buildRequest(COLLECTION, Request::STREAM_SEARCH,
                       propertiesOf({{StaticDefs::PARAM_QUERY, u"common"}}));
  ClientResponse response;
  client.sendAndRecvMesg(request, response);
  std::vector<std::string> streamed;
  for (;;) {
    SearchResponse& hits = response.getSearchResponse(client, true);
    if (!hits.hasMore()) break;
    EXPECT_LT(hits.count(), DOCUMENTS) << "a pull holds a part of the stream, not all of it";
    for (std::string& key : keysOf(hits)) streamed.push_back(std::move(key));
  }
  EXPECT_TRUE(client.isReplyComplete());
  EXPECT_EQ(sorted(streamed), expected);

  // A stream that nobody reads to its end does not disturb the next request.
  client.sendAndRecvMesg(request, response);
  EXPECT_FALSE(client.isReplyComplete());
  client.useStreamedResults(false);
  EXPECT_EQ(search("number7"), std::vector<std::string>{"document/7"});
}

TEST_F(Road, FieldsLimitsAndSortingWorkThroughTheWholeRoad) {
  ask(Request::CREATE_COLLECTION);
  const struct {
    const char* key;
    const char* year;
    const char* author;
  } papers[] = {{"c", "2001", "Ada"}, {"a", "1999", "Grace"}, {"b", "300", "Ada"}};
  for (const auto& paper : papers) {
    Document document{paper.key, "shared text"};
    document.fields.emplace_back(u"[sortable]Indexable:year", UnicodeString(paper.year, ""));
    document.fields.emplace_back(u"Indexable:author", UnicodeString(paper.author, ""));
    send(Request::ADD_DOCUMENT, document);
  }
  ask(Request::UPDATE_INDEX);
  using Keys = std::vector<std::string>;
  EXPECT_EQ(search("shared", {{StaticDefs::PARAM_SORT_FIELD, u"year"}}), (Keys{"b", "a", "c"}));
  EXPECT_EQ(sorted(search("author:ada")), (Keys{"b", "c"}));
  EXPECT_EQ(sorted(search("shared year:300..1999")), (Keys{"a", "b"}));
  EXPECT_EQ(search("shared NEAR/1 text AND author:ada year:..1999"), Keys{"b"});
  EXPECT_EQ(search("shared", {{StaticDefs::PARAM_SORT_FIELD, u"year"},
                              {StaticDefs::PARAM_START_OFFSET, u"1"},
                              {StaticDefs::PARAM_SEARCH_SIZE, u"1"}}),
            Keys{"a"});
  EXPECT_EQ(search("shared", {{StaticDefs::PARAM_RESULT_LIMIT, u"2"}}).size(), 2U);

  ClientResponse scored = ask(Request::SCALAR_SEARCH, {{StaticDefs::PARAM_QUERY, u"ada"}});
  ClientResponse plain = ask(Request::SCALAR_SEARCH, {{StaticDefs::PARAM_QUERY, u"author:ada"},
                                                      {StaticDefs::PARAM_SCORE_WANTED, u"false"}});
  EXPECT_EQ(plain.getSearchResponse().getNext().getScore(), 0.0);
  while (scored.getSearchResponse().hasMore()) {
    EXPECT_GT(scored.getSearchResponse().getNext().getScore(), 0.0);
  }
}

TEST_F(Road, ContentOfEverySizeAndCharacterSetArrivesWhole) {
  ask(Request::CREATE_COLLECTION);
  std::vector<std::string> expected;
  for (const std::size_t size : {1U, 9999U, 10000U, 10001U, 25000U, 70000U, 1000000U}) {
    std::string content;
    while (content.size() < size) content += "filler ";
    content += "size" + std::to_string(size) + " lastword";
    expected.push_back("doc" + std::to_string(size));
    send(Request::ASYNC_ADD_DOCUMENT, {expected.back(), content});
  }
  send(Request::ASYNC_ADD_DOCUMENT, {"latin", "caf\xe9 lastword"},
       {{StaticDefs::PARAM_KNOWN_CHARSET, u"ISO-8859-1"}});
  const std::string binaryKey("\x00\xff\n:", 4);
  send(Request::ASYNC_ADD_DOCUMENT, {binaryKey, "lastword"});
  ask(Request::LAST_DOC_SENT);
  EXPECT_EQ(outcomes().size(), expected.size() + 2);
  for (const std::string& key : expected) {
    EXPECT_EQ(search(("size" + key.substr(3)).c_str()), std::vector<std::string>{key});
  }
  EXPECT_EQ(search("caf\u00e9"), std::vector<std::string>{"latin"});
  expected.insert(expected.end(), {"latin", binaryKey});
  EXPECT_EQ(sorted(search("lastword")), sorted(expected));
}

TEST_F(Road, OutcomesBelongToTheCollectionNotToTheConnection) {
  ask(Request::CREATE_COLLECTION);
  {
    TamberPerfClient other(UnicodeString("127.0.0.1", ""), server.port());
    Request request;
    request.buildRequest(COLLECTION, Request::ASYNC_ADD_DOCUMENT, propertiesOf({}));
    request.setDocKey("k", 1);
    ClientResponse response;
    other.sendAndRecvMesg(request, response);
    request.buildRequest(COLLECTION, Request::LAST_DOC_SENT, propertiesOf({}));
    other.sendAndRecvMesg(request, response);
    request.buildRequest(COLLECTION, Request::GET_STATUS, propertiesOf({}));
    other.sendAndRecvMesg(request, response);  // answered behind what came before it
  }
  EXPECT_EQ(outcomes(), std::vector<std::string>{"k"});
}

TEST_F(Road, RefusalsCarryTheServersMessageAndAreNotRepeated) {
  EXPECT_EQ(refusal([&] { ask(Request::OPEN_COLLECTION); }), "SRV_COLLECTION_UNKNOWN");
  EXPECT_EQ(refusal([&] { ask(Request::DROP_COLLECTION); }), "SRV_COLLECTION_UNKNOWN");
  ask(Request::CREATE_COLLECTION);
  EXPECT_EQ(refusal([&] { ask(Request::CREATE_COLLECTION); }), "SRV_COLLECTION_EXISTS");
  EXPECT_EQ(refusal([&] {
              search("x", {{StaticDefs::PARAM_START_OFFSET, u"many"}});
            }),
            "SRV_NUMBER_INVALID");
  EXPECT_EQ(refusal([&] {
              ask(Request::RESTORE, {{StaticDefs::PARAM_COLLECTION_DIR, u"none"}});
            }),
            "SRV_BACKUP_UNKNOWN");
  EXPECT_EQ(refusal([&] { ask(static_cast<Request::REQUEST>(6)); }), "SRV_ACTION_UNKNOWN");
}

TEST_F(Road, AcknowledgedDocumentsOutliveTheServer) {
  ask(Request::CREATE_COLLECTION);
  send(Request::ADD_DOCUMENT, {"kept", "durable"});
  ask(Request::UPDATE_INDEX);
  server.restart();
  TamberPerfClient after(UnicodeString("127.0.0.1", ""), server.port());
  Request request;
  request.buildRequest(COLLECTION, Request::SCALAR_SEARCH,
                       propertiesOf({{StaticDefs::PARAM_QUERY, u"durable"}}));
  ClientResponse response;
  after.sendAndRecvMesg(request, response);
  EXPECT_EQ(keysOf(response.getSearchResponse()), std::vector<std::string>{"kept"});
  EXPECT_EQ(server.terminate(), 0);
  EXPECT_THROW(after.sendAndRecvMesg(request, response), RESTException);
}

TEST(RoadWithTokens, OnlyARightTokenIsServed) {
  const std::filesystem::path file =
      std::filesystem::temp_directory_path() / ("qor-token-" + std::to_string(::getpid()));
  const std::string make =
      "umask 077; printf right | " QORSERVER_PATH " token --stdin >" + file.string();
  ASSERT_EQ(std::system(make.c_str()), 0);
  ServerProcess server({"--token-file", file.string()});
  TamberPerfClient client(UnicodeString("127.0.0.1", ""), server.port());
  const auto version = [&](const Pairs& pairs) {
    Request request;
    request.buildRequest(Request::GET_SERVER_VERSION, propertiesOf(pairs));
    ClientResponse response;
    client.sendAndRecvMesg(request, response);
    return response.success();
  };
  for (const Pairs& wrong : {Pairs{}, Pairs{{StaticDefs::PARAM_AUTHENTICATION_TOKEN, u"wrong"}}}) {
    try {
      version(wrong);
      ADD_FAILURE() << "served without a right token";
    } catch (RESTException& e) {
      EXPECT_EQ(e.getErrorMessage().getMessageID(), StaticDefs::ERR_SERVER_INVALID_AUTH);
    }
    EXPECT_TRUE(version({{StaticDefs::PARAM_AUTHENTICATION_TOKEN, u"right"}}));
  }

  ASSERT_EQ(
      std::system(("printf other | " QORSERVER_PATH " token --stdin >" + file.string()).c_str()),
      0);
  server.reload();
  std::string told;
  for (int i = 0; i < 1000 && told.empty(); ++i) {
    try {
      version({{StaticDefs::PARAM_AUTHENTICATION_TOKEN, u"right"}});
    } catch (RESTException& e) {
      told = oss::utf8(e.getErrorMessage().getMessageID());
    }
  }
  EXPECT_EQ(told, "ERR_SERVER_INVALID_AUTH") << "the file was read again";
  EXPECT_TRUE(version({{StaticDefs::PARAM_AUTHENTICATION_TOKEN, u"other"}}));
  std::filesystem::remove(file);
}

}  // namespace
}  // namespace orvix::road
