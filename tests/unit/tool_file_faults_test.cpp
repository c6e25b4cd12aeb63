// Every file that the shell and the package's commands read or write, while the system's calls fail one by one: what is
// documented for a fault happens, and no half of a file passes for a whole one.
#include <gtest/gtest.h>
#include <tcl.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <set>

#include "host/kdish/command_table.h"
#include "host/kdish/completion.h"
#include "host/kdish/history.h"
#include "host/kdish/journal.h"
#include "host/kdish/reference.h"
#include "host/kdish/terminal.h"
#include "kdi/common/KdiFile.h"
#include "tcltasks/dsp/ducddcgen/ducddcgen.h"
#include "tcltasks/dsp/v_scaler/lanczos.h"
#include "tcltasks/dsp/vcualgorithm/vcualgorithm.h"
#include "tcltasks/fec/register_image.h"
#include "tests/support/fault_runs.h"
#include "tests/support/places.h"

namespace {

namespace fs = std::filesystem;
using file_faults::Call;

constexpr std::size_t kMostCommands = 3;

// ---------------------------------------------------------------------------------------------------------- readers

struct Reader {
  char const* name;
  char const* file;  ///< below "data"
  std::string content;
  std::function<std::string(std::string const& path)> answer;
  std::set<std::string> otherwise;  ///< what is answered when a call fails; none: it is refused
};
std::ostream& operator<<(std::ostream& out, Reader const& reader) { return out << reader.name; }

std::string table_text() { return kdi::read_file(places::data("commands/power.json")); }

std::string answer_of_read_csv(std::string const& path) {
  const std::unique_ptr<Tcl_Interp, void (*)(Tcl_Interp*)> interp(Tcl_CreateInterp(), Tcl_DeleteInterp);
  vcualgorithm_init::init(interp.get());
  Tcl_SetObjResult(interp.get(), Tcl_NewStringObj("as it was", -1));
  Tcl_Obj* words[] = {Tcl_NewStringObj("VCUAPI::read_csv", -1), Tcl_NewStringObj(path.c_str(), -1),
                      Tcl_NewStringObj("extra", -1)};
  for (Tcl_Obj* word : words) Tcl_IncrRefCount(word);
  const int code = vcualgorithm_init::read_csv_file(nullptr, interp.get(), 3, words);
  for (Tcl_Obj* word : words) Tcl_DecrRefCount(word);
  return (code == TCL_OK ? "" : "error: ") + std::string(Tcl_GetStringResult(interp.get()));
}

const Reader kReaders[] = {
    {"a_history",
     "data/file",
     "# kdish history 1\nexpr 1\nlist a\\nb\n",
     [](std::string const& path) {
       std::string all;
       for (std::string const& command : kdish::HistoryFile(path, kMostCommands).load()) all += command + "|";
       return all;
     },
     {}},
    {"a_journal",
     "data/file",
     "# kdish journal 1\nset x 1\n#= ok\nset y 2\n#= error\n",
     [](std::string const& path) {
       std::string all;
       for (auto const& entry : kdish::read_journal(path)) all += entry.script;
       return all;
     },
     {}},
    {"a_command_table",
     "data/power.json",
     table_text(),
     [](std::string const& path) {
       return std::to_string(kdish::Table({fs::path(path).parent_path().string()}).commands().size());
     },
     {}},
    {"files_to_complete",
     "data/a file",
     "",
     [](std::string const& path) {
       const std::string folder = fs::path(path).parent_path().string();
       const kdish::Table table({places::data("commands")});
       std::string all;
       for (kdish::Candidate const& one : kdish::complete("source " + folder + "/", table, {}).candidates)
         all += one.text.substr(folder.size()) + "|";
       return all;
     },
     {""}},
    {"a_speed_table", "data/file", "a,b\n1,2", answer_of_read_csv, {"as it was", "error: Invalid speeds file: "}},
};

class ToolReading : public testing::TestWithParam<Reader> {
 protected:
  ToolReading() { scratch_.file(GetParam().file, GetParam().content); }
  Outcome outcome(std::function<void()> const& watch) const {
    return in_a_process(scratch_, watch, [this] { return GetParam().answer(scratch_.path(GetParam().file)); });
  }
  Scratch scratch_;
  std::string folder_ = scratch_.path("data");
};

INSTANTIATE_TEST_SUITE_P(Of, ToolReading, testing::ValuesIn(kReaders), [](auto const& one) { return one.param.name; });

TEST_P(ToolReading, TellsOfEachCallThatFails) {
  const Outcome good = outcome([&] { file_faults::watch(folder_); });
  ASSERT_TRUE(good.ended) << good.told;
  ASSERT_FALSE(good.value.starts_with("refused")) << good.value;
  const int runs = fail_each_call(
      good, {Call::status, Call::open, Call::read, Call::close, Call::open_list, Call::list}, {EIO},
      [&](file_faults::Plan const& plan) { return outcome([&] { file_faults::watch(folder_, plan); }); },
      [&](file_faults::Plan const& plan, Outcome const& of) {
        if (plan.call == Call::close) {  // all has been read by then
          EXPECT_EQ(of.value, good.value);
        } else if (GetParam().otherwise.empty()) {
          EXPECT_TRUE(of.value.starts_with("refused: " + folder_)) << of.value;
          EXPECT_TRUE(of.value.ends_with(": " + reason(EIO))) << of.value;
        } else {
          const bool names_file = of.value.starts_with("error: ");
          const std::string path = names_file ? scratch_.path(GetParam().file) : "";
          EXPECT_TRUE(of.value.ends_with(path));
          EXPECT_TRUE(GetParam().otherwise.contains(of.value.substr(0, of.value.size() - path.size()))) << of.value;
        }
      });
  EXPECT_GE(runs, 6);
}

TEST_P(ToolReading, IsTheSameInPieces) {
  const Outcome good = outcome([&] { file_faults::watch(folder_); });
  EXPECT_EQ(outcome([&] { file_faults::watch_in_pieces(folder_, 3); }).value, good.value);
}

// ---------------------------------------------------------------------------------------------------------- writers

constexpr char const* kChain = "duc_chbw10_C4_pb40_if0_frf92_os3";

struct Writer {
  char const* name;
  std::string before;  ///< what the file holds; empty: it is not there
  std::function<std::string(std::string const& folder)> write;
  /// Whether these files, by name, may be left behind by a fault; `good` are those of a run without.
  using Files = std::map<std::string, std::string>;
  std::function<bool(Files const& now, Files const& good)> may_be_left;
  bool is_silent = false;     ///< a fault is not told
  std::string file = "file";  ///< that was there before, below "data"
};
std::ostream& operator<<(std::ostream& out, Writer const& writer) { return out << writer.name; }

// Each file that is there is one of those that were to be written, and whole.
bool are_whole(Writer::Files const& now, Writer::Files const& good) {
  return std::all_of(now.begin(), now.end(), [&](auto const& file) { return good.at(file.first) == file.second; });
}

// Each file that is there is whole, or as it was before.
constexpr char kOld[] = "what was there";
bool are_whole_or_old(Writer::Files const& now, Writer::Files const& good) {
  return !now.empty() && std::all_of(now.begin(), now.end(), [&](auto const& file) {
    return file.second == kOld || good.at(file.first) == file.second;
  });
}

constexpr char kHistoryBefore[] = "# kdish history 1\nexpr 1\n";
constexpr char kJournalBefore[] = "# kdish journal 1\nset x 1\n#= ok\n";

std::string write_journal(std::string const& folder) {
  std::string faults;
  kdish::Journal journal;
  const auto step = [&](auto action) {
    try {
      action();
    } catch (std::exception const& error) {
      faults += std::string(error.what()) + "\n";
    }
  };
  step([&] { journal.open(folder + "/file"); });
  for (char const* const command : {"set first {\n1}", "set second 2"}) {
    step([&] { journal.command(command); });
    step([&] { journal.remark("on its behalf"); });
    step([&] { journal.ended(true); });
  }
  step([&] { journal.close(); });
  return faults.empty() ? "done" : "refused: " + faults;
}

// A journal that a reader takes no half of an entry from: the begin of the whole one, up to the end of a line of it.
bool is_begin_of_journal(Writer::Files const& now, Writer::Files const& good) {
  if (now.empty()) return true;
  const std::string text = now.at("file");
  if (!good.at("file").starts_with(text)) return false;
  for (char const* const end : {"", "# kdish journal 1\n", "#= ok\n", "first {\n1}\n", "second 2\n", "behalf\n"})
    if (*end == '\0' ? text.empty() : text.ends_with(end)) return true;
  return false;
}

std::string write_scaler(std::string const& folder) {
  v_scaler::CreateCoefsMatrix(64, 64, 12, 12, 64, 1, 1, 2, 3, folder + "/file");
  return "done";
}

std::string write_chain(std::string const& folder) {
  ducddcgen_init::DUCDDCConfig(kChain).write_files(folder);
  return "done";
}

std::string write_core(std::string const& folder) {
  fec::ldpc_config_t<ldpc::Variant> image;
  image.trans.resize(1000);
  image.dump_phy_trans((folder + "/file").c_str(), 0, true);
  return "done";
}

const Writer kWriters[] = {
    {"a_new_history", "",
     [](std::string const& folder) {
       kdish::HistoryFile(folder + "/file", kMostCommands).add("list a\nb");
       return "done";
     },
     [](auto const& now, auto const& good) { return now.empty() || now.at("file").empty() || now == good; }},
    {"a_history_that_goes_on", kHistoryBefore,
     [](std::string const& folder) {
       kdish::HistoryFile(folder + "/file", kMostCommands).add("list a\nb");
       return "done";
     },
     [](auto const& now, auto const& good) { return now.at("file") == kHistoryBefore || now == good; }},
    {"a_history_that_is_cut_down", "# kdish history 1\n1\n2\n3\n4\n5\n6\n",
     [](std::string const& folder) {
       kdish::HistoryFile(folder + "/file", kMostCommands).load();
       return "done";
     },
     [](auto const& now, auto const& good) {
       return now == good || now == Writer::Files{{"file", "# kdish history 1\n1\n2\n3\n4\n5\n6\n"}};
     }},
    {"a_new_journal", "", write_journal, is_begin_of_journal},
    {"a_journal_that_goes_on", kJournalBefore, write_journal, is_begin_of_journal},
    {"the_reference", "",
     [](std::string const& folder) {
       kdish::write_reference(kdish::Table({fs::path(folder).parent_path().string() + "/table"}), folder);
       return "done";
     },
     are_whole},
    {"the_memory_of_a_scaler", "", write_scaler, are_whole, true},
    {"the_memory_of_a_scaler_anew", kOld, write_scaler, are_whole_or_old, true, "file.coe"},
    {"the_files_of_a_chain", "", write_chain, are_whole},
    {"the_files_of_a_chain_anew", kOld, write_chain, are_whole_or_old, false, std::string(kChain) + ".cfg"},
    {"the_writes_of_a_core", "", write_core, are_whole, true},
    {"the_writes_of_a_core_anew", kOld, write_core, are_whole_or_old, true},
};

class ToolWriting : public testing::TestWithParam<Writer> {
 protected:
  ToolWriting() { scratch_.file("table/power.json", table_text()); }

