// SPDX-License-Identifier: Apache-2.0
// The corpus as data.
#include <utility>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "tests/torture/qorCorpus.h"

namespace orvix::torture {

using namespace comm::kinds;

namespace {

std::string errorReply(const std::string& pairs) { return u16(6) + errorBody(pairs); }

// NOLINTNEXTLINE(readability-function-size): a list, a line or two for each scenario
std::vector<Scenario> build() {
  const std::string refused = errorReply(pair("MsgId", "SRV7") + pair("MsgText", "not now"));
  const std::string hits = FINE + record(5, hex("03e8 6162")) + record(1, "abc") + record(19, "x");
  const std::string documents =
      FINE + record(1, pair("Doc", "a")) +
      record(6, pair("Doc", "b") + pair("MsgId", "SRV8") + pair("MsgText", "bad"));
  const std::string numbers = hex("00000007 00000009 00000005");
  const std::string text25k(25'000, 't');
  std::vector<Scenario> all;
  const auto add = [&](std::string name, std::vector<Step> steps) -> Scenario& {
    all.push_back({std::move(name), std::move(steps)});
    return all.back();
  };
  // Every kind with the shortest replies of every header status.
  for (std::uint32_t kind = 0; kind <= comm::detail::MAX_REQUEST_KIND + 1; ++kind) {
    const std::string of = " kind " + std::to_string(kind);
    if (comm::detail::isUnanswered(kind)) {
      add("sent" + of, {{kind, ""}});
      continue;
    }
    if (!comm::detail::requestKind(kind).resultsExpected) add("done" + of, {{kind, FINE}});
    add("refused" + of, {{kind, refused}});
    add("refused briefly" + of, {{kind, errorReply(pair("MsgId", "E"))}});
    add("refused without a word" + of, {{kind, errorReply("")}});
    add("busy" + of, {{kind, u16(5)}});
    add("not allowed" + of, {{kind, u16(401)}});
    add("status 7" + of, {{kind, u16(7)}});
    add("refused, cut" + of, {{kind, refused.substr(0, 9), After::CLOSE}});
  }
  for (const std::uint32_t kind : {STREAM_SEARCH, SCALAR_SEARCH}) {
    const std::string of = " kind " + std::to_string(kind);
    add("hits" + of, {{kind, hits + END_MARKER}});
    add("one hit" + of, {{kind, FINE + record(5, "\1\2k\xc3\xa9") + END_MARKER}});
    add("no hits" + of, {{kind, FINE + END_MARKER}});
    add("short hits" + of, {{kind, FINE + record(1, "a") + record(14, "") + END_MARKER}});
    add("an error among hits" + of,
        {{kind, FINE + record(6, errorBody(pair("MsgId", "E"))) + record(1, "b") + END_MARKER}});
    add("hits, closed" + of, {{kind, hits, After::CLOSE}});
    add("hits, closed in one" + of, {{kind, hits + hex("00010003 7a"), After::CLOSE}});
    add("hits, reset" + of, {{kind, hits, After::RESET}});
    add("many hits" + of, {{kind, FINE + record(1, std::string(120, 'a')) +
                                      record(1, std::string(90, 'b')) + END_MARKER}});
    add("huge hit" + of, {{kind, FINE + record(1, std::string(65'535, 'h')) + END_MARKER}});
    add("large hits" + of,
        {{kind, FINE + record(1, std::string(3'000, 'a')) + record(1, std::string(33'000, 'b')) +
                    record(1, "c") + END_MARKER}});
  }
  add("outcomes", {{PARSE_RESULT, documents + END_MARKER}});
  add("no outcomes", {{PARSE_RESULT, FINE + END_MARKER}});
  add("an outcome", {{PARSE_RESULT, FINE + record(1, pair("Doc", "")) + END_MARKER}});
  add("outcomes, closed", {{PARSE_RESULT, documents, After::CLOSE}});
  add("an outcome without a document", {{PARSE_RESULT, FINE + record(1, pair("Dox", "a"))}});
  add("a large outcome",
      {{PARSE_RESULT, FINE + record(1, pair("Doc", std::string(40'000, 'd'))) + END_MARKER}});
  add("estimate", {{SELECTIVITY, FINE + record(1, numbers) + END_MARKER}});
  add("half an estimate", {{SELECTIVITY, FINE + record(1, numbers.substr(0, 4)) + END_MARKER}});
  add("no estimate", {{SELECTIVITY, FINE + END_MARKER}});
  add("estimate, closed", {{SELECTIVITY, FINE + record(1, numbers), After::CLOSE}});
  add("closed before an estimate", {{SELECTIVITY, FINE, After::CLOSE}});
  add("version", {{GET_SERVER_VERSION, FINE + record(1, "1.2.3")}});
  add("short version", {{GET_SERVER_VERSION, FINE + record(1, "1")}});
  add("version behind another record",
      {{GET_SERVER_VERSION, FINE + record(15, "zz") + record(1, "1.2")}});
  add("an error for a version",
      {{GET_SERVER_VERSION, FINE + record(9, errorBody(pair("MsgId", "E")))}});
  add("a long version", {{GET_SERVER_VERSION, FINE + record(1, std::string(40'000, 'v'))}});
  add("version, closed",
      {{GET_SERVER_VERSION, FINE + record(1, "12345").substr(0, 7), After::CLOSE}});
  add("one chunk", {{COLLECTION_STATUS, FINE + record(1, "fine")}});
  add("an empty chunk, closed", {{COLLECTION_STATUS, FINE + record(1, ""), After::CLOSE}});
  add("two chunks", {{COLLECTION_STATUS, FINE + record(14, "fi") + record(1, "ne")}});
  add("three chunks",
      {{COLLECTION_STATUS, FINE + record(14, "a") + record(14, "") + record(1, "\xe2\x82\xac")}});
  add("large chunks",
      {{COLLECTION_STATUS, FINE + record(14, text25k) + record(14, text25k) + record(1, "!")}});
  add("a bad chunk", {{COLLECTION_STATUS, FINE + record(6, "x")}});
  add("a cut chunk", {{COLLECTION_STATUS, FINE + record(1, "fine").substr(0, 6), After::CLOSE}});
  // Documents, and the ways of a client.
  add("a document", {{ADD_DOCUMENT, FINE, After::OPEN, 100}});
  add("a large document", {{ADD_DOCUMENT, FINE, After::OPEN, 25'600}});
  add("documents", {{ASYNC_ADD_DOCUMENT, "", After::OPEN, 100},
                    {ASYNC_ADD_DOCUMENT, "", After::OPEN, 25'600},
                    {LAST_DOC_SENT, ""},
                    {PARSE_RESULT, documents + END_MARKER}});
  all.push_back(all.back());
  all.back().name = "a batch";
  all.back().buffered = true;
  add("a batch without an end", {{ASYNC_ADD_DOCUMENT, "", After::OPEN, 100},
                                 {ASYNC_ADD_DOCUMENT, "", After::OPEN, 100},
                                 {GET_STATUS, FINE}})
      .buffered = true;
  add("pulled hits", {{STREAM_SEARCH, FINE + record(1, "a") + record(1, std::string(9'000, 'b')) +
                                          record(5, "\1\2" + std::string(9'000, 'c')) + END_MARKER},
                      {GET_STATUS, FINE}})
      .streamed = true;
  add("pulled hits, closed",
      {{STREAM_SEARCH, hits + record(1, std::string(9'000, 'b')), After::CLOSE}})
      .streamed = true;
  add("pulled outcomes", {{PARSE_RESULT, documents + END_MARKER}, {GET_STATUS, FINE}}).streamed =
      true;
  const std::vector<Step> several{{STREAM_SEARCH, hits + END_MARKER},
                                  {DROP_COLLECTION, refused},
                                  {COLLECTION_STATUS, FINE + record(14, "fi") + record(1, "ne")},
                                  {GET_SERVER_VERSION, FINE + record(1, "1.2.3")}};
  add("several", several);
  add("several, not persistent", several).persistent = false;
  add("several, timed", several).timed = true;
  add("several, one try", several).retries = 0;
  add("several, four tries", several).retries = 3;
  return all;
}

}  // namespace

const std::vector<Scenario>& corpus() {
  static const std::vector<Scenario> all = build();
  return all;
}

const Scenario& cleanScenario() {
  static const Scenario clean{
      "clean",
      {{STREAM_SEARCH, FINE + record(5, u16(258) + "clean") + END_MARKER},
       {GET_SERVER_VERSION, FINE + record(1, "a version of more than a few letters")}}};
  return clean;
}

}  // namespace orvix::torture
