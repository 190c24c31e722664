// SPDX-License-Identifier: Apache-2.0
// Who runs in qor-server-bench, by name, and what is set against what.
#include "bench/qorRunner.h"
#include "bench/server/qorFeeds.h"
#include "bench/server/qorQueries.h"

namespace orvix::bench {

namespace {

constexpr std::size_t LATENCIES = 128;  // each query twice
constexpr double FEED_BAR = 0.9;
constexpr double SEARCH_BAR = 1.0;
constexpr double EXCHANGES = 1.25;

std::size_t documentsOf(const Settings& settings) {
  return settings.quick ? QUICK_DOCUMENTS : FULL_DOCUMENTS;
}

/// On one processor a round trip repeats well and a throughput counts the work of both ends; on two
/// the ends work side by side.
struct Place {
  std::string title;
  std::string name;
  int Cores::*core;
  bool barred;
  [[nodiscard]] std::optional<double> bar(double value) const {
    return barred ? std::optional(value) : std::nullopt;
  }
};

std::vector<Place> places(const Settings& settings) {
  std::vector<Place> all{{"", "", &Cores::client, true}};
  if (!settings.quick && settings.cores.client != settings.cores.peer) {
    all.push_back({", two cores", ".two", &Cores::peer, false});
  }
  return all;
}

void addFigures(std::vector<Figure>& all, const Place& at) {
  all.push_back({"server.feed" + at.name, "documents per second, whole road / engine" + at.title,
                 "feed" + at.title, "ns", "road feed" + at.title, "engine feed" + at.title,
                 Better::HIGHER, at.bar(FEED_BAR)});
  all.push_back({"server.search" + at.name,
                 "search p50, whole road / engine + 1.25 x raw exchange" + at.title,
                 "search" + at.title, "ns", "road search" + at.title, "engine search" + at.title,
                 Better::LOWER, at.bar(SEARCH_BAR), "raw exchange" + at.title, EXCHANGES});
  all.push_back({"server.search.turn" + at.name,
                 "search p50, whole road / engine search, then raw exchange" + at.title,
                 "search" + at.title, "ns", "road search" + at.title,
                 "engine search, then raw exchange" + at.title});
  all.push_back({"server.search.engine" + at.name, "search p50, whole road / engine" + at.title,
                 "search" + at.title, "ns", "road search" + at.title, "engine search" + at.title});
  all.push_back({"server.search.raw" + at.name, "search p50, whole road / raw exchange" + at.title,
                 "search" + at.title, "ns", "road search" + at.title, "raw exchange" + at.title});
}

void addContenders(Contenders& all, const Place& at) {
  const int Cores::*core = at.core;
  const auto feed = [&](const std::string& name, const Make& make) {
    all.push_back({name + at.title, Meter::WALL, FEED_BATCH, make});
  };
  const auto search = [&](const std::string& name, const Make& make) {
    all.push_back({name + at.title, Meter::LATENCY, LATENCIES, make});
  };
  feed("road feed", [=](const Settings& s) { return roadFeed(s.cores.*core, s.cores); });
  feed("engine feed", [](const Settings&) { return engineFeed(); });
  search("road search",
         [=](const Settings& s) { return roadQueries(s.cores.*core, s.cores, documentsOf(s)); });
  search("engine search", [](const Settings& s) { return engineQueries(documentsOf(s)); });
  search("raw exchange", [=](const Settings& s) { return rawExchange(s.cores.*core); });
  search("engine search, then raw exchange",
         [=](const Settings& s) { return engineThenExchange(s.cores.*core, documentsOf(s)); });
}

void addTails(Contenders& all) {
  const auto add = [&](const char* name, Beside beside) {
    const Make make = [=](const Settings& s) {
      return roadTail(s.cores, documentsOf(s), beside, s.quick);
    };
    all.push_back({name, Meter::READING, 1, make, true});
  };
  add("tail, quiet", Beside::NOTHING);
  add("tail, writer", Beside::WRITER);
  add("tail, other work", Beside::WORK);
}

}  // namespace

std::vector<Figure> allFigures(const Settings& settings) {
  std::vector<Figure> all;
  for (const Place& at : places(settings)) addFigures(all, at);
  all.push_back({"server.tail", "search p99 while a writer commits / without", "tail", "ns",
                 "tail, writer", "tail, quiet"});
  all.push_back({"server.tail.work",
                 "search p99 while a writer commits / beside the same work in another process",
                 "tail", "ns", "tail, writer", "tail, other work"});
  return all;
}

Contenders allContenders(const Settings& settings) {
  Contenders all;
  for (const Place& at : places(settings)) addContenders(all, at);
  addTails(all);
  return all;
}

}  // namespace orvix::bench
