// SPDX-License-Identifier: Apache-2.0
// The corpus as data, and what runs and renders it. Rendering stands under Harness guards, so that
// a program which fails allocations strikes the library and nothing else.
#include "tests/torture/qorCorpus.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <utility>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/support/qorRESTException.h"
#include "infra/oss/qorNLSException.h"

namespace orvix::torture {

using namespace comm::kinds;
using icu::UnicodeString;

namespace {

std::string utf8(const UnicodeString& from) {
  std::string bytes;
  return from.isBogus() ? "(bogus)" : from.toUTF8String(bytes);
}

/// Long text as its size and a hash.
std::string brief(std::string bytes) {
  if (bytes.size() <= 64) return bytes;
  return std::to_string(bytes.size()) + '#' + std::to_string(std::hash<std::string>()(bytes));
}

std::string inOneLine(const oss::Message& message) {
  std::string line = utf8(message.getMessageID());
  if (!message.getMessageText().isEmpty()) line += '(' + utf8(message.getMessageText()) + ')';
  if (message.getFileName() != nullptr) {
    line += '@' + (message.getFileName() + (':' + std::to_string(message.getLineNumber())));
  }
  for (const auto& argument : message.getArguments()) line += '[' + utf8(argument) + ']';
  return line;
}

std::string raised(const oss::BaseException& e, bool byServer) {
  std::string line;
  for (const oss::Message& message : e.getMessages()) {
    line += line.empty() ? inOneLine(message) : '+' + utf8(message.getMessageID());
    if (message.getMessageText().isBogus()) line += "(bogus)";
  }
  return byServer ? line + " (server)" : line;
}

void take(comm::SearchResponse& list, std::vector<std::string>& into) {
  while (list.hasMore()) {
    const comm::SearchResult& hit = list.getNext();
    char rest[40];
    std::snprintf(rest, sizeof rest, "|%.3f|%u|%u", hit.getScore(), unsigned{hit.getStatus()},
                  hit.getRawKeyLength());
    into.push_back(brief({reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength()}) +
                   '|' + brief(utf8(hit.getKey())) + rest);
  }
}

void take(comm::ParseResponse& list, std::vector<std::string>& into) {
  while (list.hasMore()) {
    const comm::ParseResult& result = list.getNext();
    into.push_back(brief(utf8(result.getText())) + '|' + inOneLine(result.getMessage()) + '|' +
                   std::to_string(result.getCode()));
  }
}

/// Calls the library; what it raises becomes the outcome's error.
template <class Call>
bool calls(Outcome& outcome, const char* prefix, Call call) {
  try {
    call();
    return true;
  } catch (const comm::RESTException& e) {
    const Harness harness;
    outcome.error = prefix + raised(e, e.isServerReported());
  } catch (const oss::NLSException& e) {
    const Harness harness;
    outcome.error = prefix + raised(e, false);
  } catch (const std::bad_alloc&) {
    const Harness harness;
    outcome.error = std::string(prefix) + "bad_alloc";
  } catch (const std::exception& e) {
    const Harness harness;
    outcome.error = std::string(prefix) + "undocumented: " + e.what();
  }
  return false;
}

std::string statusAndText(comm::ClientResponse& response, std::uint32_t kind) {
  std::string line =
      std::to_string(response.getStatusCode()) + ' ' + std::to_string(response.getResultCode());
  const std::string message = inOneLine(response.getStatusMessage());
  if (!message.empty()) line += " message=" + message;
  if (!response.getContent().isEmpty()) line += " text=" + brief(utf8(response.getContent()));
  if (kind == SELECTIVITY) {
    const comm::SelectivityInfo& estimate = response.getSelectivityInfo();
    line += " estimate=" + std::to_string(estimate.getValue1()) + ' ' +
            std::to_string(estimate.getValue2()) + ' ' + std::to_string(estimate.getValue3());
  }
  return line;
}

std::string errorReply(const std::string& pairs) {
  return std::string("\0\6", 2) + u16(pairs.size()) + pairs;
}

const std::string BLANKS(25'600, 'c');

// NOLINTNEXTLINE(readability-function-size): a list, a line or two for each scenario
std::vector<Scenario> build() {
  const std::string refused = errorReply(pair("MsgId", "SRV7") + pair("MsgText", "not now"));
  const std::string hits = FINE +
                           record(5,
                                  "\x03\xe8"
                                  "ab") +
                           record(1, "abc") + record(19, "x");
  const std::string documents =
      FINE + record(1, pair("Doc", "a")) +
      record(6, pair("Doc", "b") + pair("MsgId", "SRV8") + pair("MsgText", "bad"));
  const std::string numbers("\0\0\0\7\0\0\0\x9\0\0\0\5", 12);
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
    add("busy" + of, {{kind, {"\0\5", 2}}});
    add("not allowed" + of, {{kind, "\1\x91"}});
    add("status 7" + of, {{kind, {"\0\7", 2}}});
    add("refused, cut" + of, {{kind, refused.substr(0, 9), After::CLOSE}});
  }
  for (const std::uint32_t kind : {STREAM_SEARCH, SCALAR_SEARCH}) {
    const std::string of = " kind " + std::to_string(kind);
    add("hits" + of, {{kind, hits + END_MARKER}});
    add("one hit" + of, {{kind, FINE + record(5, "\1\2k\xc3\xa9") + END_MARKER}});
    add("no hits" + of, {{kind, FINE + END_MARKER}});
    add("short hits" + of, {{kind, FINE + record(1, "a") + record(14, "") + END_MARKER}});
    add("an error among hits" + of,
        {{kind, FINE + record(6, u16(10) + pair("MsgId", "E")) + record(1, "b") + END_MARKER}});
    add("hits, closed" + of, {{kind, hits, After::CLOSE}});
    add("hits, closed in one" + of, {{kind, hits + std::string("\0\1\0\3z", 5), After::CLOSE}});
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
      {{GET_SERVER_VERSION, FINE + record(9, u16(10) + pair("MsgId", "E"))}});
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

std::string u16(std::size_t value) {
  return {static_cast<char>(value >> 8U & 0xffU), static_cast<char>(value & 0xffU)};
}
std::string record(std::size_t status, std::string_view payload) {
  return (u16(status) + u16(payload.size())).append(payload);
}
std::string pair(std::string_view key, std::string_view value) {
  return (u16(key.size()).append(key) + u16(value.size())).append(value);
}

std::string text(const Outcome& outcome) {
  std::string line = (outcome.error.empty() ? "ok" : outcome.error) +
                     (outcome.complete ? " complete " : " incomplete ") + outcome.rest;
  for (const std::string& result : outcome.results) line += " {" + result + '}';
  return line;
}

std::string text(const std::vector<Outcome>& outcomes) {
  std::string all;
  for (const Outcome& outcome : outcomes) all += (all.empty() ? "" : " ; ") + text(outcome);
  return all;
}

TortureClient::TortureClient() : TamberPerfClient(UnicodeString(HOST, ""), PORT) {}

void TortureClient::configure(const Scenario& scenario) {
  constexpr unsigned int AN_HOUR = 3'600'000;
  usePeristentConnection(scenario.persistent);
  useBufferedConnection(scenario.buffered);
  useStreamedResults(scenario.streamed);
  setNumRetries(scenario.retries);
  const unsigned int limit = scenario.timed ? AN_HOUR : 0;
  setTimeOut(limit);
  setReceiveTimeOut(limit);
  setSendTimeOut(limit);
}

const std::vector<Scenario>& corpus() {
  static const std::vector<Scenario> all = build();
  return all;
}

const Scenario& cleanScenario() {
  static const Scenario clean{
      "clean",
      {{STREAM_SEARCH, FINE +
                           record(5,
                                  "\1\2"
                                  "clean") +
                           END_MARKER},
       {GET_SERVER_VERSION, FINE + record(1, "a version of more than a few letters")}}};
  return clean;
}

comm::ClientRequest makeRequest(std::uint32_t kind, std::string_view step, std::size_t content) {
  static const std::string key = "key of a document";
  util::ExtendedProperties properties;
  properties.putProperty(UnicodeString("step", ""),
                         UnicodeString::fromUTF8({step.data(), static_cast<int>(step.size())}));
  properties.putProperty(UnicodeString("query", ""),
                         UnicodeString("words that do not fit into a short text", ""));
  comm::ClientRequest request;
  request.buildRequest(static_cast<comm::ClientRequest::REQUEST>(kind), properties);
  if (content != 0) {
    request.setDocKey(key.data(), static_cast<unsigned int>(key.size()));
    request.setContent({comm::KVPair(UnicodeString("title", ""), UnicodeString("a field", ""))},
                       BLANKS.data(), static_cast<unsigned int>(content));
  }
  return request;
}

std::string_view headerValue(std::string_view frame, std::string_view key) {
  const std::string line = '\n' + std::string(key) + ": ";
  const std::size_t at = frame.find(line);
  if (at == frame.npos) return {};
  const std::string_view value = frame.substr(at + line.size());
  return value.substr(0, value.find('\n'));
}

Net::Peer peerOf(const Scenario& scenario, std::function<void(Answer&)> tune) {
  return [&scenario, tune = std::move(tune)](std::string_view frame, std::size_t) {
    // Documents may have been gathered in an earlier scenario; nobody answers them.
    if (headerValue(frame, "action") == "asyncAddDocument") return Answer{};
    const std::string_view number = headerValue(frame, "step");
    std::size_t at = scenario.steps.size();
    std::from_chars(number.data(), number.data() + number.size(), at);
    if (at >= scenario.steps.size()) return Answer{{}, {}, After::RESET};
    Answer answer{scenario.steps[at].reply, {}, scenario.steps[at].after};
    if (tune) tune(answer);
    return answer;
  };
}

Outcome ask(TortureClient& client, comm::ClientRequest& request, comm::ClientResponse& response,
            bool pulls) {
  Outcome outcome;
  const std::uint32_t kind = request.getRequestType();
  calls(outcome, "", [&] { client.sendAndRecvMesg(request, response); });
  const auto collect = [&] {
    const Harness harness;
    take(response.getSearchResponse(), outcome.results);
    take(response.getParseResponse(), outcome.results);
  };
  collect();
  while (pulls && outcome.error.empty() && !client.isEndOfStream()) {
    if (client.net != nullptr) client.net->pulling = true;
    calls(outcome, "pull: ", [&] {
      if (kind == PARSE_RESULT) {
        response.getParseResponse(client);
      } else {
        response.getSearchResponse(client, true);
      }
    });
    collect();
  }
  if (client.net != nullptr) client.net->pulling = false;
  const Harness harness;
  outcome.complete = client.isReplyComplete();
  outcome.rest = statusAndText(response, kind);
  return outcome;
}

std::vector<Outcome> run(TortureClient& client, const Scenario& scenario) {
  std::vector<Outcome> outcomes;
  for (std::size_t i = 0; i < scenario.steps.size(); ++i) {
    const Harness harness;
    const Step& step = scenario.steps[i];
    if (client.net != nullptr) client.net->step = i;
    comm::ClientRequest request = makeRequest(step.kind, std::to_string(i), step.content);
    comm::ClientResponse response;
    --Harness::depth;
    Outcome outcome = ask(client, request, response, scenario.streamed);
    ++Harness::depth;
    outcomes.push_back(std::move(outcome));
  }
  return outcomes;
}

std::vector<std::string> resultsOf(const comm::ClientResponse& response) {
  const Harness harness;
  comm::ClientResponse copy(response);
  std::vector<std::string> results;
  take(copy.getSearchResponse(), results);
  take(copy.getParseResponse(), results);
  return results;
}

void Failures::add(const std::string& where, const std::string& what) {
  if (++count_ <= 10) std::fprintf(stderr, "FAILED %s: %s\n", where.c_str(), what.c_str());
}

}  // namespace orvix::torture
