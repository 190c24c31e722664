// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/qorFormatter.h"

#include <charconv>
#include <cmath>
#include <string>

namespace orvix::oss {

double Formatter::stringToDouble(const icu::UnicodeString& text) {
  std::string digits;
  icu::UnicodeString(text).trim().toUTF8String(digits);
  const char* first = digits.data();
  const char* last = first + digits.size();
  if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-')
    ++first;  // from_chars knows no '+'
  double value = 0.0;
  const auto [end, error] = std::from_chars(first, last, value);
  const bool number = error == std::errc() && end == last && std::isfinite(value);
  return number ? value : 0.0;
}

}  // namespace orvix::oss
