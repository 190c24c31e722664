// SPDX-License-Identifier: Apache-2.0
// Numbers from text, whatever locale the host process runs in.
#pragma once

#include <unicode/unistr.h>

#include "infra/qorExport.h"

namespace orvix::oss {

/// Reads numbers; holds nothing. Any thread.
class QORINFRA_EXPORT Formatter {
 public:
  /// The decimal number that `text` holds, blanks around it allowed; 0.0 for what is no finite
  /// number. The decimal sign is a point in every locale.
  static double stringToDouble(const icu::UnicodeString& text);
};

}  // namespace orvix::oss
