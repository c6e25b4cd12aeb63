// Reads the registers of a core: blocks, registers and fields, the sequences that write them, and what becomes of
// parameters that no field holds.
#include <algorithm>
#include <mutex>
#include <set>
#include <tuple>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/PadSection.h"
#include "kdi/cores/Registers.h"
#include "platform/cores/reading/drafts.h"
#include "platform/cores/rules/code.h"
#include "platform/cores/rules/syntax.h"
#include "platform/cores/rules/terms.h"

namespace kdi::cores {
namespace {

constexpr std::size_t kMostRegisters = 100'000;
constexpr std::size_t kMostSteps = 100'000;
constexpr std::uint32_t kFirstBase = 0xF8000000, kLastBase = 0xFFFFE000, kBlockBytes = 0x1000;
constexpr std::int64_t kMostMicroseconds = cdo::kLongestTime;

// A number, or a text of one that may be hexadecimal; a register's word.
std::uint32_t word(JsonValue value, Places const& places) {
  if (value.is_number()) return static_cast<std::uint32_t>(value.integer(0, 0xFFFFFFFF));
  const std::string digits = text(value, places);
  const bool is_hex = digits.starts_with("0x") && digits.size() > 2 && digits.size() <= 10;
  std::uint64_t number = 0;
  for (const char c : std::string_view(digits).substr(is_hex ? 2 : 0)) {
    const char letter = text::to_lower(c);
    const bool is_letter = is_hex && letter >= 'a' && letter <= 'f';
    if (!text::is_digit(c) && !is_letter) value.refuse("a number of 32 bits, such as 12 or 0x1f");
    number = number * (is_hex ? 16 : 10) + static_cast<std::uint64_t>(is_letter ? letter - 'a' + 10 : c - '0');
    if (number > 0xFFFFFFFF) value.refuse("a number of 32 bits, such as 12 or 0x1f");
  }
  if (digits.empty()) value.refuse("a number of 32 bits, such as 12 or 0x1f");
  return static_cast<std::uint32_t>(number);
}

std::string quoted_word(std::string const& text) {
  std::string word = "'";
  for (const char c : text) word.append(c == '\'' ? 2 : 1, c);
  return word + "'";
}

}  // namespace

// Files are gathered one by one; names of registers mean something once all are there, so steps come last.
class RegisterReader {
 public:
  explicit RegisterReader(Core const& core) : core_(core), scope_(core), map_(new RegisterMap) { number_pads(); }

  void add(JsonFile file, PlaceValues const& known) {
    files_.push_back(std::move(file));
    const JsonValue root = files_.back().root();
    root.allow_only({"format", "places", "blocks", "sequences", "locks", "plls", "elsewhere", "constraints", "power"});
    root.member("format").integer(1, 1);
    const Places places = places_of(root, known);
    if (const auto blocks = root.find("blocks"))
      for (const JsonValue block : blocks->items()) add_blocks(block, places);
    for (auto const& [field, entries] : {std::pair{"sequences", &sequences_}, {"locks", &locks_}, {"plls", &plls_}})
      if (const auto list = root.find(field))
        for (const JsonValue entry : list->items())
          for (Places& values : written_out(entry.find("each"), places)) entries->push_back({entry, std::move(values)});
    if (const auto list = root.find("elsewhere"))
      for (const JsonValue entry : list->items()) add_elsewhere(entry, places);
    if (const auto list = root.find("constraints"))
      for (const JsonValue entry : list->items()) add_constraints(entry, places);
    if (const auto list = root.find("power"))
      for (const JsonValue entry : list->items()) add_power(entry, places);
  }

  std::shared_ptr<RegisterMap const> finished() {
    sort_registers();
    for (Entry const& entry : sequences_) add_sequence(entry);
    for (Entry const& entry : locks_) add_lock(entry);
    for (Entry const& entry : plls_) add_pll(entry);
    std::stable_sort(map_->sequences_.begin(), map_->sequences_.end(),
                     [](RegisterSequence const& a, RegisterSequence const& b) {
                       return std::tie(a.output, a.order) < std::tie(b.output, b.order);
                     });
    return std::move(map_);
  }

