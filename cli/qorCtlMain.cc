// SPDX-License-Identifier: Apache-2.0
// The program: arguments in, exit code out. Every failure ends here as one message on standard
// error.
#include <exception>
#include <iostream>
#include <string>
#include <unistd.h>

#include "cli/qorCtlCommands.h"
#include "cli/qorCtlConnection.h"
#include "cli/qorCtlExit.h"
#include "cli/qorCtlOptions.h"

namespace orvix::ctl {

namespace {

int fail(const Failure& failure) {
  std::cout.flush();  // what was found before the failure comes before the message
  std::cerr << "qorctl: " << failure.text << '\n';
  return static_cast<int>(failure.code);
}

int run(int count, const char* const* arguments) {
  std::string where = "qorctl";
  try {
    const ParsedArguments parsed = parseArguments(count, arguments);
    if (!parsed.settings) {
      std::cout << parsed.text << std::flush;
      return static_cast<int>(ExitCode::DONE);
    }
    const Settings& settings = *parsed.settings;
    where = requestText(settings);
    const Terminal terminal{std::cout, std::cerr, isatty(STDOUT_FILENO) != 0,
                            isatty(STDERR_FILENO) != 0};
    return static_cast<int>(runCommand(settings, terminal));
  } catch (const std::exception&) {
    return fail(currentFailure(where));
  }
}

}  // namespace

}  // namespace orvix::ctl

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  return orvix::ctl::run(argc, argv);
}
