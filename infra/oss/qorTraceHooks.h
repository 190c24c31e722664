// SPDX-License-Identifier: Apache-2.0
// The component trace hooks: a host that wants to follow the library's operations installs a table.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "infra/qorExport.h"

namespace orvix::oss {

/// The host's table. The library calls a hook only when it is not null and its flag bit is set.
/// Hooks run on the thread that drives the traced object and must not throw.
struct TraceHooks {
  static constexpr std::uint32_t DIAGNOSTIC_BIT = 1;     ///< bit for the diagnostic hooks
  static constexpr std::uint32_t TRACE_BIT = 2;          ///< bit for the trace hooks
  static constexpr std::uint32_t TRACE_DETAIL_BIT = 4;   ///< either trace bit switches them on
  static constexpr std::uint32_t FLIGHT_RECORD_BIT = 8;  ///< bit for the flight recorder

  std::atomic<std::uint32_t> flags{0};  ///< the host may change it at any time
  /// Called with the number of the operation's probe: where it begins, and where it ends unless by
  /// an exception.
  void (*traceEntry)(std::uint32_t probe) = nullptr;
  void (*traceExit)(std::uint32_t probe) = nullptr;        ///< see traceEntry
  void (*diagnosticEntry)(std::uint32_t probe) = nullptr;  ///< see traceEntry
  void (*diagnosticExit)(std::uint32_t probe) = nullptr;   ///< see traceEntry
  /// Called with bytes that were received; they are valid during the call only.
  void (*flightRecord)(std::uint32_t probe, const void* data, std::size_t length) = nullptr;
};

/// Installs the host's table for the whole process (null: none, the default). The table is borrowed
/// and must outlive every use of the library. May be called from any thread.
QORINFRA_EXPORT void installTraceHooks(const TraceHooks* hooks) noexcept;

namespace detail {
/// What installTraceHooks() installed; read inline, so that an operation that is not traced pays
/// one load.
QORINFRA_EXPORT extern std::atomic<const TraceHooks*> installedTraceHooks;
}  // namespace detail

/// Whether a host follows the library's operations at all.
inline bool isTraceInstalled() noexcept {
  return detail::installedTraceHooks.load(std::memory_order_acquire) != nullptr;
}

/// Entry hooks now, exit hooks at the end of the scope unless an exception leaves it.
class QORINFRA_EXPORT TraceScope {
 public:
  /// Calls the entry hooks, when there are any.
  explicit TraceScope(std::uint32_t probe) noexcept
      : probe_(probe), hooks_(detail::installedTraceHooks.load(std::memory_order_acquire)) {
    if (hooks_ != nullptr) enter();
  }
  ~TraceScope() {
    if (hooks_ != nullptr) leave();
  }
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;

 private:
  void enter() noexcept;
  void leave() noexcept;

  std::uint32_t probe_;
  const TraceHooks* hooks_;  // null: nothing to do at the end
  int exceptions_ = 0;
};

/// Hands `length` bytes at `data` to the flight recorder, when it is on.
QORINFRA_EXPORT void flightRecord(std::uint32_t probe, const void* data,
                                  std::size_t length) noexcept;

}  // namespace orvix::oss
