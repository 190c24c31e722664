// SPDX-License-Identifier: Apache-2.0
// Every allocation of every exchange fails, once and from then on. The outcome must be the clean
// one or a documented error; what goes out must be the whole request or nothing of it; results that
// came earlier stay as they were, nothing is leaked, and the client serves a clean request.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <new>
#include <optional>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/torture/qorMemoryBench.h"

namespace orvix::torture {
namespace {

constexpr const char* DOCUMENTED[] = {
    "bad_alloc",
    "ES_ERR_OUT_OF_MEMORY@../../include/infra/oss/qorConverter:492[Converter::convert()]",
    "ERR_CLIENT_INTERNAL@qorTamberPerfClient:112[unknown error from sendandrecvMesgOnce]",
    "ERR_CLIENT_INTERNAL@qorTamberPerfClient:146[unknown error from sendandrecvMesgOnce]",
    "ERR_CONNECT_SERVER@qorCorvaneClient:248[peer.test][4711]",
    "ERR_SERVER_PROTOCOL@qorTamberPerfClient:613[Error reading payload (chunk) from socket]"};
/// What a struck system call comes to; with a failed allocation beside it another may be struck.
constexpr const char* OF_THE_NETWORK[] = {
    "ERR_CONNECT_SERVER@qorCorvaneClient:236[peer.test][4711]+SOCKET_RESOLVE",
    "ERR_CONNECT_SERVER@qorCorvaneClient:236[peer.test][4711]+SOCKET_CONNECT",
    "ERR_CONNECT_SERVER@qorCorvaneClient:236[peer.test][4711]+SOCKET_WAIT",
    "ERR_SERVER_COMM_SEND@qorTamberPerfClient:280[peer.test][4711]",
    "ERR_SERVER_COMM_RECV@qorTamberPerfClient:382[peer.test][4711]",
    "ERR_SERVER_COMM_RECV@qorTamberPerfClient:508[peer.test][4711]"};

bool isDocumented(std::string_view error, bool networkFails = false) {
  if (error.starts_with("pull: ")) error.remove_prefix(6);
  const auto is = [&](const char* known) { return error == known; };
  return std::any_of(std::begin(DOCUMENTED), std::end(DOCUMENTED), is) ||
         (networkFails && std::any_of(std::begin(OF_THE_NETWORK), std::end(OF_THE_NETWORK), is));
}

bool isPrefix(const std::vector<std::string>& part, const std::vector<std::string>& whole) {
  return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
}

/// What the clean scenario and this one look like without faults.
struct Reference {
  explicit Reference(const Scenario& scenario, Injection injection = {})
      : networkFails(injection.at != 0) {
    Bench bench(scenario, injection);
    outcomes = bench.faulty({});
    calls = bench.calls;
    after = bench.clean();
    Bench undisturbed(scenario);
    whole = undisturbed.faulty({});
    undisturbed.clean();
    frames = undisturbed.frames;
  }
  bool networkFails;
  std::vector<Outcome> after;
  std::vector<Outcome> outcomes;
  std::vector<Outcome> whole;  ///< without faults of the network either
  std::uint64_t calls = 0;
  std::set<std::string> frames;
};

std::string judge(const Reference& reference, const std::vector<Outcome>& outcomes) {
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    const Outcome& clean = reference.outcomes[i];
    const Outcome& outcome = outcomes[i];
    const Outcome& whole = reference.whole[i];
    if (outcome == clean || outcome == whole) continue;
    // A refusal that was read to its end is complete, even when there is no memory to report it.
    const auto isRefusal = [](const Outcome& one) { return !one.error.empty() && one.complete; };
    const bool refused = isRefusal(clean) || isRefusal(whole);
    const bool fails =
        isDocumented(outcome.error, reference.networkFails) && (!outcome.complete || refused);
    if (fails && isPrefix(outcome.results, whole.results)) continue;
    return "step " + std::to_string(i) + ": " + text(outcome) + " instead of " + text(clean);
  }
  return {};
}

/// A copy of a response is whole or not made, and an assignment that fails changes nothing.
std::string copyUnderFault(const comm::ClientResponse& kept, std::uint64_t at, bool fromThen) {
  std::optional<comm::ClientResponse> target;
  const std::vector<std::string> whole = resultsOf(kept);
  bool made = true;
  {
    const Library library;
    target.emplace();
    Allocator::failAt(at, fromThen);
    try {
      *target = comm::ClientResponse(kept);
    } catch (const std::bad_alloc&) {
      made = false;
    }
  }
  const std::uint64_t failures = Allocator::failures();
  Allocator::failAt(0, false);
  const std::vector<std::string> copied = resultsOf(*target);
  if (resultsOf(kept) != whole) return "the original of a copy has changed";
  if (made && copied != whole) return "a copy is not whole";
  if (!made && !isPrefix(copied, whole)) return "a copy that failed holds something else";
  return failures == 0 ? "end" : "";
}

std::uint64_t copies(Failures& failures) {
  comm::ClientResponse kept;
  for (int i = 0; i < 3; ++i) {
    comm::SearchResult hit;
    hit.decode(reinterpret_cast<const unsigned char*>("a key that is long enough for the heap"), 38,
               1);
    kept.addSearchResult(hit);
    comm::ParseResult outcome(true);
    const std::string pairs = pair("Doc", "the name of a document, long enough for the heap");
    outcome.decode(reinterpret_cast<const unsigned char*>(pairs.data()),
                   static_cast<unsigned short>(pairs.size()), 1);
    kept.addParseResult(outcome);
  }
  kept.appendContent(icu::UnicodeString("a text that is long enough for the heap, too", ""));
  std::uint64_t faults = 0;
  for (const bool fromThen : {false, true}) {
    for (std::uint64_t at = 1;; ++at, ++faults) {
      const std::int64_t live = Allocator::live();
      const std::string wrong = copyUnderFault(kept, at, fromThen);
      if (wrong == "end") break;
      if (!wrong.empty()) failures.add("copies, allocation " + std::to_string(at), wrong);
      if (Allocator::live() != live) failures.add("copies", "leak");
    }
  }
  return faults;
}

/// In a fresh process: 0 when the allocation failed and all was well, 1 when there is no such
/// allocation, 2 when something is wrong.
int coldStart(std::uint64_t at) {
  Bench bench(cleanScenario());
  const auto cold = bench.faulty({at});
  const bool struck = bench.failures != 0;
  bool fine = true;
  for (const Outcome& one : cold) fine = fine && (one.error.empty() || isDocumented(one.error));
  bench.frames.clear();
  for (const Outcome& one : bench.clean()) fine = fine && one.error.empty() && one.complete;
  for (const std::string& frame : bench.frames) {
    fine = fine && headerValue(frame, "ver") == "1.1" && !headerValue(frame, "action").empty() &&
           headerValue(frame, "query") == "words that do not fit into a short text";
  }
  if (!fine) return 2;
  return struck ? 0 : 1;
}

/// The first requests of a process: what is built once must be built whole, if not at once.
std::uint64_t coldStarts(Failures& failures) {
  std::uint64_t at = 1;
  for (;; ++at) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(coldStart(at));
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child) break;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 1) break;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      failures.add("cold start, allocation " + std::to_string(at),
                   "status " + std::to_string(status));
    }
  }
  return at - 1;
}

