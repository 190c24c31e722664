// SPDX-License-Identifier: Apache-2.0
// Searches for the first ten documents: through the whole road, in the engine, and a raw exchange
// of as many bytes.
#pragma once

#include <memory>

#include "bench/qorMeter.h"
#include "bench/qorPeer.h"

namespace orvix::bench {

inline constexpr std::size_t FULL_DOCUMENTS = 10'000;
inline constexpr std::size_t QUICK_DOCUMENTS = 2'000;
inline constexpr std::size_t WANTED_HITS = 10;

/// One operation is one search. Requests are made once and sent again and again.
std::unique_ptr<Operation> roadQueries(int core, const Cores& cores, std::size_t documents);
std::unique_ptr<Operation> engineQueries(std::size_t documents);
/// send, recv of 2 bytes, recv of the rest.
std::unique_ptr<Operation> rawExchange(int core);
/// One after the other, in turn.
std::unique_ptr<Operation> engineThenExchange(int core, std::size_t documents);

/// A reading is the 99th percentile of what a caller waits whose search falls due at a steady rate.
enum class Beside {
  NOTHING,
  WRITER,  ///< a client that replaces documents of the same collection, batch after batch
  WORK     ///< a process that does the same work in an index of its own, without the server
};
std::unique_ptr<Operation> roadTail(const Cores& cores, std::size_t documents, Beside beside,
                                    bool quick);

}  // namespace orvix::bench
