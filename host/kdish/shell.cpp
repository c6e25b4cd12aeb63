#include "host/kdish/shell.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "host/kdish/command_end.h"
#include "host/kdish/help.h"
#include "host/kdish/history.h"
#include "host/kdish/line_editor.h"
#include "host/kdish/part_names.h"
#include "host/kdish/result_json.h"
#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/ParamHost.h"
#include "kdi/common/host/TclHost.h"
#include "kdi/tcl/command.h"
#include "tcltasks/dsp/ducddcgen/ducddc_catalogue.h"

namespace kdish {
namespace {

constexpr char const* kPrompt = "kdish> ";
constexpr char const* kContinuation = "     > ";
constexpr char const* kRed = "\033[31m";
constexpr char const* kYellow = "\033[33m";
constexpr char const* kBlue = "\033[34m";
constexpr char const* kPlain = "\033[0m";

// ------------------------------------------------------------------------------------------------ interruption

std::atomic<bool> is_evaluating{false};
std::atomic<int> interruptions{0};
Tcl_AsyncHandler interrupt_handler = nullptr;

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free, "for a signal handler");

void on_interrupt_signal(int /*signal*/) {
  if (!is_evaluating) return;
  constexpr int kMost = 3;
  const int count = ++interruptions;
  if (count == kMost) {
    std::signal(SIGINT, SIG_DFL);
    std::raise(SIGINT);  // delivered when this handler is left
    return;
  }
  const std::string_view answer =
      count == kMost - 1 ? "\nthe command cannot be interrupted yet; Ctrl-C once more ends kdish\n" : "\n";
  if (::write(STDERR_FILENO, answer.data(), answer.size()) < 0) return;
  Tcl_AsyncMark(interrupt_handler);
}

// Called by Tcl when it is safe to do so, in the middle of a script or while it waits for events.
int cancel_script(ClientData data, Tcl_Interp* /*interp*/, int code) {
  auto* const interp = static_cast<Tcl_Interp*>(data);
  if (is_evaluating) Tcl_CancelEval(interp, Tcl_NewStringObj("interrupted", -1), nullptr, TCL_CANCEL_UNWIND);
  return code;
}

class EvaluationMark {
 public:
  EvaluationMark() {
    interruptions = 0;
    is_evaluating = true;
  }
  EvaluationMark(EvaluationMark const&) = delete;
  EvaluationMark& operator=(EvaluationMark const&) = delete;
  ~EvaluationMark() { is_evaluating = false; }
};

// ------------------------------------------------------------------------------------------------ texts and words

using tcl::text_of;

std::string internal_of_utf8(std::string const& bytes) {
  Tcl_Encoding const encoding = Tcl_GetEncoding(nullptr, "utf-8");
  Tcl_DString buffer;
  Tcl_ExternalToUtfDString(encoding, bytes.data(), static_cast<int>(bytes.size()), &buffer);
  std::string text(Tcl_DStringValue(&buffer), static_cast<std::size_t>(Tcl_DStringLength(&buffer)));
  Tcl_DStringFree(&buffer);
  Tcl_FreeEncoding(encoding);
  return text;
}

bool is_blank(std::string const& text) { return text.find_first_not_of(" \t\r\n;") == std::string::npos; }

// The first word of a script's last command, if it is plain; else empty.
std::string last_command(std::string const& script) {
  std::string name;
  char const* at = script.data();
  char const* const end = at + script.size();
  while (at < end) {
    Tcl_Parse parse;
    if (Tcl_ParseCommand(nullptr, at, static_cast<int>(end - at), 0, &parse) != TCL_OK) return {};
    if (parse.numWords > 0) {
      Tcl_Token const& first = parse.tokenPtr[0];
      name = first.type == TCL_TOKEN_SIMPLE_WORD ? std::string(first.start, static_cast<std::size_t>(first.size))
                                                 : std::string();
    }
    at = parse.commandStart + parse.commandSize;
    Tcl_FreeParse(&parse);
  }
  return name;
}

// ------------------------------------------------------------------------------------------------ setting up

// The package and its companions are beside the libraries that this program was started with.
void load(Tcl_Interp* interp, std::string const& library) {
  const std::string folder = kdi::library_directory();
  if (folder.empty()) throw std::runtime_error("the folder of the libraries cannot be found out");
  const tcl::ObjRef words[] = {tcl::ObjRef(tcl::new_text("load")),
                               tcl::ObjRef(tcl::new_text(tcl::from_system(folder + "/" + library)))};
  Tcl_Obj* const command[] = {words[0].get(), words[1].get()};
  if (Tcl_EvalObjv(interp, 2, command, TCL_EVAL_GLOBAL) != TCL_OK)
    throw std::runtime_error(text_of(Tcl_GetObjResult(interp)));
  Tcl_ResetResult(interp);
}

// A person's own file: the one that the variable names, none if it is empty; else `name` at home. Absolute, since the
// person may go elsewhere.
std::string own_file(char const* variable, char const* name) {
  std::error_code is_gone;
  if (char const* const given = std::getenv(variable))
    return *given == '\0' ? "" : std::filesystem::absolute(given, is_gone).string();
  char const* const home = std::getenv("HOME");
  return home == nullptr || *home == '\0' ? "" : std::string(home) + "/" + name;
}
std::string history_path() { return own_file("KDISH_HISTORY", ".kdish_history"); }

char const* colour_of(ComMsgMgr::MsgMask mask) {
  if (mask >= ComMsgMgr::MSG_ERROR) return kRed;
  return mask >= ComMsgMgr::MSG_WARNING ? kYellow : kBlue;
}

// ------------------------------------------------------------------------------------------------ names to complete

// What an `info` or `namespace` command of Tcl lists; the commands are asked for where they are at home, so that a
// person's own `info` is not run.
std::vector<std::string> listed(Tcl_Interp* interp, std::vector<std::string> const& words) {
  std::vector<tcl::ObjRef> kept;
  std::vector<Tcl_Obj*> command;
  for (std::string const& word : words) command.push_back(kept.emplace_back(tcl::new_text(word)).get());
  Tcl_InterpState const before = Tcl_SaveInterpState(interp, TCL_OK);
  std::vector<std::string> names;
  if (Tcl_EvalObjv(interp, static_cast<int>(command.size()), command.data(), TCL_EVAL_GLOBAL) == TCL_OK)
    if (const auto elements = tcl::elements_of(Tcl_GetObjResult(interp)))
      std::transform(elements->begin(), elements->end(), std::back_inserter(names), text_of);
  Tcl_RestoreInterpState(interp, before);
  return names;
}

std::string pattern_of(std::string const& prefix) {
  std::string pattern;
  for (const char c : prefix) {
    if (std::strchr("*?[]\\", c) != nullptr) pattern += '\\';
    pattern += c;
  }
  return pattern + "*";
}

std::vector<std::string> command_names(Tcl_Interp* interp, Table const& table, std::string const& prefix) {
  std::vector<std::string> names;
  const std::size_t root = prefix.starts_with("::") ? 2 : 0;
  for (auto const& [name, command] : table.commands())
    if (name.starts_with(prefix.substr(root)) && Tcl_FindCommand(interp, name.c_str(), nullptr, 0) != nullptr)
      names.push_back(prefix.substr(0, root) + name);
  if (prefix.empty()) return names;
  const auto add = [&](std::vector<std::string> const& found, char const* behind) {
    for (std::string const& name : found) {
      const std::string shown = root == 0 && name.starts_with("::") ? name.substr(2) : name;
      if (shown.starts_with(prefix)) names.push_back(shown + behind);
    }
  };
  add(listed(interp, {"::tcl::info::commands", pattern_of(prefix)}), "");
  const std::size_t colons = prefix.rfind("::");
  const std::string parent = colons == std::string::npos ? "" : prefix.substr(0, colons);
  const std::string child = colons == std::string::npos ? prefix : prefix.substr(colons + 2);
  const std::string home = parent.starts_with("::") ? parent : "::" + parent;
  if (home == "::" || Tcl_FindNamespace(interp, home.c_str(), nullptr, TCL_GLOBAL_ONLY) != nullptr)
    add(listed(interp, {"::tcl::namespace::children", home, pattern_of(child)}), "::");
  return names;
}

std::vector<std::string> part_names() {
  return all_parts([](std::exception const&) {});  // a broken file is told of when its parts are asked for
}

std::vector<std::string> parameter_names() {
  std::vector<std::string> names;
  for (param_host::Parameter const& parameter : param_host::list()) names.push_back(parameter.name);
  return names;
}

// Of the catalogue of filter chains, which is in ascending order.
std::vector<std::string> chain_names(std::string const& prefix) {
  using namespace ducddcgen_init;
  auto const* const end = database + kRecords;
  auto const* at = std::lower_bound(
      database, end, prefix, [](Record const& record, std::string const& text) { return name_of(record) < text; });
  std::vector<std::string> names;
  for (; at != end; ++at) {
    names.push_back(name_of(*at));
    if (!names.back().starts_with(prefix)) break;
  }
  return names;
}

// The name of an open core, as it is typed: itself, or a variable that holds it. A variable with a script behind it is
// not read, since that would run the script.
std::string handle_of(Tcl_Interp* interp, std::string const& typed) {
  if (!typed.starts_with('$')) return typed;
  std::string name = typed.substr(1);
  if (name.starts_with('{') && name.ends_with('}')) name = name.substr(1, name.size() - 2);
  if (!listed(interp, {"::trace", "info", "variable", name}).empty()) return {};
  Tcl_Obj* const value = Tcl_GetVar2Ex(interp, name.c_str(), nullptr, TCL_GLOBAL_ONLY);
  return value == nullptr ? std::string() : text_of(value);
}

// What the description of a core says of its parameters: names, each with a dictionary.
std::vector<std::string> described(Tcl_Interp* interp, KnownNames::Core const& core) {
  std::vector<std::string> words = {"::coretools::parameters", core.name};
  if (!core.version.empty()) words.push_back(core.version);
  return listed(interp, words);
}

std::vector<std::string> core_parameter_names(Tcl_Interp* interp, KnownNames::Core const& core,
                                              std::string const& prefix) {
  if (core.name.empty())
    return listed(interp, {"::coretools::names", handle_of(interp, core.handle), pattern_of(prefix)});
  const std::vector<std::string> pairs = described(interp, core);
  std::vector<std::string> names;
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) names.push_back(pairs[i]);
  return names;
}

