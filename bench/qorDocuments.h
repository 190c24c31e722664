// SPDX-License-Identifier: Apache-2.0
// The contenders that send documents. `core` is the processor of their peer; an operation is one
// document.
#pragma once

#include <cstddef>
#include <memory>

#include "bench/qorMeter.h"

namespace orvix::bench {

enum class DocumentFilling {
  FRESH,  ///< a request of its own for each document, filled from a map and fields that are kept
  BUILT,  ///< one request, built anew for each document from the same
  KEY     ///< one request, built once, that gets another key
};

/// A batch for each run, gathered by the client and ended.
std::unique_ptr<Operation> batchedDocuments(int core, std::size_t size, DocumentFilling filling);
/// HSET with the same fields and content, pipelined by 50.
std::unique_ptr<Operation> redisDocuments(int core, std::size_t size);

/// Each document as it comes; a run ends when the peer has everything.
std::unique_ptr<Operation> singleDocuments(int core, std::size_t size, DocumentFilling filling);
/// The same bytes in as many writes.
std::unique_ptr<Operation> rawDocuments(int core, std::size_t size);

}  // namespace orvix::bench
