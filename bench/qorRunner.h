// SPDX-License-Identifier: Apache-2.0
// The contenders by name, the figures that set them against each other, and the rounds
// in which they run.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/qorMeter.h"
#include "bench/qorPeer.h"

namespace orvix::bench {

inline constexpr std::size_t FULL_HITS = 10'000'000;  // of the longest lists
inline constexpr std::size_t QUICK_HITS = 1'000'000;  // in a quick run

struct Settings {
  bool quick = false;
  Cores cores;
  std::string programs;  ///< folder of this program and its helpers
  std::size_t rounds = 5;
  [[nodiscard]] std::size_t manyHits() const { return quick ? QUICK_HITS : FULL_HITS; }
};

using Make = std::function<std::unique_ptr<Operation>(const Settings&)>;

/// One way to do a thing, and how it is measured.
struct Contender {
  std::string name;
  Meter meter;
  std::size_t count;  ///< operations in one slice
  Make make;
  bool once = false;  ///< one slice a round is enough: it is long
};
using Contenders = std::vector<Contender>;

Contenders allContenders(const Settings& settings);

enum class Better { LOWER, HIGHER };

/// A row of the table: contenders of one group run in turn, slice by slice.
struct Figure {
  std::string name;
  std::string title;
  std::string group;
  std::string unit;   ///< of the two values
  std::string ours;   ///< a contender
  std::string other;  ///< a contender; empty: the figure is no ratio but our own value
  Better better = Better::LOWER;
  std::optional<double> bar{};  ///< none: for information
  std::string plus{};  ///< a contender that counts `plusTimes` beside `other`; may be empty
  double plusTimes = 0;
};

/// The table, in the order of the report.
std::vector<Figure> allFigures(const Settings& settings);

struct Outcome {
  Figure figure;
  double median = 0;  ///< of the ratio, or of our own value
  double least = 0;
  double most = 0;
  double ours = 0;  ///< medians of the values themselves
  double other = 0;
  [[nodiscard]] bool reached() const;
};

/// Five rounds of everything that `figures` need.
std::vector<Outcome> runRounds(const std::vector<Figure>& figures, const Contenders& contenders,
                               const Settings& settings);

}  // namespace orvix::bench
