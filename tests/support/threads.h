// Several threads at once, as a process has them in which several interpreters run.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <mutex>
#include <thread>
#include <vector>

/// Runs `body(number)` in threads with the numbers 0 to `count` - 1, which begin together, and waits for their ends.
inline void in_threads(int count, std::function<void(int)> const& body) {
  std::mutex mutex;
  std::condition_variable all_there;
  int missing = count;
  std::vector<std::thread> threads;
  for (int number = 0; number < count; ++number)
    threads.emplace_back([&, number] {
      {
        std::unique_lock lock(mutex);
        if (--missing == 0) all_there.notify_all();
        all_there.wait(lock, [&] { return missing == 0; });
      }
      body(number);
    });
  for (std::thread& thread : threads) thread.join();
}

/// Something that one thread waits for and another brings about.
class Signal {
 public:
  void give() {
    const std::lock_guard lock(mutex_);
    is_given_ = true;
    given_.notify_all();
  }
  /// Whether it comes within a time that only a thread which is stuck needs.
  bool comes() const { return comes_within(std::chrono::seconds(20)); }
  /// Whether it comes within a time in which it would have come long since.
  bool comes_soon() const { return comes_within(std::chrono::milliseconds(100)); }

 private:
  template <class Time>
  bool comes_within(Time time) const {
    std::unique_lock lock(mutex_);
    return given_.wait_for(lock, time, [this] { return is_given_; });
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable given_;
  bool is_given_ = false;
};

/// Runs `body` on a thread of its own. A body that does not end fails the test program, for it cannot be stopped.
inline void expect_to_end(std::function<void()> const& body) {
  Signal ended;
  std::thread thread([&] {
    body();
    ended.give();
  });
  if (!ended.comes()) {
    std::cerr << "a thread is stuck" << std::endl;
    std::_Exit(1);
  }
  thread.join();
}
