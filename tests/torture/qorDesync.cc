// SPDX-License-Identifier: Apache-2.0
// No reply is ever taken for the reply to another request. The peer puts into each reply the nonce
// that it found in the request's bytes; sequences of requests on one client are disturbed by faults
// at random bytes and calls, late replies, abandoned streams, server errors and surplus bytes.
#include <cstdio>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/support/qorRESTException.h"
#include "tests/torture/qorCorpus.h"

namespace orvix::torture {
namespace {

using namespace comm::kinds;

enum class Mischief { NONE, CUT, SURPLUS, LATE, REFUSED, NOT_ALLOWED, SYSTEM_CALL, KINDS };
enum class Use { WHOLE, PULLED, ABANDONED };

struct Plan {
  std::uint32_t kind;
  Mischief mischief;
  Use use;
  std::string token;
  std::size_t results;
  bool struck = false;  // mischief happens to the first attempt only
};

constexpr std::uint32_t KINDS[] = {STREAM_SEARCH,      STREAM_SEARCH,      SCALAR_SEARCH,
                                   PARSE_RESULT,       SELECTIVITY,        GET_STATUS,
                                   DELETE_DOCUMENT,    GET_SERVER_VERSION, COLLECTION_STATUS,
                                   ASYNC_ADD_DOCUMENT, LAST_DOC_SENT};

std::string tokenOf(std::size_t number) {
  char token[24];
  std::snprintf(token, sizeof token, "n%09zu", number);
  return token;
}

std::string refusal(const std::string& token) { return u16(6) + errorBody(pair("MsgId", token)); }

/// A reply to a request of `kind` that says `token` wherever it can.
std::string replyOf(std::uint32_t kind, const std::string& token, std::size_t results) {
  std::string reply = FINE;
  switch (kind) {
    case STREAM_SEARCH:
    case SCALAR_SEARCH:
      for (std::size_t i = 0; i < results; ++i) reply += record(i % 2 == 0 ? 1 : 14, token);
      return reply + END_MARKER;
    case PARSE_RESULT:
      for (std::size_t i = 0; i < results; ++i) reply += record(1, pair("Doc", token));
      return reply + END_MARKER;
    case SELECTIVITY: {
      const std::string number =
          u16(std::stoul(token.substr(1)) >> 16U) + u16(std::stoul(token.substr(1)));
      return reply + record(1, number + number + number) + END_MARKER;
    }
    case GET_SERVER_VERSION:
      return reply + record(1, token);
    case COLLECTION_STATUS:
      return reply + record(14, token.substr(0, 4)) + record(1, token.substr(4));
    case ASYNC_ADD_DOCUMENT:
    case LAST_DOC_SENT:
      return {};
    default:
      return reply;
  }
}

class Sequence {
 public:
  Sequence(Random& random, Failures& failures)
      : random_(random),
        failures_(failures),
        net_([this](std::string_view frame, std::size_t) { return answer(frame); }) {}

  std::size_t play() {
    client_.net = &net_;
    buffered_ = random_.oneIn(3);
    client_.useBufferedConnection(buffered_);
    if (random_.oneIn(20)) client_.usePeristentConnection(false);
    const std::size_t requests = 3 + random_.below(4);
    for (std::size_t i = 0; i < requests; ++i) playRequest(i);
    return requests;
  }

