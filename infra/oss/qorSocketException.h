// SPDX-License-Identifier: Apache-2.0
// A failure of a TCP connection; its message says which operation, which peer and why.
#pragma once

#include "infra/oss/qorBaseException.h"
#include "infra/qorExport.h"

namespace orvix::oss {

/// A failure of a TCP connection; its message says which operation, which peer and why.
class QORINFRA_EXPORT SocketException : public BaseException {
 public:
  using BaseException::BaseException;
  SocketException(const SocketException&);
  SocketException& operator=(const SocketException&);
  ~SocketException() override;
  [[nodiscard]] const char* name() const noexcept override;
};

}  // namespace orvix::oss
