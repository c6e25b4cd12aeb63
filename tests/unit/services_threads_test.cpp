// The services of the platform from several threads: messages, parameters, events, the tool's Tcl, files and parts.
#include <gtest/gtest.h>
#include <tcl.h>

#include <atomic>
#include <fstream>
#include <set>
#include <string>

#include "kdi/bmg/host/tiling.h"
#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HI18N.h"
#include "kdi/common/HPAParamMgr.h"
#include "kdi/common/HTCTclInterp.h"
#include "kdi/common/HUTEnv.h"
#include "kdi/common/HUTGuiEvent.h"
#include "kdi/common/KdiDataDir.h"
#include "kdi/common/host/GuiEventHost.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/ParamHost.h"
#include "kdi/common/host/TclHost.h"
#include "kdi/common/tcltasks.h"
#include "kdi/device/Device.h"
#include "kdi/device/HARPartMgr.h"
#include "kdi/device/host/PartCatalogue.h"
#include "kdi/ip/HIPWPowerCalcIntf.h"
#include "tests/support/places.h"
#include "tests/support/scratch.h"
#include "tests/support/threads.h"

namespace {

using hdi::tcltasks::task_manager;

constexpr int kThreads = 4;
constexpr int kRounds = 50;

void send(std::string const& text) {
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "threads", ComMsgMgr::MSG_INFO, "%s", text.c_str());
}

// --------------------------------------------------------------------------------------------------- messages

TEST(MessageThreads, SendWhileSinksChannelsAndCatalogueChange) {
  const message_host::Capture all;
  const Scratch folder;
  const std::string log = folder.path("log");
  in_threads(kThreads, [&](int thread) {
    const std::string channel = "channel" + std::to_string(thread % 2);
    for (int round = 0; round < kRounds; ++round) {
      const int file = message_host::add_sink(message_host::file_sink(log));
      message_host::set_channel(channel, round % 3);
      send("plain");
      ComMsgMgr::sendScopedMsg::eval(1, nullptr, 0, "threads", channel, ComMsgMgr::MSG_DEBUG0, "%d", round);
      ComMsgMgr::sendScopedMsg::eval(1, nullptr, 0, "threads", "unset", ComMsgMgr::MSG_DEBUG0, "%d", round);
      ComMsgMgr::sendMsg::eval(1, nullptr, 0, "threads", ComMsgMgr::MSG_ERROR, "@80-2@%s", "why");
      if (round % 10 == 0) message_host::load_catalogue(places::data("messages/catalogue.json"));
      message_host::remove_sink(file);
    }
  });
  int plain = 0;
  for (ComMsgMgrInstance const& message : all.messages()) plain += message.text == "plain" ? 1 : 0;
  EXPECT_EQ(plain, kThreads * kRounds);
}

TEST(MessageThreads, LinesOfOneFileDoNotMix) {
  const Scratch folder;
  const message_host::Sink sink = message_host::file_sink(folder.path("log"));
  const int number = message_host::add_sink(sink);
  in_threads(kThreads, [](int thread) {
    for (int round = 0; round < kRounds; ++round) send(std::string(200, static_cast<char>('a' + thread)));
  });
  message_host::remove_sink(number);
  std::ifstream file(folder.path("log"));
  int lines = 0;
  for (std::string line; std::getline(file, line); ++lines)
    EXPECT_EQ(line, "INFO: [threads] " + std::string(200, line.back()));
  EXPECT_EQ(lines, kThreads * kRounds);
}

TEST(MessageThreads, ASinkMayWaitForAThreadThatSends) {
  expect_to_end([] {
    const int number = message_host::add_sink([](ComMsgMgrInstance const& message) {
      if (message.text == "outer") std::thread([] { send("inner"); }).join();
    });
    send("outer");
    message_host::remove_sink(number);
  });
}

TEST(MessageThreads, ASinkThatIsRemovedHasEnded) {
  Signal begun;
  Signal goes_on;
  std::atomic<bool> is_removed = false;
  bool was_called_late = false;
  const int number = message_host::add_sink([&](auto const&) {
    begun.give();
    goes_on.comes_soon();
    was_called_late = is_removed;
  });
  std::thread sender([] { send("x"); });
  ASSERT_TRUE(begun.comes());
  message_host::remove_sink(number);
  is_removed = true;
  sender.join();
  EXPECT_FALSE(was_called_late);
}

TEST(MessageThreads, ASinkMayRemoveItself) {
  int number = 0;
  int calls = 0;
  const message_host::Capture others;
  number = message_host::add_sink([&](auto const&) {
    ++calls;
    message_host::remove_sink(number);
  });
  expect_to_end([] {
    send("x");
    send("x");
  });
  EXPECT_EQ(calls, 1);
}

