// SPDX-License-Identifier: Apache-2.0
#include "bench/server/qorPlaces.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <sched.h>
#include <system_error>

namespace orvix::bench {

TemporaryFolder::TemporaryFolder() {
  path_ = (std::filesystem::temp_directory_path() / "qorserver-bench-XXXXXX").string();
  if (::mkdtemp(path_.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "cannot make a temporary folder");
  }
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void spreadOver(const Cores& cores) {
  cpu_set_t both;
  CPU_ZERO(&both);
  CPU_SET(static_cast<std::size_t>(cores.client), &both);
  CPU_SET(static_cast<std::size_t>(cores.peer), &both);
  if (::sched_setaffinity(0, sizeof both, &both) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot bind to two processors");
  }
}

std::unique_ptr<road::ServerProcess> serverOn(int core, const Cores& cores) {
  pinTo(core);
  auto server = std::make_unique<road::ServerProcess>();
  pinTo(cores.client);
  return server;
}

std::unique_ptr<road::ServerProcess> serverOnBoth(const Cores& cores) {
  spreadOver(cores);
  auto server = std::make_unique<road::ServerProcess>();
  pinTo(cores.client);
  return server;
}

}  // namespace orvix::bench