 private:
  struct Entry {
    JsonValue value;
    Places places;
  };

  // Functions of pads count from 1 in the order of the description.
  void number_pads() {
    if (core_.pads() == nullptr) return;
    for (DescribedFunction const& function : core_.pads()->functions)
      map_->pad_functions_.emplace(function.name, static_cast<std::uint32_t>(map_->pad_functions_.size() + 1));
  }

  Places places_of(JsonValue root, PlaceValues const& known) {
    Places values(extent_);
    if (const auto places = root.find("places"))
      for (const JsonValue place : places->members()) {
        if (!is_name(place.name())) place.refuse("a place with a name of letters and digits");
        const auto given = known.find(place.name());
        if (given != known.end())
          values.put(place.name(), given->second);
        else if (place.is_null())
          place.refuse("what stands for the place in what names this file");
        else
          values.put(place.name(), place.text());
      }
    return values;
  }

  // --- blocks, registers, fields

  void add_blocks(JsonValue entry, Places const& places) {
    entry.allow_only({"name", "each", "base", "step", "meaning", "registers"});
    std::uint32_t position = 0;
    for (Places const& values : written_out(entry.find("each"), places)) {
      const std::uint32_t block = block_of(entry, values, index(entry, values, position++));
      if (const auto registers = entry.find("registers"))
        for (const JsonValue reg : registers->items()) add_registers(reg, values, block);
    }
  }

  // A block may be told again, without its base, by a file that adds registers.
  std::uint32_t block_of(JsonValue entry, Places const& places, std::uint32_t index) {
    const std::string name = text(entry.member("name"), places);
    if (!is_name(name)) entry.member("name").refuse("a name of letters, digits and _");
    const auto known = block_numbers_.find(name);
    const auto base = entry.find("base");
    if (base && known != block_numbers_.end()) base->refuse("a base for each block once");
    if (known != block_numbers_.end()) return known->second;
    const std::uint32_t address = base ? shifted(*base, word(*base, places), entry, places, index) : next_base(entry);
    block_numbers_.emplace(name, static_cast<std::uint32_t>(map_->blocks_.size()));
    map_->blocks_.push_back({name, address, text(entry.member("meaning"), places)});
    return static_cast<std::uint32_t>(map_->blocks_.size() - 1);
  }

  // Blocks without a base lie one behind the other.
  std::uint32_t next_base(JsonValue entry) {
    if (next_base_ > kLastBase) entry.refuse("a base, since there is no room left");
    const std::uint32_t address = next_base_;
    next_base_ += kBlockBytes;
    return address;
  }

  // By how many steps the entry is moved: by the number that its one place stands for; for words, or several places, by
  // the position in the order of the patterns.
  static std::uint32_t index(JsonValue entry, Places const& places, std::uint32_t position) {
    const auto each = entry.find("each");
    if (!each || each->members().size() != 1) return position;
    return number::whole<std::uint32_t>(*places.find(each->members()[0].name())).value_or(position);
  }

  // `first` and so many steps; addresses of words.
  static std::uint32_t shifted(JsonValue value, std::uint32_t first, JsonValue entry, Places const& places,
                               std::uint32_t index) {
    const auto step = entry.find("step");
    const std::uint64_t address = first + std::uint64_t{index} * (step ? word(*step, places) : 0);
    if (index > 0 && !step) value.refuse("a step beside each");
    if (address % 4 != 0 || address > 0xFFFFFFFF) value.refuse("multiples of 4 below 2^32");
    return static_cast<std::uint32_t>(address);
  }

  void add_registers(JsonValue entry, Places const& places, std::uint32_t block) {
    entry.allow_only({"name", "each", "offset", "step", "meaning", "fields"});
    std::uint32_t position = 0;
    for (Places const& values : written_out(entry.find("each"), places)) {
      const JsonValue offset = entry.member("offset");
      Register reg;
      reg.name = text(entry.member("name"), values);
      if (!is_name(reg.name)) entry.member("name").refuse("a name of letters, digits and _");
      reg.block = block;
      reg.address = map_->blocks_[block].base +
                    shifted(offset, word(offset, values), entry, values, index(entry, values, position++));
      if (reg.address < map_->blocks_[block].base) offset.refuse("an address below 2^32");
      reg.meaning = text(entry.member("meaning"), values);
      for (const JsonValue field : entry.member("fields").items()) add_fields(field, values, reg);
      finish(entry, reg);
      place(entry, std::move(reg));
    }
  }

