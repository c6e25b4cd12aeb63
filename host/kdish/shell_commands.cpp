// The commands that the shell adds to its own interpreter. They are told of in data/commands/kdish.json.
#include <algorithm>
#include <exception>
#include <limits>
#include <string>
#include <vector>

#include "host/kdish/help.h"
#include "host/kdish/journal_compare.h"
#include "host/kdish/part_names.h"
#include "host/kdish/result_json.h"
#include "host/kdish/shell.h"
#include "host/kdish/terminal.h"
#include "host/part_primitives.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/param_commands.h"
#include "kdi/device/parts.h"
#include "kdi/tcl/command.h"

namespace kdish {
namespace {

using kdi::device::Part;
using tcl::Words;

using tcl::text_of;

bool matches(std::string const& name, Words words) {
  return words.empty() || Tcl_StringMatch(name.c_str(), Tcl_GetString(words[0])) != 0;
}

// Nothing is broken where no person reads along.
constexpr std::size_t kUnbroken = std::numeric_limits<std::size_t>::max() / 2;

// Columns as wide as their widest text; the last one is not filled up, and is broken between words so that no line is
// longer than `width`. Where the columns before it leave no room for that, it stands below them.
std::string table_text(std::vector<std::vector<std::string>> const& rows, std::size_t width = kUnbroken) {
  constexpr std::size_t kLeast = 20;  // of the last column
  constexpr std::size_t kBelow = 4;   // blanks before it where it stands below
  std::vector<std::size_t> widths;
  for (auto const& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::size_t before = 0;
  for (std::size_t i = 0; i + 1 < widths.size(); ++i) before += widths[i] + 2;
  const bool is_below = before + std::min(kLeast, widths.empty() ? 0 : widths.back()) > width;
  const std::size_t indent = is_below ? kBelow : before;
  std::string text;
  for (auto const& row : rows) {
    std::string line;
    std::size_t column = 0;  // behind what is in the line and the blanks in front of the next text
    const auto end_line = [&] {
      text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
      line = std::string(indent, ' ');
      column = indent;
    };
    for (std::size_t i = 0; i + 1 < row.size(); ++i) {
      line += row[i] + std::string(widths[i] + 2 - row[i].size(), ' ');
      column += widths[i] + 2;
    }
    if (is_below && row.size() > 1) end_line();
    bool is_first = true;
    for (const std::string_view word :
         width == kUnbroken ? std::vector<std::string_view>{row.back()} : kdi::text::words(row.back())) {
      if (!is_first && column + 1 + word.size() > width) {
        end_line();
        is_first = true;
      }
      line.append(is_first ? "" : " ").append(word);
      column += word.size() + (is_first ? 0 : 1);
      is_first = false;
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

// ------------------------------------------------------------------------------------------------ help

std::string help(Shell& shell, Words words) {
  const std::size_t width = terminal_width(kUsualWidth);
  return words.empty() ? families_help(shell.table(), width) : topic_help(shell.table(), text_of(words[0]), width);
}

// ------------------------------------------------------------------------------------------------ parameters

std::string report_params(Words words) {
  std::vector<std::vector<std::string>> rows = {{"Parameter", "Value", "Set by", "About"}};
  for (param_host::Parameter const& one : param_host::list())
    if (matches(one.name, words))
      rows.push_back({one.name, one.value, one.place.empty() ? name_of(one.origin) : one.place, one.documentation});
  return table_text(rows, terminal_width(kUnbroken));
}

// ------------------------------------------------------------------------------------------------ parts

Part const& part_of(Tcl_Obj* word) {
  const std::string name = text_of(word);
  if (Part const* const part = kdi::device::find_part(name)) return *part;
  throw std::invalid_argument(kdi::device::unknown_part(name) + "; list_parts names them all");
}

bool is_pattern(std::string const& text) { return text.find_first_of("*?[\\") != std::string::npos; }

// A word without a wildcard is a part's name or its begin.
std::string part_pattern(std::vector<std::string> const& parts, std::string const& word) {
  return is_pattern(word) || std::find(parts.begin(), parts.end(), word) != parts.end() ? word : word + "*";
}

Tcl_Obj* list_parts(Words words) {
  std::vector<std::string> parts = all_parts([](std::exception const& error) {
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "kdish", ComMsgMgr::MSG_ERROR, "%s", error.what());
  });
  if (words.empty()) return tcl::new_list(parts);
  const std::string word = text_of(words[0]);
  const std::string pattern = part_pattern(parts, word);
  std::erase_if(parts, [&](std::string const& part) { return Tcl_StringMatch(part.c_str(), pattern.c_str()) == 0; });
  const std::vector<std::string> near = parts.empty() && !is_pattern(word) ? parts_close_to(word) : parts;
  if (parts.empty() && !near.empty())
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "kdish", ComMsgMgr::MSG_WARNING,
                             "no part begins with \"%s\"; did you mean %s?", word.c_str(),
                             kdi::text::joined(near, ", ").c_str());
  return tcl::new_list(parts);
}

int pins_of(kdi::device::IoBank const& bank) {
  int pins = 0;
  for (auto const& lane : bank.lanes)
    for (auto const& pad : lane.pads) pins += pad.pin.empty() ? 0 : 1;
  return pins;
}

Tcl_Obj* get_part(Words words) {
  Part const& part = part_of(words[0]);
  const auto primitive_dict = [](part_primitives::Primitive const& one) {
    return tcl::new_dict({{"kind", part_primitives::word_of(one.kind)}, {"name", one.name}, {"count", one.count}});
  };
  const auto bank_dict = [](kdi::device::IoBank const& bank) {
    return tcl::new_dict({{"number", bank.number}, {"kind", bank.kind}, {"pins", pins_of(bank)}});
  };
  auto const& processing_system = part.device->processing_system;
  return tcl::new_dict({{"name", part.name},
                        {"device", part.device->name},
                        {"family", part.device->family},
                        {"generation", part.device->generation},
                        {"package", part.package->name},
                        {"speed", part.speed->name},
                        {"core_v", part.speed->core_v},
                        {"slrs", part.device->slrs.size()},
                        {"processing_system", processing_system ? processing_system->kind : std::string()},
                        {"primitives", tcl::new_list(part_primitives::of(part), primitive_dict)},
                        {"banks", tcl::new_list(part.package->banks, bank_dict)}});
}

std::string report_part(Words words) {
  Part const& part = part_of(words[0]);
  char core_v[TCL_DOUBLE_SPACE];
  Tcl_PrintDouble(nullptr, part.speed->core_v, core_v);
  std::vector<std::vector<std::string>> about = {
      {"Part", part.name},
      {"Device", part.device->name + ", " + part.device->description},
      {"Family", part.device->family + (part.device->generation.empty() ? "" : ", " + part.device->generation)},
      {"Package", part.package->name},
      {"Speed", part.speed->name + ", core at " + core_v + " V"},
      {"SLRs", std::to_string(part.device->slrs.size())}};
  if (part.device->processing_system) about.push_back({"Processing system", part.device->processing_system->kind});
  std::vector<std::vector<std::string>> primitives = {{"Primitive", "Kind", "Count"}};
  for (part_primitives::Primitive const& one : part_primitives::of(part)) {
    const bool is_soft = one.kind == part_primitives::Kind::controller && one.count == 0;
    primitives.push_back(
        {one.name, part_primitives::word_of(one.kind), is_soft ? "in fabric" : std::to_string(one.count)});
  }
  std::vector<std::vector<std::string>> banks = {{"Bank", "Kind", "Pins"}};
  for (auto const& bank : part.package->banks)
    banks.push_back({std::to_string(bank.number), bank.kind, std::to_string(pins_of(bank))});
  return table_text(about, terminal_width(kUnbroken)) + "\n" + table_text(primitives) + "\n" + table_text(banks);
}

// ------------------------------------------------------------------------------------------------ the shell itself

std::string journal(Shell& shell, Words words) {
  if (!words.empty()) {
    const std::string path = tcl::required_native_path(words[0]);
    if (path.empty())
      shell.journal().close();
    else
      shell.journal().open(path);
  }
  return shell.journal().is_open() ? tcl::from_system(shell.journal().path()) : "";
}

std::string compare_journals(Words words) {
  const std::string first = tcl::required_native_path(words[0]), second = tcl::required_native_path(words[1]);
  return tcl::from_system(journal_differences(first, second));
}

int history(Shell& shell, Tcl_Interp* interp, Words words) {
  std::vector<std::string> commands = shell.typed_commands();
  std::size_t first = 0;
  if (!words.empty()) {
    const auto count = tcl::wide_of(words[0], interp);
    if (!count) return TCL_ERROR;
    if (*count < 0) return tcl::fail(interp, "a number of commands is not negative");
    first = commands.size() - std::min(commands.size(), static_cast<std::size_t>(*count));
  }
  std::string text;
  const std::size_t digits = std::to_string(commands.size()).size();
  for (std::size_t i = first; i < commands.size(); ++i) {
    const std::string number = std::to_string(i + 1);
    text += std::string(digits - number.size(), ' ') + number + "  ";
    bool is_first = true;
    for (const std::string_view line : kdi::text::split(commands[i], '\n')) {
      text.append(is_first ? "" : std::string(digits + 2, ' ')).append(line) += '\n';
      is_first = false;
    }
  }
  return tcl::succeed(interp, tcl::new_text(tcl::from_system(text)));
}

int replay(Shell& shell, Tcl_Interp* /*its result is set*/, Words words) {
  return shell.replay(tcl::required_native_path(words[0]));
}

int to_json_command(Shell& shell, Tcl_Interp* interp, Words words) {
  if (const int code = Tcl_EvalObjv(interp, static_cast<int>(words.size()), words.data(), 0); code != TCL_OK)
    return code;
  Command const* const command = shell.table().command(text_of(words[0]));
  const tcl::ObjRef result(Tcl_GetObjResult(interp));
  return tcl::succeed(interp, to_json(result.get(), command == nullptr ? Shape{} : command->shape));
}

// In lines as wide as the terminal, or of 80 characters where there is none.
int explain(Shell&, Tcl_Interp* interp, Words words) {
  const tcl::ObjRef command(tcl::new_text("::coretools::why"));
  const tcl::ObjRef message(words.size() > 2 ? words[2] : tcl::new_text(""));
  const tcl::ObjRef width(tcl::new_text(std::to_string(terminal_width())));
  Tcl_Obj* const call[] = {command.get(), words[0], words[1], message.get(), width.get()};
  if (const int code = Tcl_EvalObjv(interp, 5, call, 0); code != TCL_OK) return code;
  std::string lines = text_of(Tcl_GetObjResult(interp));
  while (lines.ends_with('\n')) lines.pop_back();
  return tcl::succeed(interp, tcl::new_text(lines));
}

int progress(Shell& shell, Tcl_Interp* interp, Words words) {
  std::string text = text_of(words[0]);
  if (words.size() == 2) return tcl::fail(interp, "a number done needs the number of all as well");
  if (words.size() == 3) {
    const auto done = tcl::wide_of(words[1], interp);
    const auto all = done ? tcl::wide_of(words[2], interp) : std::nullopt;
    if (!all) return TCL_ERROR;
    if (*done < 0 || *all < *done) return tcl::fail(interp, "the number done is not from 0 to the number of all");
    text += " (" + std::to_string(*done) + " of " + std::to_string(*all) + ")";
  }
  if (shell.progress() != nullptr) shell.progress()->report(text);
  return TCL_OK;
}

using tcl::between;
using tcl::exactly;
using tcl::handler;
using tcl::usage;

// The client data is the shell.
constexpr tcl::Row kCommands[] = {
    {"help", handler<help>, between(0, 1, usage("?topic?"))},
    {"set_param", handler<param_host::set_command>, exactly(2, usage("name value"))},
    {"get_param", handler<param_host::get_command>, exactly(1, usage("name"))},
    {"unset_param", handler<param_host::unset_command>, exactly(1, usage("name"))},
    {"report_params", handler<report_params>, between(0, 1, usage("?pattern?"))},
    {"list_parts", handler<list_parts>, between(0, 1, usage("?pattern?"))},
    {"get_part", handler<get_part>, exactly(1, usage("part"))},
    {"report_part", handler<report_part>, exactly(1, usage("part"))},
    {"journal", handler<journal>, between(0, 1, usage("?file?"))},
    {"replay", handler<replay>, exactly(1, usage("file"))},
    {"compare_journals", handler<compare_journals>, exactly(2, usage("first second"))},
    {"history", handler<history>, between(0, 1, usage("?count?"))},
    {"to_json", handler<to_json_command>, tcl::at_least(1, usage("command ?word ...?"))},
    {"explain", handler<explain>, between(2, 3, usage("core parameter ?message?"))},
    {"progress", handler<progress>, between(1, 3, usage("text ?done? ?all?"))},
};

}  // namespace

void register_shell_commands(Tcl_Interp* interp, Shell& shell) { tcl::register_all<kCommands>(interp, &shell); }

}  // namespace kdish
