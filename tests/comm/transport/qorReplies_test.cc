// SPDX-License-Identifier: Apache-2.0
// What becomes of every shape of reply, however the network cuts it.
#include <gtest/gtest.h>
#include <map>
#include <utility>

#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

struct Shape {
  const char* name;
  std::uint32_t kind;
  std::string reply;
  bool closes;  // the peer closes behind it
  std::string expected;
  /// Cuts inside a 2-byte field of a chunk, and the line at which they are refused: such a field
  /// has to come with one receive.
  std::map<std::size_t, unsigned int> refusedCuts = {};
};

const std::string FINE = hex("0001");
const std::string FAILED = hex("0006");
const std::string REJECTED = pair("MsgId", "SRV7") + pair("MsgText", "not now");
const std::string STATUS_SHORT =
    "ERR_SERVER_PROTOCOL@qorTamberPerfClient:583"
    "[Error reading payload (chunk) status from socket] incomplete";
const std::string STATUS_WRONG =
    "ERR_SERVER_PROTOCOL@qorTamberPerfClient:590"
    "[Payload (chunk) status must be OK or OK_CHUNKED] incomplete";
const std::string SIZE_SHORT =
    "ERR_SERVER_PROTOCOL@qorTamberPerfClient:598"
    "[Error reading payload (chunk) size from socket] incomplete";
const std::string DATA_SHORT =
    "ERR_SERVER_PROTOCOL@qorTamberPerfClient:613"
    "[Error reading payload (chunk) from socket] incomplete";
const std::string LOST = "ERR_SERVER_COMM_RECV@qorTamberPerfClient:508[127.0.0.1|PORT] incomplete";
const std::string EMPTY_TEXT =
    "ERR_SERVER_PROTOCOL@qorTamberPerfResponse:436[Zero(0) sized protocol body in parseContent]"
    " incomplete";
const std::string CUT_TEXT =
    "ERR_SERVER_PROTOCOL@qorTamberPerfResponse:452"
    "[Invalid message envelope, status code not available in parseContent] incomplete";
const std::string BUSY =
    "ERR_SERVER_PROTOCOL@qorTamberPerfResponse:259[Unpexpected StatCode 5 in response header]"
    " incomplete";
const std::string NO_AUTHORITY = "ERR_SERVER_INVALID_AUTH@qorTamberPerfResponse:285 incomplete";
const std::string UNKNOWN_STATUS = "ERR_SERVER_PROTOCOL@qorTamberPerfResponse:291 incomplete";
const std::string REFUSED = "SRV7(not now) (server) complete";

