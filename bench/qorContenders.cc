// SPDX-License-Identifier: Apache-2.0
// Who runs, by name, and how much of it makes a slice.
#include "bench/qorDecodes.h"
#include "bench/qorDocuments.h"
#include "bench/qorHelpers.h"
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
constexpr std::size_t BATCH = 5'000;
constexpr std::size_t SMALL = 500;
constexpr std::size_t MIDDLE = 5'000;
constexpr std::size_t LARGE = 100'000;

using Core = int Cores::*;
struct Place {
  const char* name;
  Core core;  // of the peer
};
constexpr Place PLACES[] = {{", same core", &Cores::client}, {", two cores", &Cores::peer}};

/// Makes an operation whose first argument is the processor of its peer.
template <class... Arguments>
Make at(Core core, std::unique_ptr<Operation> (*make)(int, Arguments...), Arguments... arguments) {
  return [=](const Settings& settings) { return make(settings.cores.*core, arguments...); };
}
template <class... Arguments>
Make inMemory(std::unique_ptr<Operation> (*make)(Arguments...), Arguments... arguments) {
  return [=](const Settings&) { return make(arguments...); };
}

void addSearches(Contenders& all, const Place& place) {
  const auto add = [&](const std::string& name, const Make& make) {
    all.push_back({name + " latency" + place.name, Meter::LATENCY, LATENCIES, make});
    all.push_back({name + " CPU" + place.name, Meter::PROCESS_CPU, SEARCHES, make});
  };
  add("search", at(place.core, librarySearch, Filling::EACH_TIME));
  add("search, reused", at(place.core, librarySearch, Filling::REUSED));
  add("search, all fresh", at(place.core, librarySearch, Filling::ALL_FRESH));
  add("raw", at(place.core, rawSearch));
  add("hiredis", at(place.core, redisSearch));
  add("HTTP and JSON", at(place.core, httpSearch));
}

void addDocuments(Contenders& all, const Place& place) {
  const auto batch = [&](const std::string& name, const Make& make) {
    all.push_back({name + place.name, Meter::PROCESS_CPU, BATCH, make});
  };
  batch("batch", at(place.core, batchedDocuments, SMALL, DocumentFilling::BUILT));
  batch("batch, fresh", at(place.core, batchedDocuments, SMALL, DocumentFilling::FRESH));
  batch("batch, reused", at(place.core, batchedDocuments, SMALL, DocumentFilling::KEY));
  batch("hiredis HSET", at(place.core, redisDocuments, SMALL));

  const auto stream = [&](const std::string& name, std::size_t count, const Make& make) {
    all.push_back({name + place.name, Meter::WALL, count, make});
  };
  stream("5 kB", 2'000, at(place.core, singleDocuments, MIDDLE, DocumentFilling::BUILT));
  stream("5 kB, reused", 2'000, at(place.core, singleDocuments, MIDDLE, DocumentFilling::KEY));
  stream("5 kB, raw", 2'000, at(place.core, rawDocuments, MIDDLE));
  stream("100 kB", 200, at(place.core, singleDocuments, LARGE, DocumentFilling::BUILT));
  stream("100 kB, raw", 200, at(place.core, rawDocuments, LARGE));
}

void addDecoders(Contenders& all) {
  const auto add = [&](const char* name, std::size_t count, const Make& make) {
    all.push_back({name, Meter::THREAD_CPU, count, make});
  };
  add("pulled", DECODES, inMemory(pulledDecode, KeyForm::BYTES, std::size_t{0}));
  add("pulled, key as text", DECODES, inMemory(pulledDecode, KeyForm::TEXT, std::size_t{0}));
  add("hiredis reader", DECODES, inMemory(redisDecode, PIECE_HITS));
  add("nlohmann", DECODES / 10, inMemory(nlohmannDecode));
  add("simdjson on demand", DECODES, inMemory(simdjsonDecode, JsonKey::TEXT));
  add("simdjson on demand, key decoded", DECODES, inMemory(simdjsonDecode, JsonKey::BYTES));
  add("simdjson tree", DECODES, inMemory(simdjsonTreeDecode));
  add("held, 1 M", MILLION, inMemory(heldDecode, MILLION, true));
  add("hiredis reader, 1 M", MILLION, inMemory(redisDecode, MILLION));
}

/// The same lists, short and very long.
void addGrowth(Contenders& all, std::size_t many) {
  const auto add = [&](const char* name, std::size_t count, const Make& make, bool once) {
    all.push_back({name, Meter::THREAD_CPU, count, make, once});
  };
  add("pulled, few", MILLION, inMemory(pulledDecode, KeyForm::BYTES, FEW_HITS), false);
  add("pulled, many", many, inMemory(pulledDecode, KeyForm::BYTES, many), true);
  add("held, few", MILLION, inMemory(heldDecode, FEW_HITS, false), false);
  add("held, many", many, inMemory(heldDecode, many, false), true);
}

void addHelpers(Contenders& all, std::size_t many) {
  for (const char* part :
       {"request.reused", "request.filled", "hit.pulled", "document.filled", "document.reused"}) {
    all.push_back({std::string("heap ") + part, Meter::READING, 1,
                   [=](const Settings& settings) { return heapReading(settings.programs, part); },
                   true});
  }
  all.push_back({"resident", Meter::READING, 1,
                 [=](const Settings& settings) { return residentReading(settings.programs, many); },
                 true});
}

}  // namespace

Contenders allContenders(const Settings& settings) {
  Contenders all;
  for (const Place& place : PLACES) {
    addSearches(all, place);
    addDocuments(all, place);
  }
  addDecoders(all);
  addGrowth(all, settings.manyHits());
  addHelpers(all, settings.manyHits());
  return all;
}

}  // namespace orvix::bench