// Those that are permitted, where there is a list of them: of limits there is none.
std::vector<std::string> core_value_names(Tcl_Interp* interp, KnownNames::Core const& core,
                                          std::string const& parameter) {
  if (core.name.empty()) {
    const std::string handle = handle_of(interp, core.handle);
    const std::vector<std::string> type = listed(interp, {"::coretools::get", handle, parameter, "type"});
    if (type == std::vector<std::string>{"checkBox"}) return {"0", "1"};
    if (type != std::vector<std::string>{"combo"}) return {};
    return listed(interp, {"::coretools::get", handle, parameter, "range"});
  }
  const std::vector<std::string> pairs = described(interp, core);
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2)
    if (pairs[i] == parameter) return listed(interp, {"::tcl::dict::get", pairs[i + 1], "values"});
  return {};
}

KnownNames known_names(Tcl_Interp* interp, Table const& table) {
  KnownNames names;
  names.commands = [interp, &table](std::string const& prefix) { return command_names(interp, table, prefix); };
  names.variables = [interp](std::string const& prefix) {
    return listed(interp, {"::tcl::info::vars", pattern_of(prefix)});
  };
  names.parts = [](std::string const&) { return part_names(); };
  names.parameters = [](std::string const&) { return parameter_names(); };
  names.chains = chain_names;
  names.cores = [interp](std::string const&) { return listed(interp, {"::coretools::list"}); };
  names.core_identifiers = [interp](std::string const&) { return listed(interp, {"::coretools::identifiers"}); };
  names.core_parameters = [interp](KnownNames::Core const& core, std::string const& prefix) {
    return core_parameter_names(interp, core, prefix);
  };
  names.core_values = [interp](KnownNames::Core const& core, std::string const& parameter) {
    return core_value_names(interp, core, parameter);
  };
  return names;
}

}  // namespace

