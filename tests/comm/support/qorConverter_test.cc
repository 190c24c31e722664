// SPDX-License-Identifier: Apache-2.0
// The growable buffer and the conversion of text into it: which storage, what capacity, what is
// kept.
#include "comm/support/internal/qorConverter.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "comm/support/qorSizeableBuffer.h"
#include "infra/oss/qorNLSException.h"
#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using oss::Converter;

constexpr std::size_t N = 16;
constexpr std::uint64_t MAX_NEED = std::uint64_t{1} << 30U;
using Buffer = oss::SizeableBuffer<char, N>;

/// Whether the data stand inside the object itself.
bool isInline(const Buffer& buffer) {
  const auto* object = reinterpret_cast<const char*>(&buffer);
  return buffer.data() >= object && buffer.data() < object + sizeof buffer;
}

/// Touches both ends of the capacity, so that a sanitizer sees what is not there.
void fill(Buffer& buffer, char with) {
  if (buffer.data() == nullptr) return;
  std::memset(buffer.data(), with, std::min<std::size_t>(buffer.capacity(), 1000));
  buffer.data()[buffer.capacity() - 1] = with;
}

TEST(SizeableBuffer, MovesBetweenInlineHeapAndDefaultBlock) {
  struct Step {
    std::uint64_t need, capacity, length;
    bool inlined = false;
  };
  const struct {
    std::uint64_t limit, areaCapacity, areaLimit;
    std::vector<Step> steps;
    // clang-format off
  } cases[] = {
      // Powers of two.
      {0, 0, 0, {{16, 16, 16, true}, {17, 32, 17}, {32, 32, 32}, {33, 64, 33}, {18, 32, 18},
                 {0, 16, 0, true}, {129, 256, 129}, {16, 16, 16, true}}},
      // A limit of its own stops growth; nothing changes.
      {40, 0, 0, {{41, 16, 16, true}, {40, 64, 40}, {41, 64, 40}, {3, 16, 3, true}}},
      // A default block is used as long as it holds the need.
      {0, 100, 0, {{17, 100, 17}, {100, 100, 100}, {101, 128, 101}, {99, 100, 99},
                   {5, 16, 5, true}, {60, 100, 60}}},
      // A limit of the heap area leaves nothing, with a default block, too, which comes back later.
      {0, 0, 64, {{65, 0, 0}, {64, 64, 64}, {65, 0, 0}, {1, 16, 1, true}}},
      {0, 32, 64, {{65, 0, 0}, {20, 32, 20}, {65, 0, 0}, {2, 16, 2, true}}},
      // A need above 2^30 fails and can be recovered from.
      {0, 0, 0, {{MAX_NEED, MAX_NEED, MAX_NEED}, {MAX_NEED + 1, 0, 0}, {20, 32, 20},
                 {~std::uint64_t{0}, 0, 0}, {16, 16, 16, true}}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Buffer buffer(c.limit, c.areaCapacity, c.areaLimit);
    EXPECT_EQ(buffer.length(), N);
    EXPECT_TRUE(isInline(buffer));
    for (const Step& step : c.steps) {
      SCOPED_TRACE(step.need);
      fill(buffer, '#');
      buffer.resize(step.need);
      EXPECT_EQ(buffer.capacity(), step.capacity);
      EXPECT_EQ(buffer.length(), step.length);
      EXPECT_EQ(buffer.data() == nullptr, step.capacity == 0);
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

TEST(AlternateBuffer, TakesWhatItKeepsFromWhereverThatIs) {
  oss::DefaultAlternateBuffer<char> area;
  area.resize(20, "abc", 3);
  area.resize(30, "xyz", 3);
  EXPECT_EQ(std::string(area.data(), 3), "xyz");
  EXPECT_EQ(area.capacity(), 32U);
}

TEST(Converter, TakesTheLengthForTheRoomThereIsAndGrowsForTextAndNul) {
  const struct {
    std::uint64_t before, bytes, capacity, length;
    // clang-format off
  } cases[] = {
      {16, 0, 16, 16}, {16, 15, 16, 16}, {16, 16, 32, 17}, {16, 31, 32, 32}, {16, 32, 64, 33},
      {41, 5, 64, 41}, {41, 40, 64, 41}, {20, 19, 32, 20}, {3, 7, 16, 8}, {0, 0, 16, 1},
      {0, 3, 16, 4},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.before) + ' ' + std::to_string(c.bytes));
    Buffer buffer;
    buffer.resize(c.before);
    const bool grows = buffer.capacity() != c.capacity;
    const char* block = buffer.data();
    const std::string given(c.bytes, 'x');
    EXPECT_EQ(Converter::convert(unicode(given), buffer), given);
    EXPECT_EQ(buffer.data() != block, grows);
    EXPECT_EQ(buffer.capacity(), c.capacity);
    EXPECT_EQ(buffer.length(), c.length);
  }
}

TEST(Converter, RaisesWhenThereIsNoMemory) {
  Buffer buffer(0, 0, 20);
  for (const char* given : {"more than twenty bytes", "again more than twenty"}) {
    EXPECT_EQ(raisedBy<oss::NLSException>([&] { Converter::convert(unicode(given), buffer); }),
              "ES_ERR_OUT_OF_MEMORY@../../include/infra/oss/qorConverter:492"
              "[Converter::convert()]");
    EXPECT_EQ(buffer.data(), nullptr);
  }
  EXPECT_STREQ(Converter::convert(unicode("fits"), buffer), "fits");
}

}  // namespace
}  // namespace orvix::test
