// SPDX-License-Identifier: Apache-2.0
// What becomes of every shape of reply. Nothing but a lost connection is tried again.
#include <gtest/gtest.h>
#include <vector>

#include "tests/comm/transport/qorTransportKit.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

struct Shape {
  std::uint32_t kind;
  std::string reply;
  std::string expected;
  bool closes = false;  // the peer closes behind it
};

const std::string FINE = hex("0001");
const std::string FAILED = hex("0006");
const std::string REJECTED = pair("MsgId", "SRV7") + pair("MsgText", "not now");

// clang-format off
const std::string REFUSED = "SRV7(not now) (server) complete";
const std::string WORDLESS = "ERR_SERVER_APP+ERR_SERVER_APP (server)";
const std::string LOST = std::string(NO_STREAM) + " incomplete";
const std::string NO_AUTHORITY = "ERR_SERVER_INVALID_AUTH@qorTamberPerfResponse:285 incomplete";
const std::string AT_CLIENT = "ERR_SERVER_PROTOCOL@qorTamberPerfClient:";
const std::string STATUS_SHORT = AT_CLIENT + "583[Error reading payload (chunk) status from socket] incomplete";
const std::string STATUS_WRONG = AT_CLIENT + "590[Payload (chunk) status must be OK or OK_CHUNKED] incomplete";
const std::string SIZE_SHORT = AT_CLIENT + "598[Error reading payload (chunk) size from socket] incomplete";
const std::string DATA_SHORT = AT_CLIENT + "613[Error reading payload (chunk) from socket] incomplete";
const std::string AT_RESPONSE = "ERR_SERVER_PROTOCOL@qorTamberPerfResponse:";
const std::string BUSY = AT_RESPONSE + "259[Unpexpected StatCode 5 in response header] incomplete";
const std::string UNKNOWN_STATUS = AT_RESPONSE + "291 incomplete";
const std::string EMPTY_TEXT = AT_RESPONSE + "436[Zero(0) sized protocol body in parseContent] incomplete";
const std::string CUT_TEXT = AT_RESPONSE + "452[Invalid message envelope, status code not available in parseContent] incomplete";
const std::string EMPTY_SEARCH = AT_RESPONSE + "503[Zero(0) sized protocol body inparseStreamSearchresp] incomplete";
const std::string NO_ESTIMATE = AT_RESPONSE + "648[Zero(0) sized protocol body in parseSelectivity ] incomplete";