namespace {

// A list on lines of the width, broken between its elements; `step` of them stay together. It is the same list.
std::string list_lines(std::string const& list, std::size_t width, std::size_t step) {
  const tcl::ObjRef object(tcl::new_text(list));
  const auto elements = tcl::elements_of(object.get());
  if (!elements) return list;
  std::string lines;
  std::size_t column = 0;
  for (std::size_t i = 0; i < elements->size(); i += step) {
    const std::vector<Tcl_Obj*> together(
        elements->begin() + static_cast<std::ptrdiff_t>(i),
        elements->begin() + static_cast<std::ptrdiff_t>(std::min(i + step, elements->size())));
    const tcl::ObjRef group(Tcl_NewListObj(static_cast<int>(together.size()), together.data()));
    const std::string text = text_of(group.get());
    const std::size_t length = static_cast<std::size_t>(Tcl_NumUtfChars(text.data(), static_cast<int>(text.size())));
    const bool is_first = i == 0;
    const bool fits = column + 1 + length <= width;
    lines += is_first ? "" : fits ? " " : "\n";
    lines += text;
    column = is_first || !fits ? length : column + 1 + length;
  }
  return lines;
}

}  // namespace

std::string result_as_json(Table const& table, std::string const& script, Tcl_Obj* result) {
  Command const* const command = table.command(last_command(script));
  return to_json(result, command == nullptr ? Shape{} : command->shape);
}

