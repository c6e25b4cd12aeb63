// GUI events: who hears of them, in which order, and what a bad listener may not do.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kdi/common/HUTGuiEvent.h"
#include "kdi/common/host/GuiEventHost.h"
#include "kdi/common/host/MessageHost.h"

namespace {

using Texts = std::vector<std::string>;

struct Renamed {
  explicit Renamed(Texts* given) : names(given) {}
  Texts* names;
};
struct Moved {  // holds its parts and has no constructor
  int from;
  std::string to;
};

// A listener that notes its name while it lives.
class Note {
 public:
  Note(Texts& heard, std::string name)
      : number_(gui_event_host::subscribe<Renamed>([&heard, name = std::move(name)](Renamed const& event) {
          heard.push_back(name + (event.names == nullptr ? "" : event.names->at(0)));
        })) {}
  Note(Note const&) = delete;
  Note& operator=(Note const&) = delete;
  ~Note() { gui_event_host::unsubscribe(number_); }

 private:
  int number_;
};

void fire() { HUTGuiEvent::fire<Renamed, Texts*>(nullptr); }

TEST(GuiEvents, ReachEveryListenerOfTheirTypeInOrder) {
  Texts heard;
  Texts names{" x"};
  const Note a(heard, "a");
  const int moved = gui_event_host::subscribe<Moved>(
      [&](Moved const& event) { heard.push_back(std::to_string(event.from) + event.to); });
  const Note b(heard, "b");
  HUTGuiEvent::fire<Renamed>(&names);
  HUTGuiEvent::fire<Moved>(3, "there");
  gui_event_host::unsubscribe(moved);
  gui_event_host::unsubscribe(moved);
  HUTGuiEvent::fire<Moved>(4, "nobody");
  EXPECT_EQ(heard, (Texts{"a x", "b x", "3there"}));
}

TEST(GuiEvents, GoOnBehindAListenerThatThrows) {
  Texts heard;
  const message_host::Capture messages;
  const int one = gui_event_host::subscribe<Renamed>([](auto const&) { throw std::runtime_error("50 % broken"); });
  const int two = gui_event_host::subscribe<Renamed>([](auto const&) { throw 7; });
  const Note last(heard, "last");
  fire();
  gui_event_host::unsubscribe(one);
  gui_event_host::unsubscribe(two);
  EXPECT_EQ(heard, Texts{"last"});
  const std::string start = "ERROR: [events] A listener of the event (anonymous namespace)::Renamed failed: ";
  EXPECT_EQ(messages.lines(), (Texts{start + "50 % broken", start + "an exception of an unknown kind"}));
}

TEST(GuiEvents, ListenersMayComeAndGoMeanwhile) {
  Texts heard;
  std::unique_ptr<Note> added;
  std::unique_ptr<Note> removed;
  const int busy = gui_event_host::subscribe<Renamed>([&](auto const&) {
    heard.emplace_back("busy");
    removed.reset();
    if (added) return;
    added = std::make_unique<Note>(heard, "added");
    fire();  // reaches the one that has just joined
  });
  removed = std::make_unique<Note>(heard, "removed");
  fire();
  EXPECT_EQ(heard, (Texts{"busy", "busy", "added"}));
  gui_event_host::unsubscribe(busy);
}

TEST(GuiEvents, AListenersOwnCleanUpMayUnsubscribe) {
  Texts heard;
  auto other = std::make_shared<Note>(heard, "other");
  const int holder = gui_event_host::subscribe<Renamed>([kept = std::move(other)](auto const&) {});
  fire();
  gui_event_host::unsubscribe(holder);  // destroys the listener, which destroys the other one
  fire();
  EXPECT_EQ(heard, Texts{"other"});
}

TEST(GuiEvents, AreFiredOnSeveralThreads) {
  std::atomic<int> heard = 0;
  const int counter = gui_event_host::subscribe<Moved>([&](auto const&) { ++heard; });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 500; ++i) {
        const int passing = gui_event_host::subscribe<Moved>([](auto const&) {});
        HUTGuiEvent::fire<Moved>(i, "");
        gui_event_host::unsubscribe(passing);
      }
    });
  for (std::thread& thread : threads) thread.join();
  gui_event_host::unsubscribe(counter);
  EXPECT_EQ(heard, 2000);
}

}  // namespace
