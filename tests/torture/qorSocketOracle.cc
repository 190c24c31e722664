// SPDX-License-Identifier: Apache-2.0
#include "tests/torture/qorSocketOracle.h"

#include <algorithm>
#include <optional>

#include "comm/protocol/qorRequestKind.h"

namespace orvix::torture {

using namespace comm::kinds;

namespace {

/// How one attempt of a request ends.
struct Effect {
  bool retryable = false;
  Expected expected;
};

const std::string WHERE = "[peer.test][4711]";

Effect lost(const std::string& idAndLine, const std::string& behind = {}) {
  return {true, {Expected::ERROR, idAndLine + WHERE + behind}};
}
Effect connectFailed(const char* reason) {
  return lost("ERR_CONNECT_SERVER@qorCorvaneClient:236", std::string("+") + reason);
}
Effect sendFailed() { return lost("ERR_SERVER_COMM_SEND@qorTamberPerfClient:280"); }
Effect timedOut() { return lost("ERR_SERVER_COMM_TIMEOUT@qorCorvaneClient:119"); }
Effect receiveFailed(std::size_t replyAt) {
  return lost(std::string("ERR_SERVER_COMM_RECV@qorTamberPerfClient:") +
              (replyAt == 0 ? "382" : "508"));
}
Effect protocol(const std::string& fileAndLine, const std::string& argument) {
  return {false, {Expected::ERROR, "ERR_SERVER_PROTOCOL@" + fileAndLine + '[' + argument + ']'}};
}
Effect chunkCut(const char* line, const char* what) {
  return protocol(std::string("qorTamberPerfClient:") + line,
                  std::string("Error reading payload (chunk) ") + what + "from socket");
}

std::size_t u16At(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]) * 256U + static_cast<unsigned char>(bytes[at + 1]);
}

/// The record or chunk that byte `at` of a reply stands in: where it begins, and what came before.
struct Place {
  std::size_t begin = 2;
  std::size_t data = 0;  ///< records before it
};

Place placeOf(const std::string& reply, std::size_t at) {
  Place place;
  while (place.begin + 4 <= reply.size()) {
    const std::size_t end = place.begin + 4 + u16At(reply, place.begin + 2);
    if (end > at) break;
    place.begin = end;
    ++place.data;
  }
  return place;
}

/// The peer closes, as far as the client can tell, behind `at` bytes of the reply.
std::optional<Effect> closed(const Step& step, std::size_t at) {
  if (at < 2) return receiveFailed(at);
  const std::size_t status = u16At(step.reply, 0);
  if (status == 6) return Effect{false, {Expected::SERVER_ERROR}};
  if (status != 1) return std::nullopt;
  const Place place = placeOf(step.reply, at);
  const std::size_t held = at - place.begin;
  if (step.kind == GET_SERVER_VERSION) {
    if (held == 0) {
      return protocol("qorTamberPerfResponse:436", "Zero(0) sized protocol body in parseContent");
    }
    return protocol("qorTamberPerfResponse:452",
                    "Invalid message envelope, status code not available in parseContent");
  }
  if (step.kind == COLLECTION_STATUS) {
    if (held < 2) return chunkCut("583", "status ");
    return held < 4 ? chunkCut("598", "size ") : chunkCut("613", "");
  }
  if (held != 0) return receiveFailed(at);
  if (step.kind == SELECTIVITY && place.data == 0) {
    return protocol("qorTamberPerfResponse:648",
                    "Zero(0) sized protocol body in parseSelectivity ");
  }
  return Effect{false, {Expected::ENDED, {}, place.data}};
}

std::optional<Effect> ofOpening(const Hit& hit) {
  if (hit.call == Call::SETOPT) return std::nullopt;
  const bool interrupted = hit.fault == Fault::SIGNAL;
  if (interrupted && (hit.call == Call::CONNECT || hit.call == Call::POLL)) return std::nullopt;
  if (hit.call == Call::RESOLVE) return connectFailed("SOCKET_RESOLVE");
  if (hit.call == Call::POLL && hit.fault != Fault::TIMEOUT) return connectFailed("SOCKET_WAIT");
  if (!hit.lastAddress) return std::nullopt;
  return connectFailed("SOCKET_CONNECT");
}

std::optional<Effect> effectOf(const Step& step, const Hit& hit) {
  if (hit.call == Call::CLOSE) return std::nullopt;
  if (hit.opening) return ofOpening(hit);
  if (hit.fault == Fault::SIGNAL || hit.fault == Fault::FULL) return std::nullopt;
  if (hit.call == Call::POLL) {
    if (!hit.forInput) return sendFailed();
    if (hit.pollMilliseconds == 0) return std::nullopt;  // then the connection is not used
    return hit.fault == Fault::TIMEOUT ? timedOut() : receiveFailed(hit.replyAt);
  }
  if (hit.fault == Fault::SHORT) {
    const bool chunks = step.kind == COLLECTION_STATUS && step.reply.substr(0, 2) == FINE;
    if (hit.call != Call::RECV || !chunks || hit.replyAt < 2) return std::nullopt;
    if (hit.handed != 1) return std::nullopt;  // the field is whole
    const std::size_t in = hit.replyAt - placeOf(step.reply, hit.replyAt).begin;
    if (in == 0) return chunkCut("583", "status ");
    return in == 2 ? std::optional(chunkCut("598", "size ")) : std::nullopt;
  }
  if (hit.call == Call::SEND) return sendFailed();
  return hit.fault == Fault::END ? closed(step, hit.replyAt) : receiveFailed(hit.replyAt);
}

}  // namespace

Expected expectedOf(const Scenario& scenario, std::size_t number, const std::vector<Hit>& hits,
                    std::size_t attempts) {
  std::size_t failures = 0;
  for (const Hit& hit : hits) {
    if (hit.step != number) continue;
    const auto effect = effectOf(scenario.steps[number], hit);
    if (!effect) continue;
    ++failures;
    if (hit.pulling || !effect->retryable || failures >= attempts) {
      Expected expected = effect->expected;
      if (hit.pulling && expected.what == Expected::ERROR) expected.error.insert(0, "pull: ");
      return expected;
    }
  }
  return {};
}

std::string difference(const Expected& expected, const Outcome& clean, const Outcome& outcome) {
  const bool prefix =
      outcome.results.size() <= clean.results.size() &&
      std::equal(outcome.results.begin(), outcome.results.end(), clean.results.begin());
  bool same = false;
  switch (expected.what) {
    case Expected::AS_CLEAN:
      same = outcome == clean;
      break;
    case Expected::ERROR:
      same = outcome.error == expected.error && !outcome.complete && prefix;
      break;
    case Expected::SERVER_ERROR:  // or a status request, which reports the error as its result
      same = !outcome.complete && (outcome.error.ends_with(" (server)") ||
                                   (outcome.error.empty() && outcome.rest.starts_with("2 0")));
      break;
    case Expected::ENDED:
      same = outcome.error.empty() && !outcome.complete && prefix &&
             (outcome.results.size() == expected.records || clean.results.empty());
      break;
  }
  if (same) return {};
  const char* const names[] = {"", "", "an error of the server", "a normal, incomplete end"};
  return text(outcome) + " instead of " +
         (expected.what == Expected::AS_CLEAN ? text(clean)
                                              : names[expected.what] + expected.error);
}

}  // namespace orvix::torture
