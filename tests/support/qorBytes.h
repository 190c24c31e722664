// SPDX-License-Identifier: Apache-2.0
// Wire bytes as a test writes them down, and a message as one line of text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <unicode/unistr.h>

#include "comm/results/qorGenRespRecord.h"
#include "comm/support/qorRESTException.h"
#include "infra/oss/qorMessage.h"
#include "infra/util/qorExtendedProperties.h"

namespace orvix::test {

inline std::string u16(std::uint32_t value) {
  return {static_cast<char>(value >> 8U & 0xffU), static_cast<char>(value & 0xffU)};
}
inline std::string u32(std::uint32_t value) { return u16(value >> 16U) + u16(value); }

/// Bytes of a literal, NULs included: "\0\1"_bytes.
inline std::string operator""_bytes(const char* text, std::size_t length) { return {text, length}; }

/// Bytes from hexadecimal digits; blanks are skipped.
inline std::string hex(std::string_view digits) {
  std::string dense(digits);
  std::erase(dense, ' ');
  std::string bytes;
  for (std::size_t i = 0; i < dense.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(dense.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

/// A record of a reply: { status: u16, length: u16, payload }. A chunk looks the same.
inline std::string record(std::uint32_t status, const std::string& payload) {
  return u16(status) + u16(static_cast<std::uint32_t>(payload.size())) + payload;
}

inline const std::string END_MARKER = hex("0001 0000");

/// { keyLength: u16, key, valueLength: u16, value }
inline std::string pair(const std::string& key, const std::string& value) {
  return u16(static_cast<std::uint32_t>(key.size())) + key +
         u16(static_cast<std::uint32_t>(value.size())) + value;
}

/// { length: u16, pairs }: what follows the status of a failed request.
inline std::string errorBody(const std::string& pairs) {
  return u16(static_cast<std::uint32_t>(pairs.size())) + pairs;
}

/// { length: u16, header text } and what follows it.
inline std::string frame(const std::string& headerText, const std::string& body = {}) {
  return u16(static_cast<std::uint32_t>(headerText.size())) + headerText + body;
}

inline std::string text(const icu::UnicodeString& from) {
  std::string bytes;
  return from.toUTF8String(bytes);
}

inline icu::UnicodeString unicode(std::string_view utf8) {
  return icu::UnicodeString::fromUTF8({utf8.data(), static_cast<std::int32_t>(utf8.size())});
}

/// "key=value;" of each property.
inline std::string lines(const util::ExtendedProperties& properties) {
  std::string all;
  for (const auto& [key, value] : properties) all += text(key) + '=' + text(value) + ';';
  return all;
}

/// A heap copy of exactly the bytes given, so that a sanitizer sees any read beyond them.
class ExactBytes {
 public:
  explicit ExactBytes(std::string_view bytes)
      : bytes_(new char[bytes.size()]), size_(bytes.size()) {
    std::copy(bytes.begin(), bytes.end(), bytes_.get());
  }
  [[nodiscard]] const char* data() const { return bytes_.get(); }
  [[nodiscard]] std::uint32_t size() const { return static_cast<std::uint32_t>(size_); }
  [[nodiscard]] std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_;
};

/// Decodes `bytes` into `record`; returns the bytes that this took.
inline unsigned int decode(comm::GenRespRecord& record, std::string_view bytes, short format = 1) {
  const ExactBytes held(bytes);
  return record.decode(reinterpret_cast<const unsigned char*>(held.data()),
                       static_cast<unsigned short>(held.size()), format);
}

/// A message in one line: "ID(text)@file:line[argument|argument]"; what is absent is left out.
inline std::string inOneLine(const oss::Message& message) {
  std::string line = text(message.getMessageID());
  if (!message.getMessageText().isEmpty()) line += '(' + text(message.getMessageText()) + ')';
  if (message.getFileName() != nullptr) line += std::string("@") + message.getFileName();
  if (message.getLineNumber() != 0) line += ':' + std::to_string(message.getLineNumber());
  std::string before = "[";
  for (const auto& argument : message.getArguments()) {
    line += before + text(argument);
    before = "|";
  }
  if (!message.getArguments().empty()) line += ']';
  return line;
}

/// An exception's first message in one line, then "+ID" for each message behind it.
inline std::string inOneLine(const oss::BaseException& error) {
  std::string line;
  for (const oss::Message& message : error.getMessages()) {
    line += line.empty() ? inOneLine(message) : '+' + text(message.getMessageID());
  }
  return line;
}

/// What `act` raises, in one line.
template <class Error = comm::RESTException, class Act>
std::string raisedBy(Act act) {
  try {
    act();
  } catch (const Error& error) {
    return inOneLine(error);
  }
  return "nothing";
}

}  // namespace orvix::test
