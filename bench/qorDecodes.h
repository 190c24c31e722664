// SPDX-License-Identifier: Apache-2.0
// The contenders that read hits from memory. An operation is one hit.
#pragma once

#include <cstddef>
#include <memory>

#include "bench/qorMeter.h"

namespace orvix::bench {

enum class KeyForm { BYTES, TEXT };

/// Pieces of PIECE_HITS hits, each drained before the next: what a caller does who pulls a stream.
/// With `replyHits`, a new reply begins after so many.
std::unique_ptr<Operation> pulledDecode(KeyForm form, std::size_t replyHits = 0);
/// Lists of `listHits` hits, read to the end, walked, and emptied; `fresh`: into a new response,
/// which is destroyed.
std::unique_ptr<Operation> heldDecode(std::size_t listHits, bool fresh);
/// Replies of `elements` strings of 16 bytes.
std::unique_ptr<Operation> redisDecode(std::size_t elements);
/// What is read of a key: its Base64 text, or the bytes that this library and hiredis hand out.
enum class JsonKey { TEXT, BYTES };
/// Bodies of PIECE_HITS hits.
std::unique_ptr<Operation> nlohmannDecode();
std::unique_ptr<Operation> simdjsonDecode(JsonKey form);  // on demand
std::unique_ptr<Operation> simdjsonTreeDecode();          // with a document tree

}  // namespace orvix::bench
