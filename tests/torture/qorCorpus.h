// SPDX-License-Identifier: Apache-2.0
// The scripted exchanges that all programs here share: requests of every kind, replies of every
// shape, the ways of a client to run them, and the outcome as data that can be compared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "comm/transport/qorTamberPerfClient.h"
#include "infra/oss/qorBaseException.h"
#include "tests/support/qorWire.h"
#include "tests/torture/qorOptions.h"
#include "tests/torture/qorVirtualNet.h"

namespace orvix::torture {

inline constexpr char HOST[] = "peer.test";
inline constexpr unsigned int PORT = 4711;

/// One request and the peer's answer to it.
struct Step {
  std::uint32_t kind;
  std::string reply;
  After after = After::OPEN;
  std::size_t content = 0;  ///< bytes of content of a document
};

/// Requests of one client, one after the other.
struct Scenario {
  std::string name;
  std::vector<Step> steps;
  bool persistent = true;
  bool buffered = false;
  bool streamed = false;
  bool timed = false;  ///< with time-outs, which never pass: other system calls
  unsigned int retries = 1;
};

/// What one request came to. Compare with ==.
struct Outcome {
  std::string error;  ///< id@file:line[arguments] of the first message and ids of the others
  bool complete = false;
  std::string rest;  ///< texts, statuses, the estimate
  std::vector<std::string> results;
  bool operator==(const Outcome&) const = default;
};
std::string text(const Outcome& outcome);
std::string text(const std::vector<Outcome>& outcomes);
// Their parts.
std::string hitText(std::string_view rawKey, const icu::UnicodeString& key, double score,
                    unsigned int status);
std::string raised(const oss::BaseException& e, bool byServer);
std::string restOf(comm::ClientResponse& response, std::uint32_t kind);

/// A client with the doors of a derived class open.
class TortureClient : public comm::TamberPerfClient {
 public:
  TortureClient();
  explicit TortureClient(const Scenario& scenario) : TortureClient() { configure(scenario); }
  void configure(const Scenario& scenario);
  using CorvaneClient::closeConnection;
  using CorvaneClient::isConnected;
  Net* net = nullptr;  ///< when given, it is told the step and when results are pulled
};

/// Every exchange; built once.
const std::vector<Scenario>& corpus();
/// A request that any peer of this corpus answers, to see whether a client still works.
const Scenario& cleanScenario();

/// Builds the request of `kind`; "step" and any text ride in a header line so that the peer finds
/// them in the frame. Key and content are static.
comm::ClientRequest makeRequest(std::uint32_t kind, std::string_view step, std::size_t content = 0);
/// The value of the header line `key` of a frame.
std::string_view headerValue(std::string_view frame, std::string_view key);
/// A peer that answers each step's frame as scripted; `tune` may change the answer.
Net::Peer peerOf(const Scenario& scenario, std::function<void(Answer&)> tune = {});

/// One request, pulled to its end when the client streams.
Outcome ask(TortureClient& client, comm::ClientRequest& request, comm::ClientResponse& response,
            bool pulls);
/// The whole scenario.
std::vector<Outcome> run(TortureClient& client, const Scenario& scenario);
/// What a response holds, without draining it.
std::vector<std::string> resultsOf(const comm::ClientResponse& response);

// Wire bytes.
using test::END_MARKER;
using test::errorBody;
using test::hex;
using test::pair;
using test::record;
using test::u16;
inline const std::string FINE = u16(1);

/// Reports up to ten failures on standard error and counts them all.
class Failures {
 public:
  void add(const std::string& where, const std::string& what);
  [[nodiscard]] std::size_t count() const { return count_; }

 private:
  std::size_t count_ = 0;
};

/// A small generator with the same sequence everywhere.
struct Random {
  explicit Random(std::uint64_t seed) : state(seed * 2 + 1) {}
  std::uint64_t next() {
    state ^= state << 13U;
    state ^= state >> 7U;
    state ^= state << 17U;
    return state * 0x2545f4914f6cdd1dULL;
  }
  std::size_t below(std::size_t end) { return static_cast<std::size_t>((next() >> 20U) % end); }
  bool oneIn(std::size_t n) { return below(n) == 0; }
  std::uint64_t state;
};

}  // namespace orvix::torture
