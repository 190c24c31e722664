// SPDX-License-Identifier: Apache-2.0
// Figures that helper programs find: they count heap allocations or watch a process's memory, which
// must not disturb what is timed here.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "bench/qorMeter.h"

namespace orvix::bench {

/// The figure `name` of qor-budget --allocations in `folder`.
std::unique_ptr<Operation> heapReading(const std::string& folder, const std::string& name);
/// MiB by which a process grows that pulls `hits` hits; by qor-resident in `folder`.
std::unique_ptr<Operation> residentReading(const std::string& folder, std::size_t hits);

}  // namespace orvix::bench
