// SPDX-License-Identifier: Apache-2.0
// The contenders of a search round trip. `core` is the processor of their peer.
#pragma once

#include <memory>

#include "bench/qorMeter.h"

namespace orvix::bench {

/// What a caller makes anew for each search; the texts of the properties are always kept.
enum class Filling {
  REUSED,     ///< nothing
  EACH_TIME,  ///< map and request
  ALL_FRESH   ///< map, request and response
};

std::unique_ptr<Operation> librarySearch(int core, Filling filling);
/// write, recv of the 2 bytes of header, recv of the rest: the least that the protocol allows.
std::unique_ptr<Operation> rawSearch(int core);
/// LRANGE of 10 elements of 16 bytes.
std::unique_ptr<Operation> redisSearch(int core);
/// The properties as JSON by POST, the hits as JSON, over one connection that is kept.
std::unique_ptr<Operation> httpSearch(int core);

}  // namespace orvix::bench
