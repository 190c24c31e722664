// SPDX-License-Identifier: Apache-2.0
// The program: options, the data directory, the threads, signals. Standard output carries one line,
// where it listens; everything else goes to standard error.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <asio.hpp>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>

#include "server/qorAccess.h"
#include "server/qorBackup.h"
#include "server/qorCollectionStore.h"
#include "server/qorConnections.h"
#include "server/qorDataDirectory.h"
#include "server/qorDispatcher.h"
#include "server/qorListener.h"
#include "server/qorLog.h"
#include "server/qorReaders.h"
#include "server/qorRefusal.h"
#include "server/qorServerVersion.h"
#include "server/qorWriter.h"

namespace orvix::server {

namespace {

constexpr unsigned SEARCH_THREADS = 2;
/// Descriptors that connections must leave to the engine's files.
constexpr std::size_t RESERVED_DESCRIPTORS = 1024;

struct Options {
  std::string data;
  std::string listen = "127.0.0.1:8715";
  std::string tokenFile;
  Limits limits;
  unsigned idleSeconds = 600;
  bool readOnly = false;
  // qorserver token
  std::string access = "all";
  bool tokenFromInput = false;
};

void addOptions(CLI::App& app, Options& options) {
  app.add_option("--data", options.data, "Folder of the collections and backups; made if missing");
  app.add_option("--listen", options.listen, "HOST:PORT to listen on; port 0 takes a free one")
      ->capture_default_str();
  app.add_option(
      "--token-file", options.tokenFile,
      "File with lines that \"qorserver token\" makes; requests must carry such a token");
  app.add_option("--idle-timeout", options.idleSeconds,
                 "Seconds after which a silent connection is closed; 0: never")
      ->capture_default_str();
  app.add_option("--max-connections", options.limits.connections,
                 "Connections at one time; more are closed at once")
      ->capture_default_str();
  app.add_flag("--read-only", options.readOnly, "Refuse every request that changes data");
  app.set_version_flag("--version", versionText());
  CLI::App* token = app.add_subcommand("token", "Make a line for the token file and end");
  token
      ->add_option("--access", options.access,
                   "admin, update, select, monitor, with commas; or all")
      ->capture_default_str();
  token->add_flag("--stdin", options.tokenFromInput,
                  "Take the token from the first line of standard input instead of a fresh one");
}

/// The line for the file goes to standard output, a fresh token, this once, to standard error.
void makeToken(const Options& options) {
  std::string token;
  if (options.tokenFromInput) {
    std::getline(std::cin, token);
    if (token.empty()) refuse(MessageId::ACCESS_INVALID, "There is no token on standard input");
  } else {
    token = Tokens::freshToken();
  }
  const std::string line = Tokens::lineFor(token, options.access);
  if (!options.tokenFromInput) std::cerr << "token: " << token << std::endl;
  std::cout << line << std::endl;
}

Tokens tokensOf(const Options& options, const ListenAddress& address) {
  if (!options.tokenFile.empty()) return Tokens(std::filesystem::path(options.tokenFile));
  if (!address.host.is_loopback()) {
    refuse(MessageId::REQUEST_MALFORMED,
           "Listening on " + options.listen + " needs --token-file, for others can reach it");
  }
  return {};
}

/// A file that may not grow and a reader that has left are errors of the call at hand.
void ignoreDeadlySignals() {
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
}

/// As many descriptors as the system grants, and no more connections than they suffice for.
void raiseDescriptorLimit(Limits& limits) {
  rlimit granted{};
  if (::getrlimit(RLIMIT_NOFILE, &granted) != 0) return;
  granted.rlim_cur = granted.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &granted);
  const auto most = static_cast<std::size_t>(granted.rlim_cur);
  const std::size_t reserved = std::min(RESERVED_DESCRIPTORS, most / 2);
  limits.connections = std::min(limits.connections, most - reserved);
}

/// SIGTERM and SIGINT end the server gently, SIGHUP reads the token file again.
class Signals {
 public:
  Signals(asio::io_context& loop, std::function<void()> end, std::function<void()> reload)
      : signals_(loop, SIGTERM, SIGINT, SIGHUP), end_(std::move(end)), reload_(std::move(reload)) {
    await();
  }

 private:
  void await() {
    signals_.async_wait([this](const std::error_code& error, int number) {
      if (error) return;
      if (number == SIGHUP) {
        reload_();
      } else {
        end_();
      }
      await();
    });
  }

  asio::signal_set signals_;
  std::function<void()> end_;
  std::function<void()> reload_;
};

/// A file that is not right leaves the tokens as they were.
void reloadTokens(const Options& options, Tokens& tokens) {
  if (options.tokenFile.empty()) return;
  try {
    tokens = Tokens(std::filesystem::path(options.tokenFile));
    logLine("The token file was read again");
  } catch (...) {
    logLine(currentFault("Reading the token file again failed").text);
  }
}

void run(Options options) {
  if (options.data.empty())
    refuse(MessageId::STORAGE_FAILED, "Give --data, the folder to store in");
  ignoreDeadlySignals();
  ::umask(077);
  raiseDescriptorLimit(options.limits);
  options.limits.idle = std::chrono::seconds(options.idleSeconds);
  const ListenAddress address = listenAddressOf(options.listen);
  Tokens tokens = tokensOf(options, address);
  DataDirectory directory(options.data);
  CollectionStore store(directory);
  Backups backups(directory, store);
  Readers readers(store, directory.board());
  ServerContext context{store, backups, readers};
  Dispatcher dispatcher(context, tokens, options.readOnly);
  asio::io_context loop(1);
  Writer writer(dispatcher, directory.board(), loop);
  asio::thread_pool pool(SEARCH_THREADS);
  Connections connections(loop, dispatcher, writer, pool, options.limits);
  Listener listener(loop, address, connections);
  const Signals signals(
      loop,
      [&] {
        listener.stop();
        connections.drain();
      },
      [&] { reloadTokens(options, tokens); });
  writer.start();
  listener.start();
  std::cout << "listening on " << listener.endpoint() << std::endl;
  loop.run();
  pool.join();
  writer.finish();
  store.closeAll();
}

}  // namespace

}  // namespace orvix::server

int main(int argc, char** argv) {
  CLI::App app{"A full-text search server", "qorserver"};
  orvix::server::Options options;
  orvix::server::addOptions(app, options);
  CLI11_PARSE(app, argc, argv);
  const bool makingToken = app.got_subcommand("token");
  try {
    if (makingToken) {
      orvix::server::makeToken(options);
    } else {
      orvix::server::run(options);
    }
    return 0;
  } catch (...) {
    const std::string what =
        makingToken ? "Making a token" : "Serving " + options.data + " on " + options.listen;
    orvix::server::logLine(orvix::server::currentFault(what).text);
    return 1;
  }
}
