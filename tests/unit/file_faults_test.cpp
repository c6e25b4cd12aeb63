// Every file that the platform reads or writes, while the system's calls fail one by one: a fault is told with the
// file's name and the system's reason, nothing is taken for whole that is not, and nothing crashes or hangs.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "kdi/bmg/host/tiling.h"
#include "kdi/common/HPAParamMgr.h"
#include "kdi/common/HUTFile.h"
#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/ParamHost.h"
#include "kdi/coregen/memory_v1.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/Store.h"
#include "kdi/ddr/SpeedBins.h"
#include "kdi/device/HARPartsParse.h"
#include "kdi/device/HDARPart.h"
#include "kdi/device/host/PartCatalogue.h"
#include "kdi/hdf/HHDFHwDefUtils.h"
#include "kdi/hdf/SWParamWriter.h"
#include "kdi/ip/HIPWPowerCalcIntf.h"
#include "kdi/planning/Memory.h"
#include "kdi/planning/Standards.h"
#include "tests/support/fault_runs.h"
#include "tests/support/places.h"
#include "tests/support/scratch.h"

namespace {

namespace fs = std::filesystem;
using file_faults::Call;
using file_faults::Plan;

constexpr Call kReads[] = {Call::status, Call::open, Call::read, Call::close, Call::open_list, Call::list};
constexpr Call kWrites[] = {Call::status, Call::open, Call::write, Call::close, Call::rename};

// ---------------------------------------------------------------------------------------------------------- readers

struct Reader {
  char const* name;
  std::function<void(Scratch const&)> lay_out;            ///< puts the files below "data"
  std::function<std::string(std::string const&)> answer;  ///< read from that folder
  char const* none;                                       ///< the answer when they cannot be read; null: it is refused
};

std::ostream& operator<<(std::ostream& out, Reader const& reader) { return out << reader.name; }

void copy_into(Scratch const& scratch, std::string const& source, std::string const& place) {
  scratch.file(place, kdi::read_file(places::source(source)));
}

void set_root(std::string const& folder) { ::setenv("KDI_DATA_DIR", folder.c_str(), 1); }

void lay_out_values(Scratch const& scratch) {
  scratch.file("data/values.json", "{\"cips.cpmdecouple\": 7,\n\"ps.enableSysmon\": true}");
}
std::string values_seen() {
  return param_host::get("cips.cpmdecouple").value + " " + param_host::get("ps.enableSysmon").value;
}

void lay_out_device(Scratch const& scratch) {
  copy_into(scratch, "examples/data/devices/zrv7012.json", "data/devices/zrv7012.json");
  copy_into(scratch, "data/devices/families/zorvan1.json", "data/devices/families/zorvan1.json");
}

void lay_out_core(Scratch const& scratch) {
  const auto core = [](char const* version, char const* more) {
    return R"({"format": 1, "core": "made", "version": ")" + std::string(version) + "\", " + more + "}";
  };
  constexpr char kParameter[] = R"("type": "integer", "widget": "EDIT", "description": "One.", "default": "5"})";
  scratch.file("data/cores/made/1.0.json", core("1.0", R"("includes": [{"file": "parts/one.json"}])"));
  scratch.file(
      "data/cores/made/1.1.json",
      core("1.1", (R"("extends": "1.0", "parameters": [{"name": "B", )" + std::string(kParameter) + "]").c_str()));
  scratch.file("data/cores/parts/one.json",
               std::string(R"({"format": 1, "parameters": [{"name": "A", )") + kParameter + "]}");
}

void lay_out_shipped_core(Scratch const& scratch) {
  copy_into(scratch, "data/cores/ai_engine/1.0.json", "data/cores/ai_engine/1.0.json");
  for (std::string const part : {"clock", "pll", "references", "clocks_block"})
    copy_into(scratch, "data/cores/parts/" + part + ".json", "data/cores/parts/" + part + ".json");
}

using Controllers = memory::memory_v1::HIPMigIPMgr;

