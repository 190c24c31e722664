// SPDX-License-Identifier: Apache-2.0
// A program that runs on behalf of the server, within limits, and a keeper of it: a small process
// between the two that lets nothing of what the program started outlive it, whatever session or
// process group that went to.
#pragma once

#include <sys/types.h>

#include "server/qorDescriptor.h"
#include "server/qorFilterProcess.h"

namespace orvix::server {

/// All that the new processes need, made before there are any: in them nothing may be allocated.
struct ProgramPlan {
  const char* program;
  char* const* arguments;
  char* const* environment;
  int input, output, errors;  ///< above the standard descriptors
  int report;                 ///< where the keeper tells how it went, above them, too
  ProcessLimits limits;
  pid_t parent;
};

/// How a program ended, as far as its report says.
struct ProgramEnd {
  enum class Kind : int { NOT_STARTED = 1, ENDED = 2 };
  Kind kind;
  int code;  ///< the system's error number, or what waitpid() tells
};

/// Owns the keeper and, through it, the program and all that it has started: nothing of them is
/// left, not even a zombie.
/// Costs:   of the server's pages those that it changes meanwhile are there twice.
/// Throws:  std::system_error when processes or descriptors have run out.
/// Threads: any; all of it is killed when the thread that made it ends.
class FilterChild {
 public:
  explicit FilterChild(const ProgramPlan& plan);
  FilterChild(const FilterChild&) = delete;
  FilterChild& operator=(const FilterChild&) = delete;
  ~FilterChild() { end(); }

  /// Becomes readable when the program has ended and everything else of it is gone.
  [[nodiscard]] int ended() const noexcept { return ended_.get(); }
  /// Kills what there still is.
  void end() noexcept;
  /// How the program ended, once end() was called: read from the other end of plan.report.
  [[nodiscard]] ProgramEnd readEnd(const Descriptor& report) const noexcept;

 private:
  pid_t keeper_ = -1;
  int status_ = 0;
  Descriptor ended_;
};

}  // namespace orvix::server
