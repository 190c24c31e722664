// SPDX-License-Identifier: Apache-2.0
// Every system call of every exchange fails in every way, once and from then on, alone and with a
// second fault behind it, inside the retry. Whatever happens must be what the position of the fault
// asks for, leave nothing open, and leave the same client object able to serve a clean request.
#include <cstdio>
#include <utility>

#include "tests/torture/qorCorpus.h"
#include "tests/torture/qorSocketOracle.h"

namespace orvix::torture {
namespace {

constexpr Fault FAULTS[] = {Fault::SIGNAL,  Fault::SHORT,   Fault::END,     Fault::RESET,
                            Fault::PIPE,    Fault::TIMEOUT, Fault::REFUSED, Fault::NO_FD,
                            Fault::NO_HOST, Fault::FULL};
constexpr Span SPANS[] = {Span::ONCE, Span::SAME_CALL, Span::EVERY_CALL};

class Bench {
 public:
  Bench(const Scenario& scenario, std::size_t addresses, Failures& failures)
      : scenario_(scenario), addresses_(addresses), failures_(failures) {
    calls = play({}, {});
  }

  /// Plays the scenario under these faults; returns the system calls that it took.
  std::uint64_t play(const Injection& first, const Injection& second) {
    const Scenario* playing = &scenario_;
    std::array<unsigned int, 8> frames{};
    Net net([&](std::string_view frame, std::size_t connection) {
      const std::string_view step = headerValue(frame, "step");
      if (!step.empty()) ++frames[static_cast<std::size_t>(step[0] - '0')];
      return peerOf(*playing)(frame, connection);
    });
    net.addresses = addresses_;
    std::string wrong;
    std::uint64_t used = 0;
    {
      TortureClient client(scenario_);
      client.net = &net;
      net.inject(first, second);
      const std::vector<Outcome> outcomes = run(client, scenario_);
      used = net.calls;
      if (first.at == 0) clean_ = outcomes;
      faults += net.hits.empty() ? 0U : 1U;
      wrong = judge(net, frames, outcomes);
      net.inject({});
      playing = &cleanScenario();
      client.configure(*playing);
      const std::vector<Outcome> after = run(client, *playing);
      if (text(after) != CLEAN && wrong.empty()) wrong = "afterwards " + text(after);
    }
    if (wrong.empty()) wrong = net.problem;
    if (wrong.empty() && net.openDescriptors() != 0) wrong = "a descriptor is left open";
    if (!wrong.empty()) failures_.add(describe(first, second), wrong);
    return used;
  }

  std::uint64_t calls = 0;
  std::uint64_t faults = 0;

 private:
  std::string judge(const Net& net, const std::array<unsigned int, 8>& frames,
                    const std::vector<Outcome>& outcomes) const {
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
      const unsigned int most = 1 + scenario_.retries;
      if (net.resolves[i] > most) return "more attempts than allowed";
      // A gathered frame goes out again with the attempts of a later request.
      if (frames[i] > most && !scenario_.buffered) return "a request was sent too often";
      if (outcomes[i].error.empty() && frames[i] == 0 && !scenario_.buffered) return "never sent";
      std::string wrong =
          difference(expectedOf(scenario_, i, net.hits, most), clean_[i], outcomes[i]);
      // A peer that always breaks off uses attempts up, so a fault may strike the last one.
      if (!wrong.empty() && clean_[i].error.starts_with("ERR_SERVER_COMM") && !net.hits.empty()) {
        const std::vector<Hit> lastFirst(net.hits.rbegin(), net.hits.rend());
        wrong = difference(expectedOf(scenario_, i, lastFirst, 1), clean_[i], outcomes[i]);
        if (outcomes[i] == clean_[i]) wrong.clear();
      }
      if (!wrong.empty()) return "step " + std::to_string(i) + ": " + wrong;
    }
    return {};
  }

  [[nodiscard]] std::string describe(const Injection& first, const Injection& second) const {
    std::string line = scenario_.name;
    for (const Injection& one : {first, second}) {
      line += " [call " + std::to_string(one.at) + " fault " +
              std::to_string(static_cast<int>(one.fault)) + " span " +
              std::to_string(static_cast<int>(one.span)) + ']';
    }
    return line;
  }

  static inline const std::string CLEAN =
      "ok complete 0 0 {clean|base64:Y2xlYW4=|0.258|5|5} ; "
      "ok complete 0 0 text=a version of more than a few letters";
  const Scenario& scenario_;
  std::size_t addresses_;
  Failures& failures_;
  std::vector<Outcome> clean_;
};

/// What is left out: all but a sample of a quick run.
class Choice {
 public:
  explicit Choice(const Options& options) : quick_(options.quick), random_(options.seed) {}
  bool skips() { return quick_ && !random_.oneIn(12); }
  Fault fault() { return FAULTS[random_.below(std::size(FAULTS))]; }
  Span span() { return SPANS[random_.below(2)]; }

 private:
  bool quick_;
  Random random_;
};

/// Each fault at each call. Returns the faults that struck.
std::uint64_t playSingle(Bench& bench, Choice& choice) {
  for (std::uint64_t at = 1; at <= bench.calls; ++at) {
    for (const Fault fault : FAULTS) {
      for (const Span span : SPANS) {
        if (!choice.skips()) bench.play({at, fault, span}, {});
      }
    }
  }
  return std::exchange(bench.faults, 0);
}

/// A reset at each call, and another fault at each call behind it.
std::uint64_t playPairs(Bench& bench, Choice& choice) {
  for (std::uint64_t at = 1; at <= bench.calls; ++at) {
    const Injection first{at, Fault::RESET, Span::ONCE};
    if (choice.skips()) continue;
    const std::uint64_t longer = bench.play(first, {});
    for (std::uint64_t second = at + 1; second <= longer; ++second) {
      const Fault fault = choice.fault();
      if (!choice.skips()) bench.play(first, {second, fault, choice.span()});
    }
  }
  return std::exchange(bench.faults, 0);
}

int main(const Options& options) {
  Failures failures;
  Choice choice(options);
  std::uint64_t single = 0;
  std::uint64_t pairs = 0;
  for (std::size_t addresses = 1; addresses <= 2; ++addresses) {
    for (const Scenario& scenario : corpus()) {
      if (addresses == 2 && scenario.steps.size() == 1) continue;
      Bench bench(scenario, addresses, failures);
      single += playSingle(bench, choice);
      pairs += playPairs(bench, choice);
    }
  }
  if (single + pairs < (options.quick ? 2'000U : 50'000U)) failures.add("all", "too few faults");
  std::printf(
      "torture-sockets: %ju faults at single calls, %ju behind a fault, %zu failures, seed %u\n",
      std::uintmax_t{single}, std::uintmax_t{pairs}, failures.count(), options.seed);
  return failures.count() == 0 ? 0 : 1;
}

}  // namespace
}  // namespace orvix::torture

int main(int argc, char** argv) { return orvix::torture::main({argc, argv}); }