const Shape SHAPES[] = {
    {"done", CREATE_COLLECTION, FINE, false, "ok complete"},
    {"done, kind without a name", 7, FINE, false, "ok complete"},
    {"done, no kind at all", 0, FINE, false, "ok complete"},
    {"done, a kind beyond the table", 26, FINE, false, "ok complete"},
    {"done, then closed", SHUTDOWN, FINE, true, "ok complete"},
    {"refused", DELETE_DOCUMENT, FAILED + errorBody(REJECTED), false, REFUSED},
    {"refused, a key cut short", DROP_COLLECTION, FAILED + errorBody(REJECTED + hex("00 09 41")),
     false, REFUSED},
    {"refused without an id", BACKUP, FAILED + errorBody(pair("MsgText", "x")), false,
     "ERR_SERVER_APP+ERR_SERVER_APP (server) complete"},
    {"refused without a word", RESTORE, FAILED + hex("0000"), false,
     "ERR_SERVER_APP+ERR_SERVER_APP (server) complete"},
    {"refused, then closed in the body", TAKEOVER,
     FAILED + u16(40) + pair("MsgId", "SRV8") + hex("0007 4d"), true, "SRV8 (server) incomplete"},
    {"refused, then closed before the body", TAKEOVER, FAILED, true,
     "ERR_SERVER_APP+ERR_SERVER_APP (server) incomplete"},

    // 1.000 "ab", 0 "abc", a record with a status of no meaning
    {"hits", STREAM_SEARCH,
     FINE + record(5, hex("03e8") + "ab") + record(1, "abc") + record(19, "x") + END_MARKER, false,
     "ok complete count=3 hit(YWI= 1.000 5) hit(YWJj 0.000 1) hit(eA== 0.000 19)"},
    {"scalar hits", SCALAR_SEARCH, FINE + record(5, hex("ffff")) + END_MARKER, false,
     "ok complete count=1 hit( 65.535 5)"},
    {"a score cut short is a key", SCALAR_SEARCH, FINE + record(5, "a") + END_MARKER, false,
     "ok complete count=1 hit(YQ== 0.000 5)"},
    {"an error among the hits", STREAM_SEARCH,
     FINE + record(6, errorBody(pair("MsgId", "E"))) + record(1, "b") + END_MARKER, false,
     "ok complete count=2 hit(AAoABU1zZ0lkAAFF 0.000 6) hit(Yg== 0.000 1)"},
    {"an empty record that is not the end", STREAM_SEARCH, FINE + record(14, "") + END_MARKER,
     false, "ok complete count=1 hit( 0.000 14)"},
    {"no hits", SCALAR_SEARCH, FINE + END_MARKER, false, "ok complete"},
    {"hits, then closed", STREAM_SEARCH, FINE + record(1, "a"), true,
     "ok incomplete count=1 hit(YQ== 0.000 1)"},
    {"closed before any hit", SCALAR_SEARCH, FINE, true, "ok incomplete"},
    {"closed in a hit", STREAM_SEARCH, FINE + record(1, "a") + hex("0001 0003 61"), true,
     LOST + " count=1 hit(YQ== 0.000 1)"},
    {"closed in the header of a hit", SCALAR_SEARCH, FINE + hex("000100"), true, LOST},
    {"refused search", STREAM_SEARCH, FAILED + errorBody(REJECTED), false, REFUSED},

    {"outcomes", PARSE_RESULT,
     FINE + record(1, pair("Doc", "a")) + record(1, pair("Doc", "b") + REJECTED) + END_MARKER,
     false, "ok complete count=2 doc(a ) doc(b SRV7(not now))"},
    {"an outcome with a status of no meaning", PARSE_RESULT,
     FINE + record(1, pair("Doc", "a")) + record(7, pair("Doc", "b")) + END_MARKER, false,
     "ok complete count=2 doc(a ) doc(b )"},
    {"an outcome without a document", PARSE_RESULT,
     FINE + record(1, pair("Doc", "a")) + record(1, pair("Dog", "b")) + END_MARKER, false,
     "ERR_CLIENT_RESP_PARSING+PROPERTY_MISSING incomplete count=1 doc(a )"},
    {"outcomes, then closed", PARSE_RESULT, FINE + record(1, pair("Doc", "a")), true,
     "ok incomplete count=1 doc(a )"},
    {"closed in an outcome", PARSE_RESULT, FINE + hex("0001 0009 0003") + "Doc", true, LOST},

    {"an estimate", SELECTIVITY, FINE + record(1, hex("00000007 00000008 ffffffff")) + END_MARKER,
     false, "ok complete estimate(7 4294967295 8)"},
    {"a later estimate replaces an earlier one", SELECTIVITY,
     FINE + record(5, u32(1) + u32(2) + u32(3)) + record(1, u32(4) + u32(5) + u32(6)) + END_MARKER,
     false, "ok complete estimate(4 6 5)"},
    {"an estimate cut short keeps what it does not say", SELECTIVITY,
     FINE + record(1, hex("00000007 000000")) + END_MARKER, false, "ok complete estimate(7 1 100)"},
    {"no estimate", SELECTIVITY, FINE + END_MARKER, false, "ok complete estimate(1 1 100)"},
    {"an estimate, then closed", SELECTIVITY, FINE + record(1, u32(7) + u32(8) + u32(9)), true,
     "ok incomplete estimate(7 9 8)"},
    {"closed before an estimate", SELECTIVITY, FINE, true,
     "ERR_SERVER_PROTOCOL@qorTamberPerfResponse:648"
     "[Zero(0) sized protocol body in parseSelectivity ] incomplete estimate(1 1 100)"},
    {"closed in an estimate", SELECTIVITY, FINE + hex("0001 000c 00000007"), true,
     LOST + " estimate(1 1 100)"},

    {"in good state", GET_STATUS, FINE, false, "ok complete"},
    {"busy", GET_STATUS, hex("0005"), false, "ok complete status=1"},
    {"in error", GET_STATUS, FAILED + errorBody(REJECTED), false,
     "ok complete status=2 message=SRV7(not now)"},
    {"in error, then closed", GET_STATUS, FAILED + hex("00"), true,
     "ok incomplete status=2 message=ERR_SERVER_APP"},

    {"a version", GET_SERVER_VERSION, FINE + record(1, "1.2 \xc3\xa9"), false,
     "ok complete text=1.2 \xc3\xa9"},
    {"an empty version", GET_SERVER_VERSION, FINE + record(1, ""), false, "ok complete"},
    {"a text of another status is skipped", GET_SERVER_VERSION,
     FINE + record(14, "skipped") + record(15, "") + record(1, "1.2"), false,
     "ok complete text=1.2"},
    {"an error in place of text", GET_SERVER_VERSION, FINE + record(6, errorBody(REJECTED)), false,
     REFUSED},
    {"another error in place of text", GET_SERVER_VERSION, FINE + record(9, errorBody(REJECTED)),
     false, REFUSED},
    {"closed in the version", GET_SERVER_VERSION, FINE + hex("0001 0004 31"), true, CUT_TEXT},
    {"closed before the version", GET_SERVER_VERSION, FINE, true, EMPTY_TEXT},
    {"closed behind a skipped text", GET_SERVER_VERSION, FINE + record(14, "skipped"), true,
     EMPTY_TEXT},

    {"a text in one chunk",
     COLLECTION_STATUS,
     FINE + record(1, "open"),
     false,
     "ok complete text=open",
     {{3, 583}, {5, 598}}},
    {"a letter over two chunks",
     COLLECTION_STATUS,
     FINE + record(14, "\xc3") + record(1, "\xa9"),
     false,
     "ok complete text=\xc3\xa9",
     {{3, 583}, {5, 598}, {8, 583}, {10, 598}}},
    {"a text in three chunks",
     COLLECTION_STATUS,
     FINE + record(14, "a") + record(14, "") + record(1, "b"),
     false,
     "ok complete text=ab",
     {{3, 583}, {5, 598}, {8, 583}, {10, 598}, {12, 583}, {14, 598}}},
    {"no text",
     COLLECTION_STATUS,
     FINE + record(14, "") + record(1, ""),
     false,
     EMPTY_TEXT,
     {{3, 583}, {5, 598}, {7, 583}, {9, 598}}},
    {"a chunk of status 6",
     COLLECTION_STATUS,
     FINE + record(6, errorBody(REJECTED)),
     false,
     STATUS_WRONG,
     {{3, 583}}},
    {"a chunk of status 0", COLLECTION_STATUS, FINE + hex("0000"), false, STATUS_WRONG, {{3, 583}}},
    {"closed before a chunk",
     COLLECTION_STATUS,
     FINE + record(14, "a"),
     true,
     STATUS_SHORT,
     {{3, 583}, {5, 598}}},
    {"closed in a chunk's status", COLLECTION_STATUS, FINE + hex("00"), true, STATUS_SHORT},
    {"closed in a chunk's size",
     COLLECTION_STATUS,
     FINE + hex("000e 00"),
     true,
     SIZE_SHORT,
     {{3, 583}}},
    {"closed in a chunk's data",
     COLLECTION_STATUS,
     FINE + hex("0001 0003 6162"),
     true,
     DATA_SHORT,
     {{3, 583}, {5, 598}}},
    {"refused text", COLLECTION_STATUS, FAILED + errorBody(REJECTED), false, REFUSED},

    {"unauthorized", CREATE_COLLECTION, hex("0191"), false, NO_AUTHORITY},
    {"unauthorized search", STREAM_SEARCH, hex("0191"), false, NO_AUTHORITY},
    {"unauthorized status", GET_STATUS, hex("0191"), false, NO_AUTHORITY},
    {"unauthorized text", COLLECTION_STATUS, hex("0191"), false, NO_AUTHORITY},
    {"busy, for a change", UPDATE_INDEX, hex("0005"), false, BUSY},
    {"busy, for a search", SCALAR_SEARCH, hex("0005"), false, BUSY},
    {"unknown status 0", GET_STATUS, hex("0000"), false, UNKNOWN_STATUS},
    {"unknown status 14", COLLECTION_STATUS, hex("000e"), false, UNKNOWN_STATUS},
    {"unknown status 256", PARSE_RESULT, hex("0100"), false, UNKNOWN_STATUS},
    {"a search without a name has nothing to read", 6, FINE, false,
     "ERR_SERVER_PROTOCOL@qorTamberPerfResponse:503"
     "[Zero(0) sized protocol body inparseStreamSearchresp] incomplete"},
    {"half a header", GET_STATUS, hex("00"), true, LOST},
};