// Engines that throw texts.
std::string in_words(std::function<std::string()> const& ask) {
  try {
    return ask();
  } catch (std::string const& refusal) {
    throw std::runtime_error(refusal);
  }
}

const Reader kReaders[] = {
    {"the_values_that_the_environment_names", lay_out_values,
     [](std::string const& folder) {
       ::setenv("KDI_PARAMS", (folder + "/values.json").c_str(), 1);
       return values_seen();
     },
     "0 false"},
    {"values_that_the_program_loads", lay_out_values,
     [](std::string const& folder) {
       param_host::load_file(folder + "/values.json");
       return values_seen();
     },
     nullptr},
    {"declarations_of_parameters",
     [](Scratch const& scratch) {
       for (std::string const name : {"a", "b"})
         scratch.file("data/params/" + name + ".json", R"([{"name": "site.)" + name +
                                                           R"(", "type": "integer", "default": 5,
                                                    "documentation": "about", "effect": "effect"}])");
     },
     [](std::string const& folder) {
       set_root(folder);
       return std::to_string(HPAParamMgr::getParamMgr().getValueAsBool("site.a") &&
                             HPAParamMgr::getParamMgr().getValueAsBool("site.b"));
     },
     "0"},
    {"the_message_catalogue",
     [](Scratch const& scratch) { copy_into(scratch, "data/messages/catalogue.json", "data/messages/catalogue.json"); },
     [](std::string const& folder) {
       set_root(folder);
       return ComMsgMgrInstance::createInstance::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_ERROR, "@80-1@")->getMessage();
     },
     "@80-1@"},
    {"a_message_catalogue_that_the_program_loads",
     [](Scratch const& scratch) {
       scratch.file("data/own.json", R"([{"group": 80, "number": 1, "kind": "error", "text": "own"}])");
     },
     [](std::string const& folder) {
       message_host::load_catalogue(folder + "/own.json");
       return ComMsgMgrInstance::createInstance::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_ERROR, "@80-1@")->getMessage();
     },
     nullptr},
    {"a_device", lay_out_device,
     [](std::string const& folder) {
       set_root(folder);
       HDARPart const* const part = HARPartsParse::getPart("zrv7012-c225-1-c");
       return part == nullptr ? "none" : part->getProperty("NAME");
     },
     "none"},
    {"the_list_of_devices", lay_out_device,
     [](std::string const& folder) {
       std::string names;
       for (std::string const& name : kdi::device::PartCatalogue({folder + "/devices"}).devices()) names += name + " ";
       return names;
     },
     nullptr},
    {"a_power_model",
     [](Scratch const& scratch) { copy_into(scratch, "data/power/zorvan1.json", "data/power/zorvan1.json"); },
     [](std::string const& folder) {
       set_root(folder);
       const std::unique_ptr<HIPWPowerCalcIntf> calculator(
           HIPWPowerCalcIntf::getIPPowerCalcIntf(HARPartsParse::getPart("zrv7030-c484-1-c")));
       if (!calculator) return std::string("none");
       std::map<std::string, float> breakdown;
       return std::to_string(calculator->calcGtPower({}, breakdown));
     },
     "none"},
    {"the_geometry_of_block_memories",
     [](Scratch const& scratch) {
       for (std::string const name : {"primitives", "versions"})
         copy_into(scratch, "data/bmg/" + name + ".json", "data/bmg/" + name + ".json");
     },
     [](std::string const& folder) {
       set_root(folder);
       const std::vector<std::string_view> words = {"type", "single_port_ram", "width_a", "8", "depth_a", "512"};
       return std::to_string(bmg::tile_memory("v8_4", words).mux_inputs());
     },
     nullptr},
    {"a_core_with_a_part_and_what_it_extends", lay_out_core,
     [](std::string const& folder) {
       set_root(folder);
       const auto core = kdi::cores::core_description("made", "1.1");
       return core == nullptr ? "none" : kdi::cores::Instance(core).value(0) + core->parameters()[1].name;
     },
     nullptr},
    {"a_shipped_core_with_its_parts", lay_out_shipped_core,
     [](std::string const& folder) {
       set_root(folder);
       const auto core = kdi::cores::core_description("ai_engine", "1.0");
       return core == nullptr ? "none" : std::to_string(core->parameters().size());
     },
     nullptr},
    {"the_list_of_cores", lay_out_core,
     [](std::string const& folder) {
       set_root(folder);
       std::string names;
       for (std::string const& name : kdi::cores::core_names())
         for (std::string const& version : kdi::cores::core_versions(name)) names += name + " " + version + " ";
       return names;
     },
     nullptr},
    {"io_standards",
     [](Scratch const& scratch) { copy_into(scratch, "data/io/standards.json", "data/io/standards.json"); },
     [](std::string const& folder) {
       set_root(folder);
       return std::to_string(kdi::planning::standard_names().size());
     },
     nullptr},
    {"types_of_memory",
     [](Scratch const& scratch) { copy_into(scratch, "data/memory/RLDRAMII.json", "data/memory/RLDRAMII.json"); },
     [](std::string const& folder) {
       set_root(folder);
       return std::to_string(kdi::planning::find_memory("RLDRAMII")->part_names().size());
     },
     nullptr},
    {"timing_of_memory", [](Scratch const& scratch) { copy_into(scratch, "data/ddr/DDR5.json", "data/ddr/DDR5.json"); },
     [](std::string const& folder) {
       set_root(folder);
       return *kdi::ddr::find_type("DDR5")->figure("6400B", "tAA_ns");
     },
     nullptr},
    {"what_a_board_lets_through",
     [](Scratch const& scratch) { copy_into(scratch, "data/board/loading.json", "data/board/loading.json"); },
     [](std::string const& folder) {
       set_root(folder);
       return in_words([] {
         Controllers::loadMigPkgData({{"-instance_name", "m"}, {"-part", "zrv9010-f625-2-e"}, {"-datawidth", "80"}});
         return Controllers::getIPInstance("m")->getMinMaxPeriodOfDataWidth("80", {}).at("min_by");
       });
     },
     nullptr},
    {"memory_parts_of_ones_own",
     [](Scratch const& scratch) {
       scratch.file("data/parts.csv", "name,rate_mbps,width,density_mbit\nmine,2000,8,8192\n");
     },
     [](std::string const& folder) {
       return in_words([&] {
         Controllers::loadMigPkgData({{"-instance_name", "m"}, {"-part", "zrv9010-f625-2-e"}});
         Controllers::getIPInstance("m")->loadCustomParts(folder + "/parts.csv", "DDR4");
         return Controllers::getIPInstance("m")->getDeviceWidth("DDR4", "mine");
       });
     },
     nullptr},
    {"a_directory",
     [](Scratch const& scratch) {
       for (std::string const name : {"a", "b", "c"}) scratch.file("data/" + name, "");
     },
     [](std::string const& folder) {
       std::string names;
       const std::unique_ptr<HUTFileIter> at(HUTFile(folder).createFileIter());
       for (; !at->atEnd(); at->next()) names += at->current().getParent() + " ";
       return names;
     },
     ""},
};

