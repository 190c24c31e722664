// SPDX-License-Identifier: Apache-2.0
#include "bench/server/qorMeasures.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace orvix::bench {

namespace {

constexpr std::size_t TOP = 10;
constexpr int BEST_CODE = 1;
constexpr int WORST_CODE = 4;

int judgedGain(const std::string& key, const Judgements& judgements) {
  const auto judged = judgements.find(key);
  return judged == judgements.end() ? 0 : gainOf(judged->second);
}

double discounted(const std::vector<int>& gains, std::size_t depth) {
  double sum = 0;
  for (std::size_t i = 0; i < std::min(depth, gains.size()); ++i) {
    sum += gains[i] / std::log2(static_cast<double>(i) + 2);
  }
  return sum;
}

}  // namespace

int gainOf(int code) noexcept {
  return code >= BEST_CODE && code <= WORST_CODE ? WORST_CODE + 1 - code : 0;
}

double ndcg(const Ranking& ranking, const Judgements& judgements, std::size_t depth) {
  std::vector<int> best;
  for (const auto& [key, code] : judgements) best.push_back(gainOf(code));
  std::sort(best.begin(), best.end(), std::greater<>());
  std::vector<int> found;
  for (const std::string& key : ranking) found.push_back(judgedGain(key, judgements));
  const double most = discounted(best, depth);
  return most == 0 ? 0 : discounted(found, depth) / most;
}

double averagePrecision(const Ranking& ranking, const Judgements& judgements) {
  const auto relevant = std::count_if(judgements.begin(), judgements.end(), [](const auto& judged) {
    return gainOf(judged.second) != 0;
  });
  if (relevant == 0) return 0;
  double sum = 0;
  double found = 0;
  for (std::size_t i = 0; i < ranking.size(); ++i) {
    if (judgedGain(ranking[i], judgements) != 0) sum += ++found / static_cast<double>(i + 1);
  }
  return sum / static_cast<double>(relevant);
}

Quality qualityOf(const std::vector<Ranking>& rankings, const std::vector<Question>& questions) {
  Quality sum;
  for (std::size_t i = 0; i < questions.size(); ++i) {
    sum.ndcg10 += ndcg(rankings.at(i), questions[i].judgements, TOP);
    sum.map += averagePrecision(rankings.at(i), questions[i].judgements);
  }
  const auto count = static_cast<double>(questions.size());
  return {sum.ndcg10 / count, sum.map / count};
}

}  // namespace orvix::bench