TEST(Reply, HasTheSameOutcomeHoweverItIsCut) {
  for (const Shape& shape : SHAPES) {
    SCOPED_TRACE(shape.name);
    ScriptedPeer peer;
    forEachSplit(shape.reply, [&](const std::vector<std::string>& segments) {
      PeerScript& script = peer.connection().expectFrames(1).replySegments(segments);
      if (shape.closes) script.close();
      OpenClient client(peer);
      client.setNumRetries(0);
      comm::ClientRequest request = plainRequest(shape.kind);
      std::string expected = shape.expected;
      const auto refused = segments.size() == 2  ? shape.refusedCuts.find(segments[0].size())
                           : segments.size() > 2 ? shape.refusedCuts.begin()
                                                 : shape.refusedCuts.end();
      if (refused != shape.refusedCuts.end()) {
        expected = refused->second == 583 ? STATUS_SHORT : SIZE_SHORT;
      }
      EXPECT_EQ(outcome(client, request, peer), expected);
    });
  }
}

TEST(Reply, IsNotAwaitedByTheKindsThatHaveNone) {
  for (const std::uint32_t kind :
       {std::uint32_t{ASYNC_ADD_DOCUMENT}, std::uint32_t{LAST_DOC_SENT}}) {
    ScriptedPeer peer;
    peer.connection().expectFrames(1).stall();
    OpenClient client(peer);
    DocumentRequest request(kind, "k");
    EXPECT_EQ(outcome(client, request, peer), "ok complete");
  }
}

