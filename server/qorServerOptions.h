// SPDX-License-Identifier: Apache-2.0
// The command line: what is to be done, and the settings that win over those of the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "server/qorServerConfig.h"

namespace orvix::server {

enum class Task : std::uint32_t { SERVE = 1, CHECK_CONFIG = 2, MAKE_TOKEN = 3 };

/// Settings as a whole, from the file and the command line, or what is wrong with them.
struct Settings {
  ServerConfig config;
  std::vector<std::string> faults;  ///< each names its place; empty: all is right
};

class CommandLine {
 public:
  /// Where arguments are not to be understood, or only help is asked for, says so and ends the
  /// process: with 2 or 0.
  CommandLine(int argc, char** argv);

  [[nodiscard]] Task task() const noexcept { return task_; }
  /// For Task::MAKE_TOKEN.
  [[nodiscard]] const std::string& access() const noexcept { return access_; }
  [[nodiscard]] bool tokenFromInput() const noexcept { return tokenFromInput_; }

  /// Reads and checks everything, the file anew each time.
  [[nodiscard]] Settings settings() const;

 private:
  Task task_ = Task::SERVE;
  std::string file_;  // empty: none
  ServerConfig given_;
  std::vector<std::size_t> rows_;  // of the table of keys: those that were given
  std::string access_ = "all";
  bool tokenFromInput_ = false;
};

}  // namespace orvix::server
