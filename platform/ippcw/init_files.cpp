#include "platform/ippcw/init_files.h"

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Core.h"
#include "kdi/cores/Decimal.h"
#include "kdi/cores/Registers.h"

namespace hardip_eng {
namespace {

using kdi::cores::Instance;
using kdi::cores::Register;
using kdi::cores::RegisterCommand;
using kdi::cores::RegisterField;
using kdi::cores::RegisterImage;
using kdi::cores::RegisterMap;
using kdi::cores::RegisterSetting;

namespace cdo = kdi::cdo;

// In the order in which hardware is started; each becomes a function of its own.
constexpr char const* kStages[] = {"clocks", "pads", "ddr", "peripherals"};

struct Stage {
  std::string name;
  std::vector<RegisterCommand> commands;
};

struct Plan {
  std::string core, big;  // `ps7`, `PS7`
  RegisterMap const& map;
  std::vector<Stage> stages;
  std::vector<std::pair<std::string, std::string>> clocks;  // name and Hz
};

std::string hex(std::uint32_t word) {
  constexpr char const* kDigits = "0123456789abcdef";
  std::string text = "0x00000000";
  for (std::size_t i = 0; i < 8; ++i) text[9 - i] = kDigits[word >> (4 * i) & 15];
  return text;
}

// Text for people within a program: nothing that ends a comment or opens a block there.
std::string remark(std::string text) {
  for (char& c : text)
    if (c == '*' || c == '{' || c == '}' || c == '\\' || c == '\n') c = ' ';
  return text;
}

// ------------------------------------------------------------------------------------------------------------------- C

struct Variant {
  char const* licence;
  char const* suffix;
};
constexpr Variant kOwn{"Apache-2.0", ""}, kFree{"GPL-2.0-or-later", "_gpl"};

using Places = std::map<std::string, std::string, std::less<>>;

// Of the data roots, the first that has it counts.
std::string path_of(std::string const& form) {
  std::string path = form;
  for (std::string const& directory : kdi::data_directories("boot_loader")) {
    path = directory + "/" + form;
    if (kdi::is_file(path)) break;
  }
  return path;
}

// A form of data/boot_loader with its places filled.
std::string filled(std::string const& form, Plan const& plan, Variant const& variant, Places places) {
  places.emplace("core", plan.core);
  places.emplace("CORE", plan.big);
  places.emplace("licence", variant.licence);
  places.emplace("suffix", variant.suffix);
  places.emplace("SUFFIX", kdi::text::uppered(variant.suffix));
  const std::string path = path_of(form), whole = kdi::read_file(path);
  const std::vector<std::string_view> pieces = kdi::text::split(whole, '@');
  std::string text;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    const auto place = i % 2 == 0 ? places.end() : places.find(pieces[i]);
    if (i % 2 != 0 && place == places.end())
      throw std::runtime_error(path + ": no place \"" + std::string(pieces[i]) + "\"");
    text += i % 2 == 0 ? pieces[i] : std::string_view(place->second);
  }
  return text;
}

// The writes of a block, on one line.
template <class Line>
std::string each_write(cdo::BlockWrite const& block, char const* between, Line const& line) {
  std::string text;
  for (cdo::Write const& write : cdo::writes_of(block)) text += (text.empty() ? "" : between) + line(write);
  return text;
}

// One line of a table, without what it is for.
struct CLine {
  std::string operator()(cdo::Section const& section) const { return "/* " + remark(section.name) + " */"; }
  std::string operator()(cdo::Write const& write) const {
    return "STORE, " + hex(write.address) + "u, " + hex(write.value) + "u,";
  }
  std::string operator()(cdo::MaskedWrite const& write) const {
    return "MASKED_STORE, " + hex(write.address) + "u, " + hex(write.mask) + "u, " + hex(write.value) + "u,";
  }
  std::string operator()(cdo::Poll const& poll) const {
    return "POLL, " + hex(poll.address) + "u, " + hex(poll.mask) + "u, " + hex(poll.value) + "u, " +
           std::to_string(poll.timeout_us) + "u,";
  }
  std::string operator()(cdo::Delay const& delay) const {
    return "DELAY, " + std::to_string(delay.microseconds) + "u,";
  }
  std::string operator()(cdo::BlockWrite const& block) const { return each_write(block, " ", *this); }
};

std::string c_source(Plan const& plan, Variant const& variant) {
  std::string stages, calls;
  for (Stage const& stage : plan.stages) {
    stages += "\nstatic const uint32_t " + stage.name + "_commands[] = {\n";
    for (RegisterCommand const& command : stage.commands) {
      stages += "    " + std::visit(CLine(), command.command);
      if (const std::string words = words_of(plan.map, command); !words.empty())
        stages += " /* " + remark(words) + " */";
      stages += "\n";
    }
    const std::string name = plan.core + "_" + stage.name + "_init";
    stages += "    END,\n};\n\nint " + name + "(void) { return run(" + stage.name + "_commands); }\n";
    calls += "  if (status == " + plan.big + "_INIT_DONE) status = " + name + "();\n";
  }
  return filled("init.c.in", plan, variant, {{"stages", stages}, {"calls", calls}});
}

std::string c_header(Plan const& plan, Variant const& variant) {
  std::string stages, clocks;
  for (Stage const& stage : plan.stages) stages += "int " + plan.core + "_" + stage.name + "_init(void);\n";
  for (auto const& [name, hertz] : plan.clocks) clocks += "#define " + name + "_HZ " + hertz + "u\n";
  return filled("init.h.in", plan, variant, {{"stages", stages}, {"clocks", clocks}});
}

// ----------------------------------------------------------------------------------------------------------------- Tcl

struct TclLine {
  std::string core;