TEST(Reply, StartsTheResponseAfresh) {
  ScriptedPeer peer;
  peer.connection()
      .expectFrames(1)
      .reply(FINE + record(1, "a") + END_MARKER)
      .expectFrames(1)
      .reply(FINE + record(1, pair("Doc", "d")) + END_MARKER)
      .expectFrames(1)
      .reply(FAILED + errorBody(REJECTED))
      .expectFrames(1)
      .reply(FINE + record(1, "1.2"))
      .expectFrames(1)
      .reply(FINE + record(1, u32(7) + u32(8) + u32(9)) + END_MARKER)
      .expectFrames(1)
      .reply(FINE + END_MARKER)
      .expectFrames(2)
      .reply(FINE + record(1, "b") + END_MARKER)
      .expectFrames(1)
      .reply(FINE)
      .close();
  OpenClient client(peer);
  comm::ClientResponse response;
  const auto ask = [&](std::uint32_t kind) {
    comm::ClientRequest request = plainRequest(kind);
    return outcome(client, request, response, peer.port());
  };
  EXPECT_EQ(ask(SCALAR_SEARCH), "ok complete count=1 hit(YQ== 0.000 1)");
  EXPECT_EQ(ask(PARSE_RESULT), "ok complete count=1 doc(d )");
  EXPECT_EQ(ask(GET_STATUS), "ok complete status=2 message=SRV7(not now)");
  EXPECT_EQ(ask(GET_SERVER_VERSION), "ok complete text=1.2");
  EXPECT_EQ(ask(SELECTIVITY), "ok complete estimate(7 9 8)");
  EXPECT_EQ(ask(SELECTIVITY), "ok complete estimate(1 1 100)");
  response.setResultCode(9);
  response.setStatusCode(9);
  response.setStatusMessage(icu::UnicodeString("old", ""));
  response.appendContent(icu::UnicodeString("old", ""));
  EXPECT_EQ(ask(LAST_DOC_SENT), "ok complete") << "a kind without a reply";
  EXPECT_EQ(ask(SCALAR_SEARCH), "ok complete count=1 hit(Yg== 0.000 1)");
  client.setNumRetries(0);
  EXPECT_EQ(ask(SELECTIVITY).substr(0, 47), "ERR_SERVER_PROTOCOL@qorTamberPerfResponse:648[Z")
      << "an earlier reply had its estimate, this one has none";
  EXPECT_EQ(peer.connections(), 1U);
}

