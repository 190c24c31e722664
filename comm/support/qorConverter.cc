// SPDX-License-Identifier: Apache-2.0
#include "comm/support/internal/qorConverter.h"

#include "infra/oss/qorNLSException.h"

namespace orvix::oss {

void Converter::raiseOutOfMemory() {
  NLSException error(icu::UnicodeString("ES_ERR_OUT_OF_MEMORY", ""),
                     "../../include/infra/oss/qorConverter", 492);
  error.getErrorMessage().addArgument("Converter::convert()", nullptr);
  throw error;
}

}  // namespace orvix::oss
