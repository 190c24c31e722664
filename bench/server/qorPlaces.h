// SPDX-License-Identifier: Apache-2.0
// Where servers and engines of a measurement live: processors and temporary folders.
#pragma once

#include <memory>
#include <string>

#include "bench/qorPeer.h"
#include "tests/road/qorServerProcess.h"

namespace orvix::bench {

/// A folder that is removed with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// Binds the calling process, and what it starts, to both processors.
void spreadOver(const Cores& cores);

/// A server on `core`, while the caller stays on its own.
std::unique_ptr<road::ServerProcess> serverOn(int core, const Cores& cores);
/// A server on both processors.
std::unique_ptr<road::ServerProcess> serverOnBoth(const Cores& cores);

}  // namespace orvix::bench
