// SPDX-License-Identifier: Apache-2.0
// What each command does, from its settings to its exit code.
#pragma once

#include <ostream>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlSettings.h"

namespace orvix::ctl {

/// Where a command writes, and what is known of these places.
struct Terminal {
  std::ostream& out;  ///< data
  std::ostream& err;  ///< all else
  bool outIsTerminal = false;
  bool errIsTerminal = false;
  bool outColour = false;  ///< escape sequences for bold and colour are welcome
  bool errColour = false;
};

/// Runs one command. Throws CtlFailure, whose text is the whole message, whatever failed.
[[nodiscard]] ExitCode runCommand(const Settings& settings, const Terminal& terminal);

}  // namespace orvix::ctl
