// SPDX-License-Identifier: Apache-2.0
// A real server for a test: its own process, a free loopback port, a data directory of its own.
#pragma once

#include "tests/durability/qorWatchedServer.h"
#include "tests/support/qorFolder.h"

namespace orvix::road {

struct DataFolder {
  test::Folder folder;  // outlives the server
};

class ServerProcess : DataFolder, public durability::WatchedServer {
 public:
  /// Throws std::runtime_error when the server does not start.
  ServerProcess();
};

}  // namespace orvix::road
