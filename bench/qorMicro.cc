// SPDX-License-Identifier: Apache-2.0
// The parts of a request and of a reply by themselves, for whoever looks for where the time goes.
#include <benchmark/benchmark.h>
#include <string>
#include <string_view>
#include <vector>

#include "bench/qorInside.h"
#include "bench/qorWorkload.h"
#include "comm/results/qorSearchResult.h"
#include "infra/util/qorBase64.h"

namespace orvix::bench {
namespace {

void fillMap(benchmark::State& state) {
  const Search search;
  for (auto _ : state) {
    util::ExtendedProperties map;
    search.fill(map);
    benchmark::DoNotOptimize(&map);
  }
}
BENCHMARK(fillMap);

void copyMap(benchmark::State& state) {
  util::ExtendedProperties map;
  Search().fill(map);
  for (auto _ : state) {
    util::ExtendedProperties copy(map);
    benchmark::DoNotOptimize(&copy);
  }
}
BENCHMARK(copyMap);

void buildRequest(benchmark::State& state) {
  const Search search;
  util::ExtendedProperties map;
  search.fill(map);
  for (auto _ : state) {
    comm::ClientRequest request;
    request.buildRequest(search.collection, comm::ClientRequest::SCALAR_SEARCH, map);
    benchmark::DoNotOptimize(&request);
  }
}
BENCHMARK(buildRequest);

void headerText(benchmark::State& state) {
  comm::ClientRequest request;
  Search().fill(request);
  for (auto _ : state) benchmark::DoNotOptimize(headerLength(request));
}
BENCHMARK(headerText);

void body(benchmark::State& state) {
  const Document document(static_cast<std::size_t>(state.range(0)));
  comm::ClientRequest request;
  document.fill(request);
  for (auto _ : state) benchmark::DoNotOptimize(bodyLength(request));
}
BENCHMARK(body)->Arg(500)->Arg(5'000);

void cutReply(benchmark::State& state) {
  const std::string held = records(0, REPLY_HITS) + endMarker();
  for (auto _ : state) benchmark::DoNotOptimize(wholeRecords(held));
}
BENCHMARK(cutReply);

void parseReply(benchmark::State& state) {
  const std::string held = records(0, REPLY_HITS) + endMarker();
  ReplyParser parser;
  comm::ClientResponse response;
  for (auto _ : state) {
    parser.begin(response);
    parser.append(held, response);
    benchmark::DoNotOptimize(parser.ended());
  }
}
BENCHMARK(parseReply);

void parseAndWalkReply(benchmark::State& state) {
  const std::string held = records(0, REPLY_HITS) + endMarker();
  ReplyParser parser;
  comm::ClientResponse response;
  Sink sink;
  for (auto _ : state) {
    parser.begin(response);
    parser.append(held, response);
    for (comm::SearchResponse& hits = response.getSearchResponse(); hits.hasMore();) {
      sink.take(hits.getNext().getScore());
    }
  }
}
BENCHMARK(parseAndWalkReply);

void keyText(benchmark::State& state) {
  const std::string key = keyOf(4711);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(key.data());
  for (auto _ : state) benchmark::DoNotOptimize(comm::SearchResult::keyText(bytes, key.size()));
}
BENCHMARK(keyText);

void base64Encode(benchmark::State& state) {
  const std::string bytes(static_cast<std::size_t>(state.range(0)), 'x');
  std::vector<unsigned short> units(util::Base64::encodeSize(bytes.size()));
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        util::Base64::encode(units.data(), units.size(), bytes.data(), bytes.size()));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(base64Encode)->Arg(16)->Arg(4096);

/// A header's worth of text: of ASCII, and with letters outside of it.
icu::UnicodeString sample(bool ascii) {
  icu::UnicodeString text;
  while (text.length() < 254) {
    text += ascii ? icu::UnicodeString(u"rivers and hills ")
                  : icu::UnicodeString(u"Fl\u00fcsse \u6cb3 ");
  }
  return text;
}

void textToWire(benchmark::State& state) {
  const icu::UnicodeString text = sample(state.range(0) != 0);
  std::vector<char> room(4 * 300);
  for (auto _ : state) {
    benchmark::DoNotOptimize(toWire(text, room.data(), room.size()));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(textToWire)->ArgName("ascii")->Arg(1)->Arg(0);

void textFromWire(benchmark::State& state) {
  std::string bytes;
  sample(state.range(0) != 0).toUTF8String(bytes);
  for (auto _ : state) benchmark::DoNotOptimize(fromWire(bytes));
}
BENCHMARK(textFromWire)->ArgName("ascii")->Arg(1)->Arg(0);

}  // namespace
}  // namespace orvix::bench

BENCHMARK_MAIN();
