// SPDX-License-Identifier: Apache-2.0
// What is measured and how: an operation that can be repeated, the clock it is measured by, and the
// readings of one round.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace orvix::bench {

/// One thing that a contender does, with all that it needs kept ready.
class Operation {
 public:
  Operation() = default;
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;
  virtual ~Operation() = default;

  /// Before each slice, not measured: brings about what all contenders of a group start from.
  virtual void prepare() {}
  /// Does it `count` times. Throws when the outcome is not what it must be.
  virtual void run(std::size_t count) = 0;
  /// For figures that are no time: what one more measurement finds.
  virtual double reading() { return 0; }
};

enum class Meter {
  LATENCY,      ///< wall clock of every single operation; the median counts
  PROCESS_CPU,  ///< user and system time of this process, by getrusage
  THREAD_CPU,   ///< the same of this thread, from its own clock; finer
  WALL,         ///< wall clock of a slice
  READING       ///< the operation's own reading
};

/// The readings of one round.
class Samples {
 public:
  void add(double cost, double operations);
  void clear();
  [[nodiscard]] bool empty() const { return each_.empty(); }
  /// Cost of one operation: of LATENCY and READING the median, else the mean of the round.
  [[nodiscard]] double value(Meter meter) const;

 private:
  std::vector<double> each_;
  double cost_ = 0;
  double operations_ = 0;
};

/// Runs `count` operations and adds what they cost, in nanoseconds each.
void measure(Operation& operation, Meter meter, std::size_t count, Samples& into);

}  // namespace orvix::bench
