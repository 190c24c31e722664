// SPDX-License-Identifier: Apache-2.0
// Small words for tests that compare bytes: literals with NULs in them, big-endian integers,
// replies' records, exactly sized heap copies (so that a sanitizer sees any read beyond them), and
// one check of everything that an exception carries.
#pragma once

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <unicode/unistr.h>

#include "comm/support/qorRESTException.h"
#include "tests/support/qorBytes.h"

namespace orvix::wirelit {

/// Bytes of a literal, NULs included: "\x00\x01"_bytes.
inline std::string operator""_bytes(const char* text, std::size_t length) { return {text, length}; }

inline icu::UnicodeString text(std::string_view utf8) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
}

inline std::string utf8(const icu::UnicodeString& from) { return test::text(from); }

using test::record;
using test::u16;
using test::u32;

/// A plain-text reply's record: length, payload.
inline std::string counted(const std::string& payload) {
  return u32(static_cast<std::uint32_t>(payload.size())) + payload;
}

/// Key/value pairs of a record.
inline std::string pairs(std::initializer_list<std::pair<std::string, std::string>> all) {
  std::string bytes;
  for (const auto& [key, value] : all) {
    bytes += u16(static_cast<unsigned int>(key.size())) + key;
    bytes += u16(static_cast<unsigned int>(value.size())) + value;
  }
  return bytes;
}

/// A heap copy of exactly the bytes given: one byte further is another's.
class ExactBytes {
 public:
  explicit ExactBytes(std::string_view bytes)
      : bytes_(new char[bytes.size()]), size_(static_cast<std::uint32_t>(bytes.size())) {
    if (size_ != 0) std::memcpy(bytes_.get(), bytes.data(), size_);
  }
  [[nodiscard]] const char* data() const { return bytes_.get(); }
  [[nodiscard]] const unsigned char* raw() const {
    return reinterpret_cast<const unsigned char*>(bytes_.get());
  }
  [[nodiscard]] std::uint32_t size() const { return size_; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::uint32_t size_;
};

/// What a raised exception must carry; `file` null means none.
struct Raised {
  const char* id;
  const char* file = nullptr;
  unsigned int line = 0;
  std::vector<std::string> arguments{};
  std::vector<std::string> furtherIds{};  ///< ids of the messages behind the first
};

inline void expectRaised(const comm::RESTException& error, const Raised& expected) {
  std::vector<std::string> ids;
  for (const oss::Message& message : error.getMessages())
    ids.push_back(utf8(message.getMessageID()));
  std::vector<std::string> expectedIds{expected.id};
  expectedIds.insert(expectedIds.end(), expected.furtherIds.begin(), expected.furtherIds.end());
  ASSERT_EQ(ids, expectedIds) << error.what();
  const oss::Message& first = error.getMessages().getFirstMessage();
  EXPECT_STREQ(first.getFileName(), expected.file);
  EXPECT_EQ(first.getLineNumber(), expected.line);
  std::vector<std::string> arguments;
  for (const auto& argument : first.getArguments()) arguments.push_back(utf8(argument));
  EXPECT_EQ(arguments, expected.arguments);
}

/// Runs `action`, which must raise `expected`.
template <class Action>
void expectRaises(Action action, const Raised& expected) {
  try {
    action();
    ADD_FAILURE() << "nothing raised; expected " << expected.id << ' ' << expected.line;
  } catch (const comm::RESTException& error) {
    expectRaised(error, expected);
  }
}

}  // namespace orvix::wirelit
