#include "platform/ippcw/earlier_texts.h"

#include <cmath>
#include <map>
#include <optional>
#include <vector>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Core.h"
#include "kdi/cores/Decimal.h"
#include "kdi/cores/Outputs.h"
#include "kdi/cores/PadSection.h"
#include "kdi/ip/SystemPower.h"

namespace hardip_eng {
namespace {

using kdi::cores::Decimal;
using kdi::cores::Instance;

constexpr int kFabricClocks = 4;

// One word of a Tcl script.
std::string word(std::string_view text) {
  constexpr std::string_view kSafe = " _.-/[]:";
  bool is_plain = !text.empty(), is_braced = true;
  std::string escaped;
  for (const char c : text) {
    const bool is_word = kdi::text::is_letter_or_digit(c) || c == '_' || c == '.' || c == '-' || c == '/';
    is_plain = is_plain && is_word;
    is_braced = is_braced && (is_word || kSafe.find(c) != std::string_view::npos);
    escaped += is_word ? std::string(1, c) : c == '\n' ? "\\n" : std::string("\\") + c;
  }
  if (is_plain) return std::string(text);
  return is_braced ? "{" + std::string(text) + "}" : escaped;
}

class View {
 public:
  explicit View(Instance const& instance)
      : instance_(instance), prefix_(kdi::text::uppered(instance.core().name()) + "_") {
    const std::string banks = definition("PAD_BANKS");  // which the words are views of
    for (std::string_view first : kdi::text::words(banks, " "))
      first_pads_.push_back(kdi::number::whole<unsigned>(first).value());
  }

  /// Of the parameter that is called so behind the core's name.
  std::string value(std::string const& name) const {
    const auto number = instance_.core().find(prefix_ + name);
    return number ? instance_.value(*number) : std::string();
  }
  std::string pad(unsigned number, std::string const& name) const {
    return value("MIO_" + std::to_string(number) + "_" + name);
  }
  std::string standard(unsigned pad) const {
    std::size_t bank = 0;
    while (bank + 1 < first_pads_.size() && first_pads_[bank + 1] <= pad) ++bank;
    return value("BANK" + std::to_string(bank) + "_IO_STANDARD");
  }
  unsigned pads() const { return instance_.core().pads()->banks.front().last + 1; }

  std::string definition(std::string const& name) const {
    auto const& all = instance_.core().definitions();
    for (std::uint32_t i = 0; i < all.size(); ++i)
      if (all[i].name == name) return instance_.definition(i).text();
    return {};
  }
  std::map<std::string, std::string> definitions_behind(std::string_view begin) const {
    std::map<std::string, std::string> found;
    auto const& all = instance_.core().definitions();
    for (std::uint32_t i = 0; i < all.size(); ++i)
      if (all[i].name.starts_with(begin))
        found.emplace(all[i].name.substr(begin.size()), instance_.definition(i).text());
    return found;
  }

  /// Periods of the clocks that go to the fabric, in ns, by their numbers; of those that run.
  std::map<int, std::string> fabric_periods() const {
    std::map<int, std::string> periods;
    for (int clock = 0; clock < kFabricClocks; ++clock) {
      const auto megahertz = Decimal::read(value("FCLK" + std::to_string(clock) + "_CTRL_ACT_FREQMHZ"));
      if (megahertz && *megahertz > Decimal(0))
        periods.emplace(clock, Decimal::quotient(Decimal(1000), *megahertz, 3).text());
    }
    return periods;
  }

