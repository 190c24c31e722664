// SPDX-License-Identifier: Apache-2.0
#include "bench/qorMeter.h"

#include <algorithm>
#include <ctime>
#include <stdexcept>
#include <sys/resource.h>

namespace orvix::bench {

namespace {

constexpr double NS_PER_S = 1e9;
constexpr double NS_PER_US = 1e3;

double clockNs(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) * NS_PER_S + static_cast<double>(now.tv_nsec);
}

double processCpuNs() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec);
  const auto micros = static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
  return seconds * NS_PER_S + micros * NS_PER_US;
}

double nowNs(Meter meter) {
  switch (meter) {
    case Meter::PROCESS_CPU:
      return processCpuNs();
    case Meter::THREAD_CPU:
      return clockNs(CLOCK_THREAD_CPUTIME_ID);
    case Meter::LATENCY:
    case Meter::WALL:
    case Meter::READING:
      break;
  }
  return clockNs(CLOCK_MONOTONIC);
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

void Samples::add(double cost, double operations) {
  each_.push_back(cost / operations);
  cost_ += cost;
  operations_ += operations;
}

void Samples::clear() {
  each_.clear();
  cost_ = operations_ = 0;
}

double Samples::value(Meter meter) const {
  if (each_.empty()) throw std::logic_error("a round without a reading");
  const bool byMedian = meter == Meter::LATENCY || meter == Meter::READING;
  return byMedian ? median(each_) : cost_ / operations_;
}

void measure(Operation& operation, Meter meter, std::size_t count, Samples& into) {
  if (meter == Meter::READING) return into.add(operation.reading(), 1);
  if (meter == Meter::LATENCY) {
    for (std::size_t i = 0; i < count; ++i) {
      const double start = nowNs(meter);
      operation.run(1);
      into.add(nowNs(meter) - start, 1);
    }
    return;
  }
  const double start = nowNs(meter);
  operation.run(count);
  into.add(nowNs(meter) - start, static_cast<double>(count));
}

}  // namespace orvix::bench
