// SPDX-License-Identifier: Apache-2.0
// Runs a program on bytes in memory, within limits: input, output and errors through pipes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::server {

struct ProcessLimits {
  unsigned seconds = 0;
  unsigned memoryMiB = 0;
  unsigned outputMiB = 0;
};

enum class ProcessEnd : std::uint32_t {
  NOT_STARTED = 1,     // code: the system's error number
  EXITED = 2,          // code: its exit code
  SIGNALLED = 3,       // code: the signal
  OUT_OF_TIME = 4,     // killed
  TOO_MUCH_OUTPUT = 5  // killed
};

struct ProcessResult {
  ProcessEnd end = ProcessEnd::NOT_STARTED;
  int code = 0;
  std::string output;
  std::string errors;  ///< the start of what it wrote to standard error
};

/// The program has nothing of this process but the three pipes: no descriptors, no environment but
/// PATH and LANG, and no way to gain privileges. What it has started ends with it. Input that it
/// does not read is dropped.
/// Throws: std::system_error when pipes or processes have run out. SIGPIPE must be ignored.
/// Threads: any; it is killed when the thread that waits for it ends, or the server.
[[nodiscard]] ProcessResult runProcess(const std::string& program,
                                       const std::vector<std::string>& command,
                                       const std::string& path, std::string_view input,
                                       const ProcessLimits& limits);

}  // namespace orvix::server
