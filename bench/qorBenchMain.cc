// SPDX-License-Identifier: Apache-2.0
// Runs every contender in turn, five rounds, and prints what they come to.
// The main program of qor-bench and qor-server-bench, which differ in contenders and figures.
// Usage: qor-bench [--quick] [--only REGEX] [--markdown] [--json FILE] [--list]
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <string>

#include "bench/qorReport.h"
#include "bench/qorRunner.h"

namespace orvix::bench {
namespace {

struct Options {
  Settings settings;
  std::string only;
  std::string jsonFile;
  bool markdown = false;
  bool list = false;
};

Options readOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const auto value = [&] {
      if (++i == argc) throw std::invalid_argument(word + " needs a value");
      return std::string(argv[i]);
    };
    if (word == "--quick") {
      options.settings.quick = true;
    } else if (word == "--markdown") {
      options.markdown = true;
    } else if (word == "--list") {
      options.list = true;
    } else if (word == "--only") {
      options.only = value();
    } else if (word == "--json") {
      options.jsonFile = value();
    } else {
      throw std::invalid_argument(
          "no option is called " + word +
          "; known: --quick, --only REGEX, --markdown, --json FILE, --list");
    }
  }
  return options;
}

std::vector<Figure> chosen(const Options& options) {
  const std::regex only(options.only);
  std::vector<Figure> figures;
  for (const Figure& figure : allFigures(options.settings)) {
    if (std::regex_search(figure.name, only)) figures.push_back(figure);
  }
  if (figures.empty()) throw std::invalid_argument("no figure's name matches " + options.only);
  return figures;
}

void run(Options options) {
  options.settings.cores = chooseCores();
  const std::vector<Figure> figures = chosen(options);
  if (options.list) {
    for (const Figure& figure : figures) {
      std::printf("%-28s %s\n", figure.name.c_str(), figure.title.c_str());
    }
    return;
  }
  Settings& settings = options.settings;
  settings.programs = std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
  pinTo(settings.cores.client);
  const auto outcomes = runRounds(figures, allContenders(settings), settings);
  std::fputs(table(outcomes, options.markdown).c_str(), stdout);
  if (options.jsonFile.empty()) return;
  std::ofstream file(options.jsonFile);
  file << json(outcomes, settings);
  if (!file.flush()) throw std::runtime_error("cannot write " + options.jsonFile);
}

}  // namespace
}  // namespace orvix::bench

int main(int argc, char** argv) try {
  orvix::bench::run(orvix::bench::readOptions(argc, argv));
} catch (const std::exception& e) {
  std::fprintf(stderr, "%s: %s\n", argc > 0 ? argv[0] : "qor-bench", e.what());
  return 2;
}
