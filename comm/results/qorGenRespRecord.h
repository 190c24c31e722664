// SPDX-License-Identifier: Apache-2.0
// The base of everything that is decoded from one record of a reply.
#pragma once

#include <memory>

#include "comm/qorExport.h"
#include "infra/oss/qorTraceHooks.h"
#include "infra/util/qorExtendedProperties.h"

namespace orvix::comm {

/// A record and, while it is being decoded, its key/value pairs.
/// Shape:  { keyLength: u16, key, valueLength: u16, value }*, text in UTF-8.
/// Owns:   its property map together with its copies: they name the same map.
/// Threads: one at a time, for a record and its copies together.
class QORCOMM_EXPORT GenRespRecord {
 public:
  GenRespRecord() {
    if (oss::isTraceInstalled()) traceConstruct();
  }
  /// With a new, empty map when `withProperties` is true.
  explicit GenRespRecord(bool withProperties);
  GenRespRecord(const GenRespRecord& other);
  GenRespRecord& operator=(const GenRespRecord& other);

  /// Reads `length` bytes at `data` as pairs into the map, then calls postParse(). `format` is the
  /// record's status. Returns the bytes consumed; when the last pair claims more than there is, it
  /// is cut to the record but counted as claimed. Never reads past `length`.
  virtual unsigned int decode(const unsigned char* data, unsigned short length, short format);
  /// Lifts the pairs into the record's own fields.
  virtual void postParse() = 0;
  virtual ~GenRespRecord() {
    if (oss::isTraceInstalled()) traceDestroy();
  }

  /// The map, or null when the record has none. Lives as long as any copy of the record.
  [[nodiscard]] util::ExtendedProperties* getProperties() { return properties_.get(); }
  [[nodiscard]] const util::ExtendedProperties* getProperties() const { return properties_.get(); }

 private:
  static void traceConstruct() noexcept;
  static void traceDestroy() noexcept;

  std::shared_ptr<util::ExtendedProperties> properties_;
};

}  // namespace orvix::comm