// --------------------------------------------------------------------------------------------------- parameters

TEST(ParameterThreads, AreDeclaredSetReadAndStored) {
  const Scratch folder;
  const std::string given = folder.file("given.json", R"({"project.enableCIPS32": true, "cips.cpmdecouple": 2})");
  in_threads(kThreads, [&](int thread) {
    const std::string own = "threads.own" + std::to_string(thread);
    param_host::declare({own, param_host::Type::integer, "1", "A test's own.", "None."});
    for (int round = 0; round < kRounds; ++round) {
      param_host::set(own, std::to_string(round));
      EXPECT_EQ(param_host::get(own).value, std::to_string(round));
      param_host::set("project.enableCIPS32", round % 2 == 0 ? "yes" : "no");
      HPAParamMgr::getParamMgr().getValueIfExistAsBool("project.enableCIPS32", false);
      HPAParamMgr::getParamMgr().getValueAsBool("cips.cpmdecouple");
      param_host::unset("project.enableCIPS32");
      EXPECT_FALSE(param_host::list().empty());
      if (round % 10 == 0) {
        param_host::load_file(given);
        param_host::save_file(folder.path("saved.json"));
      }
    }
  });
  for (int thread = 0; thread < kThreads; ++thread)
    EXPECT_EQ(param_host::get("threads.own" + std::to_string(thread)).value, std::to_string(kRounds - 1));
  EXPECT_NO_THROW(param_host::load_file(folder.path("saved.json")));
}

// --------------------------------------------------------------------------------------------------- events

struct Moved {
  int by;
};
struct Renamed {};

TEST(EventThreads, FireWhileListenersComeAndGo) {
  std::atomic<int> heard = 0;
  const int lasting = gui_event_host::subscribe<Moved>([&](Moved const& event) { heard += event.by; });
  in_threads(kThreads, [](int) {
    for (int round = 0; round < kRounds; ++round) {
      int own = 0;
      const int passing = gui_event_host::subscribe<Renamed>([&own](auto const&) { ++own; });
      HUTGuiEvent::fire<Moved>(2);
      gui_event_host::unsubscribe(passing);
    }
  });
  gui_event_host::unsubscribe(lasting);
  EXPECT_EQ(heard, 2 * kThreads * kRounds);
}

TEST(EventThreads, AListenerThatIsRemovedHasEnded) {
  Signal begun;
  Signal goes_on;
  std::atomic<bool> is_removed = false;
  bool was_called_late = false;
  const int number = gui_event_host::subscribe<Moved>([&](auto const&) {
    begun.give();
    goes_on.comes_soon();
    was_called_late = is_removed;
  });
  std::thread model([] { HUTGuiEvent::fire<Moved>(1); });
  ASSERT_TRUE(begun.comes());
  gui_event_host::unsubscribe(number);
  is_removed = true;
  model.join();
  EXPECT_FALSE(was_called_late);
}

// --------------------------------------------------------------------------------------------------- Tcl

TEST(TclThreads, EachHasADefaultInterpreterAndAResultOfItsOwn) {
  Tcl_Interp* const named = Tcl_CreateInterp();
  tcl_host::set_default_interp(named);
  in_threads(kThreads, [&](int thread) {
    Tcl_Interp* const own = HTCTclInterp::getDefaultInterp();
    EXPECT_NE(own, named);
    EXPECT_EQ(task_manager::eval_in_tcl("info exists x", own, false), TCL_OK);
    EXPECT_EQ(task_manager::tcl_get_result(), "0") << "the interpreter of another thread";
    for (int round = 0; round < kRounds; ++round) {
      const std::string number = std::to_string(thread * kRounds + round);
      EXPECT_EQ(task_manager::eval_in_tcl("set x " + number, nullptr, true), TCL_OK);
      EXPECT_EQ(task_manager::tcl_get_result(), number);
      EXPECT_EQ(HTCTclInterp::getDefaultInterp(), own);
    }
    Tcl_FinalizeThread();
  });
  EXPECT_EQ(HTCTclInterp::getDefaultInterp(), named);
  Tcl_DeleteInterp(named);
}

TEST(TclThreads, APrivateInterpreterThatIsDeletedIsMadeAnew) {
  in_threads(1, [](int) {
    Tcl_CreateObjCommand(
        HTCTclInterp::getDefaultInterp(), "suicide",
        [](ClientData, Tcl_Interp* interp, int, Tcl_Obj* const[]) {
          Tcl_DeleteInterp(interp);
          return TCL_OK;
        },
        nullptr, nullptr);
    EXPECT_EQ(task_manager::eval_in_tcl("suicide", nullptr, false), TCL_OK);
    EXPECT_EQ(task_manager::eval_in_tcl("info commands suicide", nullptr, false), TCL_OK);
    EXPECT_EQ(task_manager::tcl_get_result(), "");
    Tcl_FinalizeThread();
  });
}

