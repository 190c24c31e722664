// SPDX-License-Identifier: Apache-2.0
#include "tests/road/qorServerProcess.h"

#include <stdexcept>

namespace orvix::road {

ServerProcess::ServerProcess()
    : WatchedServer(QORSERVER_PATH, folder.path() / "data", {}, Errors::SHOWN) {
  if (port() == 0) throw std::runtime_error("the server did not say where it listens");
}

}  // namespace orvix::road
