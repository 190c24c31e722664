// SPDX-License-Identifier: Apache-2.0
// The program: options, the data directory, the event loop, signals. Standard output carries one
// line, where it listens; everything else goes to standard error.
#include <CLI/CLI.hpp>
#include <asio.hpp>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "server/qorBackup.h"
#include "server/qorCollectionStore.h"
#include "server/qorDataDirectory.h"
#include "server/qorDispatcher.h"
#include "server/qorListener.h"
#include "server/qorLog.h"
#include "server/qorRefusal.h"
#include "server/qorServerVersion.h"
#include "server/qorTokens.h"

namespace orvix::server {

namespace {

struct Options {
  std::string data;
  std::string listen = "127.0.0.1:8715";
  std::string tokenFile;
};

void addOptions(CLI::App& app, Options& options) {
  app.add_option("--data", options.data, "Folder of the collections and backups; made if missing")
      ->required();
  app.add_option("--listen", options.listen, "HOST:PORT to listen on; port 0 takes a free one")
      ->capture_default_str();
  app.add_option("--token-file", options.tokenFile,
                 "File of the tokens that requests must carry, one a line");
  app.set_version_flag("--version", versionText());
}

Tokens tokensOf(const Options& options, const ListenAddress& address) {
  if (!options.tokenFile.empty()) return Tokens(std::filesystem::path(options.tokenFile));
  if (!address.host.is_loopback()) {
    refuse(MessageId::REQUEST_MALFORMED,
           "Listening on " + options.listen + " needs --token-file, for others can reach it");
  }
  return Tokens();
}

/// A file that may not grow and a reader that has left are errors of the call at hand.
void ignoreDeadlySignals() {
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
}

void run(const Options& options) {
  ignoreDeadlySignals();
  const ListenAddress address = listenAddressOf(options.listen);
  const Tokens tokens = tokensOf(options, address);
  DataDirectory directory(options.data);
  CollectionStore store(directory);
  Backups backups(directory, store);
  ServerContext context{store, backups};
  Dispatcher dispatcher(context, tokens);
  asio::io_context loop(1);
  Listener listener(loop, address, dispatcher);
  asio::signal_set signals(loop, SIGTERM, SIGINT);
  signals.async_wait([&loop](const std::error_code&, int) { loop.stop(); });
  listener.start();
  std::cout << "listening on " << listener.endpoint() << std::endl;
  loop.run();
  store.closeAll();
}

}  // namespace

}  // namespace orvix::server

int main(int argc, char** argv) {
  CLI::App app{"A full-text search server", "qorserver"};
  orvix::server::Options options;
  orvix::server::addOptions(app, options);
  CLI11_PARSE(app, argc, argv);
  try {
    orvix::server::run(options);
    return 0;
  } catch (...) {
    const std::string what = "Serving " + options.data + " on " + options.listen;
    orvix::server::logLine(orvix::server::currentFault(what).text);
    return 1;
  }
}