  Outcome outcome(std::function<void()> const& watch) const {
    fs::remove_all(folder_);
    fs::create_directories(folder_);
    if (!GetParam().before.empty()) scratch_.file("data/" + GetParam().file, GetParam().before);
    return in_a_process(scratch_, watch, [this] { return GetParam().write(folder_); });
  }
  Writer::Files files() const {
    Writer::Files found;
    for (auto const& entry : fs::directory_iterator(folder_)) {
      const std::string name = entry.path().filename().string();
      found[name] = scratch_.content("data/" + name);
    }
    return found;
  }
  void expect_as_documented(Outcome const& of, Writer::Files const& good, bool has_failed) const {
    ASSERT_TRUE(of.ended) << of.told;
    if (!has_failed) {
      EXPECT_EQ(of.value, "done");
      EXPECT_TRUE(files() == good);
      return;
    }
    EXPECT_TRUE(GetParam().is_silent || of.value.starts_with("refused: ")) << of.value;
    EXPECT_TRUE(GetParam().may_be_left(files(), good)) << testing::PrintToString(files()).substr(0, 1000);
  }

  Scratch scratch_;
  std::string folder_ = scratch_.path("data");
};

INSTANTIATE_TEST_SUITE_P(Of, ToolWriting, testing::ValuesIn(kWriters), [](auto const& one) { return one.param.name; });

TEST_P(ToolWriting, TellsOfEachCallThatFails) {
  const Outcome calm = outcome([&] { file_faults::watch(folder_); });
  ASSERT_EQ(calm.value, "done");
  const Writer::Files good = files();
  const int runs = fail_each_call(
      calm, {Call::status, Call::open, Call::write, Call::close, Call::rename}, {EIO, ENOSPC},
      [&](file_faults::Plan const& plan) { return outcome([&] { file_faults::watch(folder_, plan); }); },
      [&](file_faults::Plan const& plan, Outcome const& of) {
        // nothing is lost where a file that was only read cannot be closed
        const bool may_be_done = plan.call == Call::close || plan.call == Call::status;
        expect_as_documented(of, good, !may_be_done || of.value != "done" || files() != good);
      });
  EXPECT_GE(runs, 12);
}

TEST_P(ToolWriting, TellsOfAFullDisk) {
  ASSERT_EQ(outcome([] {}).value, "done");
  const Writer::Files good = files();
  std::size_t size = 0;
  for (auto const& file : good) size += file.second.size();
  const std::size_t step = std::max<std::size_t>(1, size / 200);
  for (std::size_t room = 0; room < size; room += step) {
    SCOPED_TRACE(room);
    const Outcome of = outcome([&] { file_faults::watch_with_room_for(folder_, room); });
    expect_as_documented(of, good, of.failed > 0);
  }
}

TEST_P(ToolWriting, IsTheSameInPieces) {
  ASSERT_EQ(outcome([] {}).value, "done");
  const Writer::Files good = files();
  EXPECT_EQ(outcome([&] { file_faults::watch_in_pieces(folder_, 3); }).value, "done");
  EXPECT_TRUE(files() == good);
}

TEST_P(ToolWriting, EndsWhereADiskTakesNothingAndSaysNothing) {
  ASSERT_EQ(outcome([] {}).value, "done");
  const Writer::Files good = files();
  const Outcome of = outcome([&] { file_faults::watch_in_pieces(folder_, 0); });
  ASSERT_TRUE(of.ended) << of.told;
  EXPECT_TRUE(GetParam().may_be_left(files(), good));
}

// ------------------------------------------------------------------------------------------------ what was cut before

TEST(History, LeavesOutWhatIsNotWhole) {
  const Scratch scratch;
  const kdish::HistoryFile history(scratch.path("h"), kMostCommands);
  for (char const* const half : {"puts {a", "puts a\\", "x\\\\", "x\\\\\\"}) {
    scratch.file("h", std::string("# kdish history 1\nexpr 1\n") + half);
    EXPECT_EQ(history.load(), std::vector<std::string>{"expr 1"});
    history.add("expr 2\\\n+ 1");
    EXPECT_EQ(history.load(), (std::vector<std::string>{"expr 1", "expr 2\\\n+ 1"})) << half;
  }
}

TEST(History, IsCutDownNowAndThen) {
  const Scratch scratch;
  const kdish::HistoryFile history(scratch.path("h"), kMostCommands);
  for (int i = 1; i <= 5; ++i) history.add(std::to_string(i));
  EXPECT_EQ(history.load(), (std::vector<std::string>{"3", "4", "5"}));
  EXPECT_EQ(scratch.content("h"), "# kdish history 1\n1\n2\n3\n4\n5\n");
  history.add("6");
  EXPECT_EQ(history.load(), (std::vector<std::string>{"4", "5", "6"}));
  EXPECT_EQ(scratch.content("h"), "# kdish history 1\n4\n5\n6\n");
  EXPECT_EQ(fs::status(scratch.path("h")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

// Where the last bytes reach the disk only now, as on a network.
TEST(ToolJournal, TellsWhenItsEndMayBeMissing) {
  const Scratch scratch;
  scratch.file("data/other", "");
  const std::string folder = scratch.path("data");
  const Outcome of = in_a_process(
      scratch,
      [&] {
        file_faults::watch(folder, {Call::close, 0, true, EIO});
      },
      [&] { return write_journal(folder); });
  EXPECT_EQ(of.value, "refused: " + folder + "/file: the end of the journal cannot be written: Input/output error\n");
  EXPECT_EQ(scratch.content("data/file").substr(0, 18), "# kdish journal 1\n");
}

}  // namespace