TEST(Reply, MayHoldTheLargestRecordsAndMoreThanTheBuffer) {
  const std::string largest(65535, 'r');
  // 1 + 65535 + 1 raw key bytes, then 900 records of 100: far beyond any buffer
  std::string stream = FINE + record(1, "a") + record(1, largest) + record(1, "b");
  for (int i = 0; i < 900; ++i)
    stream += record(1, std::string(100, static_cast<char>('a' + i % 26)));
  stream += END_MARKER;
  const std::string longText =
      FINE + record(14, std::string(40000, 'x')) + record(14, largest) + record(1, "y");
  ScriptedPeer peer;
  peer.connection()
      .expectFrames(1)
      .reply(stream)
      .expectFrames(1)
      .reply(longText)
      .expectFrames(1)
      .reply(FAILED + errorBody(pair("MsgId", "L") + pair("MsgText", std::string(65500, 'm'))))
      .expectFrames(1)
      .reply(FINE + record(14, largest) + record(1, largest))
      .expectFrames(1)
      .reply(FINE + record(1, pair("Doc", "a") + pair("Pad", std::string(65500, 'p'))) +
             record(1, pair("Doc", "b")) + END_MARKER)
      .expectFrames(1)
      .reply(STATUS_REPLY);
  OpenClient client(peer);
  comm::ClientResponse response;

  comm::ClientRequest search = plainRequest(STREAM_SEARCH);
  client.sendAndRecvMesg(search, response);
  comm::SearchResponse& list = response.getSearchResponse();
  ASSERT_EQ(list.count(), 903);
  EXPECT_EQ(list.getNext().getRawKeyLength(), 1U);
  const comm::SearchResult& large = list.getNext();
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(large.getRawKey()), large.getRawKeyLength()),
            largest);
  EXPECT_EQ(text(list.getNext().getKey()), "base64:Yg==");
  for (int i = 0; i < 900; ++i) {
    const comm::SearchResult& hit = list.getNext();
    ASSERT_EQ(hit.getRawKeyLength(), 100U);
    ASSERT_EQ(hit.getRawKey()[99], 'a' + i % 26);
  }

  comm::ClientRequest status = plainRequest(COLLECTION_STATUS);
  client.sendAndRecvMesg(status, response);
  EXPECT_EQ(text(response.getContent()), std::string(40000, 'x') + largest + 'y');

  comm::ClientRequest create = plainRequest(CREATE_COLLECTION);
  EXPECT_EQ(outcome(client, create, peer), "L(" + std::string(65500, 'm') + ") (server) complete");
  comm::ClientRequest version = plainRequest(GET_SERVER_VERSION);
  EXPECT_EQ(outcome(client, version, peer), "ok complete text=" + largest);
  comm::ClientRequest outcomes = plainRequest(PARSE_RESULT);
  EXPECT_EQ(outcome(client, outcomes, peer), "ok complete count=2 doc(a ) doc(b )");
  EXPECT_EQ(askStatus(client, peer), STATUS_OUTCOME);
  EXPECT_EQ(peer.connections(), 1U);
}

