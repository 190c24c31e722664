// SPDX-License-Identifier: Apache-2.0
// Bytes on the wire as a test or a peer of one writes them down. Knows nothing of the library, so that
// a host without it can use them, and nothing that it gets wrong is taken for right here.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace orvix::test {

inline std::string u16(std::size_t value) {
  return {static_cast<char>(value >> 8U & 0xffU), static_cast<char>(value & 0xffU)};
}
inline std::string u32(std::size_t value) { return u16(value >> 16U) + u16(value); }

/// Bytes of a literal, NULs included: "\0\1"_bytes.
inline std::string operator""_bytes(const char* text, std::size_t length) { return {text, length}; }

/// Bytes from hexadecimal digits; blanks are skipped.
inline std::string hex(std::string_view digits) {
  std::string dense(digits);
  std::erase(dense, ' ');
  std::string bytes;
  for (std::size_t i = 0; i + 1 < dense.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(dense.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

/// { length: u16, bytes }
inline std::string withLength(std::string_view bytes) { return u16(bytes.size()).append(bytes); }

// Replies.

/// { status: u16, length: u16, payload }. A chunk looks the same.
inline std::string record(std::size_t status, std::string_view payload) {
  return u16(status) + withLength(payload);
}
inline const std::string END_MARKER = record(1, "");

/// { keyLength: u16, key, valueLength: u16, value }
inline std::string pair(std::string_view key, std::string_view value) {
  return withLength(key) + withLength(value);
}
/// { length: u16, pairs }: what follows the status of a failed request.
inline std::string errorBody(std::string_view pairs) { return withLength(pairs); }

// Requests.

inline constexpr std::string_view LENGTH_LINE = "Content-Length  : ";
inline constexpr std::string_view TERMINATOR("\0\0\0\0\0\0\0\0", 8);

/// { length: u16, header text } and what follows it.
inline std::string frame(std::string_view headerText, std::string_view body = {}) {
  return withLength(headerText).append(body);
}
/// A frame whose header text has these lines behind its first.
inline std::string requestFrame(const std::string& lines, std::string_view body = {}) {
  const std::string length = body.empty() ? "" : std::to_string(body.size());
  return frame(std::string(LENGTH_LINE) + length + "\n" + lines + "\r\n", body);
}

/// { length: u32, bytes }
inline std::string run(std::string_view bytes) { return u32(bytes.size()).append(bytes); }
/// { format: u32, length: u32, records }
inline std::string bodyOf(std::string_view records) { return u32(0) + run(records); }

/// Bytes of the whole frame at the start of `bytes`; 0 when it is not all there.
inline std::size_t frameLength(std::string_view bytes) {
  const auto byteAt = [bytes](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
  if (bytes.size() < 2) return 0;
  const std::size_t header = byteAt(0) * 256U + byteAt(1);
  if (bytes.size() < 2 + header) return 0;
  const std::string_view text = bytes.substr(2, header);
  const std::size_t at = text.find(LENGTH_LINE);
  std::size_t body = 0;
  for (std::size_t i = at + LENGTH_LINE.size(); at != text.npos && i < text.size(); ++i) {
    if (text[i] < '0' || text[i] > '9') break;
    body = body * 10 + static_cast<std::size_t>(text[i] - '0');
  }
  return bytes.size() < 2 + header + body ? 0 : 2 + header + body;
}

/// A heap copy of exactly the bytes given, so that a sanitizer sees any read beyond them.
class ExactBytes {
 public:
  explicit ExactBytes(std::string_view bytes)
      : bytes_(new char[bytes.size()]), size_(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), bytes_.get());
  }
  [[nodiscard]] const char* data() const { return bytes_.get(); }
  [[nodiscard]] unsigned int size() const { return static_cast<unsigned int>(size_); }
  [[nodiscard]] std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_;
};

}  // namespace orvix::test
