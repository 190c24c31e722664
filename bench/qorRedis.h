// SPDX-License-Identifier: Apache-2.0
// A redis-server of our own and a connection to it.
#pragma once

#include <hiredis/hiredis.h>
#include <memory>
#include <string>

#include "bench/qorPeer.h"

namespace orvix::bench {

struct FreeRedisReply {
  void operator()(void* reply) const { freeReplyObject(reply); }
};
using RedisReply = std::unique_ptr<redisReply, FreeRedisReply>;

/// Runs redis-server on a free loopback port without persistence, in a folder that goes with it,
/// and one client connection.
class Redis {
 public:
  explicit Redis(int core);
  Redis(const Redis&) = delete;
  Redis& operator=(const Redis&) = delete;
  ~Redis();
  redisContext* context() { return context_.get(); }
  /// Throws when `reply` is missing or an error.
  static RedisReply checked(void* reply);

 private:
  struct Free {
    void operator()(redisContext* context) const { redisFree(context); }
  };
  struct Folder {
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string path;
  };
  Folder folder_;
  unsigned int port_;
  Child server_;
  std::unique_ptr<redisContext, Free> context_;
};

}  // namespace orvix::bench