 private:
  void playRequest(std::size_t number) {
    plans_.push_back(
        {KINDS[random_.below(std::size(KINDS))],
         random_.oneIn(2)
             ? Mischief::NONE
             : static_cast<Mischief>(random_.below(static_cast<std::size_t>(Mischief::KINDS))),
         static_cast<Use>(random_.below(3)), tokenOf(base_ + number), 1 + random_.below(3)});
    const Plan& plan = plans_.back();
    net_.inject({});
    if (plan.mischief == Mischief::SYSTEM_CALL) {
      constexpr Fault FAULTS[] = {Fault::RESET, Fault::PIPE, Fault::END, Fault::SHORT,
                                  Fault::SIGNAL};
      net_.inject({net_.calls + 1 + random_.below(14), FAULTS[random_.below(std::size(FAULTS))]});
    }
    client_.setNumRetries(static_cast<unsigned int>(random_.below(3)));
    client_.setReceiveTimeOut(plan.mischief == Mischief::LATE || random_.oneIn(2) ? 1'000 : 0);
    client_.useStreamedResults(plan.use != Use::WHOLE);
    const bool document = plan.kind == ASYNC_ADD_DOCUMENT;
    comm::ClientRequest request =
        makeRequest(plan.kind, plan.token, document ? 1 + random_.below(6'000) : 0);
    const Outcome outcome = ask(client_, request, response_, plan.use == Use::PULLED);
    check(plan, outcome);
    if (plan.use == Use::ABANDONED && random_.oneIn(2) && !client_.isEndOfStream()) {
      pullOnce(plan);
    }
  }

  /// One pull of a stream that is then left alone.
  void pullOnce(const Plan& plan) {
    try {
      client_.recv(response_);
    } catch (const comm::RESTException&) {
    }
    for (const std::string& result : resultsOf(response_)) checkToken(plan, result);
    response_ = comm::ClientResponse();  // a request empties only the list of its own kind
  }

  Answer answer(std::string_view frame) {
    const std::string token(headerValue(frame, "step"));
    Plan* plan = nullptr;
    for (Plan& one : plans_) plan = one.token == token ? &one : plan;
    if (plan == nullptr) return {{}, {}, After::RESET};
    Answer answer{replyOf(plan->kind, token, plan->results)};
    const bool answered = !comm::detail::isUnanswered(plan->kind);
    if (plan->mischief == Mischief::REFUSED && answered) answer.bytes = refusal(token);
    if (plan->mischief == Mischief::NOT_ALLOWED && answered) answer.bytes.replace(0, 2, "\1\x91");
    // What comes of a gathered document stands before the reply to what is sent with it.
    if (!plan->struck && (answered || !buffered_)) {
      plan->struck = true;
      if (plan->mischief == Mischief::CUT) {
        answer.bytes.resize(random_.below(answer.bytes.size() + 1));
        answer.after = random_.oneIn(2) ? After::CLOSE : After::RESET;
      } else if (plan->mischief == Mischief::SURPLUS) {
        const std::string stale = replyOf(KINDS[random_.below(std::size(KINDS))], "stale", 2);
        answer.bytes += stale.substr(0, 1 + random_.below(stale.size() + 1));
      } else if (plan->mischief == Mischief::LATE) {
        answer.lateAt = random_.below(answer.bytes.size() + 1);
      }
    }
    const std::size_t typical = 1 + random_.below(40);
    for (std::size_t i = 0; i < 12; ++i) {
      answer.pieces.push_back(static_cast<std::uint32_t>(1 + random_.below(typical)));
    }
    // The two bytes of a chunk's field have to come together.
    if (plan->kind == COLLECTION_STATUS) answer.pieces.clear();
    return answer;
  }

  void checkToken(const Plan& plan, const std::string& text) {
    if (text.find(plan.token) == text.npos) failures_.add(where(plan), "stale: " + text);
  }

  void check(const Plan& plan, const Outcome& outcome) {
    for (const std::string& result : outcome.results) checkToken(plan, result);
    const std::string number = std::to_string(std::stoul(plan.token.substr(1)));
    if (outcome.error.empty()) {
      if (plan.kind == SELECTIVITY) {
        const std::string estimate = " estimate=" + number + ' ' + number + ' ' + number;
        if (outcome.rest.find(estimate) == outcome.rest.npos)
          failures_.add(where(plan), outcome.rest);
      }
      if (plan.kind == GET_SERVER_VERSION || plan.kind == COLLECTION_STATUS) {
        checkToken(plan, outcome.rest);
      }
      const bool list =
          plan.kind == STREAM_SEARCH || plan.kind == SCALAR_SEARCH || plan.kind == PARSE_RESULT;
      if (outcome.complete && list && outcome.results.size() != plan.results) {
        failures_.add(where(plan), "complete, but " + text(outcome));
      }
    } else if (outcome.error.ends_with(" (server)") && outcome.complete) {
      checkToken(plan, outcome.error);
    }
    const bool abandoned = plan.use == Use::ABANDONED;
    if (plan.mischief == Mischief::NONE &&
        (!outcome.error.empty() || !(outcome.complete || abandoned))) {
      failures_.add(where(plan), "undisturbed, but " + text(outcome));
    }
    if (!net_.problem.empty()) failures_.add(where(plan), net_.problem);
  }

  [[nodiscard]] std::string where(const Plan& last) const {
    std::string line = "sequence";
    for (const Plan& plan : plans_) {
      line += " (" + std::to_string(plan.kind) + " mischief " +
              std::to_string(static_cast<int>(plan.mischief)) + " use " +
              std::to_string(static_cast<int>(plan.use)) + ')';
    }
    return line + ", nonce " + last.token;
  }

  Random& random_;
  Failures& failures_;
  std::size_t base_ = random_.below(900'000'000);
  bool buffered_ = false;
  std::vector<Plan> plans_;
  Net net_;
  TortureClient client_;
  comm::ClientResponse response_;
};

int main(const Options& options) {
  Failures failures;
  Random random(options.seed);
  const std::size_t sequences = options.quick ? 6'000 : 200'000;
  std::size_t requests = 0;
  for (std::size_t i = 0; i < sequences; ++i) {
    Sequence sequence(random, failures);
    requests += sequence.play();
  }
  std::printf("torture-desync: %zu sequences, %zu requests, %zu stale or wrong, seed %u\n",
              sequences, requests, failures.count(), options.seed);
  return failures.count() == 0 ? 0 : 1;
}

}  // namespace
}  // namespace orvix::torture

int main(int argc, char** argv) { return orvix::torture::main({argc, argv}); }
