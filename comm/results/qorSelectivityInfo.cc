// SPDX-License-Identifier: Apache-2.0
#include "comm/results/qorSelectivityInfo.h"

#include "infra/bytes/internal/qorByteReader.h"

namespace orvix::comm {

SelectivityInfo::SelectivityInfo(bool withProperties) : GenRespRecord(withProperties) {}

SelectivityInfo::SelectivityInfo(const SelectivityInfo& other)
    : GenRespRecord(false),
      value1_(other.value1_),
      value2_(other.value2_),
      value3_(other.value3_) {}

SelectivityInfo& SelectivityInfo::operator=(const SelectivityInfo& other) {
  value1_ = other.value1_;
  value2_ = other.value2_;
  value3_ = other.value3_;
  return *this;
}

SelectivityInfo::~SelectivityInfo() = default;

unsigned int SelectivityInfo::decode(const unsigned char* data, unsigned short length,
                                     [[maybe_unused]] short format) {
  oss::ByteReader reader({reinterpret_cast<const char*>(data), length});
  value1_ = reader.u32().value_or(static_cast<std::uint32_t>(value1_));
  value3_ = reader.u32().value_or(static_cast<std::uint32_t>(value3_));  // the third comes second
  value2_ = reader.u32().value_or(static_cast<std::uint32_t>(value2_));
  return 0;
}

void SelectivityInfo::postParse() {}

}  // namespace orvix::comm
