// SPDX-License-Identifier: Apache-2.0
// The commands that write scripts and the manual page.
#include <algorithm>

#include "cli/qorCtlContext.h"
#include "cli/qorCtlShells.h"

namespace orvix::ctl {

ExitCode completion(Context& context) {
  using Writer = void (*)(std::ostream & out);
  constexpr std::array<Writer, SHELLS.size()> WRITERS{writeBashCompletion, writeZshCompletion,
                                                      writeFishCompletion};
  const auto* const shell = std::find(SHELLS.begin(), SHELLS.end(), context.settings().shell);
  // The option's check lets only these names pass.
  WRITERS.at(static_cast<std::size_t>(shell - SHELLS.begin()))(context.terminal().out);
  return ExitCode::DONE;
}

ExitCode manualPage(Context& context) {
  writeManualPage(context.terminal().out);
  return ExitCode::DONE;
}

}  // namespace orvix::ctl
