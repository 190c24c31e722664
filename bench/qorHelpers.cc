// SPDX-License-Identifier: Apache-2.0
#include "bench/qorHelpers.h"

#include <cstdio>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace orvix::bench {

namespace {

/// Runs `command` and returns the number behind `name` in its lines of "name number".
class HelperReading : public Operation {
 public:
  HelperReading(std::string command, std::string name, bool exact)
      : command_(std::move(command)), name_(std::move(name)), exact_(exact) {}

  void run(std::size_t) override { throw std::logic_error("a reading is not timed"); }

  double reading() override {
    if (!exact_ || !value_) value_ = found();
    return *value_;
  }

 private:
  [[nodiscard]] double found() const {
    std::istringstream lines(output());
    std::string name;
    for (double value = 0; lines >> name >> value;) {
      if (name == name_) return value;
    }
    throw std::runtime_error(command_ + " says nothing of " + name_);
  }

  [[nodiscard]] std::string output() const {
    std::FILE* const pipe = ::popen(command_.c_str(), "re");
    if (pipe == nullptr) throw std::runtime_error("cannot run " + command_);
    std::string text;
    char buffer[4096];
    for (std::size_t got = 0; (got = std::fread(buffer, 1, sizeof buffer, pipe)) != 0;) {
      text.append(buffer, got);
    }
    if (::pclose(pipe) != 0) throw std::runtime_error(command_ + " has failed");
    return text;
  }

  std::string command_;
  std::string name_;
  bool exact_;  // it comes out the same every time
  std::optional<double> value_;
};

}  // namespace

std::unique_ptr<Operation> heapReading(const std::string& folder, const std::string& name) {
  return std::make_unique<HelperReading>("'" + folder + "/qor-budget' --allocations", name, true);
}

std::unique_ptr<Operation> residentReading(const std::string& folder, std::size_t hits) {
  return std::make_unique<HelperReading>("'" + folder + "/qor-resident' " + std::to_string(hits),
                                         "growth", false);
}

}  // namespace orvix::bench
