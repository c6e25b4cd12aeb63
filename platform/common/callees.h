// A host's functions that hear of something: sinks of messages, listeners of events, the journal.
//
// They are called in the order in which they came, on the thread on which it happens, and no lock is held meanwhile: a
// function may come back here, wait for another thread, and be called by several threads at once.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace kdi {

/// The calls that a thread is in the middle of, innermost first, by what is called.
class CallInProgress {
 public:
  explicit CallInProgress(void const* called) : called_(called), outer_(std::exchange(innermost, this)) {}
  CallInProgress(CallInProgress const&) = delete;
  CallInProgress& operator=(CallInProgress const&) = delete;
  ~CallInProgress() { innermost = outer_; }

  /// How many of this thread's calls are calls of it.
  static int count(void const* called) {
    int calls = 0;
    for (CallInProgress const* one = innermost; one != nullptr; one = one->outer_)
      if (one->called_ == called) ++calls;
    return calls;
  }

 private:
  inline static thread_local CallInProgress const* innermost = nullptr;

  void const* called_;
  CallInProgress const* outer_;
};

template <class Function>
class Callees {
 public:
  /// Adds a function. Returns a number for remove.
  int add(Function function) {
    auto added = std::make_shared<Entry>(std::move(function));
    const std::lock_guard lock(mutex_);
    added->number = next_number_;
    all_.push_back(std::move(added));
    return next_number_++;
  }

  /// Removes the function of that number, if there is one. When this returns, it is not called any more, from no
  /// thread: calls on other threads are waited for. One that removes itself is called to its end.
  void remove(int number) {
    // These outlive the lock: what a function holds may come back here when it goes.
    std::shared_ptr<Entry> removed;
    Function function;
    std::unique_lock lock(mutex_);
    const auto found =
        std::find_if(all_.begin(), all_.end(), [number](auto const& one) { return one->number == number; });
    if (found == all_.end()) return;
    removed = std::move(*found);
    all_.erase(found);
    removed->is_there = false;
    const int own = CallInProgress::count(removed.get());
    call_ended_.wait(lock, [&] { return removed->calls == own; });
    if (own == 0) std::swap(function, removed->function);
  }

  /// Calls `use(function)` for each function that was there at the begin of this and still is. Whether there was any.
  template <class Use>
  bool each(Use use) {
    std::vector<std::shared_ptr<Entry>> present;
    {
      const std::lock_guard lock(mutex_);
      present = all_;
    }
    for (std::shared_ptr<Entry> const& one : present)
      if (const Call entered(*this, *one); entered.is_allowed()) use(std::as_const(one->function));
    return !present.empty();
  }

 private:
  struct Entry {
    explicit Entry(Function made) : function(std::move(made)) {}
    Function function;
    int number = 0;
    int calls = 0;
    bool is_there = true;
  };

  class Call {
   public:
    Call(Callees& list, Entry& called) : list_(list), called_(called), mark_(&called) {
      const std::lock_guard lock(list_.mutex_);
      is_allowed_ = called_.is_there;
      if (is_allowed_) ++called_.calls;
    }
    Call(Call const&) = delete;
    Call& operator=(Call const&) = delete;
    ~Call() {
      if (!is_allowed_) return;
      const std::lock_guard lock(list_.mutex_);
      --called_.calls;
      list_.call_ended_.notify_all();
    }
    bool is_allowed() const { return is_allowed_; }

   private:
    Callees& list_;
    Entry& called_;
    CallInProgress mark_;
    bool is_allowed_ = false;
  };

  std::mutex mutex_;
  std::condition_variable call_ended_;
  std::vector<std::shared_ptr<Entry>> all_;
  int next_number_ = 1;
};

}  // namespace kdi
