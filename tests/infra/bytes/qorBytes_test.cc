// SPDX-License-Identifier: Apache-2.0
// The big-endian cursors: order of the bytes, and what happens at the end of the memory.
#include "tests/support/qorBytes.h"

#include <array>
#include <gtest/gtest.h>
#include <string>

#include "infra/bytes/internal/qorByteReader.h"
#include "infra/bytes/internal/qorByteWriter.h"

namespace orvix::test {
namespace {

TEST(ByteReader, ReadsBigEndianAndLeavesTheCursorWhereAReadDoesNotFit) {
  const ExactBytes held(hex("ff01 800000fe") + "abc");
  oss::ByteReader reader(held.view());
  EXPECT_EQ(reader.u16(), 0xff01);
  EXPECT_EQ(reader.u32(), 0x800000feU);
  EXPECT_FALSE(reader.u32());
  EXPECT_FALSE(reader.bytes(4));
  EXPECT_FALSE(reader.bytes(static_cast<std::size_t>(-1)));
  EXPECT_EQ(reader.consumed(), 6U);
  EXPECT_EQ(reader.bytes(0), "");
  EXPECT_EQ(reader.bytes(2), "ab");
  EXPECT_FALSE(reader.u16());
  EXPECT_EQ(reader.bytes(1), "c");
  EXPECT_EQ(reader.remaining(), 0U);
}

TEST(PaddedRead, CountsBytesOutsideAsZero) {
  const ExactBytes held(hex("81828384"));
  const struct {
    std::int64_t offset;
    std::uint32_t u32;
    std::uint16_t u16;
    // clang-format off
  } cases[] = {
      {-5, 0, 0}, {-4, 0, 0}, {-2, 0x8182, 0}, {-1, 0x818283, 0x81}, {0, 0x81828384, 0x8182},
      {3, 0x84000000, 0x8400}, {4, 0, 0}, {INT64_C(1) << 40, 0, 0},
  };
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_EQ(oss::paddedU32(held.view(), c.offset), c.u32) << c.offset;
    EXPECT_EQ(oss::paddedU16(held.view(), c.offset), c.u16) << c.offset;
  }
}

TEST(ByteWriter, WritesBigEndianAndRefusesWhatDoesNotFit) {
  std::array<char, 9> memory{};
  memory.back() = '#';
  oss::ByteWriter out(memory.data(), 8);
  EXPECT_TRUE(out.u16(0xa1b2));
  EXPECT_TRUE(out.u32(0xc3d4e5f6));
  EXPECT_FALSE(out.u32(1));
  EXPECT_FALSE(out.bytes("xyz"));
  EXPECT_EQ(out.claim(static_cast<std::size_t>(-1)), nullptr);
  EXPECT_EQ(out.written(), 6U);
  EXPECT_TRUE(out.bytes(""));
  EXPECT_TRUE(out.bytes("!?"));
  EXPECT_FALSE(out.u16(7));
  EXPECT_EQ(std::string(memory.data(), 9), hex("a1b2c3d4e5f6") + "!?#");
}

}  // namespace
}  // namespace orvix::test