class Reading : public testing::TestWithParam<Reader> {
 protected:
  Reading() : folder_(scratch_.path("data")) {
    GetParam().lay_out(scratch_);
    kdi::tell_data_faults();  // once in a process: not among the calls that are watched
  }

  Outcome outcome(std::function<void()> const& watch) const {
    return in_a_process(scratch_, watch, [this] { return GetParam().answer(folder_); });
  }
  // What cannot be read counts as not there, and that is told.
  void expect_refused(Outcome const& of, int error) const {
    if (GetParam().none != nullptr) {
      EXPECT_EQ(of.value, GetParam().none);
    } else {
      EXPECT_TRUE(of.value.starts_with("refused: ")) << of.value;
    }
    const std::string told = of.value + of.told;
    EXPECT_NE(told.find(fs::canonical(folder_).string()), std::string::npos) << told;
    EXPECT_NE(told.find(": " + reason(error)), std::string::npos) << told;
  }

  Scratch scratch_;
  std::string folder_;
};

INSTANTIATE_TEST_SUITE_P(Of, Reading, testing::ValuesIn(kReaders), [](auto const& one) { return one.param.name; });

TEST_P(Reading, TellsOfEachCallThatFails) {
  const Outcome good = outcome([&] { file_faults::watch(folder_); });
  ASSERT_TRUE(good.ended) << good.told;
  EXPECT_EQ(good.told, "");
  EXPECT_FALSE(good.value.starts_with("refused")) << good.value;
  const int runs = fail_each_call(
      good, {std::begin(kReads), std::end(kReads)}, {EIO},
      [&](file_faults::Plan const& plan) { return outcome([&] { file_faults::watch(folder_, plan); }); },
      [&](file_faults::Plan const& plan, Outcome const& of) {
        if (plan.call == Call::close) {  // all has been read by then
          EXPECT_EQ(of.value, good.value);
          EXPECT_EQ(of.told, "");
        } else {
          expect_refused(of, EIO);
        }
      });
  EXPECT_GE(runs, 6);
}