TEST(TclThreads, EvaluateWhileTheJournalChanges) {
  std::atomic<int> recorded = 0;
  in_threads(kThreads, [&](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      if (thread == 0) tcl_host::set_journal([&recorded](auto const&) { ++recorded; });
      EXPECT_EQ(task_manager::eval_in_tcl("set x 1", nullptr, true), TCL_OK);
    }
    Tcl_FinalizeThread();
  });
  EXPECT_GE(recorded, kRounds);
  tcl_host::set_journal({});
}

TEST(TclThreads, AJournalThatIsReplacedHasEnded) {
  Signal begun;
  Signal goes_on;
  std::atomic<bool> is_replaced = false;
  bool was_called_late = false;
  tcl_host::set_journal([&](auto const&) {
    begun.give();
    goes_on.comes_soon();
    was_called_late = is_replaced;
  });
  std::thread evaluating([] {
    task_manager::eval_in_tcl("set x 1", nullptr, true);
    Tcl_FinalizeThread();
  });
  ASSERT_TRUE(begun.comes());
  tcl_host::set_journal({});
  is_replaced = true;
  evaluating.join();
  EXPECT_FALSE(was_called_late);
}

// --------------------------------------------------------------------------------------------------- files and data

TEST(DataThreads, AreFoundAndRead) {
  in_threads(kThreads, [](int) {
    for (int round = 0; round < kRounds / 10; ++round) {
      EXPECT_FALSE(HUTEnv::getKDIDataDir("devices").empty());
      EXPECT_FALSE(kdi::data_directories("devices").empty());
      std::wstring wide;
      HI18N::convert("text", wide);
      EXPECT_EQ(wide, L"text");
    }
  });
}

TEST(DataThreads, PartsAreTheSameForAll) {
  kdi::device::PartCatalogue catalogue({places::data("devices")});
  const std::vector<std::string> devices = catalogue.devices();
  ASSERT_GE(devices.size(), 2U);
  const Scratch empty;
  std::mutex mutex;
  std::map<std::string, std::set<HDARPart const*>> seen;
  in_threads(kThreads, [&](int thread) {
    for (std::size_t i = 0; i < devices.size(); ++i) {
      const std::string& device = devices[(i + static_cast<std::size_t>(thread)) % devices.size()];
      const std::string name = catalogue.parts(device).front();
      HDARPart const* const part = catalogue.part(name);
      catalogue.add_directory(empty.folder());
      ASSERT_NE(part, nullptr);
      EXPECT_EQ(part->getProperty("NAME"), name);
      const std::lock_guard lock(mutex);
      seen[name].insert(part);
    }
    EXPECT_EQ(HARPartMgr::getGlobal()->getPart("no such part"), nullptr);
  });
  for (auto const& [name, parts] : seen) EXPECT_EQ(parts.size(), 1U) << name;
}

TEST(DataThreads, BlockMemoryDataMayBeReplacedWhileMemoriesAreTiled) {
  in_threads(kThreads, [](int thread) {
    for (int round = 0; round < kRounds / 10; ++round) {
      if (thread == 0) bmg::load_data(places::data("bmg"));
      EXPECT_EQ(bmg::tile_memory("v8_4", {"type", "single_port_ram", "width_a", "40", "depth_a", "3000"}).count(36), 3);
    }
  });
}

// A broken file is told of while a model is read; who hears of it may estimate power.
TEST(DataThreads, APowerModelThatIsBrokenMayBeAskedForByWhoIsTold) {
  const Scratch data;
  kdi::device::PartCatalogue catalogue({places::data("devices")});
  HDARPart const* const part = catalogue.part(catalogue.parts(catalogue.devices().front()).front());
  ASSERT_NE(part, nullptr);
  data.file("power/" + part->values().device->generation + ".json", "{");
  const Environment root("KDI_DATA_DIR", data.folder());
  int told = 0;
  const int number = message_host::add_sink([&](auto const&) {
    const bool is_first = ++told == 1;
    EXPECT_EQ(is_first ? HIPWPowerCalcIntf::getIPPowerCalcIntf(part) : nullptr, nullptr);
  });
  expect_to_end([part] { EXPECT_EQ(HIPWPowerCalcIntf::getIPPowerCalcIntf(part), nullptr); });
  message_host::remove_sink(number);
  EXPECT_EQ(told, 2);
}

}  // namespace
