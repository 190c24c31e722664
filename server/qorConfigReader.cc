// SPDX-License-Identifier: Apache-2.0
// Walks what the TOML parser made of the file beside the table of keys.
#include "server/qorConfigReader.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <toml++/toml.h>

#include "server/qorConfigKeys.h"
#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

constexpr std::size_t MAX_FILE = 1U << 20U;

std::string placeOf(const std::string& file, const toml::source_region& region) {
  return file + ":" + std::to_string(region.begin.line) + ":" + std::to_string(region.begin.column);
}

bool isPlainText(std::string_view text) noexcept {
  return std::none_of(text.begin(), text.end(), [](char byte) {
    return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f;
  });
}

/// Reads one table after another into the settings of their kind.
class Walk {
 public:
  Walk(const std::string& file, ConfigReading& reading) : file_(file), reading_(reading) {}

  /// `inFile` opens the full names of what is read; `table` is the name that keys of this table
  /// have in `rows`, with its dot.
  template <class Settings, std::size_t COUNT>
  void table(const toml::table& source, const std::array<ConfigKey<Settings>, COUNT>& rows,
             const std::string& inFile, const std::string& table, Settings& settings) {
    for (const auto& [key, node] : source) {
      const std::string name = table + std::string(key.str());
      const auto row = std::find_if(rows.begin(), rows.end(),
                                    [&](const auto& each) { return each.name == name; });
      const bool holdsKeys = std::any_of(rows.begin(), rows.end(), [&](const auto& each) {
        return each.name.starts_with(name + ".");
      });
      if (row != rows.end()) {
        value(node, *row, inFile + name, settings);
      } else if (!holdsKeys) {
        unknown(key, rows, table, name);
      } else if (node.is_table()) {
        this->table(*node.as_table(), rows, inFile, name + ".", settings);
      } else {
        fault(node.source(), name + " is a table; write its keys below a line [" + name + "]");
      }
    }
  }

  /// Tables come in the order of their names; people read files from top to bottom.
  void tellFaults() {
    std::sort(faults_.begin(), faults_.end());
    for (auto& fault : faults_) reading_.faults.push_back(std::move(fault.second));
  }

 private:
  void fault(const toml::source_region& region, const std::string& what) {
    faults_.emplace_back(region.begin, placeOf(file_, region) + ": " + what);
  }

  template <class Settings, std::size_t COUNT>
  void unknown(const toml::key& key, const std::array<ConfigKey<Settings>, COUNT>& rows,
               const std::string& table, const std::string& name) {
    std::string known;
    for (const ConfigKey<Settings>& row : rows) {
      if (!row.name.starts_with(table)) continue;
      const std::string_view rest = row.name.substr(table.size());
      known += (known.empty() ? "" : ", ") + std::string(rest);
    }
    fault(key.source(),
          "there is no setting " + inQuotes(name) + "; the settings here are " + known);
  }

  template <class Settings>
  void value(const toml::node& node, const ConfigKey<Settings>& row, const std::string& name,
             Settings& settings) {
    reading_.places.insert_or_assign(name, placeOf(file_, node.source()));
    const bool taken = std::visit(
        [&](auto slot) { return take(node, row.least, row.most, name, settings.*slot); }, row.slot);
    if (taken) return;
    fault(node.source(), name + " must be " + expectationOf(row) + ". " + std::string(row.says));
  }

  // Each answers whether the value is of the right type and within the limits.

  bool take(const toml::node& node, std::uint32_t least, std::uint32_t most, const std::string&,
            std::string& out) {
    const auto* text = node.as_string();
    if (text == nullptr || text->get().size() < least || text->get().size() > most) return false;
    if (!isPlainText(text->get())) return false;
    out = text->get();
    return true;
  }

  bool take(const toml::node& node, std::uint32_t, std::uint32_t, const std::string&, bool& out) {
    if (!node.is_boolean()) return false;
    out = node.as_boolean()->get();
    return true;
  }

  bool take(const toml::node& node, std::uint32_t least, std::uint32_t most, const std::string&,
            std::uint32_t& out) {
    if (!node.is_integer()) return false;
    const std::int64_t number = node.as_integer()->get();
    if (number < std::int64_t{least} || number > std::int64_t{most}) return false;
    out = static_cast<std::uint32_t>(number);
    return true;
  }

  bool take(const toml::node& node, std::uint32_t, std::uint32_t, const std::string&,
            LogLevel& out) {
    const auto level = node.is_string() ? logLevelOf(node.as_string()->get()) : std::nullopt;
    if (level) out = *level;
    return level.has_value();
  }

  bool take(const toml::node& node, std::uint32_t least, std::uint32_t most,
            const std::string& name, std::vector<std::string>& out) {
    const toml::array* list = node.as_array();
    if (list == nullptr || list->size() < least || list->size() > most) return false;
    std::vector<std::string> texts;
    for (const toml::node& each : *list) {
      const std::string place = name + "[" + std::to_string(texts.size()) + "]";
      reading_.places.insert_or_assign(place, placeOf(file_, each.source()));
      if (!take(each, 0, MAX_CONFIG_TEXT, place, texts.emplace_back())) return false;
    }
    out = std::move(texts);
    return true;
  }

  bool take(const toml::node& node, std::uint32_t, std::uint32_t most, const std::string& name,
            std::vector<TextFilter>& out) {
    const toml::array* list = node.as_array();
    if (list == nullptr || list->size() > most) return false;
    for (const toml::node& each : *list) {
      if (!each.is_table()) return false;
      const std::string place = name + "[" + std::to_string(out.size()) + "]";
      filter(*each.as_table(), place, out.emplace_back());
    }
    return true;
  }

  void filter(const toml::table& source, const std::string& name, TextFilter& out) {
    reading_.places.insert_or_assign(name, placeOf(file_, source.source()));
    table(source, FILTER_KEYS, name + ".", "", out);
    for (const ConfigKey<TextFilter>& row : FILTER_KEYS) {
      if (!row.required || source.contains(row.name)) continue;
      fault(source.source(), "the filter has no " + std::string(row.name) +
                                 "; add it: " + expectationOf(row) + ". " + std::string(row.says));
    }
  }

  const std::string& file_;
  ConfigReading& reading_;
  std::vector<std::pair<toml::source_position, std::string>> faults_;
};

}  // namespace

ConfigReading parseConfig(std::string_view text, const std::string& file) {
  ConfigReading reading;
  try {
    const toml::table root = toml::parse(text, file);
    Walk walk(file, reading);
    walk.table(root, SERVER_KEYS, "", "", reading.config);
    walk.tellFaults();
  } catch (const toml::parse_error& error) {
    reading.understood = false;
    reading.faults.push_back(placeOf(file, error.source()) + ": " +
                             std::string(error.description()) +
                             "; correct it, what follows was not read");
  }
  return reading;
}

ConfigReading readConfig(const std::filesystem::path& file) {
  ConfigReading reading;
  const std::string name = file.string();
  std::ifstream stream(file, std::ios::binary);
  std::string text(MAX_FILE + 1, '\0');
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
  if (stream.eof() && !stream.bad()) return parseConfig(text, name);
  reading.understood = false;
  reading.faults.push_back(name + (text.size() > MAX_FILE
                                       ? ": the file has more than 1 MiB; is it the right one?"
                                       : ": the file cannot be read; see that it is there, is no "
                                         "folder, and may be read by this user"));
  return reading;
}

}  // namespace orvix::server
