// SPDX-License-Identifier: Apache-2.0
// What runs an exchange of the corpus and renders its outcome. Rendering stands under Harness guards, so that
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

void take(comm::SearchResponse& list, std::vector<std::string>& into) {
  while (list.hasMore()) {
    const comm::SearchResult& hit = list.getNext();
    into.push_back(hitText({reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength()},
                           hit.getKey(), hit.getScore(), hit.getStatus()));
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

const std::string BLANKS(25'600, 'c');

}  // namespace

std::string hitText(std::string_view rawKey, const UnicodeString& key, double score,
                    unsigned int status) {
  char rest[40];
  std::snprintf(rest, sizeof rest, "|%.3f|%u|%zu", score, status, rawKey.size());
  return brief(std::string(rawKey)) + '|' + brief(utf8(key)) + rest;
}

std::string raised(const oss::BaseException& e, bool byServer) {
  std::string line;
  for (const oss::Message& message : e.getMessages()) {
    line += line.empty() ? inOneLine(message) : '+' + utf8(message.getMessageID());
    if (message.getMessageText().isBogus()) line += "(bogus)";
  }
  return byServer ? line + " (server)" : line;
}

std::string restOf(comm::ClientResponse& response, std::uint32_t kind) {
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
  outcome.rest = restOf(response, kind);
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