  void place(JsonValue entry, Register reg) {
    const std::string name = map_->blocks_[reg.block].name + "." + reg.name;
    if (!names_.insert(name).second) entry.member("name").refuse("a name that no other register of the block has");
    if (map_->registers_.size() == kMostRegisters) entry.refuse("at most 100000 registers");
    if (const auto [other, is_free] = addresses_.emplace(reg.address, name); !is_free)
      entry.member("offset").refuse("an address that " + other->second + " does not have");
    map_->registers_.push_back(std::move(reg));
  }

  static void finish(JsonValue entry, Register& reg) {
    std::stable_sort(reg.fields.begin(), reg.fields.end(),
                     [](RegisterField const& a, RegisterField const& b) { return a.low < b.low; });
    reg.reset = 0;
    std::set<std::string> names;
    for (std::size_t i = 0; i < reg.fields.size(); ++i) {
      RegisterField const& field = reg.fields[i];
      if (!names.insert(field.name).second)
        entry.member("fields").refuse("fields of different names, not two " + field.name);
      if (i > 0 && reg.fields[i - 1].low + reg.fields[i - 1].width > field.low)
        entry.member("fields").refuse("fields that do not overlap, as " + reg.fields[i - 1].name + " and " +
                                      field.name + " do");
      reg.reset |= field.reset << field.low;
    }
    if (reg.fields.empty()) entry.member("fields").refuse("one field or more");
  }

  void add_fields(JsonValue entry, Places const& places, Register& reg) {
    entry.allow_only({"name", "each", "bits", "reset", "meaning", "value", "parameter", "scale", "texts", "pad"});
    for (Places const& values : written_out(entry.find("each"), places)) {
      RegisterField field;
      field.name = text(entry.member("name"), values);
      if (!is_name(field.name)) entry.member("name").refuse("a name of letters, digits and _");
      read_bits(entry.member("bits"), values, field);
      if (const auto reset = entry.find("reset")) field.reset = word(*reset, values);
      if (field.reset > field.mask() >> field.low) entry.member("reset").refuse("a value that the field holds");
      field.meaning = text(entry.member("meaning"), values);
      bind(entry, values, field);
      reg.fields.push_back(std::move(field));
    }
  }

  // `17:8`, or `3`.
  static void read_bits(JsonValue value, Places const& places, RegisterField& field) {
    const std::string bits = text(value, places);
    const std::size_t colon = bits.find(':');
    const auto high = number::whole<std::uint32_t>(bits.substr(0, colon));
    const auto low = colon == std::string::npos ? high : number::whole<std::uint32_t>(bits.substr(colon + 1));
    if (!high || !low || *high > 31 || *low > *high) value.refuse("bits from 31 to 0, such as 17:8 or 3");
    field.low = *low;
    field.width = *high - *low + 1;
    field.reset = 0;
  }

  void bind(JsonValue entry, Places const& places, RegisterField& field) {
    const auto value = entry.find("value"), parameter = entry.find("parameter"), pad = entry.find("pad");
    if (value.has_value() + parameter.has_value() + pad.has_value() > 1)
      entry.refuse("one of value, parameter and pad");
    for (char const* const beside : {"scale", "texts"})
      if (entry.find(beside) && !parameter) entry.member(beside).refuse("it beside a parameter alone");
    if (pad) return bind_pad(*pad, places, field);
    if (value) field.value = rule(*value, text(*value, places));
    if (parameter) field.value = rule(*parameter, rule_of(entry, *parameter, places, field));
    if (!field.value) return;
    const Type type = field.value->type();
    if (type != Kind::integer && type != Kind::truth)
      (value ? *value : *parameter).refuse("a rule of type truth or integer, not " + type.text());
    field.parameters = parameters_of(*field.value);
  }

