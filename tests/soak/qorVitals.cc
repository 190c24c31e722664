// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/qorVitals.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace orvix::soak {

namespace fs = std::filesystem;

namespace {

constexpr double MEMORY_SHARE = 0.05;
constexpr double MEMORY_SLACK_MIB = 8;
constexpr double DESCRIPTOR_SLACK = 40;  // connections and handles of searches come and go

std::string folderOf(pid_t process) { return "/proc/" + std::to_string(process); }

using Field = double Vitals::*;

double median(std::vector<Vitals>::const_iterator begin, std::vector<Vitals>::const_iterator end,
              Field field) {
  std::vector<double> values;
  std::transform(begin, end, std::back_inserter(values),
                 [field](const Vitals& sample) { return sample.*field; });
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

Vitals vitalsOf(pid_t process) {
  Vitals vitals;
  std::ifstream status(folderOf(process) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) vitals.residentMiB = std::stod(line.substr(6)) / 1024;
    if (line.starts_with("VmHWM:")) vitals.peakMiB = std::stod(line.substr(6)) / 1024;
    if (line.starts_with("Threads:")) vitals.threads = std::stod(line.substr(8));
  }
  std::error_code gone;
  const fs::directory_iterator descriptors(folderOf(process) + "/fd", gone);
  vitals.descriptors = static_cast<double>(std::distance(begin(descriptors), end(descriptors)));
  return vitals;
}

bool isRunning(pid_t process) {
  std::ifstream stat(folderOf(process) + "/stat");
  std::string word;
  for (int field = 1; stat >> word; ++field) {
    if (field == 3) return word != "Z" && word != "X";
  }
  return false;
}

double processorSecondsOf(pid_t process) {
  std::ifstream stat(folderOf(process) + "/stat");
  std::string word;
  double ticks = 0;
  for (int field = 1; stat >> word; ++field) {
    if (field == 14 || field == 15) ticks += std::stod(word);
  }
  return ticks / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

Growth::Growth(const std::vector<Vitals>& samples) {
  if (samples.empty()) return;
  const std::uint64_t life = samples.back().life;
  const auto first = std::find_if(samples.begin(), samples.end(),
                                  [life](const Vitals& sample) { return sample.life == life; });
  const auto warm = first + (samples.end() - first) / 4;
  const auto third = (samples.end() - warm) / 3;
  known_ = static_cast<std::size_t>(samples.end() - warm) >= FEWEST;
  if (!known_) return;
  for (const Field field : {&Vitals::residentMiB, &Vitals::descriptors, &Vitals::threads}) {
    start_.*field = median(warm, warm + third, field);
    end_.*field = median(samples.end() - third, samples.end(), field);
  }
  end_.peakMiB = samples.back().peakMiB;
}

std::string Growth::problem(bool judgeMemory) const {
  if (!known_) return "there are too few samples to compare";
  const double allowed = start_.residentMiB * (1 + MEMORY_SHARE) + MEMORY_SLACK_MIB;
  if (judgeMemory && end_.residentMiB > allowed) return "memory grows";
  if (end_.descriptors > start_.descriptors + DESCRIPTOR_SLACK) return "descriptors grow";
  return end_.threads > start_.threads ? "threads grow" : "";
}

}  // namespace orvix::soak
