#include "platform/ippcw/init_files.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

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

constexpr char const* kOpen = "SPDX-License-Identifier: Apache-2.0";
constexpr char const* kGpl = "SPDX-License-Identifier: GPL-2.0-or-later";

// `^` stands for the directive that includes, `@` for the core's name, `#` for the same in capitals, `%` for what the
// files' names have behind `_init`.
constexpr char const* kHeader = R"(/* $ */
/* Starts the hardware of @ as it is configured: call @_init() once, with nothing else at work.
 *
 * Registers are reached by plain loads and stores. A program that has other ways, such as a debugger or a simulator,
 * is compiled with #_INIT_EXTERNAL_ACCESS and has the three functions below itself.
 */
#ifndef #_INIT@%_H
#define #_INIT@%_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What the functions return. */
#define #_INIT_DONE 0
#define #_INIT_TIMEOUT 1 /* hardware did not become ready in time; what follows was not done */

/* Everything, in this order; and each part alone. */
int @_init(void);
)";

constexpr char const* kHeaderEnd = R"(
#ifdef #_INIT_EXTERNAL_ACCESS
uint32_t @_init_read(uint32_t address);
void @_init_write(uint32_t address, uint32_t value);
void @_init_wait_us(uint32_t microseconds);
#endif

#ifdef __cplusplus
}
#endif

#endif
)";

constexpr char const* kSource = R"(/* $ */
^ "@_init%.h"

#ifdef #_INIT_EXTERNAL_ACCESS
#define READ(address) @_init_read(address)
#define WRITE(address, value) @_init_write(address, value)
#define WAIT_US(microseconds) @_init_wait_us(microseconds)
#else
#define READ(address) (*(volatile uint32_t *)(uintptr_t)(address))
#define WRITE(address, value) (*(volatile uint32_t *)(uintptr_t)(address) = (value))
/* No timer runs yet: turns of a loop for a microsecond, for the fastest clock that there is at the start. */
#ifndef #_INIT_LOOPS_PER_US
#define #_INIT_LOOPS_PER_US 1000u
#endif
static void wait_us(uint32_t microseconds) {
  while (microseconds-- > 0) {
    volatile uint32_t turn;
    for (turn = 0; turn < #_INIT_LOOPS_PER_US; turn = turn + 1) {
    }
  }
}
#define WAIT_US(microseconds) wait_us(microseconds)
#endif

enum { END, STORE, MASKED_STORE, POLL, DELAY };

static int run(const uint32_t *command) {
  for (;;) {
    switch (command[0]) {
      case STORE:
        WRITE(command[1], command[2]);
        command += 3;
        break;
      case MASKED_STORE:
        WRITE(command[1], (READ(command[1]) & ~command[2]) | command[3]);
        command += 4;
        break;
      case POLL: {
        uint32_t left = command[4];
        while ((READ(command[1]) & command[2]) != command[3]) {
          if (left-- == 0) return #_INIT_TIMEOUT;
          WAIT_US(1);
        }
        command += 5;
        break;
      }
      case DELAY:
        WAIT_US(command[1]);
        command += 2;
        break;
      default:
        return #_INIT_DONE;
    }
  }
}
)";

struct Variant {
  char const* licence;
  char const* suffix;
};

std::string filled(std::string_view form, Plan const& plan, Variant const& variant) {
  std::string text;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const char c = form[i];
    const bool is_directive = c == '#' && i + 1 < form.size() && form[i + 1] >= 'a' && form[i + 1] <= 'z';
    if (c == '$')
      text += variant.licence;
    else if (c == '%')
      text += variant.suffix;
    else if (c == '#' && !is_directive)
      text += plan.big;
    else if (c == '@' && i + 1 < form.size() && form[i + 1] == '%')
      continue;  // within a name that has the suffix alone
    else if (c == '@')
      text += plan.core;
    else if (c == '^')
      text += "#include";
    else
      text += c;
  }
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
  std::string operator()(cdo::BlockWrite const& block) const {
    std::string lines;
    for (std::size_t i = 0; i < block.words.size(); ++i)
      lines +=
          (i == 0 ? "" : " ") + (*this)(cdo::Write{block.address + static_cast<std::uint32_t>(4 * i), block.words[i]});
    return lines;
  }
};