const Shape SHAPES[] = {
    // Done or refused. 7 has no name, 26 is beyond the kinds.
    {7, FINE, "ok complete"},
    {26, FINE, "ok complete"},
    {SHUTDOWN, FINE, "ok complete", true},
    {DELETE_DOCUMENT, FAILED + errorBody(REJECTED), REFUSED},
    {DROP_COLLECTION, FAILED + errorBody(REJECTED + hex("000941")), REFUSED},  // a key cut short
    {BACKUP, FAILED + errorBody(pair("MsgText", "x")), WORDLESS + " complete"},
    {RESTORE, FAILED + errorBody(""), WORDLESS + " complete"},
    {TAKEOVER, FAILED + u16(40) + REJECTED, "SRV7(not now) (server) incomplete", true},
    {TAKEOVER, FAILED, WORDLESS + " incomplete", true},
    {CREATE_COLLECTION, hex("0191"), NO_AUTHORITY},
    {COLLECTION_STATUS, hex("0191"), NO_AUTHORITY},
    {SCALAR_SEARCH, hex("0005"), BUSY},
    {GET_STATUS, hex("0000"), UNKNOWN_STATUS},
    {COLLECTION_STATUS, hex("000e"), UNKNOWN_STATUS},
    {PARSE_RESULT, hex("0100"), UNKNOWN_STATUS},
    {GET_STATUS, hex("00"), LOST, true},
    {6, FINE, EMPTY_SEARCH},
    {BACKUP, FAILED + errorBody(pair("MsgId", "ERR_CONNECT_SERVER")), "ERR_CONNECT_SERVER (server) complete"},
    // Hits: with a score, without, with a status of no meaning, with half a score, with an error.
    {STREAM_SEARCH, FINE + record(5, hex("03e8 6162")) + record(1, "abc") + record(19, "x") + END_MARKER,
     "ok complete count=3 hit(YWI= 1.000 5) hit(YWJj 0.000 1) hit(eA== 0.000 19)"},
    {SCALAR_SEARCH, FINE + record(5, hex("ffff")) + record(5, "a") + END_MARKER,
     "ok complete count=2 hit( 65.535 5) hit(YQ== 0.000 5)"},
    {STREAM_SEARCH, FINE + record(6, errorBody("")) + record(14, "") + END_MARKER,
     "ok complete count=2 hit(AAA= 0.000 6) hit( 0.000 14)"},
    {SCALAR_SEARCH, FINE + END_MARKER, "ok complete"},
    {SCALAR_SEARCH, FINE, "ok incomplete", true},
    {STREAM_SEARCH, FINE + record(1, "a"), "ok incomplete count=1 hit(YQ== 0.000 1)", true},
    {STREAM_SEARCH, FINE + record(1, "a") + hex("0001 0003 61"), LOST + " count=1 hit(YQ== 0.000 1)", true},
    {SCALAR_SEARCH, FINE + hex("000100"), LOST, true},
    {STREAM_SEARCH, FAILED + errorBody(REJECTED), REFUSED},
    // Outcomes of documents; "Dog" names none.
    {PARSE_RESULT, FINE + record(1, pair("Doc", "a")) + record(7, pair("Doc", "b") + REJECTED) + END_MARKER,
     "ok complete count=2 doc(a ) doc(b SRV7(not now))"},
    {PARSE_RESULT, FINE + record(1, pair("Doc", "a")) + record(1, pair("Dog", "b")) + END_MARKER,
     "ERR_CLIENT_RESP_PARSING+PROPERTY_MISSING incomplete count=1 doc(a )"},
    {PARSE_RESULT, FINE + record(1, pair("Doc", "a")), "ok incomplete count=1 doc(a )", true},
    {PARSE_RESULT, FINE + hex("0001 0009 0003") + "Doc", LOST, true},
    // Estimates; the latest counts, and what it does not say keeps its default.
    {SELECTIVITY, FINE + record(5, u32(1) + u32(2) + u32(3)) + record(1, u32(7) + u32(8) + u32(~0U)) + END_MARKER,
     "ok complete estimate(7 4294967295 8)"},
    {SELECTIVITY, FINE + record(1, hex("00000007 000000")) + END_MARKER, "ok complete estimate(7 1 100)"},
    {SELECTIVITY, FINE + END_MARKER, "ok complete estimate(1 1 100)"},
    {SELECTIVITY, FINE + record(1, u32(7) + u32(8) + u32(9)), "ok incomplete estimate(7 9 8)", true},
    {SELECTIVITY, FINE, NO_ESTIMATE + " estimate(1 1 100)", true},
    {SELECTIVITY, FINE + hex("0001 000c 00000007"), LOST + " estimate(1 1 100)", true},
    // States.
    {GET_STATUS, FINE, "ok complete"},
    {GET_STATUS, hex("0005"), "ok complete status=1"},
    {GET_STATUS, FAILED + errorBody(REJECTED), "ok complete status=2 message=SRV7(not now)"},
    {GET_STATUS, FAILED + hex("00"), "ok incomplete status=2 message=ERR_SERVER_APP", true},
    // A version: one text; those of another status are skipped, 6 and 9 are errors.
    {GET_SERVER_VERSION, FINE + record(1, "1.2 \xc3\xa9"), "ok complete text=1.2 \xc3\xa9"},
    {GET_SERVER_VERSION, FINE + record(1, ""), "ok complete"},
    {GET_SERVER_VERSION, FINE + record(14, "skipped") + record(15, "") + record(1, "1"), "ok complete text=1"},
    {GET_SERVER_VERSION, FINE + record(6, errorBody(REJECTED)), REFUSED},
    {GET_SERVER_VERSION, FINE + record(9, errorBody(pair("MsgId", "ERR_SERVER_COMM_SEND"))),
     "ERR_SERVER_COMM_SEND (server) complete"},
    {GET_SERVER_VERSION, FINE + hex("0001 0004 31"), CUT_TEXT, true},
    {GET_SERVER_VERSION, FINE + record(14, "skipped"), EMPTY_TEXT, true},
    // A text in chunks, with a letter over two of them.
    {COLLECTION_STATUS, FINE + record(1, "open"), "ok complete text=open"},
    {COLLECTION_STATUS, FINE + record(14, "\xc3") + record(14, "") + record(1, "\xa9"), "ok complete text=\xc3\xa9"},
    {COLLECTION_STATUS, FINE + record(14, "") + record(1, ""), EMPTY_TEXT},
    {COLLECTION_STATUS, FINE + record(6, errorBody(REJECTED)), STATUS_WRONG},
    {COLLECTION_STATUS, FINE + hex("0000"), STATUS_WRONG},
    {COLLECTION_STATUS, FINE + record(14, "a"), STATUS_SHORT, true},
    {COLLECTION_STATUS, FINE + hex("00"), STATUS_SHORT, true},
    {COLLECTION_STATUS, FINE + hex("000e 00"), SIZE_SHORT, true},
    {COLLECTION_STATUS, FINE + hex("0001 0003 6162"), DATA_SHORT, true},
    {COLLECTION_STATUS, FAILED + errorBody(REJECTED), REFUSED},
};
// clang-format on

