// SPDX-License-Identifier: Apache-2.0
// The program: arguments in, exit code out. Every failure ends here as one line on standard error.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <unistd.h>

#include "cli/qorCtlCommands.h"
#include "cli/qorCtlExit.h"
#include "cli/qorCtlOptions.h"

namespace orvix::ctl {

namespace {

constexpr char RED[] = "\x1b[31m";
constexpr char PLAIN[] = "\x1b[0m";

std::string_view environment(const char* name) {
  const char* const value = std::getenv(name);  // before any thread starts
  return value == nullptr ? "" : value;
}

Terminal findTerminal() {
  Terminal terminal{std::cout, std::cerr, isatty(STDOUT_FILENO) != 0, isatty(STDERR_FILENO) != 0};
  const bool colour = environment("NO_COLOR").empty() && environment("TERM") != "dumb";
  terminal.outColour = colour && terminal.outIsTerminal;
  terminal.errColour = colour && terminal.errIsTerminal;
  return terminal;
}

int fail(const Terminal& terminal, const Failure& failure) {
  terminal.out.flush();  // what was found before the failure comes before the message
  terminal.err << (terminal.errColour ? RED : "") << "qorctl:" << (terminal.errColour ? PLAIN : "")
               << ' ' << failure.text << '\n';
  return static_cast<int>(failure.code);
}

int run(const Terminal& terminal, int count, const char* const* arguments) {
  try {
    const ParsedArguments parsed = parseArguments(count, arguments);
    if (parsed.settings) return static_cast<int>(runCommand(*parsed.settings, terminal));
    terminal.out << parsed.text << std::flush;
    return static_cast<int>(ExitCode::DONE);
  } catch (const std::exception&) {
    return fail(terminal, currentFailure("qorctl"));
  }
}

}  // namespace

}  // namespace orvix::ctl

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  return orvix::ctl::run(orvix::ctl::findTerminal(), argc, argv);
}
