// SPDX-License-Identifier: Apache-2.0
// Checks that need to look at the machine, or at two settings at once.
#include "server/qorServerConfig.h"

#include <filesystem>
#include <set>
#include <unistd.h>

#include "server/qorAccess.h"
#include "server/qorBackupRoots.h"
#include "server/qorContentType.h"
#include "server/qorListener.h"
#include "server/qorRefusal.h"

namespace orvix::server {

namespace fs = std::filesystem;

namespace {

class Check {
 public:
  Check(const ServerConfig& config, const ConfigPlaces& places)
      : config_(config), places_(places) {}

  std::vector<std::string> run() {
    if (config_.data.empty()) {
      fault("data", "there is no data directory; name one here or with --data");
    }
    tokens();
    listening();
    metrics();
    for (std::size_t i = 0; i < config_.backupRoots.size(); ++i) {
      root("backup.roots[" + std::to_string(i) + "]", config_.backupRoots[i]);
    }
    for (std::size_t i = 0; i < config_.filters.size(); ++i) {
      filter("filter[" + std::to_string(i) + "]", config_.filters[i]);
    }
    return std::move(faults_);
  }

 private:
  void fault(const std::string& key, const std::string& what) {
    const auto place = places_.find(key);
    faults_.push_back((place == places_.end() ? key : place->second) + ": " + what);
  }

  void tokens() {
    if (config_.tokenFile.empty()) return;
    try {
      static_cast<void>(Tokens(fs::path(config_.tokenFile)));
    } catch (...) {
      fault("token_file", currentFault("Reading the token file failed").text);
    }
  }

  void listening() {
    try {
      const bool others = !listenAddressOf(config_.listen).host.is_loopback();
      if (others && config_.tokenFile.empty()) {
        fault("listen", "listening on " + config_.listen +
                            " needs a token_file (--token-file), for others can reach it");
      }
    } catch (...) {
      fault("listen", currentFault("Reading the address failed").text);
    }
  }

  void metrics() {
    if (config_.metricsListen.empty()) return;
    try {
      if (listenAddressOf(config_.metricsListen).host.is_loopback()) return;
      fault("metrics.listen", "metrics carry no token, so " + config_.metricsListen +
                                  " must be a loopback address, such as 127.0.0.1:8716");
    } catch (...) {
      fault("metrics.listen", currentFault("Reading the address failed").text);
    }
  }

  void tryRoot(const std::string& key, const std::string& folder) {
    try {
      static_cast<void>(BackupRoots({folder}, config_.data));
    } catch (...) {
      fault(key, currentFault("Reading the folder failed").text);
    }
  }

  void root(const std::string& key, const std::string& folder) {
    std::error_code error;
    if (!fs::path(folder).is_absolute()) {
      fault(key, inQuotes(folder) + " is no whole path; let it start with /");
    } else if (!fs::is_directory(folder, error)) {
      fault(key, inQuotes(folder) + " is no folder; make it, or leave it out");
    } else if (!config_.data.empty()) {
      tryRoot(key, folder);
    }
  }

  void filter(const std::string& name, const TextFilter& filter) {
    const std::string type = parseContentType(filter.contentType).name;
    if (!type.empty() && !filtered_.insert(type).second) {
      fault(name + ".content_type",
            "there is a filter for " + inQuotes(filter.contentType) + " already; keep one");
    }
    if (filter.command.empty()) return;  // said already
    const std::string& program = filter.command.front();
    std::error_code error;
    const std::string key = name + ".command";
    if (!fs::path(program).is_absolute()) {
      fault(key, inQuotes(program) + " is no whole path; let it start with /");
    } else if (!fs::is_regular_file(program, error)) {
      fault(key, "there is no program " + inQuotes(program) + "; install it, or correct the path");
    } else if (::access(program.c_str(), X_OK) != 0) {
      fault(key, inQuotes(program) + " may not be run by this user; see its rights");
    } else {
      filterType(name, filter);
    }
  }

  void filterType(const std::string& name, const TextFilter& filter) {
    try {
      checkTextFilter(filter);
    } catch (...) {
      fault(name + ".content_type", currentFault("Reading the filter failed").text);
    }
  }

  const ServerConfig& config_;
  const ConfigPlaces& places_;
  std::set<std::string> filtered_;
  std::vector<std::string> faults_;
};

}  // namespace

std::vector<std::string> faultsOf(const ServerConfig& config, const ConfigPlaces& places) {
  return Check(config, places).run();
}

}  // namespace orvix::server