  // What a parameter is in a field: truths are 0 and 1, texts the number of the permitted value, decimal numbers are
  // multiplied by a scale and rounded. While it reads SKIP, the field is as after a reset.
  std::string rule_of(JsonValue entry, JsonValue name, Places const& places, RegisterField const& field) const {
    const std::uint32_t number = parameter(name, text(name, places));
    Parameter const& bound = core_.parameters()[number];
    const auto scale = entry.find("scale");
    if (scale && !bound.type.is_number()) scale->refuse("a scale of a number");
    std::string rule = bound.name;
    if (bound.type == Kind::text) {
      const auto given = entry.find("texts");
      const std::vector<std::string> values = given ? texts(*given, places) : bound.values();
      if (values.empty()) name.refuse("texts beside a text without a list of values");
      if (values.size() - 1 > field.mask() >> field.low) entry.member("bits").refuse("bits enough for all values");
      std::vector<std::string> words;
      for (std::string const& word : values) words.push_back(quoted_word(word));
      rule = "index_of([" + text::joined(words, ", ") + "], " + rule + ")";
    } else if (scale) {
      rule = "integer(round(" + rule + " * " + text(*scale, places) + "))";
    } else if (bound.type == Kind::decimal) {
      entry.member("scale");
    }
    if (!bound.skips) return rule;
    const std::string reset =
        bound.type == Kind::truth ? (field.reset != 0 ? "true" : "false") : std::to_string(field.reset);
    return "if enabled(" + bound.name + ") then " + rule + " else " + reset;
  }

  // `PMC_MIO 7`: which function sits there.
  void bind_pad(JsonValue value, Places const& places, RegisterField& field) {
    const std::string words = text(value, places);
    const std::size_t blank = words.find(' ');
    const std::uint32_t number =
        number::whole<std::uint32_t>(blank == std::string::npos ? "" : words.substr(blank + 1)).value_or(~0U);
    if (core_.pads() == nullptr) value.refuse("no pad, since the core has none");
    std::vector<PadBank> const& banks = core_.pads()->banks;
    const auto bank = std::find_if(banks.begin(), banks.end(),
                                   [&](PadBank const& other) { return other.name == words.substr(0, blank); });
    if (bank == banks.end() || number < bank->first || number > bank->last)
      value.refuse("a pad of the core, such as MIO 7");
    if (map_->pad_functions_.size() > field.mask() >> field.low)
      value.refuse("bits for " + std::to_string(map_->pad_functions_.size()) + " functions");
    field.pad = {static_cast<std::uint32_t>(bank - banks.begin()), bank->offset + number - bank->first};
    field.parameters = parameters_of_pad(field.pad->second);
  }

  std::vector<std::uint32_t> parameters_of_pad(std::uint32_t pad) const {
    std::set<std::uint32_t> numbers;
    for (DescribedFunction const& function : core_.pads()->functions) {
      const auto has_pad = [&](PadGroup const& group) {
        return std::find(group.pads.begin(), group.pads.end(), pad) != group.pads.end();
      };
      if (std::none_of(function.groups.begin(), function.groups.end(), has_pad)) continue;
      if (function.parameter) numbers.insert(*function.parameter);
      if (function.enabled) collect(*function.enabled, numbers);
    }
    return {numbers.begin(), numbers.end()};
  }

  std::vector<std::uint32_t> parameters_of(Rule const& rule) const {
    std::set<std::uint32_t> numbers;
    collect(rule, numbers);
    return {numbers.begin(), numbers.end()};
  }

  void collect(Rule const& rule, std::set<std::uint32_t>& numbers) const {
    for (const std::uint32_t slot : rule.reads()) {
      if (slot < core_.fact_slot(0))
        numbers.insert(slot / Core::kSlots);
      else if (slot >= core_.definition_slot(0))
        collect(core_.definitions()[slot - core_.definition_slot(0)].rule, numbers);
    }
  }

