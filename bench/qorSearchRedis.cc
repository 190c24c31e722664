// SPDX-License-Identifier: Apache-2.0
// A reply of the same shape, ten strings of 16 bytes, through hiredis.
#include "bench/qorRedis.h"
#include "bench/qorSearches.h"
#include "bench/qorWorkload.h"

namespace orvix::bench {

namespace {

class RedisSearch : public Operation {
 public:
  explicit RedisSearch(int core) : redis_(core) {
    for (std::size_t i = 0; i < REPLY_HITS; ++i) {
      Redis::checked(redisCommand(redis_.context(), "RPUSH hits %s", keyOf(i).c_str()));
    }
  }

  void run(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i) {
      const RedisReply reply = Redis::checked(redisCommand(redis_.context(), "LRANGE hits 0 9"));
      requireCount("elements of a list", reply->elements, REPLY_HITS);
      for (std::size_t at = 0; at < reply->elements; ++at) {
        const redisReply& element = *reply->element[at];
        sink_.take({element.str, element.len});
      }
    }
  }

 private:
  Redis redis_;
  Sink sink_;
};

}  // namespace

std::unique_ptr<Operation> redisSearch(int core) { return std::make_unique<RedisSearch>(core); }

}  // namespace orvix::bench
