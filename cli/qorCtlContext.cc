// SPDX-License-Identifier: Apache-2.0
// The little that every command needs.
#include "cli/qorCtlContext.h"

#include <utility>

#include "cli/qorCtlOptionTable.h"

namespace orvix::ctl {

Context::Context(const Settings& settings, const Terminal& terminal)
    : settings_(settings),
      terminal_(terminal),
      format_(outputFormat(settings.output, terminal.outIsTerminal)) {}

Connection& Context::connection() {
  if (!connection_) connection_.emplace(settings_);
  return *connection_;
}

std::string Context::where() const {
  return connection_ ? connection_->triedText() : commandName(settings_.command);
}

std::unique_ptr<RowWriter> Context::rows(std::vector<Column> columns) const {
  return makeRowWriter(format_, terminal_.out, std::move(columns), {false, terminal_.outColour});
}

void Context::writeRow(std::vector<Column> columns, const std::vector<Cell>& cells) const {
  const auto row =
      makeRowWriter(format_, terminal_.out, std::move(columns), {true, terminal_.outColour});
  row->write(cells);
  row->finish();
}

void Context::note(const std::string& text) const { terminal_.err << "qorctl: " << text << '\n'; }

}  // namespace orvix::ctl
