// SPDX-License-Identifier: Apache-2.0
// The growable buffer and the conversion of text into it: which storage, what capacity, what is
// kept.
#include "comm/support/internal/qorConverter.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "comm/support/qorSizeableBuffer.h"
#include "infra/oss/qorNLSException.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::oss {
namespace {

using icu::UnicodeString;
using wirelit::text;

constexpr std::size_t N = 16;
constexpr std::uint64_t MAX_NEED = std::uint64_t{1} << 30U;
using Buffer = SizeableBuffer<char, N>;

/// Whether the data stand inside the object itself.
bool isInline(const Buffer& buffer) {
  const auto* object = reinterpret_cast<const char*>(&buffer);
  return buffer.data() >= object && buffer.data() < object + sizeof buffer;
}

/// Touches every element of the capacity, so that a sanitizer sees what is not there.
void fill(Buffer& buffer, char with) {
  if (buffer.data() != nullptr) std::memset(buffer.data(), with, buffer.capacity());
}

TEST(SizeableBuffer, MovesBetweenInlineHeapAndDefaultBlock) {
  struct Step {
    std::uint64_t need, capacity, length;
    bool inlined;
    bool null = false;
  };
  const struct {
    const char* name;
    std::uint64_t limit, areaCapacity, areaLimit;
    std::vector<Step> steps;
    // clang-format off
  } cases[] = {
      {"powers of two", 0, 0, 0, {{16, 16, 16, true}, {17, 32, 17, false}, {32, 32, 32, false}, {33,
       64, 33, false}, {18, 32, 18, false}, {0, 16, 0, true}, {129, 256, 129, false}, {16, 16, 16,
       true}}},
      {"a limit of its own stops growth, nothing changes", 40, 0, 0, {{41, 16, 16, true}, {40, 64,
       40, false}, {41, 64, 40, false}, {3, 16, 3, true}}},
      {"a default block is used as long as it holds the need", 0, 100, 0, {{17, 100, 17, false},
       {100, 100, 100, false}, {101, 128, 101, false}, {99, 100, 99, false}, {5, 16, 5, true}, {60,
       100, 60, false}}},
      {"a limit of the heap area leaves nothing", 0, 0, 64, {{65, 0, 0, false, true}, {64, 64, 64,
       false}, {65, 0, 0, false, true}, {1, 16, 1, true}}},
      {"so it does with a default block, which comes back later", 0, 32, 64, {{65, 0, 0, false,
       true}, {20, 32, 20, false}, {65, 0, 0, false, true}, {2, 16, 2, true}}},
      {"a need above 2^30 fails and can be recovered from", 0, 0, 0, {{MAX_NEED + 1, 0, 0, false,
       true}, {20, 32, 20, false}, {~std::uint64_t{0}, 0, 0, false, true}, {16, 16, 16, true}}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Buffer buffer(c.limit, c.areaCapacity, c.areaLimit);
    EXPECT_EQ(buffer.length(), N);
    EXPECT_TRUE(isInline(buffer));
    for (const Step& step : c.steps) {
      SCOPED_TRACE(step.need);
      fill(buffer, '#');
      buffer.resize(step.need);
      EXPECT_EQ(buffer.capacity(), step.capacity);
      EXPECT_EQ(buffer.length(), step.length);
      EXPECT_EQ(buffer.data() == nullptr, step.null);
      EXPECT_EQ(isInline(buffer), step.inlined);
      fill(buffer, '#');
    }
  }
}

TEST(SizeableBuffer, KeepsTheFirstElementsWhereverTheyMove) {
  for (const std::uint64_t areaCapacity : {0U, 30U}) {
    Buffer buffer(0, areaCapacity, 0);
    std::memcpy(buffer.data(), "0123456789abcdef", N);
    std::string expected(buffer.data(), N);
    for (const std::uint64_t need : {20U, 40U, 24U, 100U, 17U, 300U, 10U, 29U, 31U, 12U, 4U, 60U}) {
      buffer.resize(need);
      expected.resize(std::min<std::size_t>(expected.size(), need));
      ASSERT_EQ(std::string(buffer.data(), expected.size()), expected) << need;
      std::string added(need - expected.size(), static_cast<char>('A' + need % 26));
      std::memcpy(buffer.data() + expected.size(), added.data(), added.size());
      expected += added;
    }
  }
}

TEST(SizeableBuffer, NeverClaimsMoreThanItsLargestBlockHolds) {
  oss::SizeableBuffer<char, 4> buffer;
  buffer.resize(MAX_NEED);
  ASSERT_EQ(buffer.capacity(), MAX_NEED);
  buffer.resize(MAX_NEED + 1);
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.length(), 0U);
}

TEST(Converter, UsesTheInlineStorageUpToOneByteLessThanItHolds) {
  const struct {
    std::size_t bytes;
    std::uint64_t capacity, length;
  } cases[] = {{0, 16, 16}, {15, 16, 16}, {16, 32, 17}, {31, 32, 32}, {32, 64, 33}};
  for (const auto& c : cases) {
    Buffer buffer;
    const std::string given(c.bytes, 'x');
    EXPECT_STREQ(Converter::convert(text(given), buffer), given.c_str());
    EXPECT_EQ(buffer.capacity(), c.capacity) << c.bytes;
    EXPECT_EQ(buffer.length(), c.length) << c.bytes;
  }
  SizeableBuffer<char, 0x4000> request;
  const std::string given(16384, 'r');
  EXPECT_EQ(Converter::convert(text(given), request), given);
  EXPECT_EQ(request.capacity(), 32768U);
  EXPECT_EQ(request.length(), 16385U);
}

TEST(Converter, KeepsTheHeapBlockForWhatFitsTheLengthOfTheLongText) {
  Buffer buffer;
  Converter::convert(text(std::string(40, 'l')), buffer);
  const char* block = buffer.data();
  EXPECT_STREQ(Converter::convert(text("short"), buffer), "short");
  EXPECT_EQ(Converter::convert(text(std::string(40, 'm')), buffer), block);
  EXPECT_EQ(buffer.length(), 41U);
  buffer.resize(20);  // what is left holds 19 bytes and the NUL
  EXPECT_STREQ(Converter::convert(text(std::string(19, 'n')), buffer),
               std::string(19, 'n').c_str());
  buffer.resize(3);
  EXPECT_STREQ(Converter::convert(text("seven!!"), buffer), "seven!!");
  EXPECT_TRUE(isInline(buffer));
  EXPECT_EQ(buffer.length(), 8U);
}

TEST(Converter, TakesALengthOfZeroForNoRoomEvenForAnEmptyText) {
  Buffer buffer;
  buffer.resize(0);
  EXPECT_STREQ(Converter::convert(UnicodeString(), buffer), "");
  EXPECT_EQ(buffer.length(), 1U);
  buffer.resize(0);
  EXPECT_STREQ(Converter::convert(text("abc"), buffer), "abc");
  EXPECT_EQ(buffer.length(), 4U);
}

TEST(Converter, StaysWithinABufferThatALimitKeepsFromGrowing) {
  const std::string whole =
      "0123456789abcd\xe2\x82\xac\xe2\x82\xac";  // the cut falls into a character
  Buffer buffer(N);
  fill(buffer, '#');
  const std::string cut = Converter::convert(text(whole), buffer);
  EXPECT_EQ(buffer.capacity(), N);
  EXPECT_LT(cut.size(), N);
  EXPECT_EQ(cut, whole.substr(0, cut.size())) << "something else than the text was returned";
}

TEST(Converter, RaisesWhenThereIsNoMemory) {
  Buffer buffer(0, 0, 20);
  for (const char* given : {"more than twenty bytes", "again more than twenty"}) {
    try {
      Converter::convert(text(given), buffer);
      ADD_FAILURE() << "converted";
    } catch (const NLSException& error) {
      ASSERT_EQ(error.getMessages().size(), 1U);
      const Message& message = error.getMessages().getFirstMessage();
      EXPECT_EQ(wirelit::utf8(message.getMessageID()), "ES_ERR_OUT_OF_MEMORY");
      EXPECT_STREQ(message.getFileName(), "../../include/infra/oss/qorConverter");
      EXPECT_EQ(message.getLineNumber(), 492U);
      ASSERT_EQ(message.getArguments().size(), 1U);
      EXPECT_EQ(wirelit::utf8(message.getArguments()[0]), "Converter::convert()");
    }
    EXPECT_EQ(buffer.data(), nullptr);
  }
  EXPECT_STREQ(Converter::convert(text("fits"), buffer), "fits");
}

}  // namespace
}  // namespace orvix::oss
