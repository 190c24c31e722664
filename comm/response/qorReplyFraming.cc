// SPDX-License-Identifier: Apache-2.0
#include "comm/response/internal/qorReplyFraming.h"

#include "comm/protocol/internal/qorWireStatus.h"
#include "infra/bytes/internal/qorByteReader.h"

namespace orvix::comm::detail {

UnitCut cutErrorBody(std::string_view held) noexcept {
  const auto length = oss::ByteReader(held).u16();
  const std::size_t needed = wire::ERROR_LENGTH_SIZE + length.value_or(0);
  const bool whole = length.has_value() && held.size() >= needed;
  return {whole ? needed : 0, needed, false};
}

UnitCut cutRecords(std::string_view held, bool onlyOne) noexcept {
  UnitCut cut;
  oss::ByteReader reader(held);
  for (;;) {
    cut.needed = wire::RECORD_HEADER_SIZE;
    const auto status = reader.u16();
    const auto length = reader.u16();
    if (!status || !length) return cut;
    cut.needed += *length;
    if (!reader.bytes(*length)) return cut;
    cut.whole = reader.consumed();
    const bool endMarker = *status == wire::OK && *length == 0;
    cut.hasData = cut.hasData || !endMarker;
    if (endMarker || onlyOne) return cut;
  }
}

}  // namespace orvix::comm::detail
