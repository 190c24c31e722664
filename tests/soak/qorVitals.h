// SPDX-License-Identifier: Apache-2.0
// Memory, descriptors and threads of the server while it runs, and whether they grow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace orvix::soak {

struct Vitals {
  double residentMiB = 0;
  double peakMiB = 0;
  double descriptors = 0;
  double threads = 0;
  std::uint64_t life = 0;  ///< of the server
};

/// From /proc; zeros when the process is gone.
[[nodiscard]] Vitals vitalsOf(pid_t process);
/// False for a process that has ended, waited for or not.
[[nodiscard]] bool isRunning(pid_t process);
[[nodiscard]] double processorSecondsOf(pid_t process);

/// Compares the first and the last third of the last life, without the quarter in which it warms
/// up.
class Growth {
 public:
  static constexpr std::size_t FEWEST = 9;

  explicit Growth(const std::vector<Vitals>& samples);
  [[nodiscard]] bool known() const noexcept { return known_; }
  /// Medians of the two thirds.
  [[nodiscard]] const Vitals& start() const noexcept { return start_; }
  [[nodiscard]] const Vitals& end() const noexcept { return end_; }
  /// What grows, in words; empty when nothing does.
  [[nodiscard]] std::string problem(bool judgeMemory) const;

 private:
  bool known_ = false;
  Vitals start_;
  Vitals end_;
};

}  // namespace orvix::soak