  std::string operator()(cdo::Section const& section) const { return "# " + remark(section.name); }
  std::string operator()(cdo::Write const& write) const {
    return core + "_init::store " + hex(write.address) + " " + hex(write.value);
  }
  std::string operator()(cdo::MaskedWrite const& write) const {
    return core + "_init::masked_store " + hex(write.address) + " " + hex(write.mask) + " " + hex(write.value);
  }
  std::string operator()(cdo::Poll const& poll) const {
    return core + "_init::poll " + hex(poll.address) + " " + hex(poll.mask) + " " + hex(poll.value) + " " +
           std::to_string(poll.timeout_us);
  }
  std::string operator()(cdo::Delay const& delay) const {
    return core + "_init::delay " + std::to_string(delay.microseconds);
  }
  std::string operator()(cdo::BlockWrite const& block) const { return each_write(block, "; ", *this); }
};

std::string tcl_source(Plan const& plan) {
  std::string stages, calls;
  for (Stage const& stage : plan.stages) {
    const std::string name = plan.core + "_" + stage.name + "_init";
    stages += "\nproc " + name + " {} {\n";
    for (RegisterCommand const& command : stage.commands) {
      stages += "  " + std::visit(TclLine{plan.core}, command.command);
      if (const std::string words = words_of(plan.map, command); !words.empty()) stages += "  ;# " + remark(words);
      stages += "\n";
    }
    stages += "}\n";
    calls += "  " + name + "\n";
  }
  return filled("init.tcl.in", plan, kOwn, {{"stages", stages}, {"calls", calls}});
}

// ---------------------------------------------------------------------------------------------------------------- page

std::string escaped(std::string_view text) {
  std::string html;
  for (const char c : text)
    if (c == '&')
      html += "&amp;";
    else if (c == '<')
      html += "&lt;";
    else if (c == '>')
      html += "&gt;";
    else if (c == '"')
      html += "&quot;";
    else
      html += c;
  return html;
}

std::string row(std::vector<std::string> const& cells) {
  std::string text = "<tr>";
  for (std::string const& cell : cells) text += "<td>" + cell + "</td>";
  return text + "</tr>\n";
}

class Page {
 public:
  Page(Plan const& plan, Instance const& instance) : plan_(plan), instance_(instance) {}

  std::string text() {
    const std::string title = "What starts " + escaped(plan_.core);
    std::string text =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<meta name=\"viewport\" "
        "content=\"width=device-width\">\n<title>" +
        title +
        "</title>\n<style>\nbody { font-family: sans-serif; }\n.wide { overflow-x: auto; }\ntable { border-collapse: "
        "collapse; "
        "margin-bottom: 2em; }\ntd, th { border: 1px solid #999; padding: 0.2em 0.5em; text-align: "
        "left; vertical-align: top; }\n</style>\n</head>\n<body>\n<h1>" +
        title + "</h1>\n<ul>\n";
    for (Stage const& stage : plan_.stages) text += "<li><a href=\"#" + stage.name + "\">" + stage.name + "</a></li>\n";
    text += "</ul>\n";
    for (Stage const& stage : plan_.stages) text += of(stage);
    return text + "</body>\n</html>\n";
  }