  std::uint32_t parameter(JsonValue value, std::string const& name) const {
    auto number = core_.find(name);
    if (!number) number = core_.find_user_name(name);
    if (!number) value.refuse("a parameter of " + core_.name() + ", which " + name + " is not");
    return *number;
  }

  Rule rule(JsonValue value, std::string const& source, std::optional<Type> wanted = std::nullopt) const {
    return compiled(value, [&] { return Rule::compile(source, scope_, wanted, compiler_); });
  }

  // `compile()`, with the place of what it says.
  template <class Compile>
  Rule compiled(JsonValue value, Compile compile) const {
    try {
      Rule rule = compile();
      rule.set_place(compiler_.keep(value.place()));
      return rule;
    } catch (RuleError const& error) {
      throw JsonError(value.place() + ": column " + std::to_string(error.offset() + 1) + ": " + error.what());
    }
  }

  std::optional<Rule> condition(Entry const& entry) const {
    const auto when = entry.value.find("when");
    return when ? std::optional(rule(*when, text(*when, entry.places), Type(Kind::truth))) : std::nullopt;
  }

  // Registers by address, and their names.
  void sort_registers() {
    std::sort(map_->registers_.begin(), map_->registers_.end(),
              [](Register const& a, Register const& b) { return a.address < b.address; });
    for (std::uint32_t i = 0; i < map_->registers_.size(); ++i) map_->numbers_.emplace(map_->name(i), i);
  }

  // --- sequences

  void add_sequence(Entry const& entry) {
    entry.value.allow_only({"output", "section", "each", "order", "when", "steps"});
    RegisterSequence sequence;
    sequence.output = text(entry.value.member("output"), entry.places);
    sequence.section = text(entry.value.member("section"), entry.places);
    if (const std::string fault = cdo::fault_of(cdo::Section{sequence.section}); !fault.empty())
      entry.value.member("section").refuse("a text of which one cannot say: " + fault);
    sequence.order = entry.value.member("order").integer(0, 1'000'000);
    sequence.when = condition(entry);
    sequence.place = entry.value.place();
    for (const JsonValue step : entry.value.member("steps").items())
      for (Places const& places : written_out(step.find("each"), entry.places)) {
        if (++step_count_ > kMostSteps) step.refuse("at most 100000 steps");
        sequence.steps.push_back(step_of({step, places}));
      }
    map_->sequences_.push_back(std::move(sequence));
  }

  RegisterStep step_of(Entry const& entry) const {
    using Do = RegisterStep::Kind;
    entry.value.allow_only(
        {"each", "when", "write", "set", "poll", "delay_us", "block", "fields", "timeout_us", "count", "unless_reset"});
    RegisterStep step;
    step.when = condition(entry);
    if (const auto flag = entry.value.find("unless_reset")) step.unless_reset = flag->boolean();
    if (const auto time = entry.value.find("delay_us")) {
      step.kind = Do::delay;
      step.microseconds = static_cast<std::uint32_t>(time->integer(0, kMostMicroseconds));
      return step;
    }
    for (auto const& [field, kind] :
         {std::pair{"write", Do::write}, {"set", Do::set}, {"poll", Do::poll}, {"block", Do::block}})
      if (const auto reg = entry.value.find(field)) {
        step.kind = kind;
        step.reg = register_at(*reg, entry.places);
        complete(entry, step);
        return step;
      }
    entry.value.refuse("one of write, set, poll, delay_us and block");
  }

  void complete(Entry const& entry, RegisterStep& step) const {
    using Do = RegisterStep::Kind;
    const bool takes_fields = step.kind == Do::set || step.kind == Do::poll;
    const auto fields = entry.value.find("fields");
    if (fields && !takes_fields) fields->refuse("fields beside set and poll alone");
    if (fields) add_step_fields(*fields, entry.places, step);
    if (takes_fields && !fields) add_bound_fields(entry.value, step);
    if (step.kind == Do::poll)
      step.microseconds = static_cast<std::uint32_t>(entry.value.member("timeout_us").integer(1, kMostMicroseconds));
    if (step.kind != Do::block) return;
    const JsonValue count = entry.value.member("count");
    step.count = static_cast<std::uint32_t>(count.integer(1, static_cast<std::int64_t>(cdo::kMostWords)));
    for (std::uint32_t i = 0; i < step.count; ++i)
      if (step.reg + i >= map_->registers_.size() ||
          map_->registers_[step.reg + i].address != map_->registers_[step.reg].address + 4 * i)
        count.refuse("registers beside one another");
  }

