// SPDX-License-Identifier: Apache-2.0
// Standard error while documents are loaded: a progress bar, and messages that do not tear it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace orvix::ctl {

struct ProgressCounts {
  std::uint64_t documents = 0;
  std::uint64_t rejected = 0;
  std::uint64_t bytes = 0;
};

/// The bar's line. A total of 0 means that it is not known: then there is no bar and no time left,
/// only numbers. The bar gives way to the numbers where there is little room.
[[nodiscard]] std::string progressLine(const ProgressCounts& counts, std::uint64_t totalBytes,
                                       std::chrono::duration<double> elapsed, std::size_t columns);

/// Draws at most ten times a second, no wider than the terminal, and nothing when it is off.
/// Borrows the stream.
class Progress {
 public:
  Progress(std::ostream& out, bool on, std::uint64_t totalBytes);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  void update(const ProgressCounts& counts);
  /// One message on lines of its own.
  void say(std::string_view message);
  /// Takes the bar away.
  void wipe();
  [[nodiscard]] std::chrono::duration<double> elapsed() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::ostream& out_;
  bool on_;
  std::uint64_t totalBytes_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point drawn_{};
  bool visible_ = false;
};

}  // namespace orvix::ctl