TEST_P(Reading, IsTheSameInPiecesAndBehindASignal) {
  const Outcome good = outcome([&] { file_faults::watch(folder_); });
  const Outcome pieces = outcome([&] { file_faults::watch_in_pieces(folder_, 13); });
  EXPECT_EQ(pieces.value, good.value);
  EXPECT_EQ(pieces.told, "");
  for (const Call call : {Call::open, Call::read})
    for (int nth = 0; nth < good.counts.at(call); ++nth) {
      const Outcome of = outcome([&] { file_faults::watch(folder_, {call, nth, false, EINTR}); });
      EXPECT_EQ(of.failed, 1);
      EXPECT_EQ(of.value, good.value);
      EXPECT_EQ(of.told, "");
    }
}

// ---------------------------------------------------------------------------------------------------------- writers

struct Writer {
  char const* name;
  char const* before;  ///< the file's content; null: there is none
  std::function<void(std::string const&)> write;
};

std::ostream& operator<<(std::ostream& out, Writer const& writer) { return out << writer.name; }

// A writer that tells of a fault by a message.
void require_written(std::function<bool()> const& write) {
  message_host::Capture capture;
  if (write()) return;
  constexpr std::string_view kFront = "ERROR: [hdf] ";
  const std::vector<std::string> lines = capture.lines();
  if (lines.size() != 1 || !lines[0].starts_with(kFront)) throw std::runtime_error("not one error was told");
  throw std::runtime_error(lines[0].substr(kFront.size()));
}

const Writer kWriters[] = {
    {"a_new_file", nullptr, [](std::string const& path) { kdi::write_file(path, "{\"new\": true}\n"); }},
    {"an_old_file", "old", [](std::string const& path) { kdi::write_file(path, "{\"new\": true}\n"); }},
    {"values_of_parameters", "{}",
     [](std::string const& path) {
       param_host::set("ps.enableSysmon", "true");
       param_host::set("cips.cpmdecouple", "7");
       param_host::save_file(path);
     }},
    {"a_hardware_definition", "old",
     [](std::string const& path) {
       const std::string input = fs::path(path).parent_path().parent_path() / "x.cdo";
       kdi::write_file(input, "write\n");
       std::string place = path;
       require_written([&] {
         return HHDFHwDefUtils::writeHDF(place, {{input, HHDFHwDefFileTypes::CDO}}, true, {}, {});
       });
     }},
    {"a_text_of_a_core", nullptr,
     [](std::string const& path) {
       require_written([&] { return SWParamWriter::writeParamInfo(path, "u1", "pss_io", "text"); });
     }},
};

class Writing : public testing::TestWithParam<Writer> {
 protected:
  Writing() { fs::create_directories(folder_); }

