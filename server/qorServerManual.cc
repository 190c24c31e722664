// SPDX-License-Identifier: Apache-2.0
#include "server/qorServerManual.h"

#include <span>
#include <string>

#include "manual/qorRoff.h"
#include "server/qorConfigKeys.h"
#include "server/qorServerVersion.h"

namespace orvix::server {

namespace {

using roff::bold;
using roff::italic;
using roff::writeEntry;
using roff::writeSection;

constexpr char DESCRIPTION[] =
    "Keeps collections of documents in one data directory, which has to be told as --data or in "
    "the "
    "file of settings, and answers the requests of clients. The first line on standard output says "
    "where it listens, once it does; everything else goes to "
    "standard error. Without a token file everybody who can connect may do everything, so it "
    "listens on loopback addresses only. Nothing is encrypted.";

constexpr char SETTINGS[] =
    "The file is TOML. In it, a dot stands for a table: log.level is level below a line [log]. All "
    "faults are told at once, each with its place. SIGHUP makes the server read the file and the "
    "token file again: tokens and the log level change at once, the rest waits for a restart.";

struct Entry {
  const char* term;
  const char* text;
};

constexpr Entry SIGNALS[] = {
    {"SIGTERM, SIGINT",
     "End gently: requests under way are answered, for 10 seconds at most, and what is pending is "
     "committed."},
    {"SIGHUP", "Read the file of settings and the token file again."},
};

constexpr Entry EXIT_CODES[] = {
    {"0", "Ended as asked; with --check-config: all is right."},
    {"1", "A failure: settings that are wrong, a data directory in use, an address that is taken."},
    {"2", "Arguments that are not understood."},
};

constexpr Entry FILES[] = {
    {"/etc/qorserver/qorserver.toml", "The settings of the service that the package installs."},
    {"/var/lib/qorserver", "Its data."},
    {"/usr/share/doc/qorserver/server.md",
     "All about the server: tokens, backups, takeover, queries, messages, limits, metrics."},
};

void writeEntries(std::ostream& out, const char* title, std::span<const Entry> entries) {
  writeSection(out, title);
  for (const Entry& entry : entries) writeEntry(out, bold(entry.term), entry.text);
}

/// The default stands behind the value's name, in brackets, and is no part of it.
std::string termOf(const CLI::Option& option) {
  std::string term = bold(option.get_name(false, true));
  const std::string& text = option.get_option_text();
  const std::size_t end = text.find(" [");
  if (!text.empty()) term += ' ' + italic(text.substr(0, end));
  if (end != std::string::npos) term += roff::safe(text.substr(end));
  return term;
}

void writeOptions(std::ostream& out, const CLI::App& app) {
  for (const CLI::Option* option : app.get_options()) {
    if (option == app.get_help_ptr() && app.get_parent() != nullptr) continue;  // said above
    writeEntry(out, termOf(*option), option->get_description() + ".");
  }
}

void writeCommands(std::ostream& out, const CLI::App& app) {
  writeSection(out, "COMMANDS");
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    out << ".SS " << bold(command->get_name()) << '\n';
    roff::writeFilled(out, command->get_description() + ".");
    writeOptions(out, *command);
  }
}

template <class Settings>
void writeSettings(std::ostream& out, std::span<const ConfigKey<Settings>> keys) {
  for (const ConfigKey<Settings>& key : keys) {
    const std::string usual = defaultOf(key);
    writeEntry(out, bold(key.name),
               std::string(key.says) + ". Value: " + expectationOf(key) + "." +
                   (usual.empty() ? "" : " Default: " + usual + ".") +
                   (key.required ? " Required." : ""));
  }
}

void writeSynopsis(std::ostream& out) {
  writeSection(out, "SYNOPSIS");
  const std::string program = bold("qorserver");
  out << program << ' ' << bold("--data") << ' ' << italic("DIR") << " [" << italic("OPTION")
      << "]...\n.br\n"
      << program << ' ' << bold("--config") << ' ' << italic("FILE") << " ["
      << bold("--check-config") << "] [" << italic("OPTION") << "]...\n.br\n"
      << program << ' ' << italic("COMMAND") << " [" << italic("OPTION") << "]...\n";
}

}  // namespace

void writeManualPage(std::ostream& out, const CLI::App& app) {
  roff::writeTitle(out, "QORSERVER", 8, nameAndVersion(), "System administration");
  writeSection(out, "NAME", "qorserver - keep collections of documents and answer searches");
  writeSynopsis(out);
  writeSection(out, "DESCRIPTION", DESCRIPTION);
  writeSection(out, "OPTIONS", "They win over the same setting of the file.");
  writeOptions(out, app);
  writeCommands(out, app);
  writeSection(out, "SETTINGS", SETTINGS);
  writeSettings<ServerConfig>(out, SERVER_KEYS);
  out << ".SS " << bold("[[filter]]") << '\n';
  roff::writeFilled(out, "Each such table may have:");
  writeSettings<TextFilter>(out, FILTER_KEYS);
  writeEntries(out, "SIGNALS", SIGNALS);
  writeEntries(out, "EXIT STATUS", EXIT_CODES);
  writeEntries(out, "FILES", FILES);
  writeSection(out, "SEE ALSO");
  out << bold("qorctl") << "(1)\n";
}

}  // namespace orvix::server
