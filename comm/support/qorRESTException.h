// SPDX-License-Identifier: Apache-2.0
// The one exception type by which the library reports failures.
#pragma once

#include <unicode/unistr.h>

#include "comm/qorExport.h"
#include "comm/results/qorGenRespRecord.h"
#include "infra/oss/qorBaseException.h"

namespace orvix::comm {

namespace detail {
struct ErrorAccess;
}

/// A failure of a request. Its first message carries an id of StaticDefs::ERR_* (or the server's
/// own id), the detecting file and line (none for server-side failures) and arguments: host and
/// port, or an English text. Thrown by value; what() says it all in one line. A copy carries the
/// messages and no property map.
class QORCOMM_EXPORT RESTException : public oss::BaseException, public GenRespRecord {
 public:
  RESTException(const icu::UnicodeString& id, const char* fileName, unsigned int lineNumber);
  RESTException(const RESTException& other);
  RESTException& operator=(const RESTException&) = delete;
  ~RESTException() override;

  /// The server's own message, when its record has one, replaces the messages held so far.
  void postParse() override;

  /// Whether the server reported the failure. Such a request was refused, not lost: it is never
  /// retried, whatever id the server chose.
  [[nodiscard]] bool isServerReported() const { return serverReported_; }

 private:
  friend struct detail::ErrorAccess;
  RESTException(const icu::UnicodeString& id, bool withProperties);

  bool serverReported_ = false;
};

}  // namespace orvix::comm
