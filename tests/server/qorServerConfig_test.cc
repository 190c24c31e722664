// SPDX-License-Identifier: Apache-2.0
// The file of settings: what a right one says, and where a faulty one is faulty.
#include "server/qorServerConfig.h"

#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "server/qorConfigKeys.h"
#include "server/qorConfigReader.h"
#include "tests/support/qorFolder.h"

namespace orvix::server {
namespace {

TEST(ConfigReader, TakesEverySetting) {
  const ConfigReading reading = parseConfig(
      "data = \"/srv/d\"\n"
      "listen = \"[::1]:1\"\n"
      "token_file = \"/srv/t\"\n"
      "read_only = true\n"
      "idle_timeout = 0\n"
      "max_connections = 1_000\n"
      "search_threads = 256\n"
      "log.level = \"debug\"\n"
      "backup = { roots = [\"/a\", \"/b\"] }\n"
      "[metrics]\n"
      "listen = \"127.0.0.1:2\"\n"
      "[[filter]]\n"
      "content_type = \"application/pdf\"\n"
      "command = [\"/bin/cat\", \"\", \"-\"]\n"
      "[[filter]]\n"
      "content_type = \"a/b\"\n"
      "command = [\"/bin/true\"]\n"
      "seconds = 1\n"
      "memory_mib = 16\n"
      "output_mib = 1\n",
      "f");
  EXPECT_EQ(reading.faults, std::vector<std::string>{});
  EXPECT_TRUE(reading.understood);
  const ServerConfig& config = reading.config;
  EXPECT_EQ(config.data, "/srv/d");
  EXPECT_EQ(config.listen, "[::1]:1");
  EXPECT_EQ(config.tokenFile, "/srv/t");
  EXPECT_TRUE(config.readOnly);
  EXPECT_EQ(config.idleSeconds, 0U);
  EXPECT_EQ(config.maxConnections, 1000U);
  EXPECT_EQ(config.searchThreads, 256U);
  EXPECT_EQ(config.logLevel, LogLevel::DEBUG);
  EXPECT_EQ(config.backupRoots, (std::vector<std::string>{"/a", "/b"}));
  EXPECT_EQ(config.metricsListen, "127.0.0.1:2");
  const std::vector<TextFilter> filters{{"application/pdf", {"/bin/cat", "", "-"}, 30, 512, 64},
                                        {"a/b", {"/bin/true"}, 1, 16, 1}};
  EXPECT_EQ(config.filters, filters);
  EXPECT_EQ(reading.places.at("backup.roots[1]"), "f:9:27");
  EXPECT_EQ(changedKeys(ServerConfig(), config).size(), SERVER_KEYS.size());
  EXPECT_TRUE(changedKeys(config, config).empty());
}

struct FaultyFile {
  const char* text;
  std::vector<std::string> faults;  // how each begins
};

const std::vector<FaultyFile> FAULTY_FILES{
    {"listen = \"a\"\nport = 1\n", {"f:2:1: there is no setting \"port\""}},
    {"# nothing\n\n  read_only = 1", {"f:3:15: read_only must be true or false"}},
    {"data = 5", {"f:1:8: data must be a text of 1 to 4096 bytes"}},
    {"data = \"\"", {"f:1:8: data must be"}},
    {"data = \"a\\u0000b\"", {"f:1:8: data must be"}},
    {"idle_timeout = -1", {"f:1:16: idle_timeout must be a whole number from 0 to 31536000"}},
    {"idle_timeout = 31536001", {"f:1:16: idle_timeout must be"}},
    {"idle_timeout = 1.5", {"f:1:16: idle_timeout must be"}},
    {"max_connections = 0", {"f:1:19: max_connections must be"}},
    {"search_threads = 4294967297", {"f:1:18: search_threads must be"}},
    {"log = \"debug\"", {"f:1:7: log is a table; write its keys below a line [log]"}},
    {"[log]\nlevel = \"loud\"", {"f:2:9: log.level must be \"error\", \"warning\""}},
    {"[log]\nlevel = 3", {"f:2:9: log.level must be"}},
    {"[log]\nfile = 3", {"f:2:1: there is no setting \"log.file\"; the settings here are level"}},
    {"[logs]\nlevel = \"info\"", {"f:1:2: there is no setting \"logs\""}},
    {"[backup]\nroots = \"/a\"", {"f:2:9: backup.roots must be a list of texts"}},
    {"[backup]\nroots = [\"/a\", 1]", {"f:2:9: backup.roots must be"}},
    {"filter = 3", {"f:1:10: filter must be tables, each opened by [[filter]]"}},
    {"[filter]\nseconds = 1", {"f:1:1: filter must be tables"}},
    {"[[filter]]\ncommand = [\"/bin/cat\"]", {"f:1:1: the filter has no content_type; add it"}},
    {"[[filter]]\ncontent_type = \"a/b\"\ncommand = []\nseconds = 0\nnice = 1",
     {"f:3:11: filter[0].command must be", "f:4:11: filter[0].seconds must be",
      "f:5:1: there is no setting \"nice\"; the settings here are content_type, command"}},
    // All faults at once, from top to bottom, and the right settings between them.
    {"z = 1\nread_only = 2\nlisten = \"127.0.0.1:7\"\n[log]\nlevel = 1\na = 1\n",
     {"f:1:1: there is no", "f:2:13: read_only must", "f:5:9: log.level must",
      "f:6:1: there is no"}},
};

TEST(ConfigReader, TellsEveryFaultWithItsPlace) {
  for (const FaultyFile& c : FAULTY_FILES) {
    SCOPED_TRACE(c.text);
    const ConfigReading reading = parseConfig(c.text, "f");
    EXPECT_TRUE(reading.understood);
    ASSERT_EQ(reading.faults.size(), c.faults.size()) << ::testing::PrintToString(reading.faults);
    for (std::size_t i = 0; i < c.faults.size(); ++i) {
      EXPECT_EQ(reading.faults[i].substr(0, c.faults[i].size()), c.faults[i]);
    }
  }
}

TEST(ConfigReader, AFaultOfTheSyntaxEndsTheReadingWhereItStands) {
  struct Case {
    const char* text;
    const char* place;
  };
  for (const Case& c : {Case{"listen = \"a\n", "f:1:"}, Case{"a = 1\na = 2\n", "f:2:"},
                        Case{"x = 1\n\n= 2", "f:3:1"}, Case{"data = \"\xff\"", "f:1:"},
                        Case{"[log\nlevel = 1", "f:1:"}, Case{"x = \"\x01\"", "f:1:"}}) {
    SCOPED_TRACE(c.text);
    const ConfigReading reading = parseConfig(c.text, "f");
    EXPECT_FALSE(reading.understood);
    ASSERT_EQ(reading.faults.size(), 1U);
    EXPECT_TRUE(reading.faults[0].starts_with(c.place)) << reading.faults[0];
  }
}

TEST(ConfigReader, AFileThatCannotBeReadIsAFault) {
  for (const char* file : {"/nonexistent/file", "/"}) {
    const ConfigReading reading = readConfig(file);
    EXPECT_FALSE(reading.understood);
    EXPECT_EQ(reading.faults.size(), 1U) << file;
  }
}

/// Lines that show a setting: "#name = ...", "#[[filter]]".
std::string withShownSettings(const char* file) {
  std::ifstream stream(file);
  std::string text;
  for (std::string line; std::getline(stream, line); text += line + "\n") {
    const bool shown = line.size() > 1 && line[0] == '#' && line[1] != ' ';
    if (shown) line.erase(0, 1);
  }
  return text;
}

TEST(ConfigExample, ShowsEverySettingWithItsDefault) {
  const ConfigReading asIs = readConfig(CONFIG_EXAMPLE);
  EXPECT_EQ(asIs.faults, std::vector<std::string>{});
  EXPECT_EQ(changedKeys(ServerConfig(), asIs.config), std::vector<std::string>{"data"});
  const ConfigReading shown = parseConfig(withShownSettings(CONFIG_EXAMPLE), "f");
  EXPECT_EQ(shown.faults, std::vector<std::string>{});
  for (const auto& key : SERVER_KEYS) EXPECT_TRUE(shown.places.contains(std::string(key.name)));
  for (const auto& key : FILTER_KEYS) {
    EXPECT_TRUE(shown.places.contains("filter[0]." + std::string(key.name))) << key.name;
  }
  const std::vector<std::string> withoutDefault{"data", "token_file", "backup.roots",
                                                "metrics.listen", "filter"};
  EXPECT_EQ(changedKeys(ServerConfig(), shown.config), withoutDefault);
  const TextFilter& filter = shown.config.filters.at(0);
  EXPECT_EQ(filter, (TextFilter{filter.contentType, filter.command}));
}

TEST(ConfigCheck, LooksAtWhatTheSettingsName) {
  const test::Folder folder;
  const std::string file = folder.file("file", "text");
  const std::string filter = "[[filter]]\ncontent_type = \"a/b\"\ncommand = ";
  const struct {
    std::string settings;  // beside the data directory
    std::string fault;     // how it begins; empty: none
  } cases[] = {
      {"", ""},
      {"listen = 'name:1'", "--listen: \"name\" is no"},
      {"listen = '0.0.0.0:1'", "--listen: listening on 0.0.0.0:1 needs a token_file"},
      {"token_file = '" + file + "'", "token_file: Others may use"},
      {"token_file = '" + file + "?'", "token_file: Reading the token file"},
      {"metrics.listen = '[::1]:0'", ""},
      {"metrics.listen = '[::]:1'", "metrics.listen: metrics carry no token"},
      {"backup.roots = ['/', 'etc']", "backup.roots[1]: \"etc\" is no whole path"},
      {"backup.roots = ['" + file + "']", "backup.roots[0]: \""},
      {filter + "['/bin/sh']", ""},
      {filter + "['sh']", "filter[0].command: \"sh\" is no whole path"},
      {filter + "['/bin/nothing']", "filter[0].command: there is no program \"/bin/nothing\""},
      {filter + "['" + file + "']", "filter[0].command: \""},
      {filter + "['/bin/sh']\n[[filter]]\ncontent_type = 'a/B'\ncommand = ['/bin/sh']",
       "filter[1].content_type: there is a filter for \"a/B\" already"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.settings);
    const ConfigReading reading = parseConfig("data = '/nowhere'\n" + c.settings, "f");
    ASSERT_EQ(reading.faults, std::vector<std::string>{});
    const auto faults = faultsOf(reading.config, {{"listen", "--listen"}});
    EXPECT_EQ(faults.size(), c.fault.empty() ? 0U : 1U);
    const std::string fault = faults.empty() ? "" : faults.front();
    EXPECT_TRUE(fault.starts_with(c.fault)) << fault;
  }
  EXPECT_EQ(faultsOf(ServerConfig(), {}).size(), 1U) << "there is no data directory";
}

}  // namespace
}  // namespace orvix::server