std::string c_source(Plan const& plan, Variant const& variant) {
  std::string text = filled(kSource, plan, variant);
  std::string all;
  for (Stage const& stage : plan.stages) {
    text += "\nstatic const uint32_t " + stage.name + "_commands[] = {\n";
    for (RegisterCommand const& command : stage.commands) {
      text += "    " + std::visit(CLine(), command.command);
      if (const std::string words = words_of(plan.map, command); !words.empty()) text += " /* " + remark(words) + " */";
      text += "\n";
    }
    const std::string name = plan.core + "_" + stage.name + "_init";
    text += "    END,\n};\n\nint " + name + "(void) { return run(" + stage.name + "_commands); }\n";
    all += "  if (status == " + plan.big + "_INIT_DONE) status = " + name + "();\n";
  }
  return text + "\nint " + plan.core + "_init(void) {\n  int status = " + plan.big + "_INIT_DONE;\n" + all +
         "  return status;\n}\n";
}

std::string c_header(Plan const& plan, Variant const& variant) {
  std::string text = filled(kHeader, plan, variant);
  for (Stage const& stage : plan.stages) text += "int " + plan.core + "_" + stage.name + "_init(void);\n";
  text += "\n/* Clocks that run afterwards, in Hz. */\n";
  for (auto const& [name, hertz] : plan.clocks) text += "#define " + name + "_HZ " + hertz + "u\n";
  return text + filled(kHeaderEnd, plan, variant);
}

// ----------------------------------------------------------------------------------------------------------------- Tcl

constexpr char const* kTcl = R"(# $
# Starts the hardware of @ as it is configured: @_init, or each part alone. The interpreter needs two commands before:
# @_init_read ADDRESS, which returns the word that is there, and @_init_write ADDRESS VALUE.
namespace eval @_init {}
proc @_init::store {address value} { @_init_write $address $value }
proc @_init::masked_store {address mask value} {
  @_init_write $address [expr {([@_init_read $address] & ~$mask & 0xffffffff) | $value}]
}
proc @_init::poll {address mask value microseconds} {
  for {set turn 0} {$turn <= $microseconds} {incr turn} {
    if {([@_init_read $address] & $mask) == $value} return
  }
  error "@_init: [format 0x%08x $address] did not become ready"
}
proc @_init::delay {microseconds} { after [expr {($microseconds + 999) / 1000}] }
)";

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
  std::string operator()(cdo::BlockWrite const& block) const {
    std::string lines;
    for (std::size_t i = 0; i < block.words.size(); ++i)
      lines +=
          (i == 0 ? "" : "; ") + (*this)(cdo::Write{block.address + static_cast<std::uint32_t>(4 * i), block.words[i]});
    return lines;
  }
};

std::string tcl_source(Plan const& plan) {
  // The template's own marks are few here: `#` begins comments, `%08x` is a format.
  std::string text;
  for (char const* c = kTcl; *c != '\0'; ++c)
    if (*c == '@')
      text += plan.core;
    else if (c == std::string_view(kTcl).data() + 2)
      text += kOpen;
    else
      text += *c;
  std::string all;
  for (Stage const& stage : plan.stages) {
    const std::string name = plan.core + "_" + stage.name + "_init";
    text += "\nproc " + name + " {} {\n";
    for (RegisterCommand const& command : stage.commands) {
      text += "  " + std::visit(TclLine{plan.core}, command.command);
      if (const std::string words = words_of(plan.map, command); !words.empty()) text += "  ;# " + remark(words);
      text += "\n";
    }
    text += "}\n";
    all += "  " + name + "\n";
  }
  return text + "\nproc " + plan.core + "_init {} {\n" + all + "}\n";
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
    std::string text = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" + title +
                       "</title>\n<style>\nbody { font-family: sans-serif; }\ntable { border-collapse: collapse; "
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
      if (is_open) text += "</table>\n";
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
            "<table>\n<tr><th>What</th><th>Register</th><th>Address</th><th>Mask</th><th>Value</th><th>After "
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
    auto const& block = std::get<cdo::BlockWrite>(command.command);
    for (std::size_t i = 0; i < block.words.size(); ++i)
      rows += row_of("write", block.address + static_cast<std::uint32_t>(4 * i), ~0U, block.words[i], command);
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
  constexpr Variant kOwn{kOpen, ""}, kFree{kGpl, "_gpl"};
  return {c_source(plan, kOwn),
          c_header(plan, kOwn),
          c_source(plan, kFree),
          c_header(plan, kFree),
          Page(plan, instance).text(),
          tcl_source(plan),
          commands};
}

}  // namespace hardip_eng
