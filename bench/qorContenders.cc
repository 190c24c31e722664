// SPDX-License-Identifier: Apache-2.0
// Who runs, by name, and how much of it makes a slice.
#include "bench/qorDecodes.h"
#include "bench/qorRunner.h"
#include "bench/qorSearches.h"
#include "bench/qorWorkload.h"

namespace orvix::bench {

namespace {

constexpr std::size_t LATENCIES = 200;
constexpr std::size_t SEARCHES = 500;
constexpr std::size_t DECODES = 100 * PIECE_HITS;
constexpr std::size_t MILLION = 1'000'000;
constexpr std::size_t FEW_HITS = 10'000;

using Core = int Cores::*;

Make library(Core core, Filling filling) {
  return [=](const Settings& s) { return librarySearch(s.cores.*core, filling); };
}
Make peer(Core core, std::unique_ptr<Operation> (*make)(int core)) {
  return [=](const Settings& s) { return make(s.cores.*core); };
}
template <class... Arguments>
Make inMemory(std::unique_ptr<Operation> (*make)(Arguments...), Arguments... arguments) {
  return [=](const Settings&) { return make(arguments...); };
}

void addSearches(Contenders& all) {
  const Core here = &Cores::client;
  const Core there = &Cores::peer;
  for (const auto& [place, core] : {std::pair("same core", here), std::pair("two cores", there)}) {
    const auto add = [&, where = std::string(", ") + place](const char* name, const Make& make) {
      all.push_back({name + (" latency" + where), Meter::LATENCY, LATENCIES, make});
      all.push_back({name + (" CPU" + where), Meter::PROCESS_CPU, SEARCHES, make});
    };
    add("search", library(core, Filling::EACH_TIME));
    add("search, reused", library(core, Filling::REUSED));
    add("search, all fresh", library(core, Filling::ALL_FRESH));
    add("raw", peer(core, rawSearch));
    add("hiredis", peer(core, redisSearch));
  }
}

void addDecoders(Contenders& all) {
  const auto add = [&](const char* name, std::size_t count, const Make& make) {
    all.push_back({name, Meter::THREAD_CPU, count, make});
  };
  add("pulled", DECODES, inMemory(pulledDecode, KeyForm::BYTES, std::size_t{0}));
  add("pulled, key as text", DECODES, inMemory(pulledDecode, KeyForm::TEXT, std::size_t{0}));
  add("hiredis reader", DECODES, inMemory(redisDecode, PIECE_HITS));
  add("nlohmann", DECODES / 10, inMemory(nlohmannDecode));
  add("simdjson", DECODES, inMemory(simdjsonDecode));
  add("held, 1 M", MILLION, inMemory(heldDecode, MILLION, true));
  add("hiredis reader, 1 M", MILLION, inMemory(redisDecode, MILLION));
}

}  // namespace

Contenders allContenders([[maybe_unused]] const Settings& settings) {
  Contenders all;
  addSearches(all);
  addDecoders(all);
  return all;
}

}  // namespace orvix::bench