  // Names with rules, or names alone.
  void add_step_fields(JsonValue fields, Places const& places, RegisterStep& step) const {
    if (fields.is_list()) {
      for (const JsonValue name : fields.items())
        step.fields.push_back({field_at(name, step.reg, text(name, places)), std::nullopt});
    } else {
      for (const JsonValue value : fields.members()) {
        Rule read = rule(value, text(value, places));
        if (read.type() != Kind::integer && read.type() != Kind::truth)
          value.refuse("a rule of type truth or integer, not " + read.type().text());
        step.fields.push_back({field_at(value, step.reg, filled(value, value.name(), places)), std::move(read)});
      }
    }
    if (step.fields.empty()) fields.refuse("one field or more");
  }

  void add_bound_fields(JsonValue entry, RegisterStep& step) const {
    std::vector<RegisterField> const& fields = map_->registers_[step.reg].fields;
    for (std::uint32_t i = 0; i < fields.size(); ++i)
      if (fields[i].value || fields[i].pad) step.fields.push_back({i, std::nullopt});
    if (step.fields.empty()) entry.refuse("fields, since no rule sets one of " + map_->name(step.reg));
  }

  std::uint32_t register_at(JsonValue value, Places const& places) const {
    const std::string name = text(value, places);
    const auto number = map_->find(name);
    if (!number) value.refuse("a register, such as CRL.UART0_CLOCK, which " + name + " is not");
    return *number;
  }

  std::uint32_t field_at(JsonValue value, std::uint32_t reg, std::string const& name) const {
    const auto number = map_->registers_[reg].find(name);
    if (!number) value.refuse("a field of " + map_->name(reg) + ", which " + name + " is not");
    return *number;
  }

  // --- how hardware answers

  void add_lock(Entry const& entry) {
    entry.value.allow_only({"each", "block", "register", "key"});
    const std::string name = text(entry.value.member("block"), entry.places);
    const auto block = block_numbers_.find(name);
    if (block == block_numbers_.end()) entry.value.member("block").refuse("a block, which " + name + " is not");
    map_->locks_.push_back({block->second, register_at(entry.value.member("register"), entry.places),
                            word(entry.value.member("key"), entry.places)});
  }

  void add_pll(Entry const& entry) {
    entry.value.allow_only({"each", "control", "bypass", "reset", "status", "locked", "settings"});
    const auto field = [&](char const* name, std::uint32_t reg) {
      const JsonValue value = entry.value.member(name);
      return field_at(value, reg, text(value, entry.places));
    };
    RegisterPll pll;
    pll.reg = register_at(entry.value.member("control"), entry.places);
    pll.bypass = field("bypass", pll.reg);
    pll.reset = field("reset", pll.reg);
    pll.status_reg = register_at(entry.value.member("status"), entry.places);
    pll.status = field("locked", pll.status_reg);
    if (const auto settings = entry.value.find("settings"))
      for (const JsonValue reg : settings->items()) pll.settings.push_back(register_at(reg, entry.places));
    map_->plls_.push_back(std::move(pll));
  }

  void add_elsewhere(JsonValue entry, Places const& places) {
    entry.allow_only({"each", "parameters", "file", "reason", "if_there"});
    const bool if_there = entry.find("if_there") && entry.member("if_there").boolean();
    for (Places const& values : written_out(entry.find("each"), places)) {
      const auto file = entry.find("file");
      Elsewhere other{file ? text(*file, values) : "", file ? "" : text(entry.member("reason"), values)};
      for (const JsonValue name : entry.member("parameters").items())
        if (!if_there || core_.find(text(name, values)))
          map_->elsewhere_.insert_or_assign(parameter(name, text(name, values)), other);
    }
  }

