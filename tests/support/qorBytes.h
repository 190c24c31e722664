// SPDX-License-Identifier: Apache-2.0
// Wire bytes as a test writes them down, the ways to cut them, and what an error must look like.
#pragma once

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <unicode/unistr.h>

#include "comm/support/qorRESTException.h"
#include "infra/oss/qorMessage.h"

namespace orvix::test {

inline std::string u8(std::uint32_t value) { return {static_cast<char>(value & 0xffU)}; }
inline std::string u16(std::uint32_t value) { return u8(value >> 8U) + u8(value); }
inline std::string u32(std::uint32_t value) { return u16(value >> 16U) + u16(value); }

/// Bytes from hexadecimal digits; blanks are skipped.
inline std::string hex(std::string_view digits) {
  std::string bytes;
  std::string pending;
  for (const char digit : digits) {
    if (digit == ' ') continue;
    pending += digit;
    if (pending.size() == 2) {
      bytes += static_cast<char>(std::stoi(pending, nullptr, 16));
      pending.clear();
    }
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

/// Calls `use(segments)` with the bytes whole, byte by byte, and cut in two at every place.
template <class Use>
void forEachSplit(const std::string& bytes, Use use) {
  use(std::vector<std::string>{bytes});
  for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
    SCOPED_TRACE("cut at " + std::to_string(cut));
    use(std::vector<std::string>{bytes.substr(0, cut), bytes.substr(cut)});
  }
  if (bytes.size() < 3) return;
  SCOPED_TRACE("byte by byte");
  std::vector<std::string> single;
  for (const char byte : bytes) single.emplace_back(1, byte);
  use(single);
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

/// Runs `act`, which must raise a RESTException whose first message is `id`, raised in `file`
/// (empty: not said) at `line` with exactly `arguments`. Returns the ids of the messages behind it.
template <class Act>
std::vector<std::string> expectSite(Act act, const std::string& id, const std::string& file,
                                    unsigned int line,
                                    std::initializer_list<std::string> arguments) {
  std::vector<std::string> behind;
  std::string expected = id;
  if (!file.empty()) expected += '@' + file;
  if (line != 0) expected += ':' + std::to_string(line);
  std::string before = "[";
  for (const auto& argument : arguments) {
    expected += before + argument;
    before = "|";
  }
  if (arguments.size() != 0) expected += ']';
  try {
    act();
    ADD_FAILURE() << "nothing was raised instead of " << expected;
  } catch (comm::RESTException& e) {
    oss::Message first = e.getErrorMessage();
    first.setMessageText({});
    EXPECT_EQ(inOneLine(first), expected);
    for (const auto& message : e.getMessages()) behind.push_back(text(message.getMessageID()));
    behind.erase(behind.begin());
  } catch (const std::exception& e) {
    ADD_FAILURE() << "another exception instead of " << expected << ": " << e.what();
  }
  return behind;
}

}  // namespace orvix::test
