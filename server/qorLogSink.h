// SPDX-License-Identifier: Apache-2.0
// Where lines leave: a descriptor that is written to only when it takes a line without waiting.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <spdlog/sinks/base_sink.h>

namespace orvix::server {

/// Borrows the descriptor. One line is one write, so that lines do not mix with those of other
/// programs on the same terminal.
class LogSink : public spdlog::sinks::base_sink<std::mutex> {
 public:
  explicit LogSink(int descriptor) noexcept : descriptor_(descriptor) {}

  /// How many lines found no room since the last call.
  [[nodiscard]] std::uint64_t takeLost() noexcept { return lost_.exchange(0); }

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override;
  void flush_() override {}

 private:
  const int descriptor_;
  std::atomic<std::uint64_t> lost_ = 0;
  bool stuck_ = false;
};

/// The descriptor is the journal's, as it says in the environment. Both the device and the number
/// of the file are compared: a program that was started by a service may write elsewhere.
[[nodiscard]] bool leadsToJournal(int descriptor) noexcept;

}  // namespace orvix::server