TEST(Reply, HasItsOutcomeAlsoByteByByte) {
  for (const Shape& shape : SHAPES) {
    SCOPED_TRACE(shape.expected);
    std::vector<std::string> bytes;
    for (const char byte : shape.reply) bytes.emplace_back(1, byte);
    const bool chunks = shape.kind == COLLECTION_STATUS && shape.reply.starts_with(FINE);
    ScriptedPeer peer;
    for (const bool cut : {false, true}) {
      PeerScript& script = peer.connection().expectFrames(1);
      script.replySegments(cut ? bytes : std::vector<std::string>{shape.reply});
      if (shape.closes) script.close();
      OpenClient client(peer);
      client.setNumRetries(shape.expected.starts_with(LOST) ? 0 : 3);
      // A field of a chunk has to come with one receive.
      EXPECT_EQ(outcome(client, shape.kind), cut && chunks ? STATUS_SHORT : shape.expected);
    }
    EXPECT_EQ(peer.connections(), 2U) << "what the server refused or got wrong is not tried again";
  }
}

/// One client and one response, which starts afresh with every request; then replies of any size.
TEST(Reply, LeavesNothingToTheNextAndMayBeLarge) {
  const std::string largest(65535, 'r');
  const std::string key(65000, 'k');
  // clang-format off
  std::vector<Shape> replies = {
      {SCALAR_SEARCH, FINE + record(1, "a") + END_MARKER, "ok complete count=1 hit(YQ== 0.000 1)"},
      {PARSE_RESULT, FINE + record(1, pair("Doc", "d")) + END_MARKER, "ok complete count=1 doc(d )"},
      {GET_SERVER_VERSION, FINE + record(1, "1.2"), "ok complete text=1.2"},
      {SELECTIVITY, FINE + record(1, u32(7) + u32(8) + u32(9)) + END_MARKER, "ok complete estimate(7 9 8)"},
      {SELECTIVITY, FINE + END_MARKER, "ok complete estimate(1 1 100)"},
      {GET_STATUS, FAILED + errorBody(REJECTED), "ok complete status=2 message=SRV7(not now)"},
      {LAST_DOC_SENT, "", "ok complete"},
      {STREAM_SEARCH, FINE + record(1, largest) + times(record(1, times("abc", 33)), 900) + END_MARKER,
       "ok complete count=901 hit(" + times("cnJy", 21845) + " 0.000 1)" +
           times(" hit(" + times("YWJj", 33) + " 0.000 1)", 900)},
      {COLLECTION_STATUS, FINE + record(14, times("x", 40000)) + record(14, largest) + record(1, "y"),
       "ok complete text=" + times("x", 40000) + largest + 'y'},
      {CREATE_COLLECTION, FAILED + errorBody(pair("MsgId", "L") + pair("MsgText", key)),
       "L(" + key + ") (server) complete"},
      {GET_SERVER_VERSION, FINE + record(14, largest) + record(1, largest), "ok complete text=" + largest},
  };
  // clang-format on
  // Reads go in steps of 4096 bytes; an end marker is put across every place around the second.
  for (std::size_t size = 8192 - 25; size <= 8192 - 13; ++size) {
    replies.push_back(
        {PARSE_RESULT,
         FINE + record(1, pair("Doc", times("p", size))) + record(1, pair("Doc", "a")) + END_MARKER,
         "ok complete count=2 doc(" + times("p", size) + " ) doc(a )"});
  }
  replies.push_back({SELECTIVITY, FINE, NO_ESTIMATE + " estimate(1 1 100)", true});
  ScriptedPeer peer;
  PeerScript& script = peer.connection();
  for (const Shape& c : replies) script.expectFrames(1).reply(c.reply);
  script.close();
  OpenClient client(peer);
  comm::ClientResponse response;
  for (const Shape& c : replies) {
    if (c.closes) client.setNumRetries(0);
    EXPECT_EQ(outcome(client, c.kind, &response), c.expected);
  }
  EXPECT_EQ(peer.connections(), 1U);
}

}  // namespace
}  // namespace orvix::test