// ================================================================================================ the shell

Shell::Shell(ShellOptions options) : options_(std::move(options)) {
  if (options_.json) table();  // a fault of the table is told before anything runs
  if (options_.json) {
    // Standard output is for the results alone; what a command or a library prints goes with the messages.
    json_descriptor_ = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);  // no child writes there
    if (json_descriptor_ == -1 || ::dup2(STDERR_FILENO, STDOUT_FILENO) == -1)
      throw std::runtime_error("standard output cannot be used: " + kdi::text::system_reason(errno));
  }
  has_colour_ =
      options_.colour == Colour::always || (options_.colour == Colour::automatic && wants_colour(STDERR_FILENO));
  interp_ = Tcl_CreateInterp();
  if (Tcl_Init(interp_) != TCL_OK) throw std::runtime_error(text_of(Tcl_GetObjResult(interp_)));
  Tcl_SetVar(interp_, "tcl_interactive", "0", TCL_GLOBAL_ONLY);

  message_host::add_sink(
      [this](ComMsgMgrInstance const& message) { complain(message_host::line_of(message), colour_of(message.mask)); });
  for (char const* const library :
       {"libkdi_common.so", "libkdi_iptasks.so", "libkdi_fectools.so", "libkdi_bmgtools.so", "libkdi_clocktools.so",
        "libkdi_coretools.so", "libkdi_gttools.so", "libkdi_dsptools.so", "libkdi_iotools.so", "libkdi_memtools.so"})
    load(interp_, library);
  register_shell_commands(interp_, *this);
  if (!options_.journal.empty()) journal_.open(options_.journal);
  tcl_host::set_journal([this](std::string const& command) {
    if (journal_.is_open()) journal_.remark(command);
  });
}

Table const& Shell::table() {
  if (!table_) table_.emplace(kdi::data_directories("commands"));
  return *table_;
}

int Shell::run() {
  kdi::tell_data_faults();
  if (kdi::data_directories("commands").empty() || kdi::data_directories("devices").empty()) {
    complain("there are no data: neither beside the libraries nor where KDI_DATA_DIR says; nothing works without them");
    return 1;
  }
  int status = 0;
  if (options_.command)
    status = run_command();
  else if (!options_.script.empty() && options_.script != "-")
    status = run_script();
  else if (options_.script.empty() && ::isatty(STDIN_FILENO) != 0)
    status = run_terminal();
  else
    status = run_standard_input();
  Tcl_Channel const output = Tcl_GetStdChannel(TCL_STDOUT);
  if (output != nullptr && Tcl_Flush(output) != TCL_OK) {
    complain("the output cannot be written: " + kdi::text::system_reason(errno));
    return 1;
  }
  with_journal([this] { journal_.close(); });
  return status == 0 && journal_failed_ ? 1 : status;
}

