// SPDX-License-Identifier: Apache-2.0
// Documents as hashes, through hiredis, in pipelines.
#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/qorDocuments.h"
#include "bench/qorRedis.h"
#include "bench/qorWorkload.h"

namespace orvix::bench {

namespace {

constexpr std::size_t PIPELINE = 50;

class RedisDocuments : public Operation {
 public:
  RedisDocuments(int core, std::size_t size)
      : document_(size), keys_(documentKeys()), redis_(core) {
    add("HSET");
    add(keys_.front());
    for (const auto& [name, value] : document_.fieldBytes) {
      add(name);
      add(value);
    }
    add("data");
    add(document_.content);
  }

  void run(std::size_t count) override {
    for (std::size_t sent = 0; sent < count;) {
      const std::size_t end = std::min(count, sent + PIPELINE);
      const std::size_t awaited = end - sent;
      for (; sent < end; ++sent) append(keys_[sent % keys_.size()]);
      for (std::size_t i = 0; i < awaited; ++i) {
        void* reply = nullptr;
        if (redisGetReply(redis_.context(), &reply) != REDIS_OK) {
          throw std::runtime_error(redis_.context()->errstr);
        }
        Redis::checked(reply);
      }
    }
  }

 private:
  void add(std::string_view word) {
    words_.push_back(word.data());
    lengths_.push_back(word.size());
  }
  void append(const std::string& key) {
    words_[1] = key.data();
    lengths_[1] = key.size();
    redisAppendCommandArgv(redis_.context(), static_cast<int>(words_.size()), words_.data(),
                           lengths_.data());
  }

  Document document_;
  std::vector<std::string> keys_;
  Redis redis_;
  std::vector<const char*> words_;
  std::vector<std::size_t> lengths_;
};

}  // namespace

std::unique_ptr<Operation> redisDocuments(int core, std::size_t size) {
  return std::make_unique<RedisDocuments>(core, size);
}

}  // namespace orvix::bench
