// SPDX-License-Identifier: Apache-2.0
// Statuses and sizes of the wire formats, in the order in which the bytes come.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvix::comm::detail::wire {

// Request: { length: u16, header text } { body } { content }. See docs/protocol.md.
inline constexpr std::size_t FRAME_LENGTH_SIZE = 2;
inline constexpr std::size_t TERMINATOR_SIZE = 8;       // the body of LAST_DOC_SENT: zero bytes
inline constexpr std::size_t BODY_HEADER_SIZE = 4 + 4;  // format word, length of the rest
inline constexpr std::uint32_t BODY_FORMAT = 0;
inline constexpr std::uint32_t LENGTH_MASK = 0x3fffffff;     // top two bits clear
inline constexpr std::uint32_t EXTRA_KEY_MASK = 0x7fffffff;  // key length of a field with `extra`

// Reply: { status: u16 } then, by kind, records, an error body, chunks or nothing.
inline constexpr std::size_t REPLY_HEADER_SIZE = 2;
inline constexpr std::uint16_t OK = 1;
inline constexpr std::uint16_t WITH_SCORE = 5;  // as a record: score first; as a header: busy
inline constexpr std::uint16_t FAILED = 6;
inline constexpr std::uint16_t TEXT_FAILED = 9;
inline constexpr std::uint16_t OK_CHUNKED = 14;
inline constexpr std::uint16_t CONTINUED = 15;
inline constexpr std::uint16_t INVALID_AUTH = 401;

inline constexpr std::size_t ERROR_LENGTH_SIZE = 2;       // error body: { length: u16, pairs }
inline constexpr std::size_t RECORD_HEADER_SIZE = 2 + 2;  // record: { status, length, payload }
inline constexpr std::size_t CHUNK_HEADER_SIZE = 2 + 2;   // chunk: { status, size, data }
inline constexpr std::size_t MAX_U16 = 65535;

}  // namespace orvix::comm::detail::wire