void Shell::set_arguments(std::string const& name) {
  const tcl::ObjRef list(tcl::new_list(options_.arguments, tcl::from_system));
  Tcl_SetVar(interp_, "argv0", tcl::from_system(name).c_str(), TCL_GLOBAL_ONLY);
  Tcl_SetVar2Ex(interp_, "argv", nullptr, list.get(), TCL_GLOBAL_ONLY);
  Tcl_SetVar2Ex(interp_, "argc", nullptr, Tcl_NewIntObj(static_cast<int>(options_.arguments.size())), TCL_GLOBAL_ONLY);
}

// ------------------------------------------------------------------------------------------------ running

int Shell::evaluate(std::string const& script) {
  const tcl::ObjRef object(tcl::new_text(script));
  const EvaluationMark mark;
  if (progress_) progress_->begin(script);
  const int code = Tcl_EvalObjEx(interp_, object.get(), TCL_EVAL_GLOBAL);
  if (progress_) progress_->end();
  return code;
}

int Shell::evaluate_file(std::string const& path) {
  return Tcl_FSEvalFileEx(interp_, tcl::ObjRef(tcl::new_text(tcl::from_system(path))).get(), "utf-8");
}

// A journal that fails says so, and the command runs all the same.
void Shell::with_journal(std::function<void()> const& step) {
  try {
    step();
  } catch (std::exception const& error) {
    journal_failed_ = true;
    complain(error.what());
  }
}

int Shell::journalled(std::string const& script) {
  with_journal([&] { journal_.command(script); });
  const std::string journal = journal_.is_open() ? journal_.path() : "";
  const int code = evaluate(script);
  const bool is_same = journal_.is_open() && journal_.path() == journal;  // the command may have been `journal`
  if (is_same) with_journal([&] { journal_.ended(code == TCL_OK || code == TCL_RETURN); });
  return code;
}

int Shell::run_command() {
  set_arguments("kdish");
  return run_whole(*options_.command);
}

int Shell::run_whole(std::string const& script) {
  if (journalled(script) != TCL_OK) {
    report_error(true);
    return 1;
  }
  return complaining([&] {
    show_result(script);
    return 0;
  });
}

// The status that the step has; what it throws is told, and the status is 1.
int Shell::complaining(std::function<int()> const& step) {
  try {
    return step();
  } catch (std::exception const& error) {
    complain(error.what());
    return 1;
  }
}

int Shell::run_script() {
  set_arguments(options_.script);
  if (options_.replays) return run_replay();
  std::error_code failed;
  // Its last command is looked up in the text, and a pipe cannot be read again.
  if (options_.json && std::filesystem::exists(options_.script, failed) &&
      !std::filesystem::is_regular_file(options_.script, failed))
    return complaining([&] { return run_whole(internal_of_utf8(kdi::read_input(options_.script))); });
  return run_file();
}

int Shell::run_replay() {
  return complaining([&] {
    if (replay(options_.script) == TCL_OK) return 0;
    report_error(false);
    return 1;
  });
}

int Shell::run_file() {
  with_journal([&] { journal_.command(script_call()); });
  const int code = evaluate_file(options_.script);
  with_journal([&] { journal_.ended(code == TCL_OK); });
  if (code != TCL_OK) {
    report_error(true);
    return 1;
  }
  return complaining([&] {
    if (options_.json) show_result(kdi::read_file(options_.script));
    return 0;
  });
}

// What runs the script again, for the journal: what the script does is in the script.
std::string Shell::script_call() {
  std::string call;
  for (char const* const name : {"argv0", "argc", "argv"}) {
    Tcl_Obj* const value = Tcl_GetVar2Ex(interp_, name, nullptr, TCL_GLOBAL_ONLY);
    call += text_of(tcl::ObjRef(tcl::new_list({tcl::new_text("set"), tcl::new_text(name), value})).get()) + "\n";
  }
  std::error_code failed;
  const std::string path = std::filesystem::absolute(options_.script, failed).string();
  const std::vector<std::string> words = {"source", "-encoding", "utf-8", tcl::from_system(path)};
  return call + text_of(tcl::ObjRef(tcl::new_list(words)).get());
}