 private:
  Instance const& instance_;
  std::string prefix_;
  std::vector<unsigned> first_pads_;
};

std::string clock_name(std::string const& instance_name, int clock) {
  return word(instance_name + "_fclk" + std::to_string(clock));
}

std::string heading(Instance const& instance) {
  return "# " + instance.core().name() + " " + instance.core().version() + "\n";
}

}  // namespace

std::string constraints(Instance const& instance, std::string const& instance_name) {
  const View view(instance);
  std::string text = heading(instance);
  for (unsigned pad = 0; pad < view.pads(); ++pad) {
    if (view.pad(pad, "FUNCTION").empty()) continue;
    const std::string port = " [get_ports " + word("MIO[" + std::to_string(pad) + "]") + "]\n";
    const auto set = [&](char const* property, std::string const& value) {
      if (!value.empty()) text += std::string("set_property ") + property + " " + word(value) + port;
    };
    set("IOSTANDARD", view.standard(pad));
    set("SLEW", kdi::text::uppered(view.pad(pad, "SLEW")));
    set("PULLTYPE", view.pad(pad, "PULLUP") == "1" ? "PULLUP" : "NONE");
    set("DRIVE", view.pad(pad, "DRIVE_MA"));
  }
  for (auto const& [clock, period] : view.fabric_periods())
    text += "create_clock -name " + clock_name(instance_name, clock) + " -period " + period + " [get_pins " +
            word(instance_name + "/FCLK_CLK[" + std::to_string(clock) + "]") + "]\n";
  return text;
}

std::string pad_report(Instance const& instance) {
  const View view(instance);
  std::string text = heading(instance);
  for (unsigned pad = 0; pad < view.pads(); ++pad) {
    text += "report_pad " + std::to_string(pad) + " -function " + word(view.pad(pad, "FUNCTION")) + " -standard " +
            word(view.standard(pad)) + " -slew " + word(view.pad(pad, "SLEW")) + " -pullup " +
            word(view.pad(pad, "PULLUP"));
    if (const std::string drive = view.pad(pad, "DRIVE_MA"); !drive.empty()) text += " -drive_ma " + drive;
    if (const std::string schmitt = view.pad(pad, "SCHMITT"); !schmitt.empty()) text += " -schmitt " + schmitt;
    text += "\n";
  }
  return text;
}

std::string jitter_constraints(Instance const& instance, std::string const& instance_name) {
  const View view(instance);
  std::string text = heading(instance);
  for (auto const& [clock, period] : view.fabric_periods())
    text += "set_input_jitter " + clock_name(instance_name, clock) + " " +
            view.definition("FCLK" + std::to_string(clock) + "_JITTER_NS") + "\n";
  return text;
}

namespace {

using kdi::power::SystemItem;

// What is in use, and by the description of whom.
std::optional<kdi::power::SystemPower> power_at(View const& view, Instance const& instance,
                                                kdi::device::Part const* part, std::vector<SystemItem> const& dynamic) {
  if (part == nullptr) return std::nullopt;
  std::vector<kdi::power::SystemPad> pads;
  for (kdi::cores::PadInUse const& pad : kdi::cores::pads_in_use(instance))
    pads.push_back({pad.bank, pad.number, pad.function});
  return kdi::power::system_power(*part, dynamic, pads,
                                  [&](std::string const& end) { return view.value(end.substr(end.find('_') + 1)); });
}

}  // namespace

std::string power_data(Instance const& instance, kdi::device::Part const* part) {
  const View view(instance);
  std::vector<SystemItem> items;
  for (auto const& [name, milliwatts] : view.definitions_behind("POWER_"))
    items.push_back({kdi::text::lowered(name), "", kdi::number::whole<double>(milliwatts).value_or(0)});
  const auto power = power_at(view, instance, part, items);
  if (power) {
    items = power->dynamic;
    for (SystemItem const& one : power->leakage) items.push_back({"leakage_" + one.supply, "", one.milliwatts});
    for (SystemItem const& one : power->pads) items.push_back({"pads_" + one.supply, "", one.milliwatts});
    for (SystemItem const& one : power->terminations)
      items.push_back({"terminations_" + one.supply, "", one.milliwatts});
  }
  Decimal total;
  std::string parts;
  for (SystemItem const& one : items) {
    const Decimal milliwatts = Decimal::of(std::llround(one.milliwatts * 1000), 3);
    total = total + milliwatts;
    parts += (parts.empty() ? "\n" : ",\n") + ("    \"" + kdi::text::lowered(one.item) + "\": " + milliwatts.text());
  }
  const std::string conditions =
      power ? "  \"junction_c\": " + kdi::number::plain(power->junction_c) + ",\n" : std::string();
  return "{\n  \"format\": 1,\n  \"core\": \"" + instance.core().name() + "\",\n  \"version\": \"" +
         instance.core().version() + "\",\n" + conditions + "  \"unit\": \"mW\",\n  \"parts\": {" + parts +
         "\n  },\n  \"total\": " + total.text() + "\n}\n";
}

}  // namespace hardip_eng
