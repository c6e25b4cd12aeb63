#include "platform/ip/power/power_model.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <new>
#include <set>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiText.h"

namespace kdi::power {
namespace {

constexpr double kMostQuantity = 1e6;
constexpr int kMostNumber = 1000;

double quantity(JsonValue object, char const* field) { return object.member(field).number(0, kMostQuantity); }

std::string word(JsonValue value) {
  if (value.text().empty()) value.refuse("a word");
  return std::string(value.text());
}

// An object of values by word, at least one; words that differ in case only are the same.
template <class Read>
auto read_words(JsonValue object, Read read) {
  Words<decltype(read(object))> words;
  std::set<std::string> seen;
  for (const JsonValue value : object.members()) {
    if (value.name().empty() || !seen.insert(text::lowered(value.name())).second)
      value.refuse("a word that does not occur twice as the field's name");
    words.all.push_back({std::string(value.name()), read(value)});
  }
  if (words.all.empty()) object.refuse("at least one word");
  return words;
}

double factor(JsonValue value) { return value.number(0, kMostQuantity); }

Conditions read_conditions(JsonValue object) {
  object.allow_only(
      {"junction_c", "core_v", "leakage_doubling_c", "leakage_exponent", "dynamic_per_c", "leakage_by_speed"});
  Conditions conditions;
  conditions.junction_c = object.member("junction_c").number(-273, 1000);
  conditions.core_v = object.member("core_v").number(0.1, 10);
  conditions.leakage_doubling_c = object.member("leakage_doubling_c").number(1, 1000);
  conditions.leakage_exponent = object.member("leakage_exponent").number(0, 10);
  conditions.dynamic_per_c = object.member("dynamic_per_c").number(0, 0.01);
  for (const JsonValue value : object.member("leakage_by_speed").members())
    conditions.leakage[std::string(value.name())] = value.number(0, 100);
  return conditions;
}

Encoding read_encoding(JsonValue object) {
  object.allow_only({"efficiency", "w_per_gbps"});
  Encoding encoding;
  encoding.efficiency = object.member("efficiency").number(0, 1);
  encoding.w_per_gbps = quantity(object, "w_per_gbps");
  return encoding;
}

Transceiver read_transceiver(JsonValue object) {
  object.allow_only({"type", "names", "static_w_per_quad", "pll_idle", "reference_w_per_ghz", "pcs_w_per_gbps",
                     "user_w_per_gbps", "internal_w_per_bit", "user_w_per_bit", "termination_ohm", "auto_equaliser",
                     "encodings"});
  Transceiver transceiver;
  transceiver.type = word(object.member("type"));
  for (const JsonValue name : object.member("names").items()) transceiver.names.push_back(text::lowered(word(name)));
  transceiver.static_w_per_quad = quantity(object, "static_w_per_quad");
  transceiver.pll_idle = object.member("pll_idle").number(0, 1);
  transceiver.reference_w_per_ghz = quantity(object, "reference_w_per_ghz");
  transceiver.pcs_w_per_gbps = quantity(object, "pcs_w_per_gbps");
  transceiver.user_w_per_gbps = quantity(object, "user_w_per_gbps");
  transceiver.internal_w_per_bit = quantity(object, "internal_w_per_bit");
  transceiver.user_w_per_bit = quantity(object, "user_w_per_bit");
  transceiver.termination_ohm = object.member("termination_ohm").number(1, kMostQuantity);
  const JsonValue choice = object.member("auto_equaliser");
  choice.allow_only({"loss_db", "up_to_it", "above"});
  transceiver.auto_loss_db = quantity(choice, "loss_db");
  transceiver.auto_short = word(choice.member("up_to_it"));
  transceiver.auto_long = word(choice.member("above"));
  transceiver.encodings = read_words(object.member("encodings"), read_encoding);
  return transceiver;
}

Module read_module(JsonValue object) {
  object.allow_only({"load", "address_load"});
  return {quantity(object, "load"), quantity(object, "address_load")};
}

MemoryCommon read_memory(JsonValue object) {
  object.allow_only({"static_w", "static_w_per_lane", "datapath_w_per_ghz_bit", "debug_w", "debug_w_per_ghz",
                     "axi_w_per_ghz_bit", "serialiser_w_per_ghz", "clock_tree_w_per_ghz", "data_load", "address_load",
                     "read_share", "write_share", "valid_share", "lanes_per_phy_pll", "controller_share", "slots",
                     "modules", "bank_kinds", "io_performance"});
  MemoryCommon memory;
  memory.static_w = quantity(object, "static_w");
  memory.static_w_per_lane = quantity(object, "static_w_per_lane");
  memory.datapath_w_per_ghz_bit = quantity(object, "datapath_w_per_ghz_bit");
  memory.debug_w = quantity(object, "debug_w");
  memory.debug_w_per_ghz = quantity(object, "debug_w_per_ghz");
  memory.axi_w_per_ghz_bit = quantity(object, "axi_w_per_ghz_bit");
  memory.serialiser_w_per_ghz = quantity(object, "serialiser_w_per_ghz");
  memory.clock_tree_w_per_ghz = quantity(object, "clock_tree_w_per_ghz");
  memory.data_load = quantity(object, "data_load");
  memory.address_load = quantity(object, "address_load");
  memory.read_share = object.member("read_share").number(0, 1);
  memory.write_share = object.member("write_share").number(0, 1);
  if (memory.read_share + memory.write_share > 1) object.member("write_share").refuse("no more than read_share leaves");
  memory.valid_share = object.member("valid_share").number(0, 1);
  memory.lanes_per_phy_pll = static_cast<int>(object.member("lanes_per_phy_pll").integer(1, kMostNumber));
  memory.controller_share = read_words(object.member("controller_share"), factor);
  memory.slots = read_words(object.member("slots"),
                            [](JsonValue value) { return static_cast<int>(value.integer(1, kMostNumber)); });
  memory.modules = read_words(object.member("modules"), read_module);
  memory.bank_kinds = read_words(object.member("bank_kinds"), factor);
  memory.io_performance = read_words(object.member("io_performance"), factor);
  return memory;
}

MemoryFamily read_family(JsonValue object) {
  object.allow_only({"family", "type", "strobe_w_per_gbps", "clock_w_per_gbps", "usual_termination"});
  MemoryFamily family;
  family.family = word(object.member("family"));
  family.type = word(object.member("type"));
  family.strobe_w_per_gbps = quantity(object, "strobe_w_per_gbps");
  family.clock_w_per_gbps = quantity(object, "clock_w_per_gbps");
  family.usual_termination = word(object.member("usual_termination"));
  return family;
}

// A list of objects that are told apart by their member `key`.
template <class Read>
auto read_list(JsonValue list, char const* key, Read read) {
  std::vector<decltype(read(list))> all;
  std::set<std::string> names;
  for (const JsonValue value : list.items()) {
    all.push_back(read(value));
    if (!names.insert(std::string(value.member(key).text())).second)
      value.member(key).refuse("a name that does not occur twice");
  }
  return all;
}

PadGroup read_pads(JsonValue object) {
  object.allow_only({"pads", "first", "last", "standard", "pull", "supply"});
  PadGroup group;
  group.pads = word(object.member("pads"));
  group.first = static_cast<unsigned>(object.member("first").integer(0, kMostNumber));
  group.last = static_cast<unsigned>(object.member("last").integer(group.first, kMostNumber));
  group.standard = word(object.member("standard"));
  group.supply = word(object.member("supply"));
  const auto pull = object.find("pull");
  if (!pull) return group;
  group.pull = word(*pull);
  if (group.pull.find("{}") == std::string::npos) pull->refuse("a name with {} for the number of the pad");
  return group;
}

LineEnd read_end(JsonValue value) {
  constexpr std::pair<std::string_view, LineEnd> kEnds[] = {
      {"open", LineEnd::open}, {"centre", LineEnd::centre}, {"supply", LineEnd::supply}, {"ground", LineEnd::ground}};
  for (auto const& [name, end] : kEnds)
    if (value.text() == name) return end;
  value.refuse("open, centre, supply or ground");
}

MemoryStandard read_memory_standard(JsonValue object) {
  object.allow_only({"standard", "volts", "end", "driver_ohm", "termination_ohm"});
  MemoryStandard standard;
  standard.standard = word(object.member("standard"));
  standard.volts = object.member("volts").number(0.1, 10);
  standard.end = read_end(object.member("end"));
  if (standard.end == LineEnd::open) return standard;
  standard.driver_ohm = object.member("driver_ohm").number(1, kMostQuantity);
  standard.termination_ohm = object.member("termination_ohm").number(1, kMostQuantity);
  return standard;
}

MemoryLines read_memory_lines(JsonValue object) {
  object.allow_only({"enabled", "type", "width", "check", "check_bits", "supply", "active_share", "standards"});
  MemoryLines lines;
  lines.enabled = word(object.member("enabled"));
  lines.type = word(object.member("type"));
  lines.width = word(object.member("width"));
  lines.check = word(object.member("check"));
  lines.check_bits = static_cast<unsigned>(object.member("check_bits").integer(0, kMostNumber));
  lines.supply = word(object.member("supply"));
  lines.active_share = object.member("active_share").number(0, 1);
  for (const JsonValue standard : object.member("standards").members())
    lines.standards[std::string(standard.name())] = read_memory_standard(standard);
  return lines;
}

System read_system(JsonValue object) {
  object.allow_only({"kind", "static_w", "leakage_by_device", "load_pf", "standards", "toggle_mhz", "line_ohm",
                     "low_share", "banks", "memory"});
  System system;
  system.kind = word(object.member("kind"));
  for (const JsonValue value : object.member("static_w").members())
    system.static_w.emplace_back(value.name(), factor(value));
  for (const JsonValue value : object.member("leakage_by_device").members())
    system.leakage_by_device[std::string(value.name())] = value.number(0, 100);
  system.load_pf = quantity(object, "load_pf");
  system.standards = read_words(object.member("standards"), [](JsonValue standard) {
    standard.allow_only({"volts", "static_mw", "pull_ohm"});
    return PadStandard{standard.member("volts").number(0, 10), quantity(standard, "static_mw"),
                       standard.member("pull_ohm").number(1, kMostQuantity)};
  });
  system.toggle_mhz = read_words(object.member("toggle_mhz"), factor);
  system.line_ohm = read_words(object.member("line_ohm"), factor);
  system.low_share = object.member("low_share").number(0, 1);
  for (const JsonValue bank : object.member("banks").items()) system.banks.push_back(read_pads(bank));
  if (const auto memory = object.find("memory")) system.memory = read_memory_lines(*memory);
  return system;
}

Model read_model(JsonValue root) {
  root.allow_only({"format", "generation", "conditions", "systems", "transceivers", "memory", "memories"});
  root.member("format").integer(1, 1);
  Model model;
  model.generation = word(root.member("generation"));
  model.conditions = read_conditions(root.member("conditions"));
  if (const auto systems = root.find("systems")) model.systems = read_list(*systems, "kind", read_system);
  model.transceivers = read_list(root.member("transceivers"), "type", read_transceiver);
  model.memory = read_memory(root.member("memory"));
  model.memories = read_list(root.member("memories"), "family", read_family);
  return model;
}

// The model in the first data root that has a file for the generation; null if none has.
std::unique_ptr<Model const> load(std::string const& generation) {
  for (std::string const& directory : data_directories("power")) {
    const std::string path = (std::filesystem::path(directory) / (generation + ".json")).string();
    if (!is_file(path)) continue;
    const JsonFile file(path);
    auto model = std::make_unique<Model const>(read_model(file.root()));
    if (model->generation != generation) file.root().member("generation").refuse("the file's name, " + generation);
    return model;
  }
  return nullptr;
}

}  // namespace

Model read_model(std::string_view text, std::string const& name) { return read_model(JsonFile(text, name).root()); }

namespace {

// The models that were read. Never destroyed: calculators may be asked for while the process ends.
class ModelsRead {
 public:
  Model const* find(std::string const& generation) {
    const std::lock_guard lock(mutex_);
    const auto known = models_.find(generation);
    return known == models_.end() ? nullptr : known->second.get();
  }
  // Where two threads read a model at once, the first to end counts.
  Model const* keep(std::string const& generation, std::unique_ptr<Model const> model) {
    const std::lock_guard lock(mutex_);
    return models_.emplace(generation, std::move(model)).first->second.get();
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::unique_ptr<Model const>> models_;
};

}  // namespace

Model const* model_of(std::string const& generation) {
  static ModelsRead& models = *new ModelsRead;
  if (Model const* const known = models.find(generation)) return known;
  try {
    std::unique_ptr<Model const> model = load(generation);
    // What is not there may come to be there; it is looked for again.
    return model == nullptr ? nullptr : models.keep(generation, std::move(model));
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "power", ComMsgMgr::MSG_ERROR, "%s", error.what());
    return nullptr;
  }
}

}  // namespace kdi::power
