// SPDX-License-Identifier: Apache-2.0
// Nothing is taken before it is known to be there.
#include "cli/qorCtlWireReader.h"

#include <cstdio>
#include <utility>

namespace orvix::ctl {

std::string offsetText(std::size_t offset) {
  char text[48];
  std::snprintf(text, sizeof text, "offset %zu (0x%zx)", offset, offset);
  return text;
}

void WireReader::require(std::size_t count, const std::string& what) const {
  if (count <= remaining()) return;
  fault(std::to_string(count) + (count == 1 ? " byte" : " bytes") + " of " + what + ", but " +
        std::to_string(remaining()) + (remaining() == 1 ? " is" : " are") + " left");
}

std::uint32_t WireReader::bigEndian(std::size_t width, const char* what) {
  std::uint32_t value = 0;
  for (const char byte : bytes(width, what)) value = value << 8U | static_cast<unsigned char>(byte);
  return value;
}

std::uint16_t WireReader::u16(const char* what) {
  return static_cast<std::uint16_t>(bigEndian(sizeof(std::uint16_t), what));
}

std::uint32_t WireReader::u32(const char* what) { return bigEndian(sizeof(std::uint32_t), what); }

std::string_view WireReader::bytes(std::size_t count, const std::string& what) {
  require(count, what);
  const std::string_view run = bytes_.substr(at_, count);
  at_ += count;
  return run;
}

void WireReader::tell(const std::string& meaning) {
  if (told_ == at_) return;  // an empty text
  sink_({told_, bytes_.substr(told_, at_ - told_), std::exchange(title_, "") + meaning});
  told_ = at_;
}

}  // namespace orvix::ctl
