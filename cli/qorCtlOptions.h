// SPDX-License-Identifier: Apache-2.0
// From the arguments of a call to its settings, by the tables of commands and options.
#pragma once

#include <optional>
#include <string>

#include "cli/qorCtlSettings.h"

namespace orvix::ctl {

struct ParsedArguments {
  std::optional<Settings> settings;
  std::string text;  ///< what to print instead, when there are no settings: the help, say
};

/// Throws CtlFailure USAGE, saying which argument is wrong and why.
[[nodiscard]] ParsedArguments parseArguments(int count, const char* const* arguments);

}  // namespace orvix::ctl
