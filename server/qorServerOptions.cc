// SPDX-License-Identifier: Apache-2.0
// Options are made of the table of keys, so that file and command line cannot drift apart.
#include "server/qorServerOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iostream>

#include "server/qorConfigKeys.h"
#include "server/qorConfigReader.h"
#include "server/qorServerManual.h"
#include "server/qorServerVersion.h"

namespace orvix::server {

namespace {

constexpr int EXIT_USAGE = 2;

CLI::Option* add(CLI::App& app, const ConfigKey<ServerConfig>& key, std::string& value) {
  CLI::Option* option = app.add_option(key.option, value, std::string(key.says));
  // An empty text, of a variable that is not set say, must not put out what the file says.
  option->check([&key](const std::string& given) {
    const bool fits = given.size() >= key.least && given.size() <= key.most;
    return fits ? std::string()
                : "must have " + std::to_string(key.least) + " to " + std::to_string(key.most) +
                      " bytes";
  });
  return option;
}

CLI::Option* add(CLI::App& app, const ConfigKey<ServerConfig>& key, bool& value) {
  return app.add_flag(key.option, value, std::string(key.says));
}

CLI::Option* add(CLI::App& app, const ConfigKey<ServerConfig>& key, std::uint32_t& value) {
  const std::string limits =
      " (" + std::to_string(key.least) + " to " + std::to_string(key.most) + ")";
  return app.add_option(key.option, value, std::string(key.says) + limits)
      ->check(CLI::Range(key.least, key.most));
}

CLI::Option* add(CLI::App& app, const ConfigKey<ServerConfig>& key, LogLevel& value) {
  const std::vector<std::string> names(LOG_LEVEL_NAMES.begin(), LOG_LEVEL_NAMES.end());
  return app
      .add_option_function<std::string>(
          key.option, [&value](const std::string& name) { value = *logLevelOf(name); },
          std::string(key.says))
      ->check(CLI::IsMember(names));
}

CLI::Option* add(CLI::App& app, const ConfigKey<ServerConfig>& key,
                 std::vector<std::string>& values) {
  return app.add_option(key.option, values, std::string(key.says))->take_all()->expected(1);
}

/// Filters are for the file only.
CLI::Option* add(CLI::App&, const ConfigKey<ServerConfig>&, std::vector<TextFilter>&) {
  return nullptr;
}

/// What stands behind the option's name in its help.
std::string valueText(const ConfigKey<ServerConfig>& key) {
  const std::string usual = defaultOf(key);
  return *key.value == '\0' || usual.empty() ? key.value
                                             : std::string(key.value) + " [" + usual + "]";
}

/// A value of the command line is refused for itself, one of the file at its place: a second word
/// about the same place would only confuse.
void addNew(std::vector<std::string>& faults, const std::vector<std::string>& more) {
  const std::vector<std::string> known = faults;
  for (const std::string& fault : more) {
    const std::string place = fault.substr(0, fault.find(": ") + 2);
    const bool told = std::any_of(known.begin(), known.end(), [&place](const std::string& each) {
      return each.starts_with(place);
    });
    if (!told) faults.push_back(fault);
  }
}

}  // namespace

CommandLine::CommandLine(int argc, char** argv) {
  CLI::App app{"A full-text search server", "qorserver"};
  app.add_option("--config", file_, "File with settings; those of the command line win over it")
      ->type_name("FILE")
      ->option_text("FILE");
  bool checkOnly = false;
  app.add_flag("--check-config", checkOnly,
               "Read and check all settings, say \"ok\" or what is wrong, and end");
  std::vector<std::pair<std::size_t, CLI::Option*>> options;
  for (std::size_t row = 0; row < SERVER_KEYS.size(); ++row) {
    const ConfigKey<ServerConfig>& key = SERVER_KEYS.at(row);
    if (*key.option == '\0') continue;
    options.emplace_back(
        row, std::visit([&](auto slot) { return add(app, key, given_.*slot); }, key.slot));
    if (*key.value != '\0') options.back().second->type_name(key.value);
    options.back().second->option_text(valueText(key));
  }
  app.set_version_flag("--version", versionText());
  CLI::App* const manual = app.add_subcommand("man", "Write the manual page, in roff, and end");
  CLI::App* const token = app.add_subcommand("token", "Make a line for the token file and end");
  token->add_option("--access", access_, "admin, update, select, monitor, with commas; or all")
      ->check([](const std::string& given) { return given.empty() ? "names no class" : ""; })
      ->type_name("CLASSES")
      ->option_text("CLASSES [" + access_ + "]");
  token->add_flag("--stdin", tokenFromInput_,
                  "Take the token from the first line of standard input instead of a fresh one");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error) == 0 ? EXIT_SUCCESS : EXIT_USAGE);
  }
  if (app.got_subcommand(manual)) {
    writeManualPage(std::cout, app);
    std::exit(std::cout.flush() ? EXIT_SUCCESS : EXIT_FAILURE);
  }
  for (const auto& [row, option] : options) {
    if (option->count() != 0) rows_.push_back(row);
  }
  if (checkOnly) task_ = Task::CHECK_CONFIG;
  if (app.got_subcommand(token)) task_ = Task::MAKE_TOKEN;
}

Settings CommandLine::settings() const {
  ConfigReading reading;
  if (!file_.empty()) reading = readConfig(file_);
  for (const std::size_t row : rows_) {
    const ConfigKey<ServerConfig>& key = SERVER_KEYS.at(row);
    std::visit([&](auto slot) { reading.config.*slot = given_.*slot; }, key.slot);
    reading.places.insert_or_assign(std::string(key.name), key.option);
    const auto* list = std::get_if<std::vector<std::string> ServerConfig::*>(&key.slot);
    for (std::size_t i = 0; list != nullptr && i < (given_.**list).size(); ++i) {
      reading.places.insert_or_assign(std::string(key.name) + "[" + std::to_string(i) + "]",
                                      key.option);
    }
  }
  if (!reading.understood) return {std::move(reading.config), std::move(reading.faults)};
  addNew(reading.faults, faultsOf(reading.config, reading.places));
  return {std::move(reading.config), std::move(reading.faults)};
}

}  // namespace orvix::server