TEST(Reply, ThatMemoryDoesNotSufficeForLeavesTheClientUsable) {
  const std::string unexpected =
      "ERR_CLIENT_INTERNAL@qorTamberPerfClient:112[unknown error from sendandrecvMesgOnce]"
      " incomplete open";
  const std::pair<std::uint32_t, std::string> cases[] = {{SCALAR_SEARCH, unexpected},
                                                         {CREATE_COLLECTION, unexpected},
                                                         {COLLECTION_STATUS, DATA_SHORT}};
  for (const auto& [kind, expected] : cases) {
    SCOPED_TRACE(kind);
    ScriptedPeer peer;
    const std::string large(60000, 'l');
    peer.connection().expectFrames(1).reply(kind == CREATE_COLLECTION ? FAILED + errorBody(large)
                                                                      : FINE + record(1, large));
    peer.connection().expectFrames(1).reply(FINE + record(1, large) + END_MARKER);
    OpenClient client(peer);
    comm::ClientRequest request = plainRequest(kind);
    comm::ClientResponse response;
    std::string line;
    {
      const FailingAllocation failing(60000);
      line = outcome(client, request, response, peer.port());
    }
    EXPECT_EQ(line.substr(0, expected.find(" open")), expected.substr(0, expected.find(" open")));
    comm::ClientRequest search = plainRequest(SCALAR_SEARCH);
    client.sendAndRecvMesg(search, response);
    EXPECT_EQ(response.getSearchResponse().getNext().getRawKeyLength(), 60000U);
    EXPECT_TRUE(client.isReplyComplete());
  }
}

/// Reads go in steps of 4096 bytes; an end marker is put across every place around the first two.
TEST(Reply, IsReadWhereverARecordMeetsTheEndOfARead) {
  ScriptedPeer peer;
  PeerScript& script = peer.connection();
  std::vector<std::size_t> paddings;
  for (const std::size_t edge : {4096U, 8192U}) {
    for (std::size_t before = 0; before <= 12; ++before) paddings.push_back(edge - 6 - before);
  }
  for (const std::size_t padding : paddings) {
    script.expectFrames(1).reply(FINE + record(1, std::string(padding, 'p')) + record(1, "a") +
                                 END_MARKER);
  }
  OpenClient client(peer);
  comm::ClientRequest search = plainRequest(SCALAR_SEARCH);
  for (const std::size_t padding : paddings) {
    SCOPED_TRACE(padding);
    comm::ClientResponse response;
    client.sendAndRecvMesg(search, response);
    ASSERT_EQ(response.getSearchResponse().count(), 2);
    EXPECT_EQ(response.getSearchResponse().getNext().getRawKeyLength(), padding);
    EXPECT_EQ(text(response.getSearchResponse().getNext().getKey()), "base64:YQ==");
    EXPECT_TRUE(client.isReplyComplete());
  }
  EXPECT_EQ(peer.connections(), 1U);
}

}  // namespace
}  // namespace orvix::test
