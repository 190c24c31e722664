// SPDX-License-Identifier: Apache-2.0
// Arguments to settings, and arguments that are refused before anything is sent.
#include "cli/qorCtlOptions.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlOptionTable.h"

namespace {

using namespace orvix::ctl;

ParsedArguments parse(const std::vector<std::string>& words) {
  std::vector<const char*> arguments{"qorctl"};
  for (const std::string& word : words) arguments.push_back(word.c_str());
  return parseArguments(static_cast<int>(arguments.size()), arguments.data());
}

std::string refusal(const std::vector<std::string>& words) {
  try {
    parse(words);
    return "";
  } catch (const CtlFailure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::USAGE);
    return failure.what();
  }
}

TEST(Options, EveryCommandIsReachedByItsName) {
  for (const CommandRow& row : commandTable()) {
    SCOPED_TRACE(commandName(row.command));
    std::vector<std::string> words;
    if (row.group != nullptr) words.emplace_back(row.group);
    if (row.name[0] != '\0') words.emplace_back(row.name);
    const std::uint32_t bit = std::uint32_t{1} << static_cast<std::uint32_t>(row.command);
    for (const OptionRow& option : optionTable()) {
      if ((option.commands & bit) == 0 || !isPositional(option)) continue;
      const auto choices = choicesOf(option.values);
      words.push_back(option.values != Values::ANY && !choices.empty() ? choices[0] : "x=y");
    }
    const auto parsed = parse(words);
    ASSERT_TRUE(parsed.settings);
    EXPECT_EQ(parsed.settings->command, row.command);
  }
}

TEST(Options, GlobalOnesMayStandAnywhere) {
  for (const auto& words : {std::vector<std::string>{"--port", "7", "collection", "create", "c"},
                            {"collection", "--port", "7", "create", "c"},
                            {"collection", "create", "c", "--port", "7"}}) {
    const auto parsed = parse(words);
    ASSERT_TRUE(parsed.settings);
    EXPECT_EQ(parsed.settings->port, 7U);
    EXPECT_EQ(parsed.settings->collection, "c");
  }
}

TEST(Options, ArgumentsMayLookLikeCommandsOrOptions) {
  auto settings = *parse({"search", "status", "load", "--limit", "5"}).settings;
  EXPECT_EQ(settings.command, Command::SEARCH);
  EXPECT_EQ(settings.collection, "status");
  EXPECT_EQ(settings.query, "load");
  settings = *parse({"search", "c", "--", "-x"}).settings;
  EXPECT_EQ(settings.query, "-x");
}

