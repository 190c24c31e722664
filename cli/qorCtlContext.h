// SPDX-License-Identifier: Apache-2.0
// What a command has at hand while it runs, and the commands that have files of their own.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/qorCtlCommands.h"
#include "cli/qorCtlConnection.h"
#include "cli/qorCtlExit.h"
#include "cli/qorCtlOutput.h"
#include "cli/qorCtlSettings.h"

namespace orvix::ctl {

/// Settings, places to write to, and the connection. Borrows settings and terminal.
class Context {
 public:
  Context(const Settings& settings, const Terminal& terminal);

  [[nodiscard]] const Settings& settings() const { return settings_; }
  [[nodiscard]] const Terminal& terminal() const { return terminal_; }
  [[nodiscard]] OutputFormat format() const { return format_; }

  /// Set up at the first call: commands that need no server read no token.
  [[nodiscard]] Connection& connection();
  /// What failure messages begin with.
  [[nodiscard]] std::string where() const;

  /// A list of rows.
  [[nodiscard]] std::unique_ptr<RowWriter> rows(std::vector<Column> columns) const;
  /// The one row of a command that has no more.
  void writeRow(std::vector<Column> columns, const std::vector<Cell>& cells) const;
  /// One message on standard error.
  void note(const std::string& text) const;

 private:
  const Settings& settings_;
  const Terminal& terminal_;
  OutputFormat format_;
  std::optional<Connection> connection_;
};

// Each runs one command to its exit code. They throw what Connection throws, and CtlFailure.

[[nodiscard]] ExitCode loadDocuments(Context& context);
[[nodiscard]] ExitCode ping(Context& context);
[[nodiscard]] ExitCode doctor(Context& context);
[[nodiscard]] ExitCode explain(Context& context);
[[nodiscard]] ExitCode showRequest(Context& context);
[[nodiscard]] ExitCode explainCapture(Context& context);
[[nodiscard]] ExitCode completion(Context& context);
[[nodiscard]] ExitCode manualPage(Context& context);

/// Properties of a document's request: token, language and character set.
[[nodiscard]] util::ExtendedProperties documentProperties(Context& context);

}  // namespace orvix::ctl