int Shell::run_standard_input() {
  set_arguments(options_.script.empty() ? "kdish" : options_.script);
  Tcl_Channel const input = Tcl_GetStdChannel(TCL_STDIN);
  if (input == nullptr) return 0;
  Tcl_SetChannelOption(nullptr, input, "-blocking", "1");      // whoever shares it may have made it otherwise
  Tcl_SetChannelOption(nullptr, input, "-encoding", "utf-8");  // as scripts and journals are
  std::string script;
  CommandEnd end;
  int line_number = 0, first_line = 1;
  for (;;) {
    const tcl::ObjRef line(Tcl_NewObj());
    const bool is_end = Tcl_GetsObj(input, line.get()) < 0;
    if (is_end && Tcl_Eof(input) == 0) {
      complain("standard input cannot be read: " + kdi::text::system_reason(Tcl_GetErrno()));
      return 1;
    }
    if (!is_end) {
      ++line_number;
      const std::string text = text_of(line.get()) + "\n";
      script += text;
      if (!end.add(text)) continue;
    }
    if (!script.empty()) script.pop_back();
    if (!is_blank(script)) {
      if (const int status = run_piece(script, first_line); status != 0) return status;
    }
    script.clear();
    end.clear();
    first_line = line_number + 1;
    if (is_end) return 0;
  }
}

int Shell::run_piece(std::string const& script, int first_line) {
  if (journalled(script) == TCL_OK) {
    return complaining([&] {
      if (options_.json) show_result(script);
      return 0;
    });
  }
  const int line = first_line + std::max(Tcl_GetErrorLine(interp_), 1) - 1;
  report_error(true, "standard input:" + std::to_string(line) + ": ");
  return 1;
}

void Shell::become_interactive() {
  Tcl_SetVar(interp_, "tcl_interactive", "1", TCL_GLOBAL_ONLY);
  interrupt_handler = Tcl_AsyncCreate(cancel_script, interp_);
  struct sigaction action {};
  action.sa_handler = on_interrupt_signal;
  ::sigaction(SIGINT, &action, nullptr);
  if (::isatty(STDERR_FILENO) == 0) return;
  progress_ = std::make_unique<ProgressLine>(STDERR_FILENO);
  guard_output_channels(interp_, *progress_);
  // `exit` ends the process without coming back here.
  Tcl_CreateExitHandler([](ClientData data) { static_cast<Shell*>(data)->progress_->end(); }, this);
}

// A history that fails is told of once.
void Shell::with_history(std::function<void()> const& step) {
  try {
    if (keeps_history_) step();
  } catch (std::exception const& error) {
    keeps_history_ = false;
    complain(error.what());
  }
}

std::vector<std::string> Shell::typed_commands() const {
  if (history_) return typed_;
  return HistoryFile(history_path(), LineEditor::kMostRemembered).load();
}

// What a person wants to be there in each session. It is a command of the journal like those that follow it.
void Shell::read_start_file() {
  const std::string path = own_file("KDISH_RC", ".kdishrc");
  std::error_code failed;
  if (path.empty() || (std::getenv("KDISH_RC") == nullptr && !std::filesystem::exists(path, failed))) return;
  const std::vector<std::string> words = {"source", "-encoding", "utf-8", tcl::from_system(path)};
  if (journalled(text_of(tcl::ObjRef(tcl::new_list(words)).get())) != TCL_OK) report_error(true);
}

