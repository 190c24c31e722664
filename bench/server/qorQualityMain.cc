// SPDX-License-Identifier: Apache-2.0
// How well the server ranks a public test collection through the whole road, beside the engine
// called directly. Exit status 1 when a bar is missed.
// Usage: qor-quality FOLDER [--tried]    ("--tried" prints other settings of the engine, too)
#include <algorithm>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/server/qorCranfield.h"
#include "bench/server/qorEngine.h"
#include "bench/server/qorMeasures.h"
#include "bench/server/qorRoad.h"
#include "tests/road/qorServerProcess.h"

namespace orvix::bench {
namespace {

constexpr unsigned DEPTH = 1000;
constexpr std::size_t BATCH = 1000;
constexpr const char* COLLECTION = "abstracts";

std::vector<Ranking> rankingsOfEngine(const EngineSettings& settings, const Cranfield& all) {
  const Engine engine(settings, all.abstracts);
  std::vector<Ranking> rankings;
  for (const Question& question : all.questions) {
    rankings.push_back(engine.search(question.text, DEPTH));
  }
  return rankings;
}

void load(Road& road, const std::vector<Abstract>& abstracts) {
  road.create();
  std::size_t unsettled = 0;
  for (const Abstract& abstract : abstracts) {
    road.add(abstract.key, contentOf(abstract));
    if (++unsettled < BATCH && &abstract != &abstracts.back()) continue;
    road.endBatch(unsettled);
    unsettled = 0;
  }
}

std::vector<Ranking> rankingsOfRoad(const Cranfield& all) {
  const road::ServerProcess server;
  Road road(server.port(), COLLECTION);
  load(road, all.abstracts);
  std::vector<Ranking> rankings;
  for (const Question& question : all.questions) {
    comm::ClientRequest request = road.searchRequest(question.text, DEPTH);
    rankings.push_back(road.search(request));
  }
  return rankings;
}

/// Every second question, from the first or the second on: a choice that only one half bears out is
/// fitted to its questions.
double ndcgOfHalf(const std::vector<Ranking>& rankings, const std::vector<Question>& questions,
                  std::size_t first) {
  std::vector<Ranking> half;
  std::vector<Question> asked;
  for (std::size_t i = first; i < questions.size(); i += 2) {
    half.push_back(rankings[i]);
    asked.push_back(questions[i]);
  }
  return qualityOf(half, asked).ndcg10;
}

Quality print(const std::string& name, const std::vector<Ranking>& rankings,
              const std::vector<Question>& questions) {
  const Quality quality = qualityOf(rankings, questions);
  std::printf("%-46s %8.4f %8.4f %8.4f %8.4f\n", name.c_str(), quality.ndcg10, quality.map,
              ndcgOfHalf(rankings, questions, 0), ndcgOfHalf(rankings, questions, 1));
  return quality;
}

/// What was weighed up before the server's settings were chosen.
std::vector<EngineSettings> triedSettings() {
  const EngineSettings server = serverSettings();
  std::vector<EngineSettings> tried{
      {"the engine's own k1 1, b 0.5, lengths from 0.5", 1, 0.5, 0.5}};
  const auto add = [&](const char* name, const auto& change) {
    change(tried.emplace_back(server));
    tried.back().name = name;
  };
  add("lengths from 0.5", [](EngineSettings& s) { s.leastLength = 0.5; });
  add("b 0.5", [](EngineSettings& s) { s.b = 0.5; });
  add("b 0.9", [](EngineSettings& s) { s.b = 0.9; });
  add("k1 1.2", [](EngineSettings& s) { s.k1 = 1.2; });
  add("k1 1.5", [](EngineSettings& s) { s.k1 = 1.5; });
  add("k1 3.0", [](EngineSettings& s) { s.k1 = 3; });
  add("every word stemmed, no query operators",
      [](EngineSettings& s) { s.everyWordStemmed = true; });
  add("stop words left out of queries", [](EngineSettings& s) { s.stopWords = true; });
  add("without titles", [](EngineSettings& s) { s.titles = 0; });
  add("titles twice", [](EngineSettings& s) { s.titles = 2; });
  return tried;
}

int run(const std::string& folder, bool tried) {
  const Cranfield all = readCranfield(folder);
  std::printf("%zu abstracts, %zu questions, the first %u documents of each\n\n",
              all.abstracts.size(), all.questions.size(), DEPTH);
  const auto road = rankingsOfRoad(all);
  const auto engine = rankingsOfEngine(serverSettings(), all);

  std::printf("%-46s %8s %8s %8s %8s\n", "", "nDCG@10", "MAP", "odd", "even");
  const Quality ours = print("the whole road", road, all.questions);
  print(serverSettings().name, engine, all.questions);
  double plain = 0;
  for (const double k1 : {1.2, 1.5, 2.0}) {
    const EngineSettings settings = plainSettings(k1);
    const std::string name = settings.name + ", k1 " + std::to_string(k1).substr(0, 3);
    plain = std::max(plain, print(name, rankingsOfEngine(settings, all), all.questions).ndcg10);
  }
  if (tried) {
    std::printf("\nthe server's settings, but\n");
    for (const EngineSettings& one : triedSettings()) {
      print(one.name, rankingsOfEngine(one, all), all.questions);
    }
  }
  std::size_t same = 0;
  for (std::size_t i = 0; i < road.size(); ++i) same += road[i] == engine[i] ? 1U : 0U;
  const bool equal = same == road.size();
  const bool better = ours.ndcg10 >= plain;
  std::printf("\nroad and engine rank the same, document by document: %zu of %zu questions, %s\n",
              same, road.size(), equal ? "reached" : "MISSED");
  std::printf("nDCG@10 of the road at least the best of plain BM25: %s\n",
              better ? "reached" : "MISSED");
  return equal && better ? 0 : 1;
}

}  // namespace
}  // namespace orvix::bench

int main(int argc, char** argv) try {
  const bool tried = argc == 3 && std::string(argv[2]) == "--tried";
  if (argc != 2 && !tried) throw std::invalid_argument("usage: qor-quality FOLDER [--tried]");
  return orvix::bench::run(argv[1], tried);
} catch (const std::exception& e) {
  std::fprintf(stderr, "qor-quality: %s\n", e.what());
  return 2;
}
