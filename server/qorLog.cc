// SPDX-License-Identifier: Apache-2.0
// One write a line, so that lines do not mix with those of other programs on the same terminal.
#include "server/qorLog.h"

#include <algorithm>
#include <iostream>
#include <string>

namespace orvix::server {

void logLine(std::string_view text) {
  std::string line = "qorserver: " + std::string(text) + "\n";
  std::replace_if(
      line.begin(), line.end() - 1,
      [](char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f; }, '?');
  std::cerr << line << std::flush;
}

}  // namespace orvix::server
