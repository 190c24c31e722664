// SPDX-License-Identifier: Apache-2.0
// The table: which contenders are set against each other, and what is asked for.
#include "bench/qorRunner.h"

namespace orvix::bench {

namespace {

/// Rows of one group and one unit.
class Rows {
 public:
  Rows(std::vector<Figure>& into, const char* group, const char* unit)
      : into_(into), group_(group), unit_(unit) {}
  Rows& add(const char* name, const std::string& title, const std::string& ours,
            const std::string& other, std::optional<double> bar = {},
            Better better = Better::LOWER) {
    into_.push_back({name, title, group_, unit_, ours, other, better, bar});
    return *this;
  }

 private:
  std::vector<Figure>& into_;
  std::string group_;
  std::string unit_;
};

void addSearches(std::vector<Figure>& all) {
  Rows(all, "round trip on one core", "ns")
      .add("latency.filled", "search round trip p50, filled each time / raw",
           "search latency, same core", "raw latency, same core", 1.25)
      .add("latency.reused", "search round trip p50, request and response reused / raw",
           "search, reused latency, same core", "raw latency, same core", 1.12)
      .add("latency.fresh", "search round trip p50, response fresh, too / raw",
           "search, all fresh latency, same core", "raw latency, same core");
  Rows(all, "round trip on two cores", "ns")
      .add("latency.filled.two", "search round trip p50, filled each time / raw, two cores",
           "search latency, two cores", "raw latency, two cores")
      .add("latency.reused.two", "search round trip p50, reused / raw, two cores",
           "search, reused latency, two cores", "raw latency, two cores");
  for (const std::string where : {"same core", "two cores"}) {
    const bool main = where == "same core";
    const std::string behind = main ? "" : ", two cores";
    const auto bar = [&](double value) { return main ? std::optional(value) : std::nullopt; };
    const std::string suffix = main ? "" : ".two";
    Rows(all, ("CPU of a search" + behind).c_str(), "ns")
        .add(("cpu.redis" + suffix).c_str(),
             "client CPU per search / hiredis LRANGE of 10" + behind, "search CPU, " + where,
             "hiredis CPU, " + where, bar(0.95))
        .add(("cpu.redis.reused" + suffix).c_str(),
             "client CPU per search, reused / hiredis LRANGE of 10" + behind,
             "search, reused CPU, " + where, "hiredis CPU, " + where);
  }
}

void addDecoders(std::vector<Figure>& all) {
  Rows(all, "decode", "ns")
      .add("decode.redis", "decode per hit, pulled / hiredis reader, replies of 186", "pulled",
           "hiredis reader", 0.40)
      .add("decode.nlohmann", "decode per hit, pulled / nlohmann-json", "pulled", "nlohmann", 0.03)
      .add("decode.simdjson", "decode per hit, pulled / simdjson", "pulled", "simdjson", 0.25)
      .add("decode.text", "decode per hit, pulled and key as text / hiredis reader",
           "pulled, key as text", "hiredis reader");
  Rows(all, "decode of a long list", "ns")
      .add("decode.held", "decode per hit, 1 M hits held / hiredis reader, 1 M in one array",
           "held, 1 M", "hiredis reader, 1 M", 0.95);
}

}  // namespace

std::vector<Figure> allFigures([[maybe_unused]] const Settings& settings) {
  std::vector<Figure> all;
  addSearches(all);
  addDecoders(all);
  return all;
}

}  // namespace orvix::bench
