// SPDX-License-Identifier: Apache-2.0
// The table: which contenders are set against each other, and what is asked for.
#include "bench/qorRunner.h"

namespace orvix::bench {

namespace {

constexpr Better HIGHER = Better::HIGHER;
constexpr std::optional<double> NO_BAR;

/// Adds rows of one group and one unit.
class Rows {
 public:
  Rows(std::vector<Figure>& into, std::string group, std::string unit)
      : into_(into), group_(std::move(group)), unit_(std::move(unit)) {}
  Rows& add(const std::string& name, const std::string& title, const std::string& ours,
            const std::string& other, std::optional<double> bar, Better better = Better::LOWER) {
    into_.push_back({name, title, group_, unit_, ours, other, better, bar});
    return *this;
  }

 private:
  std::vector<Figure>& into_;
  std::string group_;
  std::string unit_;
};

/// Rows whose peers run on the client's core have bars; those on another core are for information.
struct Where {
  std::string contender;  // behind a contender's name
  std::string title;      // behind a title
  std::string name;       // behind a figure's name
  bool barred;
  [[nodiscard]] std::optional<double> bar(double value) const {
    return barred ? std::optional(value) : NO_BAR;
  }
};
const Where& sameCore() {
  static const Where where{", same core", "", "", true};
  return where;
}
const Where& twoCores() {
  static const Where where{", two cores", ", two cores", ".two", false};
  return where;
}

void addRoundTrips(std::vector<Figure>& all, const Where& at) {
  const std::string raw = "raw latency" + at.contender;
  Rows(all, "round trip" + at.contender, "ns")
      .add("trip.filled" + at.name, "search round trip p50, filled each time / raw" + at.title,
           "search latency" + at.contender, raw, at.bar(1.25))
      .add("trip.reused" + at.name, "search round trip p50, reused / raw" + at.title,
           "search, reused latency" + at.contender, raw, at.bar(1.12))
      .add("trip.fresh" + at.name, "search round trip p50, response fresh, too / raw" + at.title,
           "search, all fresh latency" + at.contender, raw, NO_BAR);
}

void addSearchCpu(std::vector<Figure>& all, const Where& at) {
  const std::string redis = "hiredis CPU" + at.contender;
  const std::string http = "HTTP and JSON CPU" + at.contender;
  const std::string ours = "search CPU" + at.contender;
  Rows(all, "CPU of a search" + at.contender, "ns")
      .add("cpu.redis" + at.name, "client CPU per search / hiredis LRANGE of 10" + at.title, ours,
           redis, at.bar(0.95))
      .add("cpu.http" + at.name, "client CPU per search / HTTP and JSON" + at.title, ours, http,
           at.bar(0.20))
      .add("cpu.raw" + at.name, "client CPU per search / raw" + at.title, ours,
           "raw CPU" + at.contender, NO_BAR)
      .add("cpu.limit.redis" + at.name, "the limit: CPU of raw / hiredis LRANGE of 10" + at.title,
           "raw CPU" + at.contender, redis, NO_BAR)
      .add("cpu.limit.http" + at.name, "the limit: CPU of raw / HTTP and JSON" + at.title,
           "raw CPU" + at.contender, http, NO_BAR)
      .add("cpu.redis.reused" + at.name,
           "client CPU per search, reused / hiredis LRANGE of 10" + at.title,
           "search, reused CPU" + at.contender, redis, NO_BAR);
}

void addBatches(std::vector<Figure>& all, const Where& at) {
  const std::string redis = "hiredis HSET" + at.contender;
  Rows(all, "batch" + at.contender, "ns")
      .add("batch.filled" + at.name,
           "CPU per 500-byte document, batched, built each time / hiredis HSET" + at.title,
           "batch" + at.contender, redis, at.bar(1.3))
      .add("batch.fresh" + at.name,
           "CPU per 500-byte document, batched, a request each / hiredis HSET" + at.title,
           "batch, fresh" + at.contender, redis, NO_BAR)
      .add("batch.reused" + at.name,
           "CPU per 500-byte document, batched, reused / hiredis HSET" + at.title,
           "batch, reused" + at.contender, redis, at.bar(0.9));
}

void addThroughput(std::vector<Figure>& all, const Where& at) {
  Rows(all, "5 kB" + at.contender, "ns")
      .add("throughput.5k" + at.name, "throughput, 5 kB documents / raw writes" + at.title,
           "5 kB" + at.contender, "5 kB, raw" + at.contender, at.bar(0.55), HIGHER)
      .add("throughput.5k.reused" + at.name,
           "throughput, 5 kB documents, reused / raw writes" + at.title,
           "5 kB, reused" + at.contender, "5 kB, raw" + at.contender, NO_BAR, HIGHER);
  Rows(all, "100 kB" + at.contender, "ns")
      .add("throughput.100k" + at.name, "throughput, 100 kB documents / raw writes" + at.title,
           "100 kB" + at.contender, "100 kB, raw" + at.contender, at.bar(0.95), HIGHER);
}

void addDecoders(std::vector<Figure>& all) {
  Rows(all, "decode", "ns")
      .add("decode.redis", "decode per hit, pulled / hiredis reader, replies of 186", "pulled",
           "hiredis reader", 0.40)
      .add("decode.nlohmann", "decode per hit, pulled / nlohmann-json", "pulled", "nlohmann", 0.03)
      .add("decode.simdjson", "decode per hit, pulled / simdjson on demand", "pulled",
           "simdjson on demand", 0.25)
      .add("decode.simdjson.tree", "decode per hit, pulled / simdjson tree", "pulled",
           "simdjson tree", NO_BAR)
      .add("decode.simdjson.bytes",
           "decode per hit, pulled / simdjson on demand, key decoded to bytes", "pulled",
           "simdjson on demand, key decoded", NO_BAR)
      .add("decode.text", "decode per hit, pulled, key as text / hiredis reader",
           "pulled, key as text", "hiredis reader", NO_BAR);
  Rows(all, "decode of a long list", "ns")
      .add("decode.held", "decode per hit, 1 M hits held / hiredis reader, 1 M in one array",
           "held, 1 M", "hiredis reader, 1 M", 0.95);
}

void addGrowth(std::vector<Figure>& all, std::size_t many) {
  const std::string hits = std::to_string(many / 1'000'000) + " M";
  const auto bar = [&](double value) { return many == FULL_HITS ? std::optional(value) : NO_BAR; };
  Rows(all, "growth, pulled", "ns")
      .add("growth.pulled", "growth: ns per hit at " + hits + " / at 10,000, pulled",
           "pulled, many", "pulled, few", bar(1.1));
  Rows(all, "growth, held", "ns")
      .add("growth.held", "growth: ns per hit at " + hits + " / at 10,000, held", "held, many",
           "held, few", bar(3.0));
  Rows(all, "resident", "MiB")
      .add("resident", "resident memory growth while " + hits + " hits are pulled", "resident", "",
           1.0);
}

void addHeap(std::vector<Figure>& all) {
  Rows(all, "heap", "")
      .add("heap.reused", "heap allocations per request, reused", "heap request.reused", "", 0.0)
      .add("heap.filled", "heap allocations per request, filled each time", "heap request.filled",
           "", 2.0)
      .add("heap.hit", "heap allocations per hit, pulled", "heap hit.pulled", "", 0.01)
      .add("heap.document.filled", "heap allocations per batched document, built each time",
           "heap document.filled", "", NO_BAR)
      .add("heap.document.reused", "heap allocations per batched document, reused",
           "heap document.reused", "", NO_BAR);
}

}  // namespace

std::vector<Figure> allFigures(const Settings& settings) {
  std::vector<Figure> all;
  for (const auto& add : {addRoundTrips, addSearchCpu, addBatches, addThroughput}) {
    add(all, sameCore());
    if (!settings.quick && settings.cores.client != settings.cores.peer) add(all, twoCores());
  }
  addDecoders(all);
  addHeap(all);
  addGrowth(all, settings.manyHits());
  return all;
}

}  // namespace orvix::bench
