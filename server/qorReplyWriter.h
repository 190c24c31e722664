// SPDX-License-Identifier: Apache-2.0
// Lays out replies: header status, records, key/value pairs, error bodies and chunks. Pure: bytes
// are appended to a text that the session writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "server/qorRefusal.h"

namespace orvix::server {

/// Readers take a record of this many payload bytes or more for one with a cut length field.
inline constexpr std::size_t RECORD_LIMIT = 32765;
/// Longest "MsgText" that is sent; longer ones are cut at a character's boundary.
inline constexpr std::size_t MAX_MESSAGE_TEXT = 8192;
/// Data bytes of one chunk. Readers fail when one of its 2-byte fields reaches them in two pieces,
/// so chunks are large: most texts need only one, whose fields travel in the first segment.
inline constexpr std::size_t CHUNK_DATA = 49152;

/// The longest start of `text` that has at most `limit` bytes and does not cut a UTF-8 character.
[[nodiscard]] std::string_view cutAtCharacter(std::string_view text, std::size_t limit) noexcept;

void putStatus(std::string& out, std::uint16_t status);

/// Requires: payload shorter than RECORD_LIMIT.
void putRecord(std::string& out, std::uint16_t status, std::string_view payload);
void putEndMarker(std::string& out);

/// { key length: u16, key, value length: u16, value }; neither longer than 65535 bytes.
void putPair(std::string& out, std::string_view key, std::string_view value);

/// A hit: with a score the record opens with it, in thousandths and capped at 65.535.
void putScoredHit(std::string& out, double score, std::string_view key);
void putHit(std::string& out, std::string_view key);

/// The outcome of one document; `fault` is null when it was indexed.
void putOutcome(std::string& out, std::string_view key, const Fault* fault);

/// The estimate in the order in which readers take it: matches, documents in all, lower bound.
void putSelectivity(std::string& out, std::uint32_t estimated, std::uint32_t lowerBound,
                    std::uint32_t documents);

/// A whole error reply: status and error body.
void putError(std::string& out, const Fault& fault);

/// A failure in the middle of a stream of records, whose header said success long ago.
void putErrorRecord(std::string& out, const Fault& fault);

/// The text as chunks; an empty one is a single empty chunk.
void putChunks(std::string& out, std::string_view text);

}  // namespace orvix::server
