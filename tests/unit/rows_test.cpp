// Every command's row against what data/commands tells of it: the two cannot disagree on how many words a command
// takes.
//
// The commands' procedures are called as Tcl calls them, but the function that counts their words, which each of them
// calls first, is the one below (the linker puts it before the ground's): it takes the row down, and no handler runs.
#include <gtest/gtest.h>
#include <tcl.h>

#include <optional>

#include "host/kdish/command_table.h"
#include "host/kdish/shell.h"
#include "kdi/tcl/command.h"
#include "tests/support/places.h"

extern "C" {
int Kdi_iptasks_Init(Tcl_Interp* interp);
int Kdi_common_Init(Tcl_Interp* interp);
int Kdi_fectools_Init(Tcl_Interp* interp);
int Kdi_bmgtools_Init(Tcl_Interp* interp);
int Kdi_clocktools_Init(Tcl_Interp* interp);
int Kdi_gttools_Init(Tcl_Interp* interp);
int Kdi_dsptools_Init(Tcl_Interp* interp);
int Kdi_iotools_Init(Tcl_Interp* interp);
int Kdi_memtools_Init(Tcl_Interp* interp);
int Kdi_coretools_Init(Tcl_Interp* interp);
}

namespace {

struct Counted {
  tcl::WordCount words;
  std::string name;
};
std::optional<Counted> counted;

}  // namespace

extern "C" {
bool __wrap_kdi_tcl_count_words(Tcl_Interp*, int, Tcl_Obj* const[], tcl::WordCount words, char const* name) {
  counted = {words, name};
  return false;
}
bool __real_kdi_tcl_count_words(Tcl_Interp*, int, Tcl_Obj* const[], tcl::WordCount words, char const* name);
}

namespace {

constexpr std::size_t kMoreThanAnyCommandTakes = 40;

kdish::Table const& table() {
  static const kdish::Table table({places::data("commands")});
  return table;
}

// An interpreter with every command that a row registers.
Tcl_Interp* interpreter() {
  static Tcl_Interp* const interp = [] {
    Tcl_FindExecutable(nullptr);
    Tcl_Interp* const made = Tcl_CreateInterp();
    for (auto* const init :
         {Kdi_iptasks_Init, Kdi_common_Init, Kdi_fectools_Init, Kdi_bmgtools_Init, Kdi_clocktools_Init,
          Kdi_coretools_Init, Kdi_gttools_Init, Kdi_dsptools_Init, Kdi_iotools_Init, Kdi_memtools_Init})
      EXPECT_EQ(init(made), TCL_OK);
    alignas(kdish::Shell) static std::byte no_shell[sizeof(kdish::Shell)];  // nothing looks at it: no handler runs
    kdish::register_shell_commands(made, reinterpret_cast<kdish::Shell&>(no_shell));
    return made;
  }();
  return interp;
}

std::optional<Counted> row_of(std::string const& name) {
  Tcl_CmdInfo info{};
  if (Tcl_GetCommandInfo(interpreter(), name.c_str(), &info) == 0) return std::nullopt;
  const tcl::ObjRef word(tcl::new_text(name));
  Tcl_Obj* const call[] = {word.get()};
  counted.reset();
  EXPECT_EQ(info.objProc(info.objClientData, interpreter(), 1, call), TCL_ERROR);
  return counted;
}

// What a call with so many words says of their number by the row alone; nothing if the number is right.
std::optional<std::string> complaint_of(Counted const& row, std::vector<std::string> const& words) {
  std::vector<tcl::ObjRef> kept{tcl::ObjRef(tcl::new_text(row.name))};
  for (std::string const& word : words) kept.emplace_back(tcl::new_text(word));
  std::vector<Tcl_Obj*> call;
  for (tcl::ObjRef const& word : kept) call.push_back(word.get());
  if (__real_kdi_tcl_count_words(interpreter(), static_cast<int>(call.size()), call.data(), row.words,
                                 row.name.c_str()))
    return std::nullopt;
  return Tcl_GetStringResult(interpreter());
}

class Rows : public testing::TestWithParam<std::string> {};

TEST_P(Rows, CountWordsAsPeopleAreTold) {
  kdish::Command const& entry = *table().command(GetParam());
  const kdish::WordCount told = entry.word_count();
  const auto row = row_of(GetParam());
  ASSERT_TRUE(row) << "no row";
  EXPECT_EQ(row->name, GetParam());
  // Who reads options may count them as well. Then the row lets all words pass, or more of them than there are options.
  const bool has_options = !entry.options.empty();
  if (has_options && *row->words.complaint == '\0') return;
  std::vector<std::string> words;
  for (std::size_t i = 0; i < kMoreThanAnyCommandTakes; words.push_back("w" + std::to_string(++i))) {
    if (has_options && words.size() > told.most) break;
    const auto complaint = complaint_of(*row, words);
    if (told.allows(words.size()))
      EXPECT_EQ(complaint, std::nullopt) << words.size() << " words";
    else
      EXPECT_EQ(complaint, entry.wrong_count_text(GetParam(), words)) << words.size() << " words";
  }
}

std::vector<std::string> names() {
  std::vector<std::string> names;
  for (auto const& [name, command] : table().commands()) names.push_back(name);
  return names;
}
std::string test_name(testing::TestParamInfo<std::string> const& info) {
  std::string name = info.param;
  for (char& c : name)
    if (c == ':') c = '_';
  return name;
}
INSTANTIATE_TEST_SUITE_P(Commands, Rows, testing::ValuesIn(names()), test_name);

}  // namespace
