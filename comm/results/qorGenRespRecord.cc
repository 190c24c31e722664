// SPDX-License-Identifier: Apache-2.0
#include "comm/results/qorGenRespRecord.h"

#include <string_view>

#include "comm/protocol/internal/qorProbes.h"
#include "comm/results/internal/qorServerMessage.h"
#include "infra/oss/qorTraceHooks.h"

namespace orvix::comm {

GenRespRecord::GenRespRecord(bool withProperties)
    : properties_(withProperties ? std::make_shared<util::ExtendedProperties>() : nullptr) {
  if (oss::isTraceInstalled()) traceConstruct();
}

GenRespRecord::GenRespRecord(const GenRespRecord& other) : properties_(other.properties_) {
  if (oss::isTraceInstalled()) traceConstruct();
}

GenRespRecord& GenRespRecord::operator=(const GenRespRecord&) = default;

void GenRespRecord::traceConstruct() noexcept {
  const oss::TraceScope trace(detail::probes::RECORD_CONSTRUCT);
}

void GenRespRecord::traceDestroy() noexcept {
  const oss::TraceScope trace(detail::probes::RECORD_DESTROY);
}

unsigned int GenRespRecord::decode(const unsigned char* data, unsigned short length,
                                   [[maybe_unused]] short format) {
  if (properties_ == nullptr) properties_ = std::make_shared<util::ExtendedProperties>();
  const std::string_view bytes(reinterpret_cast<const char*>(data), data == nullptr ? 0 : length);
  const std::size_t consumed = detail::decodePairs(bytes, *properties_);
  postParse();
  return static_cast<unsigned int>(consumed);
}

}  // namespace orvix::comm
