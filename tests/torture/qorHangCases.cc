// SPDX-License-Identifier: Apache-2.0
#include "tests/torture/qorHangCases.h"

#include <utility>

#include "tests/support/qorWire.h"

namespace orvix::torture {

using namespace comm::kinds;

namespace {

constexpr char TIMED_OUT[] = "ERR_SERVER_COMM_TIMEOUT:119";
constexpr char NOT_SENT[] = "ERR_SERVER_COMM_SEND:280";

struct Exchange {
  std::uint32_t kind;
  bool streamed;  // the results are pulled
  const char* reply;
};

constexpr char REFUSAL[] = "0006 000b 0005 4d73674964 0002 4e31";
constexpr char HITS[] = "0001 0001 0003 616263 0005 0004 01f4 6465 0001 0000";
constexpr char OUTCOMES[] =
    "0001 000e 0008 0003 446f63 0001 61 000e 0008 0003 446f63 0001 62 0001 0000";
constexpr Exchange EXCHANGES[] = {
    {CREATE_COLLECTION, false, "0001"},
    {GET_STATUS, false, REFUSAL},
    {OPEN_COLLECTION, false, REFUSAL},
    {SCALAR_SEARCH, false, HITS},
    {STREAM_SEARCH, true, HITS},
    {PARSE_RESULT, false, OUTCOMES},
    {PARSE_RESULT, true, OUTCOMES},
    {SELECTIVITY, false, "0001 0001 000c 00000003 00000002 00000009 0001 0000"},
    {GET_SERVER_VERSION, false, "0001 000e 0002 7878 0001 0003 312e30"},
    {COLLECTION_STATUS, false, "0001 000e 0003 6f7065 000e 0000 0001 0002 6e21"},
};

/// The error when the reply is cut at `at`: a chunk's field of which one byte came is one at once.
std::string errorOfCut(const Exchange& exchange, const std::string& reply, std::size_t at) {
  if (exchange.kind == COLLECTION_STATUS) {
    for (std::size_t chunk = 2; chunk < at;) {
      if (at == chunk + 1) return "ERR_SERVER_PROTOCOL:583";
      if (at == chunk + 3) return "ERR_SERVER_PROTOCOL:598";
      if (at <= chunk + 4) break;
      chunk += 4U + static_cast<unsigned char>(reply[chunk + 3]);
    }
  }
  return TIMED_OUT;
}

}  // namespace

void addReceiving(std::vector<HangCase>& cases) {
  for (const Exchange& exchange : EXCHANGES) {
    const std::string reply = test::hex(exchange.reply);
    HangCase c;
    c.kind = exchange.kind;
    c.streamed = exchange.streamed;
    for (std::size_t at = 0; at < reply.size(); ++at) {
      c.name = "kind " + std::to_string(c.kind) + " cut at " + std::to_string(at);
      c.plan.first = reply.substr(0, at);
      c.expected = errorOfCut(exchange, reply, at);
      cases.push_back(c);
      if (at == 0 || c.kind == COLLECTION_STATUS) continue;  // whose fields must not be cut
      c.name += ", byte by byte";
      std::swap(c.plan.first, c.plan.trickled);
      c.plan.pause = 5;
      cases.push_back(c);
      c.plan = {};
    }
    c.name = "kind " + std::to_string(c.kind) + " trickling";
    c.plan = {.trickled = reply};
    c.expected = TIMED_OUT;
    c.mayEnd = true;
    cases.push_back(c);
    if (reply.size() < 6) continue;
    // A unit that is announced to be long: what is its length depends on where it stands.
    c.name += " in a long unit";
    c.plan = {.first = reply.substr(0, reply[1] == 6 ? 2 : 4) + "\x7f\x7f",
              .trickled = std::string(1000, 'x')};
    c.mayEnd = false;
    cases.push_back(c);
  }
}

void addOthers(std::vector<HangCase>& cases) {
  using Reading = HangPlan::Reading;
  std::string chunks;
  for (int i = 0; i < 4096; ++i) chunks += test::hex("000e0000");
  for (const bool accepts : {true, false}) {
    const HangPlan deaf{.accepts = accepts, .reading = Reading::NOTHING};
    const char* const name = accepts ? "does not read" : "does not accept";
    cases.push_back({.name = name, .plan = deaf, .expected = TIMED_OUT});
    cases.push_back({.name = name, .kind = ADD_DOCUMENT, .plan = deaf, .expected = NOT_SENT});
    cases.push_back({.name = name, .kind = ASYNC_ADD_DOCUMENT, .plan = deaf, .expected = NOT_SENT});
    cases.push_back({.name = name, .bare = true, .plan = deaf, .expected = "SOCKET_WRITE:0"});
  }
  cases.push_back({.name = "reads slowly",
                   .bare = true,
                   .plan = {.reading = Reading::SLOWLY},
                   .expected = "SOCKET_WRITE:0"});
  cases.push_back({.name = "chunks without end",
                   .kind = COLLECTION_STATUS,
                   .plan = {.first = test::hex("0001"), .endless = chunks},
                   .expected = TIMED_OUT});
  cases.push_back(
      {.name = "full queue", .plan = {.connects = false}, .expected = "ERR_CONNECT_SERVER:236"});
}

}  // namespace orvix::torture