int Shell::run_terminal() {
  set_arguments("kdish");
  become_interactive();
  const KnownNames names = known_names(interp_, table());
  std::string pending;  // the lines of a command that is not complete yet, in Tcl's encoding
  history_.emplace(history_path(), LineEditor::kMostRemembered);
  with_history([&] { typed_ = history_->load(); });
  editor_ = new LineEditor(typed_, [&](std::string const& to_cursor) {
    Completion completion = complete(pending + tcl::from_system(to_cursor), table(), names);
    if (completion.begin < pending.size()) return Completion{};  // a word that began on an earlier line
    completion.begin = tcl::to_system(tcl::from_system(to_cursor).substr(0, completion.begin - pending.size())).size();
    for (Candidate& candidate : completion.candidates) {
      candidate.text = tcl::to_system(candidate.text);
      candidate.shown = tcl::to_system(candidate.shown);
    }
    return completion;
  });
  read_start_file();
  for (;;) {
    begin_line();
    std::string line;
    const LineEditor::Ending ending = editor_->read(pending.empty() ? kPrompt : kContinuation, line);
    if (ending == LineEditor::Ending::line) {
      run_typed(tcl::from_system(line), pending);
      continue;
    }
    const bool leaves = ending == LineEditor::Ending::end_of_input && pending.empty();
    if (ending == LineEditor::Ending::end_of_input) print("\n");
    pending.clear();
    if (leaves) return 0;
  }
}

// A line, or several where text was pasted: those run command by command, until one fails.
void Shell::run_typed(std::string const& text, std::string& pending) {
  const std::vector<std::string_view> lines = kdi::text::split(text, '\n');
  for (std::size_t i = 0; i < lines.size(); ++i) {
    pending += lines[i];
    pending += '\n';
    if (Tcl_CommandComplete(pending.c_str()) == 0) continue;
    pending.pop_back();
    const std::string script = std::exchange(pending, {});
    if (is_blank(script) || run_typed_command(script)) continue;
    if (const std::size_t left = lines.size() - i - 1; left != 0)
      complain("not run: " + std::to_string(left) + (left == 1 ? " line" : " lines") + " behind this command");
    return;
  }
}

bool Shell::run_typed_command(std::string const& script) {
  const std::string typed = tcl::to_system(script);
  if (editor_->remember(typed)) {
    typed_.push_back(typed);
    with_history([&] { history_->add(typed); });
  }
  if (journalled(script) != TCL_OK) {
    report_error(false);
    return false;
  }
  try {
    show_result(script);
  } catch (std::exception const& error) {
    complain(error.what());
    return false;
  }
  return true;
}

int Shell::replay(std::string const& path) {
  std::error_code ignored;
  const std::string place = std::filesystem::weakly_canonical(path, ignored).string();
  const bool is_written = journal_.is_at(path);
  if (is_written || std::find(replayed_.begin(), replayed_.end(), place) != replayed_.end()) {
    tcl::fail(interp_, path + ": this journal is being " + (is_written ? "written" : "replayed"));
    return TCL_ERROR;
  }
  replayed_.push_back(place);
  const int code = replay_entries(path);
  replayed_.pop_back();
  return code;
}

int Shell::replay_entries(std::string const& path) {
  int count = 0;
  for (JournalEntry const& entry : read_journal(path)) {
    if (entry.ending == JournalEntry::Ending::cut) {
      tcl::fail(interp_, path + ":" + std::to_string(entry.line) +
                             ": the journal breaks off in the middle of this command, which is not run");
      return TCL_ERROR;
    }
    print_or_fail("% " + entry.script);
    const int code = Tcl_EvalEx(interp_, entry.script.c_str(), static_cast<int>(entry.script.size()), TCL_EVAL_GLOBAL);
    const std::string result = text_of(Tcl_GetObjResult(interp_));
    const bool is_ok = code == TCL_OK;
    if (!result.empty() && (is_ok || entry.ending != JournalEntry::Ending::ok))
      print_or_fail((is_ok ? "" : "error: ") + result + "\n");
    if (entry.ending != JournalEntry::Ending::unknown && is_ok != (entry.ending == JournalEntry::Ending::ok)) {
      tcl::fail(interp_, path + ":" + std::to_string(entry.line) + ": the command " +
                             (is_ok ? "failed when it was journalled, and succeeds now"
                                    : "succeeded when it was journalled, and fails now: " + result));
      return TCL_ERROR;
    }
    ++count;
  }
  Tcl_SetObjResult(interp_, Tcl_NewIntObj(count));
  return TCL_OK;
}

// ------------------------------------------------------------------------------------------------ what people see

