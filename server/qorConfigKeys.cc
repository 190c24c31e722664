// SPDX-License-Identifier: Apache-2.0
#include "server/qorConfigKeys.h"

#include <type_traits>

namespace orvix::server {

template <class Settings>
std::string expectationOf(const ConfigKey<Settings>& key) {
  const std::string from = std::to_string(key.least);
  const std::string to = std::to_string(key.most);
  return std::visit(
      [&](auto slot) -> std::string {
        using Value = std::remove_reference_t<decltype(std::declval<Settings>().*slot)>;
        if constexpr (std::is_same_v<Value, bool>) return "true or false";
        if constexpr (std::is_same_v<Value, LogLevel>) {
          return R"("error", "warning", "info" or "debug")";
        }
        if constexpr (std::is_same_v<Value, std::uint32_t>) {
          return "a whole number from " + from + " to " + to;
        }
        if constexpr (std::is_same_v<Value, std::string>) {
          return "a text of " + from + " to " + to + " bytes, in quotes";
        }
        if constexpr (std::is_same_v<Value, std::vector<std::string>>) {
          return R"(a list of texts, ["...", "..."], of )" + from + " to " + to;
        }
        return "tables, each opened by [[" + std::string(key.name) + "]], at most " + to;
      },
      key.slot);
}

template std::string expectationOf(const ConfigKey<ServerConfig>& key);
template std::string expectationOf(const ConfigKey<TextFilter>& key);

template <class Settings>
std::string defaultOf(const ConfigKey<Settings>& key) {
  const Settings usual;
  return std::visit(
      [&usual](auto slot) -> std::string {
        const auto& value = usual.*slot;
        using Value = std::remove_cvref_t<decltype(value)>;
        if constexpr (std::is_same_v<Value, bool>) return value ? "true" : "false";
        if constexpr (std::is_same_v<Value, LogLevel>) return std::string(nameOf(value));
        if constexpr (std::is_same_v<Value, std::uint32_t>) return std::to_string(value);
        if constexpr (std::is_same_v<Value, std::string>) return value;
        return "";
      },
      key.slot);
}

template std::string defaultOf(const ConfigKey<ServerConfig>& key);
template std::string defaultOf(const ConfigKey<TextFilter>& key);

std::vector<std::string> changedKeys(const ServerConfig& before, const ServerConfig& now) {
  std::vector<std::string> changed;
  for (const ConfigKey<ServerConfig>& key : SERVER_KEYS) {
    const bool same = std::visit([&](auto slot) { return before.*slot == now.*slot; }, key.slot);
    if (!same) changed.emplace_back(key.name);
  }
  return changed;
}

}  // namespace orvix::server
