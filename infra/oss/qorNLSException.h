// SPDX-License-Identifier: Apache-2.0
// Text could not be converted because memory ran out. Passes every handler of the library as it is.
#pragma once

#include "infra/oss/qorBaseException.h"
#include "infra/qorExport.h"

namespace orvix::oss {

/// Text could not be converted because memory ran out. Passes every handler of the library as it
/// is.
class QORINFRA_EXPORT NLSException : public BaseException {
 public:
  using BaseException::BaseException;
  NLSException(const NLSException&);
  NLSException& operator=(const NLSException&);
  ~NLSException() override;
  [[nodiscard]] const char* name() const noexcept override;
};

}  // namespace orvix::oss
