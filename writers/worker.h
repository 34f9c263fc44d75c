// One worker that runs a writer's jobs in the order they were posted, beside the reading, so that
// formatting the output of one model overlaps reading the next.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace tarn {

class OrderedWorker {
 public:
  /// At most `max_pending` jobs wait at once: a post beyond that waits for the worker, which
  /// bounds the memory held by jobs not yet run. On a machine with a single processor the jobs
  /// run on the posting thread, at once.
  explicit OrderedWorker(size_t max_pending);
  ~OrderedWorker();  // drains
  OrderedWorker(const OrderedWorker&) = delete;
  OrderedWorker& operator=(const OrderedWorker&) = delete;

  void Post(std::function<void()> job);
  /// Returns once every job posted so far has run.
  void Drain();

 private:
  void Run();

  const size_t max_pending_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> jobs_;
  bool running_job_ = false;
  bool stopping_ = false;
  std::thread thread_;  // not started when the jobs run inline
};

}  // namespace tarn