  // --- what is left behind besides registers

  void add_constraints(JsonValue entry, Places const& places) {
    entry.allow_only({"each", "when", "text"});
    for (Places const& values : written_out(entry.find("each"), places)) {
      const JsonValue source = entry.member("text");
      Rule line = compiled(source, [&] { return Rule::compile_template(text(source, values), scope_, compiler_); });
      map_->constraints_.push_back({condition({entry, values}), std::move(line)});
    }
  }

  void add_power(JsonValue entry, Places const& places) {
    entry.allow_only({"each", "item", "supply", "when", "milliwatts"});
    for (Places const& values : written_out(entry.find("each"), places)) {
      const JsonValue amount = entry.member("milliwatts");
      map_->power_.push_back({text(entry.member("item"), values), text(entry.member("supply"), values),
                              condition({entry, values}), rule(amount, text(amount, values), Type(Kind::decimal))});
    }
  }

  mutable Compiler compiler_;  // of rules within the scope
  Extent extent_;
  Core const& core_;
  CoreScope scope_;
  std::shared_ptr<RegisterMap> map_;
  std::vector<JsonFile> files_;
  std::map<std::string, std::uint32_t, std::less<>> block_numbers_;
  std::set<std::string> names_;  // of registers
  std::map<std::uint32_t, std::string> addresses_;
  std::vector<Entry> sequences_, locks_, plls_;
  std::size_t step_count_ = 0;
  std::uint32_t next_base_ = kFirstBase;
};

std::shared_ptr<RegisterMap const> RegisterMap::parse(Core const& core, std::string_view text,
                                                      std::string const& file) {
  RegisterReader reader(core);
  reader.add(JsonFile(text, file), {});
  return reader.finished();
}

namespace {

struct Maps {
  std::mutex mutex;
  std::map<std::weak_ptr<Core const>, std::shared_ptr<RegisterMap const>, std::owner_less<>> by_core;
};

Maps& maps() {
  static auto& maps = *new Maps;  // never destroyed: asked while the process ends
  return maps;
}

}  // namespace

std::shared_ptr<RegisterMap const> RegisterMap::of(std::shared_ptr<Core const> const& core) {
  {
    const std::lock_guard lock(maps().mutex);
    if (const auto known = maps().by_core.find(core); known != maps().by_core.end()) return known->second;
  }
  RegisterReader reader(*core);
  for (RegisterFile const& file : core->register_files()) reader.add(JsonFile(file.path), file.places);
  std::shared_ptr<RegisterMap const> map = reader.finished();
  // Where two threads read it at once, the first to end counts; those of cores that are gone are forgotten.
  const std::lock_guard lock(maps().mutex);
  std::erase_if(maps().by_core, [](auto const& entry) { return entry.first.expired(); });
  return maps().by_core.emplace(core, std::move(map)).first->second;
}

std::optional<std::uint32_t> Register::find(std::string_view field) const {
  for (std::uint32_t i = 0; i < fields.size(); ++i)
    if (fields[i].name == field) return i;
  return std::nullopt;
}

std::optional<std::uint32_t> RegisterMap::find(std::string_view name) const {
  const auto found = numbers_.find(name);
  return found == numbers_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::uint32_t> RegisterMap::find(std::uint32_t address) const {
  const auto found = std::lower_bound(registers_.begin(), registers_.end(), address,
                                      [](Register const& reg, std::uint32_t wanted) { return reg.address < wanted; });
  if (found == registers_.end() || found->address != address) return std::nullopt;
  return static_cast<std::uint32_t>(found - registers_.begin());
}

std::string RegisterMap::name(std::uint32_t reg) const {
  return blocks_[registers_[reg].block].name + "." + registers_[reg].name;
}

std::vector<std::string> RegisterMap::outputs() const {
  std::vector<std::string> names;
  for (RegisterSequence const& sequence : sequences_)
    if (names.empty() || names.back() != sequence.output) names.push_back(sequence.output);
  return names;
}

}  // namespace kdi::cores
