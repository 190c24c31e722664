// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/qorTraceHooks.h"

#include <exception>

namespace orvix::oss {

namespace detail {
std::atomic<const TraceHooks*> installedTraceHooks{nullptr};
}  // namespace detail

namespace {

constexpr std::uint32_t TRACE_BITS = TraceHooks::TRACE_BIT | TraceHooks::TRACE_DETAIL_BIT;

void call(void (*hook)(std::uint32_t), std::uint32_t probe) {
  if (hook != nullptr) hook(probe);
}

}  // namespace

void installTraceHooks(const TraceHooks* hooks) noexcept {
  detail::installedTraceHooks.store(hooks, std::memory_order_release);
}

void TraceScope::enter() noexcept {
  exceptions_ = std::uncaught_exceptions();
  const std::uint32_t flags = hooks_->flags.load(std::memory_order_relaxed);
  if ((flags & TraceHooks::DIAGNOSTIC_BIT) != 0) call(hooks_->diagnosticEntry, probe_);
  if ((flags & TRACE_BITS) != 0) call(hooks_->traceEntry, probe_);
}

void TraceScope::leave() noexcept {
  if (std::uncaught_exceptions() > exceptions_) return;
  const std::uint32_t flags = hooks_->flags.load(std::memory_order_relaxed);
  if ((flags & TRACE_BITS) != 0) call(hooks_->traceExit, probe_);
  if ((flags & TraceHooks::DIAGNOSTIC_BIT) != 0) call(hooks_->diagnosticExit, probe_);
}

void flightRecord(std::uint32_t probe, const void* data, std::size_t length) noexcept {
  const TraceHooks* hooks = detail::installedTraceHooks.load(std::memory_order_acquire);
  if (hooks == nullptr || hooks->flightRecord == nullptr) return;
  const std::uint32_t flags = hooks->flags.load(std::memory_order_relaxed);
  if ((flags & TraceHooks::FLIGHT_RECORD_BIT) != 0) hooks->flightRecord(probe, data, length);
}

}  // namespace orvix::oss
