// SPDX-License-Identifier: Apache-2.0
// The big-endian cursors: order of the bytes, and what happens at the end of the memory.
#include <array>
#include <gtest/gtest.h>
#include <string>

#include "infra/bytes/internal/qorByteReader.h"
#include "infra/bytes/internal/qorByteWriter.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::oss {
namespace {

using wirelit::ExactBytes;
using wirelit::operator""_bytes;

TEST(ByteReader, ReadsBigEndianAndLeavesTheCursorWhereAReadDoesNotFit) {
  const ExactBytes held(
      "\xff\x01\x80\x00\x00\xfe"
      "abc"_bytes);
  ByteReader reader({held.data(), held.size()});
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
  const ExactBytes held("\x81\x82\x83\x84"_bytes);
  const std::string_view bytes(held.data(), held.size());
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
    SCOPED_TRACE(c.offset);
    EXPECT_EQ(paddedU32(bytes, c.offset), c.u32);
    EXPECT_EQ(paddedU16(bytes, c.offset), c.u16);
  }
}

TEST(Cut, KeepsTheLowBits) {
  EXPECT_EQ(cutToU16(0x12345), 0x2345);
  EXPECT_EQ(cutToU16(65536), 0);
  EXPECT_EQ(cutToU32(0x1fffffffeU), 0xfffffffeU);
}

TEST(ByteWriter, WritesBigEndianAndRefusesWhatDoesNotFit) {
  std::array<char, 9> memory{};
  memory.back() = '#';
  ByteWriter out(memory.data(), 8);
  EXPECT_TRUE(out.u16(0xa1b2));
  EXPECT_TRUE(out.u32(0xc3d4e5f6));
  EXPECT_FALSE(out.u32(1));
  EXPECT_FALSE(out.bytes("xyz"));
  EXPECT_EQ(out.claim(static_cast<std::size_t>(-1)), nullptr);
  EXPECT_EQ(out.written(), 6U);
  EXPECT_TRUE(out.bytes(""));
  EXPECT_TRUE(out.bytes("!?"));
  EXPECT_FALSE(out.u16(7));
  EXPECT_EQ(std::string(memory.data(), 9), "\xa1\xb2\xc3\xd4\xe5\xf6!?#");
}

}  // namespace
}  // namespace orvix::oss
