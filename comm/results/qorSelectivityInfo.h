// SPDX-License-Identifier: Apache-2.0
// The server's estimate of how much a query would find.
#pragma once

#include <cstdint>

#include "comm/qorExport.h"
#include "comm/results/qorGenRespRecord.h"

namespace orvix::comm {

/// Three numbers. The companion server gives matches, their lower bound, and documents in all.
/// Shape: { value1: u32, value3: u32, value2: u32 }; a word that is not there keeps its default.
class QORCOMM_EXPORT SelectivityInfo : public GenRespRecord {
 public:
  explicit SelectivityInfo(bool withProperties = false);
  SelectivityInfo(const SelectivityInfo& other);  ///< carries no map
  SelectivityInfo& operator=(const SelectivityInfo& other);
  ~SelectivityInfo() override;

  unsigned int decode(const unsigned char* data, unsigned short length, short format) override;
  void postParse() override;

  [[nodiscard]] std::uint64_t getValue1() const { return value1_; }
  [[nodiscard]] std::uint64_t getValue2() const { return value2_; }
  [[nodiscard]] std::uint64_t getValue3() const { return value3_; }

 private:
  std::uint64_t value1_ = 1;
  std::uint64_t value2_ = 1;
  std::uint64_t value3_ = 100;
};

}  // namespace orvix::comm