  Outcome outcome(std::function<void()> const& watch) const {
    fs::remove(path_);
    if (GetParam().before != nullptr) scratch_.file("data/file", GetParam().before);
    return in_a_process(scratch_, watch, [this] {
      GetParam().write(path_);
      return "done";
    });
  }
  std::string good() const {
    EXPECT_EQ(outcome([] {}).value, "done");
    return scratch_.content("data/file");
  }
  // Either the file is new from end to end, or it is as it was and the fault is told. Nothing is left beside it.
  void expect_whole_or_as_before(Outcome const& of, std::string const& content, int error) const {
    ASSERT_TRUE(of.ended) << of.told;
    if (of.value == "done") {
      EXPECT_EQ(scratch_.content("data/file"), content);
      return;
    }
    EXPECT_TRUE(of.value.starts_with("refused: " + path_ + ": ")) << of.value;
    EXPECT_TRUE(of.value.ends_with(": " + reason(error))) << of.value;
    EXPECT_EQ(fs::exists(path_), GetParam().before != nullptr);
    if (GetParam().before != nullptr) {
      EXPECT_EQ(scratch_.content("data/file"), GetParam().before);
    }
    for (auto const& entry : fs::directory_iterator(folder_)) EXPECT_EQ(entry.path(), path_);
  }

  Scratch scratch_;
  std::string folder_ = scratch_.path("data");
  std::string path_ = scratch_.path("data/file");
};

INSTANTIATE_TEST_SUITE_P(Of, Writing, testing::ValuesIn(kWriters), [](auto const& one) { return one.param.name; });

TEST_P(Writing, TellsOfEachCallThatFails) {
  const std::string content = good();
  const Outcome calm = outcome([&] { file_faults::watch(folder_); });
  const int runs = fail_each_call(
      calm, {std::begin(kWrites), std::end(kWrites)}, {EIO, ENOSPC},
      [&](file_faults::Plan const& plan) { return outcome([&] { file_faults::watch(folder_, plan); }); },
      [&](file_faults::Plan const& plan, Outcome const& of) {
        EXPECT_NE(of.value, "done");
        expect_whole_or_as_before(of, content, plan.error);
      });
  EXPECT_GE(runs, 16);
}

TEST(WritingBeside, TellsWhereTheLastStepFails) {
  const Scratch scratch;
  const std::string path = scratch.file("data/file", "before");
  const Outcome of = in_a_process(
      scratch,
      [&] {
        file_faults::watch(scratch.path("data"), {Call::rename, 0, true, EACCES});
      },
      [&] {
        kdi::write_file(path, "after");
        return std::string("written");
      });
  EXPECT_EQ(of.value, "refused: " + path + ": cannot be moved to its place: Permission denied");
  EXPECT_EQ(scratch.content("data/file"), "before");
}

TEST_P(Writing, TellsOfAFullDisk) {
  const std::string content = good();
  const std::size_t step = 1 + content.size() / 100;
  for (std::size_t room = 0; room <= content.size(); room += content.size() - room > step ? step : 1) {
    const Outcome of = outcome([&] { file_faults::watch_with_room_for(folder_, room); });
    EXPECT_EQ(of.value == "done", room == content.size()) << room;
    expect_whole_or_as_before(of, content, ENOSPC);
  }
}

TEST_P(Writing, IsTheSameInPiecesAndBehindASignal) {
  const std::string content = good();
  EXPECT_EQ(outcome([&] { file_faults::watch_in_pieces(folder_, 3); }).value, "done");
  EXPECT_EQ(scratch_.content("data/file"), content);
  for (const Call call : {Call::open, Call::write}) {
    EXPECT_EQ(outcome([&] { file_faults::watch(folder_, {call, 0, false, EINTR}); }).value, "done");
    EXPECT_EQ(scratch_.content("data/file"), content);
  }
}

TEST_P(Writing, EndsWhereADiskTakesNothingAndSaysNothing) {
  const std::string content = good();
  const Outcome of = outcome([&] { file_faults::watch_in_pieces(folder_, 0); });
  EXPECT_NE(of.value, "done");
  expect_whole_or_as_before(of, content, EIO);
}

// -------------------------------------------------------------------------------------------------------------- log

class Log : public testing::Test {
 protected:
  Log() { fs::create_directories(folder_); }

