// SPDX-License-Identifier: Apache-2.0
// A client that plays scenarios while allocations fail.
#pragma once

#include <cstdint>
#include <iterator>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/torture/qorAllocator.h"
#include "tests/torture/qorCorpus.h"

namespace orvix::torture {

/// While one stands, allocations are the library's: counted, and failed when it is time.
struct Library {
  Library() { std::swap(depth, Harness::depth); }
  ~Library() { std::swap(depth, Harness::depth); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  int depth = 0;
};

struct Failing {
  std::uint64_t at = 0;  ///< number of the allocation, from 1; 0: none
  bool fromThen = false;
  std::uint64_t second = 0;
};

/// Borrows its units, so that a copy is not one more owner of them but takes memory.
inline icu::UnicodeString lentText() {
  static constexpr char16_t UNITS[] = u"a text that its owner lends, too long to be kept in place";
  return icu::UnicodeString(true, UNITS, static_cast<int>(std::size(UNITS) - 1));
}

/// One client with its peer, an earlier result and the requests to come.
class Bench {
 public:
  explicit Bench(const Scenario& scenario, Injection injection = {})
      : scenario_(scenario),
        injection_(injection),
        net_([this](std::string_view frame, std::size_t connection) {
          frames.emplace(frame);
          return peerOf(*playing_)(frame, connection);
        }) {
    const Library library;
    client_.emplace();
  }
  ~Bench() { client_.reset(); }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  std::vector<Outcome> clean() {
    net_.inject({});
    return play(cleanScenario(), {});
  }
  /// The scenario, with allocations failing and, when asked for, system calls.
  std::vector<Outcome> faulty(const Failing& failing) {
    net_.inject(injection_);
    return play(scenario_, failing);
  }

  std::set<std::string> frames;
  std::uint64_t calls = 0;
  std::uint64_t failures = 0;
  [[nodiscard]] const std::string& problem() const { return net_.problem; }
  [[nodiscard]] std::size_t openDescriptors() const { return net_.openDescriptors(); }
  void forgetClient() { client_.reset(); }

 private:
  std::vector<Outcome> play(const Scenario& scenario, const Failing& failing) {
    playing_ = &scenario;
    client_->configure(scenario);
    std::vector<Outcome> outcomes(scenario.steps.size());
    Allocator::failAt(failing.at, failing.fromThen, failing.second);
    calls = failures = 0;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
      const Step& step = scenario.steps[i];
      const comm::ClientRequest request = makeRequest(step.kind, std::to_string(i), step.content);
      const Library library;
      try {
        util::ExtendedProperties properties(request.getProperties());
        properties.putProperty(icu::UnicodeString("lent", ""), lentText());
        comm::ClientRequest copy(request);
        copy.buildRequest(request.getRequestType(), properties);
        comm::ClientResponse response;
        outcomes[i] = ask(*client_, copy, response, scenario.streamed);
      } catch (const std::bad_alloc&) {
        const Harness harness;
        outcomes[i].error = "bad_alloc";
      }
    }
    calls = Allocator::calls();
    failures = Allocator::failures();
    Allocator::failAt(0, false);
    return outcomes;
  }

  const Scenario& scenario_;
  Injection injection_;
  const Scenario* playing_ = nullptr;
  Net net_;
  std::optional<TortureClient> client_;
};

}  // namespace orvix::torture
