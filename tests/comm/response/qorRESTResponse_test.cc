// SPDX-License-Identifier: Apache-2.0
// The parser of plain-text replies, which no connection uses: its shapes and errors, in one table.
#include "comm/response/internal/qorRESTResponse.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/comm/response/qorReplyDriver.h"

namespace orvix::test {
namespace {

using namespace comm::kinds;

/// Bytes left of each piece, or the error; then "end", the results, and behind a bar the state, its
/// status code and length, and what is wanted next.
std::string read(std::uint32_t kind, bool streaming, const std::vector<std::string>& pieces) {
  comm::ClientResponse response;
  comm::RESTResponse parser(kind, streaming);
  bool end = false;
  std::string line;
  const std::string error = raisedBy([&] {
    for (const std::string& piece : pieces) {
      const ExactBytes held(piece);
      line += std::to_string(parser.parse(held.data(), held.size(), response, end)) + ' ';
    }
  });
  std::uint32_t wanted = 77777;
  const int finished = parser.getNextReadSize(wanted);
  if (error != "nothing") return error;
  return line + (end ? "end" : "") + render(response) + " | " +
         std::to_string(static_cast<int>(parser.getState())) + ' ' +
         std::to_string(parser.getStatusCode()) + ' ' + std::to_string(parser.getContentLength()) +
         (parser.isChunked() ? " chunked" : "") + (parser.hasError() ? " bad" : "") +
         (finished == 1 ? "" : " wants " + std::to_string(wanted));
}

std::vector<std::string> reply(const char* status, const std::string& body) {
  return {std::string("HTTP/1.1 ") + status +
              " why\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n",
          body};
}

const std::string WORD = "????";
const std::string ZERO = hex("00000000");

TEST(TextReply, IsReadByPieces) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string doc = run(pair("Doc", "a"));
  const std::string numbers = run(hex("00000007 00000008 00000009"));
  const std::string code = run(pair("STATUS_CODE", "4294967295"));
  const std::string most = "4294967295 wants 4294967295";
  const std::string missing = "+PROPERTY_MISSING";
  const std::string says = WORD + run(pair("MsgId", "SRV") + pair("MsgText", "t"));
  const std::string silent = "ERR_SERVER_APP+ERR_SERVER_APP";
  const std::string unreadable = "ERR_CLIENT_RESP_PARSING";
  const struct {
    std::uint32_t kind;
    bool streaming;
    std::vector<std::string> pieces;
    std::string expected;
    // clang-format off
  } cases[] = {
      // Headers: names in this letter case only, anywhere in a line; a NUL ends them.
      {8, false, {}, " | 1 0 0 wants 256"}, {8, true, {}, " | 2 200 0 chunked wants 16"},
      {8, false, {ok + "Content-Length: 12\r\n\r\nbody"}, "4  | 3 200 12 wants 12"},
      {8, false, {ok + "content-length: 12\r\n\r\n", "abc"}, "0 3  | 2 200 0 bad wants 16"},
      {8, false, {ok + "Content-Length"}, "0  | 3 200 0 wants 0"},
      {8, false, {ok + "Content-Length: 99999999999\r\n\r\n"}, "0  | 3 200 " + most},
      {8, false, {ok + "Transfer-Encoding: x\r\n\r\n1a\r\nXYZ"}, "3  | 3 200 26 chunked wants 26"},
      {8, false, {ok + "\0Content-Length: 12\r\n\r\n"_bytes}, "22  | 2 200 0 wants 16"},
      {8, false, {"\n"}, "0  | 1 0 0 bad wants 256"},
      // Chunk sizes are hexadecimal.
      {8, true, {"\r\nff\r\n"}, "0  | 3 200 255 chunked wants 255"},
      {8, true, {"\r10;x=1\r\n!"}, "1  | 3 200 16 chunked wants 16"},
      {22, true, {std::string(5000, 'f') + "\r\n", "x"}, "0 0  | 4 200 4294967295 chunked"},
      // Bodies. The first word is skipped, except in a stream, where a piece counts as a whole.
      {8, false, reply("200", WORD + run("ab") + ZERO + "x"), "0 5 end ab | 4 200 15"},
      {8, false, reply("200", WORD), "0 0 end | 4 200 4"},
      {8, false, {ok + "Content-Length: 10\r\n\r\n", WORD + run("ab") + ZERO},
       "0 0  ab | 4 200 10"},
      {8, true, {"40\r\n", run("ab") + hex("0000")}, "0 2  ab | 4 200 64 chunked"},
      {11, false, reply("200", WORD + doc + doc + ZERO + "x"), "0 5 end a: a: | 4 200 33"},
      {14, false, reply("200", WORD + numbers + "xy"), "0 2  (7 9 8) | 4 200 22"},
      {15, false, reply("200", WORD + code + "x"), "0 1  status=4294967295 | 4 200 34"},
      {8, false, reply("500", ""), "0 0 end | 4 500 0"},
      // Errors.
      {8, false, reply("400", "x"), "ERR_SERVER_PROTOCOL@qorRESTResponse:337"},
      {8, false, reply("401", "x"), "ERR_SERVER_INVALID_AUTH@qorRESTResponse:341"},
      {8, false, reply("404", "x"), "ERR_SERVER_PROTOCOL@qorRESTResponse:344"},
      {15, false, reply("500", says), "SRV(t)"}, {8, false, reply("500", WORD + doc), silent},
      {22, false, {ok + "Content-Length: 9\r\n\r\n", "x", "more"}, unreadable},
      {11, false, reply("200", WORD + doc.substr(0, 6)), unreadable},
      {11, false, reply("200", WORD + run(pair("doc", "a"))), unreadable + missing},
      {15, false, reply("200", WORD + ZERO), unreadable + missing},
  };
  // clang-format on
  testing::internal::CaptureStderr();
  for (const auto& c : cases) {
    EXPECT_EQ(read(c.kind, c.streaming, c.pieces), c.expected) << testing::PrintToString(c.pieces);
    for (auto cut = c.pieces; !cut.empty() && !cut.back().empty(); cut.back().pop_back()) {
      read(c.kind, c.streaming, cut);  // reads nothing beyond the piece
    }
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr().substr(0, 46),
            " [WARN]: parseStreamSearch !!: 0 len for resp\n");
}

}  // namespace
}  // namespace orvix::test