void Shell::show_result(std::string const& script) {
  Tcl_Obj* const result = Tcl_GetObjResult(interp_);
  if (options_.json) {
    if (!write_all(json_descriptor_, result_as_json(table(), script, result) + "\n"))
      throw std::runtime_error("the result cannot be written: " + kdi::text::system_reason(errno));
    return;
  }
  std::string text = shown(script, result);
  if (text.empty()) return;
  if (text.back() != '\n') text += '\n';
  print_or_fail(text);
}

// At a terminal lists that the table knows of are broken into lines.
std::string Shell::shown(std::string const& script, Tcl_Obj* result) {
  const std::string text = text_of(result);
  const std::size_t width = ::isatty(STDOUT_FILENO) != 0 ? terminal_width() : text.size();
  if (text.size() <= width || text.find('\n') != std::string::npos) return text;
  Command const* const command = table().command(last_command(script));
  const Shape::Kind kind = command == nullptr ? Shape::Kind::text : command->shape.kind;
  if (kind == Shape::Kind::list || kind == Shape::Kind::tuple) return list_lines(text, width, 1);
  return kind == Shape::Kind::dict ? list_lines(text, width, 2) : text;
}

void Shell::print_or_fail(std::string const& text) {
  if (!print(text)) throw std::runtime_error("the result cannot be written: " + kdi::text::system_reason(errno));
}

// Called by whoever sends a message, on any thread: so not through Tcl's channels.
void Shell::complain(std::string const& text, char const* colour) {
  std::string shown = kdi::text::printable(text);
  if (has_colour_ && colour != nullptr) shown = colour + shown + kPlain;
  const auto write = [&] { write_all(STDERR_FILENO, shown + "\n"); };
  if (progress_)
    progress_->around(write);
  else
    write();
}

// A prompt stands at the begin of a line, behind all that a command has written.
void Shell::begin_line() {
  if (Tcl_Channel const output = Tcl_GetStdChannel(TCL_STDOUT)) Tcl_Flush(output);
  if (progress_) progress_->begin_line();
}

// Through Tcl's channel, so that it stays in order with what scripts print. A result may hold what a file gave, and a
// terminal would obey it; what a script prints itself is its own affair.
bool Shell::print(std::string const& text) {
  Tcl_Channel const output = Tcl_GetStdChannel(TCL_STDOUT);
  if (output == nullptr) {
    errno = EBADF;  // a script has closed it
    return false;
  }
  const tcl::ObjRef object(tcl::new_text(::isatty(STDOUT_FILENO) != 0 ? kdi::text::printable(text) : text));
  return Tcl_WriteObj(output, object.get()) >= 0 && Tcl_Flush(output) == TCL_OK;
}

// An error is told also where the table cannot be read.
std::vector<std::string> Shell::names_close_to(std::string const& name) {
  try {
    return close_names(table(), name);
  } catch (std::exception const& fault) {
    complain(fault.what());
    return {};
  }
}

// Near names, where the error is that something is unknown.
std::string Shell::advice_on(std::string const& error) {
  constexpr std::string_view kUnknownCommand = "invalid command name \"";
  constexpr std::string_view kPart = "part \"", kUnknown = "\" is not known";
  std::vector<std::string> meant;
  if (error.starts_with(kUnknownCommand)) {
    meant = names_close_to(error.substr(kUnknownCommand.size(), error.size() - kUnknownCommand.size() - 1));
  } else if (const std::size_t at = error.find(kPart), end = error.find(kUnknown, at); end != std::string::npos) {
    meant = parts_close_to(error.substr(at + kPart.size(), end - at - kPart.size()));
  }
  return meant.empty() ? "" : "\ndid you mean " + kdi::text::joined(meant, ", ") + "?";
}

void Shell::report_error(bool with_trace, std::string const& place) {
  if (Tcl_Channel const output = Tcl_GetStdChannel(TCL_STDOUT)) Tcl_Flush(output);
  const std::string result = text_of(Tcl_GetObjResult(interp_));
  std::string text = result;
  if (with_trace) {
    char const* const trace = Tcl_GetVar(interp_, "errorInfo", TCL_GLOBAL_ONLY);
    if (trace != nullptr && std::string_view(trace).starts_with(result)) text = trace;
  }
  complain(tcl::to_system(kdi::text::printable(place + text + advice_on(result))), kRed);
}

}  // namespace kdish