TEST(Options, RepeatedOnesTakeOneValueEach) {
  const auto settings =
      *parse({"load", "c", "--index", "a", "p", "--index", "b", "q", "--sortable", "s"}).settings;
  EXPECT_EQ(settings.indexedFields, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(settings.sortableFields, std::vector<std::string>{"s"});
  EXPECT_EQ(settings.paths, (std::vector<std::string>{"p", "q"}));
}

TEST(Options, HelpIsATextAndNoFailure) {
  EXPECT_FALSE(parse({"--help"}).settings);
  EXPECT_NE(parse({"search", "--help"}).text.find("--limit COUNT"), std::string::npos);
}

TEST(Options, BadValuesAreRefusedWithTheirName) {
  struct Case {
    std::vector<std::string> words;
    const char* says;
  };
  const Case cases[] = {
      {{}, "A subcommand is required; see qorctl --help"},
      {{"collection"}, "A subcommand is required; see qorctl collection --help"},
      {{"collection", "create"}, "; see qorctl collection create --help"},
      {{"search", "c", "q", "--limit", "1", "--limit", "2"},
       "--limit is given more than once; see"},
      {{"--port", "1", "status", "--port", "2"}, "--port is given more than once; see"},
      {{"find"}, "'find' is not understood here"},
      {{"collection", "make", "c"}, "'make' is not understood here"},
      {{"status", "x"}, "'x' is not understood here"},
      {{"status", "--limit", "1"}, "'--limit' is not understood here"},
      {{"search", "c"}, "query is required"},
      {{"search", "c", ""}, "query: the value is empty"},
      {{"search", "", "q"}, "collection: the value is empty"},
      {{"search", "c", "a\nb"}, "query: a line feed"},
      {{"search", "c", "a\rb"}, "query: a line feed"},
      {{"search", "c", "a\xff"}, "query: the value is not UTF-8"},
      {{"search", "c", std::string(8193, 'a')},
       "query: the value has 8193 bytes; give at most 8192"},
      {{"search", "c\n", "q"}, "collection: a line feed"},
      {{"search", "c", "q", "--limit", "0"}, "--limit: '0' is not a whole number from 1"},
      {{"search", "c", "q", "--limit", "4294967296"}, "--limit:"},
      {{"search", "c", "q", "--offset", "-1"}, "--offset: '-1' is not a whole number"},
      {{"search", "c", "q", "--sort", "a\nb"}, "--sort: a line feed"},
      {{"status", "--port", "0"}, "--port: '0' is not a whole number from 1 to 65535"},
      {{"status", "--port", "65536"}, "--port:"},
      {{"status", "--port", "80x"}, "--port: '80x'"},
      {{"status", "--timeout", "nan"}, "--timeout: 'nan' is not a number of seconds"},
      {{"status", "--timeout", "-1"}, "--timeout:"},
      {{"status", "--connect-timeout", "1e9"}, "--connect-timeout:"},
      {{"status", "--retries", "101"}, "--retries:"},
      {{"status", "--output", "xml"}, "--output: 'xml' is not known here; give one of table, json"},
      {{"status", "--host", ""}, "--host: the value is empty"},
      {{"backup", "c", "a\nb"}, "copy: a line feed"},
      {{"doc", "add", "c", "k", "--field", "x"}, "--field: 'x' is no field; give NAME=VALUE"},
      {{"doc", "add", "c", "k", "--field", "=x"}, "--field:"},
      {{"doc", "add", "c", "k", "--field", "a=1", "--index", "b"}, "there is none called 'b'"},
      {{"doc", "delete", "c", ""}, "key: the value is empty"},
      {{"ping", "--count", "0"}, "--count: '0' is not a whole number from 1"},
      {{"load", "c", "p", "--map", "a="}, "--map: 'a=' is no mapping; give FIELD=COLUMN"},
      {{"load", "c", "p", "--map", "key=a", "--key", "b"}, "both name the key's column"},
      {{"load", "c", "p", "--rejects", "-"}, "--rejects: standard output is for data"},
      {{"load", "c", "-", "--token-file", "-"}, "standard input (-) can be read once only"},
      {{"load", "c", "p", "--format", "xml"}, "--format: 'xml' is not known here"},
      {{"wire"}, "kind is required"},
      {{"wire", "decode"}, "file is required"},
      {{"wire", "get-state"}, "kind: 'get-state' is not known here"},
      {{"wire", "get-status", "authToken=x"}, "give it with --token-file"},
      {{"wire", "get-status", "Authorization=x"}, "give it with --token-file"},
      {{"wire", "get-status", "a=b\nc"}, "properties: a line feed"},
      {{"wire", "decode", "f", "--kind", "x"}, "--kind: 'x' is not known here"},
      {{"completion", "csh"}, "shell: 'csh' is not known here; give one of bash, zsh, fish"},
  };
  for (const Case& c : cases) {
    const std::string text = refusal(c.words);
    EXPECT_NE(text.find(c.says), std::string::npos) << "'" << text << "' for: " << c.says;
  }
}

TEST(Options, ValuesAtTheLimitsAreTaken) {
  EXPECT_EQ(refusal({"search", "c", std::string(8192, 'a'), "--limit", "4294967295"}), "");
  EXPECT_EQ(refusal({"status", "--port", "65535", "--timeout", "0", "--connect-timeout", "0.5"}),
            "");
  EXPECT_EQ(refusal({"doc", "add", "c", "k", "--field", "a=", "--index", "a"}), "");
}

}  // namespace