/// One run with failing allocations; what is wrong with it, or nothing.
std::string playOnce(const Scenario& scenario, const Reference& reference, Injection injection,
                     const Failing& failing, std::uint64_t& faults) {
  const std::int64_t live = Allocator::live();
  std::string wrong;
  {
    Bench bench(scenario, injection);
    const std::vector<Outcome> outcomes = bench.faulty(failing);
    faults += bench.failures != 0 ? 1 : 0;
    wrong = judge(reference, outcomes);
    const std::vector<Outcome> after = bench.clean();
    if (wrong.empty() && after != reference.after) wrong = "afterwards " + text(after);
    if (wrong.empty()) wrong = bench.problem();
    for (const std::string& frame : bench.frames) {
      if (wrong.empty() && reference.frames.count(frame) == 0) wrong = "another request: " + frame;
    }
    bench.forgetClient();
    if (wrong.empty() && bench.openDescriptors() != 0) wrong = "a descriptor is left open";
  }
  if (wrong.empty() && Allocator::live() != live) {
    wrong = std::to_string(Allocator::live() - live) + " blocks leaked";
  }
  return wrong;
}

std::uint64_t playScenario(const Scenario& scenario, Injection injection, const Options& options,
                           Random& random, Failures& failures) {
  std::uint64_t faults = 0;
  const Reference reference(scenario, injection);
  const std::uint64_t stride = options.quick ? 5 : 1;
  for (std::uint64_t at = 1 + random.below(stride); at <= reference.calls; at += stride) {
    const Failing ways[] = {{at}, {at, true}, {at, false, at + 1 + random.below(20)}};
    for (const Failing& failing : ways) {
      const std::string wrong = playOnce(scenario, reference, injection, failing, faults);
      if (wrong.empty()) continue;
      failures.add(scenario.name + " allocation " + std::to_string(at) +
                       (failing.fromThen ? " and from then on" : "") + " and " +
                       std::to_string(failing.second) + ", system call " +
                       std::to_string(injection.at),
                   wrong);
    }
  }
  return faults;
}

int main(const Options& options) {
  const Harness harness;
  Failures failures;
  Random random(options.seed);
  const std::uint64_t cold = coldStarts(failures);
  { const Reference warm(cleanScenario()); }
  std::uint64_t faults = copies(failures);
  for (const Scenario& scenario : corpus()) {
    if (options.quick && !random.oneIn(4) && scenario.steps.size() < 3) continue;
    faults += playScenario(scenario, {}, options, random, failures);
    Scenario timed(scenario);  // waiting with a limit allocates, too
    timed.timed = true;
    timed.name += ", timed";
    timed.retries = 0;
    faults += playScenario(timed, {}, options, random, failures);
    // While a system call fails, the error has to be put together.
    if (scenario.steps.size() == 1) continue;
    for (std::uint64_t call = 1; call < 40; call += options.quick ? 7 : 1) {
      const Span span = call % 2 == 0 ? Span::ONCE : Span::EVERY_CALL;
      faults += playScenario(scenario, {call, Fault::RESET, span}, options, random, failures);
    }
  }
  if (faults < (options.quick ? 1'000U : 20'000U)) failures.add("all", "too few faults");
  std::printf(
      "torture-memory: %ju failed allocations, %ju of them in a cold start, %zu failures, seed "
      "%u\n",
      std::uintmax_t{faults + cold}, std::uintmax_t{cold}, failures.count(), options.seed);
  return failures.count() == 0 ? 0 : 1;
}

}  // namespace
}  // namespace orvix::torture

int main(int argc, char** argv) { return orvix::torture::main({argc, argv}); }