 private:
  std::string of(Stage const& stage) {
    std::string text = "<h2 id=\"" + stage.name + "\">" + stage.name + "</h2>\n";
    bool is_open = false;
    const auto close = [&] {
      if (is_open) text += "</table></div>\n";
      is_open = false;
    };
    for (RegisterCommand const& command : stage.commands) {
      if (auto const* const section = std::get_if<cdo::Section>(&command.command)) {
        close();
        text += "<h3>" + escaped(section->name) + "</h3>\n";
        continue;
      }
      if (!is_open)
        text +=
            "<div "
            "class=\"wide\"><table>\n<tr><th>What</th><th>Register</th><th>Address</th><th>Mask</th><th>Value</"
            "th><th>After "
            "reset</th><th>Fields</th></tr>\n";
      is_open = true;
      text += rows_of(command);
    }
    close();
    return text;
  }

  std::string rows_of(RegisterCommand const& command) {
    if (auto const* const delay = std::get_if<cdo::Delay>(&command.command))
      return row({"delay", std::to_string(delay->microseconds) + " us", "", "", "", "", ""});
    if (auto const* const write = std::get_if<cdo::Write>(&command.command))
      return row_of("write", write->address, ~0U, write->value, command);
    if (auto const* const write = std::get_if<cdo::MaskedWrite>(&command.command))
      return row_of("set", write->address, write->mask, write->value, command);
    if (auto const* const poll = std::get_if<cdo::Poll>(&command.command))
      return row_of("poll, " + std::to_string(poll->timeout_us) + " us", poll->address, poll->mask, poll->value,
                    command);
    std::string rows;
    for (cdo::Write const& write : cdo::writes_of(std::get<cdo::BlockWrite>(command.command)))
      rows += row_of("write", write.address, ~0U, write.value, command);
    return rows;
  }

  std::string row_of(std::string const& what, std::uint32_t address, std::uint32_t mask, std::uint32_t value,
                     RegisterCommand const& command) {
    const std::uint32_t number = plan_.map.find(address).value();
    Register const& reg = plan_.map.registers()[number];
    std::string fields;
    for (RegisterSetting const& setting : command.settings)
      if (setting.reg == number) fields += field(reg.fields[setting.field], setting.value);
    return row({what, escaped(plan_.map.name(number)) + "<br>" + escaped(reg.meaning), hex(address), hex(mask),
                hex(value), hex(reg.reset), fields});
  }

  std::string field(RegisterField const& field, std::uint32_t value) const {
    std::string text = std::to_string(field.low + field.width - 1);
    if (field.width > 1) text += ":" + std::to_string(field.low);
    text += " " + escaped(field.name) + " = " + std::to_string(value) + ": " + escaped(field.meaning);
    std::string from;
    for (const std::uint32_t parameter : field.parameters)
      kdi::text::append_word(from, instance_.core().parameters()[parameter].name);
    if (!from.empty()) text += " <i>(" + escaped(from) + ")</i>";
    return text + "<br>";
  }

  Plan const& plan_;
  Instance const& instance_;
};

// The clocks that run: what shows their frequency, in MHz, tells their name.
std::vector<std::pair<std::string, std::string>> running_clocks(Instance const& instance) {
  constexpr std::string_view kShows = "_CTRL_ACT_FREQMHZ";
  std::vector<std::pair<std::string, std::string>> clocks;
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i) {
    std::string const& name = instance.core().parameters()[i].name;
    if (!name.ends_with(kShows) || !instance.is_enabled(i)) continue;
    const auto megahertz = kdi::cores::Decimal::read(instance.value(i));
    if (!megahertz || *megahertz <= kdi::cores::Decimal(0)) continue;
    clocks.emplace_back(name.substr(0, name.size() - kShows.size()),
                        (*megahertz * kdi::cores::Decimal(1000000)).rounded(0).text());
  }
  return clocks;
}

}  // namespace

InitFiles init_files(std::shared_ptr<kdi::cores::Core const> const& core, Instance const& instance) {
  const auto map = RegisterMap::of(core);
  const RegisterImage image(*map, instance);
  Plan plan{instance.core().name(), kdi::text::uppered(instance.core().name()), *map, {}, running_clocks(instance)};
  std::size_t commands = 0;
  for (char const* const stage : kStages) {
    plan.stages.push_back({stage, image.commands(stage)});
    commands += plan.stages.back().commands.size();
  }
  return {c_source(plan, kOwn),
          c_header(plan, kOwn),
          c_source(plan, kFree),
          c_header(plan, kFree),
          Page(plan, instance).text(),
          tcl_source(plan),
          commands};
}

}  // namespace hardip_eng