  // Three messages, sent to a log.
  Outcome outcome(std::function<void()> const& watch) const {
    fs::remove(path_);
    return in_a_process(scratch_, watch, [this] {
      const int sink = message_host::add_sink(message_host::file_sink(path_));
      for (char const* const text : {"one", "two", "three"})
        ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "the message %s", text);
      message_host::remove_sink(sink);
      return "done";
    });
  }
  // Each message stands in the log on a line of its own, or was told.
  void expect_nothing_lost(Outcome const& of) const {
    ASSERT_TRUE(of.ended) << of.told;
    ASSERT_EQ(of.value, "done");
    const std::string log = "\n" + scratch_.content("data/log");
    int logged = 0;
    for (char const* const text : {"one", "two", "three"}) {
      const std::string line = std::string("INFO: [c] the message ") + text;
      const bool in_log = log.find("\n" + line + "\n") != std::string::npos;
      const bool in_told = of.told.find(line + " (" + path_ + ": cannot be written: ") != std::string::npos;
      EXPECT_NE(in_log, in_told) << "log:" << log << "told: " << of.told;
      logged += in_log ? 1 : 0;
    }
    EXPECT_GE(logged + of.failed, 3);
  }

  Scratch scratch_;
  std::string folder_ = scratch_.path("data");
  std::string path_ = scratch_.path("data/log");
};

constexpr char kWholeLog[] = "INFO: [c] the message one\nINFO: [c] the message two\nINFO: [c] the message three\n";

TEST_F(Log, CannotBeMadeWithoutItsFile) {
  for (const bool for_ever : {false, true})
    EXPECT_EQ(outcome([&] {
                file_faults::watch(folder_, {Call::open, 0, for_ever, EIO});
              }).value,
              "refused: " + path_ + ": cannot be opened: " + reason(EIO));
}

TEST_F(Log, LosesNoMessageWhenAWriteFails) {
  for (int nth = 0; nth < 3; ++nth)
    for (const bool for_ever : {false, true})
      for (const int error : {EIO, ENOSPC}) {
        const Outcome of = outcome([&] { file_faults::watch(folder_, {Call::write, nth, for_ever, error}); });
        EXPECT_EQ(of.failed, for_ever ? 3 - nth : 1);
        expect_nothing_lost(of);
        EXPECT_NE(of.told.find(reason(error)), std::string::npos) << of.told;
      }
}

TEST_F(Log, LosesNoMessageOnAFullDisk) {
  for (std::size_t room = 0; room < sizeof kWholeLog - 1; ++room)
    expect_nothing_lost(outcome([&] { file_faults::watch_with_room_for(folder_, room); }));
}

// A disk that was full for one message: what was written of it does not spoil the next one's line.
TEST_F(Log, GoesOnBehindHalfALine) {
  fs::remove(path_);
  const Outcome of = in_a_process(
      scratch_, [] {},
      [this] {
        const auto send = [](char const* text) {
          ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "the message %s", text);
        };
        const int sink = message_host::add_sink(message_host::file_sink(path_));
        file_faults::watch_with_room_for(folder_, 8);
        send("one");
        file_faults::stop_watching();
        send("two");
        message_host::remove_sink(sink);
        return "done";
      });
  EXPECT_TRUE(of.ended);
  EXPECT_EQ(scratch_.content("data/log"), "INFO: [c\nINFO: [c] the message two\n");
  EXPECT_EQ(of.told, "INFO: [c] the message one (" + path_ + ": cannot be written: " + reason(ENOSPC) + ")\n");
}

TEST_F(Log, IsTheSameInPiecesAndBehindASignal) {
  for (auto const& watch :
       {std::function<void()>([&] { file_faults::watch_in_pieces(folder_, 3); }), std::function<void()>([&] {
          file_faults::watch(folder_, {Call::write, 1, false, EINTR});
        }),
        std::function<void()>([&] {
          file_faults::watch(folder_, {Call::close, 0, true, EIO});
        })}) {
    EXPECT_EQ(outcome(watch).told, "");
    EXPECT_EQ(scratch_.content("data/log"), kWholeLog);
  }
}

}  // namespace
