// SPDX-License-Identifier: Apache-2.0
// What a server that was just started says of itself.
#pragma once

#include <poll.h>
#include <string>
#include <unistd.h>

namespace orvix::test {

/// The port at the end of the first line that comes within half a minute; 0 when none does.
inline unsigned int portOfFirstLine(int descriptor) {
  constexpr int START_LIMIT_MS = 30000;
  std::string line;
  pollfd polled{descriptor, POLLIN, 0};
  char c = 0;
  while (::poll(&polled, 1, START_LIMIT_MS) > 0 && ::read(descriptor, &c, 1) == 1 && c != '\n') {
    line += c;
  }
  const std::size_t colon = line.rfind(':');
  return colon == std::string::npos ? 0
                                    : static_cast<unsigned int>(std::stoul(line.substr(colon + 1)));
}

}  // namespace orvix::test
