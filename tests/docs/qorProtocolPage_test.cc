// SPDX-License-Identifier: Apache-2.0
// The library says what docs/protocol.md shows, and understands the replies that it shows.
#include "tests/docs/qorProtocolPage.h"

#include <filesystem>
#include <list>
#include <set>
#include <utility>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::docs {
namespace {

using namespace comm::kinds;
using comm::ClientRequest;
using comm::KVPair;
using icu::UnicodeString;

/// A request as a caller fills it, and what comes of the page's reply.
struct Exchange {
  const char* name;
  ClientRequest::REQUEST kind;
  std::vector<std::pair<UnicodeString, UnicodeString>> properties;
  std::string outcome = "ok complete";
  std::string key = {};
  std::string content = {};
  std::list<KVPair> fields = {};
};

using Pairs = std::vector<std::pair<UnicodeString, UnicodeString>>;
const Pairs NOTES{{u"index", u"notes"}};

Pairs notesAnd(Pairs more) {
  more.insert(more.end(), NOTES.begin(), NOTES.end());
  return more;
}

// clang-format off
const Exchange EXCHANGES[] = {
    {"VERSIONS_VALIDATION", VERSIONS_VALIDATION, {{u"Supported-Server-Versions", u"1.0-1.2"}}},
    {"GET_SERVER_VERSION", GET_SERVER_VERSION, {},
     "ok complete text=qorserver 1.0.0, protocol 1.1, Xapian 1.4.22, ICU 72.1"},
    {"CREATE_COLLECTION", CREATE_COLLECTION,
     notesAnd({{u"collectionName", u"My notes"}, {u"fallbackLanguage", u"en"}})},
    {"OPEN_COLLECTION", OPEN_COLLECTION, NOTES},
    {"OPEN_COLLECTION_ALT", OPEN_COLLECTION_ALT, NOTES},
    {"SET_CONSTRUCTOR_CONFIGURATION", SET_CONSTRUCTOR_CONFIGURATION, notesAnd({{u"colConfig", u"plain"}})},
    {"ADD_DOCUMENT", ADD_DOCUMENT, NOTES, "ok complete", "n1", "a river in the hills",
     {KVPair(u"Indexable:title", u"Rivers")}},
    {"ASYNC_ADD_DOCUMENT", ASYNC_ADD_DOCUMENT, NOTES, "ok complete", "n2", "hills"},
    {"ASYNC_ADD_DOCUMENT refused", ASYNC_ADD_DOCUMENT, notesAnd({{u"KnownCharset", u"none"}}),
     "ok complete", "n3", "x"},
    {"GET_STATUS busy", GET_STATUS, {}, "ok complete status=1"},
    {"LAST_DOC_SENT", LAST_DOC_SENT, NOTES},
    {"PARSE_RESULT", PARSE_RESULT, NOTES,
     "ok complete count=2 doc(n2 ) doc(n3 SRV_CHARSET_UNKNOWN(The character set \"none\" is not known; "
     "give a name such as UTF-8 or ISO-8859-1))"},
    {"UPDATE_INDEX", UPDATE_INDEX, NOTES},
    {"GET_STATUS", GET_STATUS, {}},
    {"SCALAR_SEARCH", SCALAR_SEARCH, notesAnd({{u"query", u"river"}, {u"scoreType", u"normalized"}}),
     "ok complete count=1 hit(bjE= 1.000 5)"},
    {"STREAM_SEARCH", STREAM_SEARCH, notesAnd({{u"query", u"hills"}, {u"scoreWanted", u"false"}}),
     "ok complete count=2 hit(bjI= 0.000 1) hit(bjE= 0.000 1)"},
    {"SELECTIVITY", SELECTIVITY, notesAnd({{u"query", u"hills"}}), "ok complete estimate(2 2 2)"},
    {"COLLECTION_STATUS", COLLECTION_STATUS, NOTES,
     R"(ok complete text={"name":"notes","displayName":"My notes","language":"en","documents":2,"pending":0,)"
     R"("outcomes":0,"revision":4,"bytes":98405,)"
     R"("fields":{"title":{"searchable":true,"sortable":false}},"configuration":{"colConfig":"plain"}})" "\n"},
    {"BACKUP", BACKUP, notesAnd({{u"dataDir", u"monday"}})},
    {"DELETE_DOCUMENT", DELETE_DOCUMENT, NOTES, "ok complete", "n2"},
    {"RESTORE", RESTORE, notesAnd({{u"dataDir", u"monday"}, {u"incremental", u"false"}})},
    {"CLOSE_COLLECTION", CLOSE_COLLECTION, NOTES},
    {"TAKEOVER", TAKEOVER, {}},
    {"DROP_COLLECTION", DROP_COLLECTION, NOTES},
    {"SCALAR_SEARCH refused", SCALAR_SEARCH, notesAnd({{u"query", u"river"}}),
     "SRV_COLLECTION_UNKNOWN(There is no collection \"notes\" on this server; create it first) (server) complete"},
    {"SHUTDOWN", SHUTDOWN, {}},
    {"GET_STATUS with a token", GET_STATUS, {{u"authToken", u"secret"}},
     "ERR_SERVER_INVALID_AUTH@qorTamberPerfResponse:285 incomplete"},
    {"GET_STATUS in error", GET_STATUS, {},
     "ok complete status=2 message=SRV_STORAGE_FAILED(The disk is full)"},
    {"COLLECTION_STATUS in chunks", COLLECTION_STATUS, {}, "ok complete text={\"name\":\"notes\"}\n"},
    {"STREAM_SEARCH cut short", STREAM_SEARCH, {},
     "ok complete count=2 hit(bjE= 0.000 1) "
     "hit(ADYABU1zZ0lkABJTUlZfU1RPUkFHRV9GQUlMRUQAB01zZ1RleHQAEFRoZSBkaXNrIGlzIGZ1bGw= 0.000 6)"},
};
// clang-format on

ClientRequest requestOf(const Exchange& exchange) {
  util::ExtendedProperties properties;
  for (const auto& [key, value] : exchange.properties) properties.putProperty(key, value);
  ClientRequest request;
  const UnicodeString none;
  const UnicodeString& collection = properties.getProperty(u"index", none);
  if (collection.isEmpty()) {
    request.buildRequest(exchange.kind, properties);
  } else {
    request.buildRequest(collection, exchange.kind, properties);
  }
  request.setDocKey(exchange.key.data(), static_cast<unsigned int>(exchange.key.size()));
  request.setContent(exchange.fields, exchange.content.data(),
                     static_cast<unsigned int>(exchange.content.size()));
  return request;
}

TEST(ProtocolPage, ShowsWhatTheLibrarySendsAndUnderstands) {
  ProtocolPage page = readProtocolPage();
  std::set<std::uint32_t> sent;
  for (const Exchange& exchange : EXCHANGES) {
    SCOPED_TRACE(exchange.name);
    const std::string name = exchange.name;
    const auto request = page.bytes.extract("request " + name);
    const auto reply = page.bytes.extract("reply " + name);
    EXPECT_EQ(reply.empty(), comm::detail::isUnanswered(exchange.kind));

    test::ScriptedPeer peer;
    test::PeerScript& script = peer.connection().expectFrames(1);
    if (!reply.empty()) script.reply(reply.mapped());
    test::OpenClient client(peer);
    EXPECT_EQ(test::outcome(client, requestOf(exchange)), exchange.outcome);
    EXPECT_TRUE(peer.awaitPlayed(1));
    if (!request.empty()) {
      EXPECT_EQ(asShown(peer.received(0)), asShown(request.mapped()));
      sent.insert(exchange.kind);
    }
  }
  for (const auto& row : comm::detail::REQUEST_KINDS) {
    EXPECT_TRUE(row.pathWord == nullptr || sent.contains(row.kind)) << "no example of " << row.kind;
  }
  for (const auto& [name, bytes] : page.bytes) ADD_FAILURE() << name << " is compared with nothing";
}

TEST(RetriesPage, SaysOfEveryKindWhatASecondTimeDoes) {
  const auto folder = std::filesystem::path(QOR_PROTOCOL_PAGE).parent_path() / "tasks";
  std::ifstream file(folder / "timeouts-and-retries.md");
  std::string table;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("| `")) table += line.substr(0, line.find('|', 1));
  }
  for (const Exchange& exchange : EXCHANGES) {
    const std::string kind =
        std::string(exchange.name).substr(0, std::string(exchange.name).find(' '));
    EXPECT_NE(table.find('`' + kind + '`'), table.npos) << kind;
  }
}

}  // namespace
}  // namespace orvix::docs
