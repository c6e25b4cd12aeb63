// Reads the description of a core: files that extend one another, then parameters, then the rules between them.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <deque>
#include <set>
#include <unordered_map>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Core.h"
#include "kdi/cores/Instance.h"
#include "platform/cores/reading/core_clocks.h"
#include "platform/cores/reading/core_composites.h"
#include "platform/cores/reading/core_device.h"
#include "platform/cores/reading/core_pads.h"
#include "platform/cores/reading/core_presets.h"
#include "platform/cores/reading/drafts.h"
#include "platform/cores/reading/plan.h"
#include "platform/cores/rules/memory_functions.h"
#include "platform/cores/rules/syntax.h"
#include "platform/cores/state/insight.h"

namespace kdi::cores {
namespace {

constexpr int kMostVersions = 32;            // that extend one another
constexpr std::size_t kMostValues = 10'000;  // permitted ones of a parameter
// What all rules may take with all defaults, so that a description is read in seconds.
constexpr std::uint64_t kMostDefaultSteps = 100'000'000;
constexpr std::size_t kMostDefaultBytes = 1 << 28;
constexpr char const* kOutOfRange = "PARAM ${parameter}::${value} is out of range  { ${range} }";

// Of a parameter, as its description has them.
enum class Field : std::uint8_t {
  name,
  each,
  user_names,
  type,
  widget,
  group,
  display_name,
  description,
  default_,
  skips,
  values,
  limits,
  enabled,
  range,
  derived,
  messages
};
constexpr std::array<std::string_view, 16> kFieldNames = {
    "name",    "each",  "user_names", "type",   "widget",  "group", "display_name", "description",
    "default", "skips", "values",     "limits", "enabled", "range", "derived",      "messages"};

// The fields of an entry by their places among its members, and then those of the entry that it changes.
class Fields {
 public:
  /// Refuses those that a parameter does not have.
  explicit Fields(JsonValue entry, Fields const* changed = nullptr) : entry_(entry), changed_(changed) {
    places_.fill(kNone);
    std::uint8_t place = 0;
    for (const JsonValue field : entry.members()) {
      const auto known = std::find(kFieldNames.begin(), kFieldNames.end(), field.name());
      if (known == kFieldNames.end())
        throw JsonError(field.place() + ": expected one of " + text::joined(kFieldNames, ", ") +
                        " as the field's name");
      places_[static_cast<std::size_t>(known - kFieldNames.begin())] = place++;
    }
    if (changed == nullptr) return;
    for (const Field own : {Field::name, Field::each}) places_[static_cast<std::size_t>(own)] = kNone;
  }

  std::optional<JsonValue> find(Field field) const {
    const std::uint8_t place = places_[static_cast<std::size_t>(field)];
    if (place != kNone) return entry_.members()[place];
    return changed_ != nullptr ? changed_->find(field) : std::nullopt;
  }
  /// The entry of the version that introduced it.
  JsonValue origin() const { return changed_ != nullptr ? changed_->origin() : entry_; }

 private:
  static constexpr std::uint8_t kNone = 0xFF;

  JsonValue entry_;
  Fields const* changed_;
  std::array<std::uint8_t, kFieldNames.size()> places_;
};

// One parameter as the files give it.
struct Draft {
  KeptText name;
  Places places;         // what stands for ${...} in its texts
  Fields const* fields;  // of all rows of a pattern, until one of them is changed
  std::unique_ptr<std::vector<std::string>> former_names = {};

  std::optional<JsonValue> find(Field field) const { return fields->find(field); }
  JsonValue origin() const { return fields->origin(); }
};

// Texts that came already, borrowed; mostly they are so few that to look through them is quickest.
class Seen {
 public:
  void add(std::string_view text) {
    if (count_ < few_.size())
      few_[count_++] = text;
    else
      many_.insert(text);
  }
  bool contains(std::string_view text) const {
    const auto* const end = few_.begin() + count_;
    return std::find(few_.begin(), end, text) != end || (!many_.empty() && many_.contains(text));
  }

 private:
  std::array<std::string_view, 16> few_;
  std::size_t count_ = 0;
  std::set<std::string_view> many_;
};

// Numbers below a bound, of which the least is taken first: a bit for each, and one for each 64 bits that are not all
// clear, and so on.
class LeastFirst {
 public:
  explicit LeastFirst(std::size_t bound) {
    do {
      bound = (bound + 63) / 64;
      levels_.emplace_back(bound, 0);
    } while (bound > 1);
  }

  bool empty() const { return levels_.back().empty() || levels_.back().front() == 0; }
  void add(std::uint32_t number) {
    for (std::vector<std::uint64_t>& level : levels_) {
      level[number / 64] |= std::uint64_t{1} << number % 64;
      number /= 64;
    }
  }
  std::uint32_t take() {
    std::uint32_t number = 0;
    for (auto level = levels_.rbegin(); level != levels_.rend(); ++level)
      number = number * 64 + static_cast<std::uint32_t>(std::countr_zero((*level)[number]));
    std::uint32_t gone = number;
    for (std::vector<std::uint64_t>& level : levels_) {
      level[gone / 64] &= ~(std::uint64_t{1} << gone % 64);
      if (level[gone / 64] != 0) break;
      gone /= 64;
    }
    return number;
  }

 private:
  std::vector<std::vector<std::uint64_t>> levels_;  // the last is one word
};

struct DefinitionDraft {
  std::string name;
  JsonValue rule;
  Places places;
};

}  // namespace

// Its members follow the reading, from files to the finished core.
class CoreReader : public Scope {
 public:
  explicit CoreReader(std::string directory) : directory_(std::move(directory)), core_(new Core) {}

  // What is wrong in a file of others may be so by what this description says alone.
  std::shared_ptr<Core const> read(std::string const& name, std::string const& version) {
    const std::string path = path_of(name, version);
    try {
      add_version(name, version, std::nullopt, 0);
      return finished();
    } catch (JsonError const& error) {
      const std::string_view text = error.what();
      if (text.starts_with(path + ":")) throw;
      throw JsonError(std::string(text) + " (read for " + path + ")");
    }
  }
  std::shared_ptr<Core const> parse(std::string_view description, std::string const& file) {
    if (description.size() > Extent::kMostFiles)
      throw JsonError(file + ": has more than " + std::to_string(Extent::kMostFiles) + " bytes");
    files_.emplace_back(description, file);
    add_file(files_.back().root(), 0);
    return finished();
  }

  // --- what rules see

  std::optional<Symbol> symbol(std::string_view name) const override {
    if (const auto number = parameter(name)) return symbol_of(*number, Core::kValue);
    const auto definition = definition_numbers_.find(
        name, [this](std::uint32_t i) -> std::string const& { return core_->definitions_[i].name; });
    if (!definition) return std::nullopt;
    return Symbol{core_->definitions_[*definition].rule.type(), core_->definition_slot(*definition)};
  }

  std::optional<Symbol> aspect(std::string_view aspect, std::string_view name) const override {
    if (aspect == "device") {
      const auto fact = core_->find_fact(name);
      return fact ? std::optional(Symbol{core_->facts()[*fact].type, core_->fact_slot(*fact)}) : std::nullopt;
    }
    const auto number = parameter(name);
    if (!number) return std::nullopt;
    if (aspect == "user") return symbol_of(*number, Core::kUser);
    if (aspect == "given") return Symbol{Kind::truth, Core::slot(*number, Core::kGiven)};
    if (aspect == "enabled") return Symbol{Kind::truth, Core::slot(*number, Core::kEnabled)};
    return std::nullopt;
  }

  Function const* function(std::string_view name) const override { return memory_function(name); }

  // A name that differs by little: another case, or with more before or behind.
  std::string like(std::string_view name) const override {
    for (Parameter const& parameter : core_->parameters_)
      if (text::same_but_case(parameter.name, name) || parameter.name.find(name) != std::string::npos ||
          name.find(parameter.name) != std::string_view::npos)
        return parameter.name;
    return {};
  }

 private:
  // Rules of older versions, and of parts, go on with the names that parameters had.
  std::optional<std::uint32_t> parameter(std::string_view name) const {
    if (const auto number = core_->find(name)) return number;
    const auto former = former_numbers_.find(name);
    return former == former_numbers_.end() ? std::nullopt : std::optional(former->second);
  }

  Symbol symbol_of(std::uint32_t number, Core::Slot which) const {
    Parameter const& parameter = core_->parameters_[number];
    return {parameter.type, Core::slot(number, which), parameter.values().empty() ? nullptr : &parameter.values()};
  }

  // --- files

  std::string path_of(std::string const& name, std::string const& version) const {
    return directory_ + "/" + name + "/" + version + ".json";
  }

  void add_version(std::string const& name, std::string const& version, std::optional<JsonValue> asked, int depth) {
    const std::string path = path_of(name, version);
    if (depth == kMostVersions) asked->refuse("at most 32 versions that extend one another");
    if (asked)
      open(path, *asked, "a version of " + name + " that is there");
    else
      load(path);
    const JsonValue root = files_.back().root();
    add_file(root, depth);
    if (core_->name_ != name) root.member("core").refuse("the name of the folder, " + name);
    if (core_->version_ != version) root.member("version").refuse("the name of the file, " + version);
  }

  void load(std::string const& path) {
    const std::string text = read_file(path, Extent::kMostFiles - bytes_);
    bytes_ += text.size();
    files_.emplace_back(text, path);
  }

  // A file that is not there is a slip of the description that asks for it; one that cannot be read is a fault of the
  // system's, told with its reason.
  void open(std::string const& path, JsonValue asked, std::string const& expectation) {
    try {
      load(path);
    } catch (FileError const& error) {
      if (!is_file(path) && !is_directory(path)) asked.refuse(expectation);
      throw FileError(asked.place() + ": " + error.what());
    }
  }

  void add_file(JsonValue root, int depth) {
    root.allow_only({"format",    "core",        "version",      "extends",    "out_of_range", "retired",
                     "renamed",   "includes",    "changed",      "parameters", "definitions",  "device",
                     "interface", "clocks",      "pads",         "composites", "sub_cores",    "presets",
                     "boards",    "sub_presets", "measurements", "registers"});
    root.member("format").integer(1, 1);
    const std::string name(root.member("core").text());
    const std::string version(root.member("version").text());
    if (const auto base = root.find("extends")) extend(*base, name, depth);
    core_->name_ = name;
    core_->version_ = version;
    if (const auto word = root.find("interface"))
      core_->interface_ = static_cast<Interface>(
          word->choice({"fixed", "block", "plain", "pspmc", "cips", "psxl", "earlier", "staged"}));
    if (const auto words = root.find("out_of_range")) {
      Places known(extent_);
      for (char const* const place : {"parameter", "value", "range"}) known.put(place, "");
      filled(*words, words->text(), known);
      core_->out_of_range_ = words->text();
    }
    if (const auto list = root.find("sub_cores")) add_sub_cores(*list, directory_, core_->sub_cores_);
    if (const auto retired = root.find("retired")) retire(*retired);
    if (const auto renamed = root.find("renamed")) rename(*renamed);
    if (const auto includes = root.find("includes"))
      for (const JsonValue entry : includes->items()) include(entry);
    if (const auto changed = root.find("changed")) change(*changed);
    add_content(root, Places(extent_));
  }

  // `version` of the same core, or `core/version`.
  void extend(JsonValue base, std::string const& name, int depth) {
    if (directory_.empty()) base.refuse("a description that stands alone");
    const std::string_view words = base.text();
    const std::size_t slash = words.find('/');
    const std::string other(slash == words.npos ? name : words.substr(0, slash));
    const std::string version(slash == words.npos ? words : words.substr(slash + 1));
    if (!is_name(other) || version.empty() || version[0] == '.' || version.find('/') != std::string::npos)
      base.refuse("a version, or a core and its version such as xram/1.0");
    add_version(other, version, base, depth + 1);
  }

  // What descriptions and parts have alike.
  void add_content(JsonValue root, Places const& places) {
    presets_.add(root, places);
    if (const auto list = root.find("registers"))
      for (const JsonValue file : list->items()) add_registers(file, places);
    if (const auto list = root.find("composites")) add_composites(*list, places, composite_drafts_);
    if (const auto facts = root.find("device")) add_facts(*facts, places, core_->facts_, core_->fact_numbers_);
    if (const auto clocks = root.find("clocks")) clocks_.add(*clocks, places);
    if (const auto pads = root.find("pads")) pads_.add(*pads, places);
    if (const auto parameters = root.find("parameters"))
      for (const JsonValue entry : parameters->items()) add_parameters(entry, places);
    if (const auto definitions = root.find("definitions"))
      for (const JsonValue rule : definitions->members()) define(rule, places);
  }

  // --- registers, of which the files are read when somebody asks for them

  void add_registers(JsonValue file, Places const& places) {
    const std::string path = text(file, places);
    if (directory_.empty()) file.refuse("a description that stands alone");
    if (!is_path_below(path))
      file.refuse("the path of a file from the folder of the cores on, such as parts/registers/uart.json");
    core_->register_files_.push_back({directory_ + "/" + path, places.values()});
  }

  static bool is_path_below(std::string_view path) {
    return !path.empty() && path[0] != '/' && path[0] != '.' && path.find("/.") == std::string_view::npos;
  }

  // --- parts

  void include(JsonValue entry) {
    entry.allow_only({"file", "where"});
    const JsonValue root = part(entry.member("file"));
    root.allow_only({"format", "places", "parameters", "definitions", "device", "clocks", "pads", "composites",
                     "presets", "boards", "sub_presets", "measurements", "registers"});
    root.member("format").integer(1, 1);
    add_content(root, places_of(root, entry));
  }

  // Read once, however often it is included.
  JsonValue part(JsonValue file) {
    const std::string path(file.text());
    if (directory_.empty()) file.refuse("a description that stands alone");
    if (!is_path_below(path))
      file.refuse("the path of a part from the folder of the cores on, such as parts/uart.json");
    const auto [known, is_new] = part_numbers_.emplace(path, files_.size());
    if (is_new) open(directory_ + "/" + path, file, "a part that is there");
    return files_[known->second].root();
  }

  // What the part itself gives its places, then what the description says.
  Places places_of(JsonValue part, JsonValue entry) {
    Places values(extent_);
    const auto places = part.find("places");
    if (places)
      for (const JsonValue place : places->members()) {
        if (!is_name(place.name())) place.refuse("a place with a name of letters and digits");
        if (!place.is_null()) place.text();
      }
    if (const auto where = entry.find("where"))
      for (const JsonValue value : where->members()) {
        if (!places || !places->find(value.name())) value.refuse("a place that the part has");
        values.put(value.name(), value.text());
      }
    if (places) put_rest(*places, entry, values);
    return values;
  }

  static void put_rest(JsonValue places, JsonValue entry, Places& values) {
    std::string_view open;  // the first by name that nothing stands for
    for (const JsonValue place : places.members()) {
      if (values.contains(place.name())) continue;
      if (!place.is_null())
        values.put(place.name(), place.text());
      else if (open.empty() || place.name() < open)
        open = place.name();
    }
    if (!open.empty()) entry.refuse("what stands for the part's place " + std::string(open));
  }

  // --- parameters as drafts

  // Of drafts by their numbers, for the table of these.
  auto names_of_drafts() const {
    return [this](std::uint32_t number) { return drafts_[number].name; };
  }

  std::uint32_t draft(JsonValue value, std::string_view name) const {
    const auto found = core_->numbers_.find(name, names_of_drafts());
    if (!found) value.refuse("a parameter of what this description extends or includes");
    return *found;
  }

  void retire(JsonValue list) {
    for (const JsonValue item : list.items()) {
      Draft& retired = drafts_[draft(item, item.text())];
      core_->numbers_.erase(item.text(), names_of_drafts());
      retired.name = {};
    }
  }

  void rename(JsonValue object) {
    for (const JsonValue entry : object.members()) {
      const std::uint32_t number = draft(entry, entry.name());
      core_->numbers_.erase(entry.name(), names_of_drafts());
      Draft& renamed = drafts_[number];
      if (!renamed.former_names) renamed.former_names = std::make_unique<std::vector<std::string>>();
      renamed.former_names->push_back(std::exchange(renamed.name, claimed(entry, entry.text(), number)));
    }
  }

  void change(JsonValue list) {
    for (const JsonValue entry : list.items())
      for (Places const& places : written_out(entry.find("each"), Places(extent_))) {
        Draft& changed = drafts_[draft(entry.member("name"), borrowed_text(entry.member("name"), places))];
        changed.fields = &fields_.emplace_back(entry, changed.fields);
        changed.places.put(places);
      }
  }

  void add_parameters(JsonValue entry, Places const& known) {
    Fields const& fields = fields_.emplace_back(entry);
    if (!fields.find(Field::each)) return add_parameter(fields, known);
    for (Places const& places : written_out(fields.find(Field::each), known)) add_parameter(fields, places);
  }

  void add_parameter(Fields const& fields, Places const& places) {
    if (drafts_.size() == kMostParameters) fields.origin().refuse("at most 100000 parameters");
    const JsonValue name = required(fields, Field::name);
    const KeptText kept = claimed(name, borrowed_text(name, places), static_cast<std::uint32_t>(drafts_.size()));
    drafts_.push_back({kept, places, &fields});
  }

  // Says that it is missing.
  static JsonValue required(Fields const& fields, Field field) {
    const auto found = fields.find(field);
    return found ? *found : fields.origin().member(kFieldNames[static_cast<std::size_t>(field)]);
  }

  // The name, kept, for the parameter of this number alone.
  KeptText claimed(JsonValue value, std::string_view name, std::uint32_t number) {
    if (!is_name(name)) value.refuse("a name of letters, digits and _");
    if (name.size() > kLongestName) value.refuse("a name of at most 250 bytes");
    if (core_->numbers_.find(name, names_of_drafts())) value.refuse("a name that no other parameter has");
    core_->numbers_.add(name, number);
    return kept(name);
  }

  // Good as long as the core.
  KeptText kept(std::string_view text) { return std::string_view(compiler_.keep(text), text.size()); }

  void define(JsonValue rule, Places const& places) {
    const std::string name = filled(rule, rule.name(), places);
    if (!is_name(name) || name.size() > kLongestName) rule.refuse("a definition with a name of letters, digits and _");
    const auto [known, is_new] = definition_places_.emplace(name, definition_drafts_.size());
    if (!is_new) {
      definition_drafts_[known->second] = {name, rule, places};
      return;
    }
    if (definition_drafts_.size() == kMostParameters) rule.refuse("at most 100000 definitions");
    definition_drafts_.push_back({name, rule, places});
  }

  // --- parameters without their rules

  std::shared_ptr<Core const> finished() {
    if (core_->out_of_range_.empty()) core_->out_of_range_ = kOutOfRange;
    number_drafts();
    core_->value_lists_.emplace_back();
    core_->more_.push_back(Parameter::More{{}, &core_->value_lists_.front()});
    core_->parameters_.reserve(drafts_.size());
    for (Draft const& draft : drafts_) add_plain(draft);
    for (const std::uint32_t number : named_) name_for_users(drafts_[number], number);
    compile_definitions();
    for (std::size_t i = 0; i < drafts_.size(); ++i) compile_rules(drafts_[i], core_->parameters_[i]);
    add_searches();
    put_in_order();
    begin();
    check_defaults();
    core_->composites_ = composites_of(composite_drafts_, *core_);
    core_->presets_ = presets_.finished(*core_);
    return std::move(core_);
  }

  // The numbers that they were claimed with are those of the parameters, unless some have been retired.
  void number_drafts() {
    const bool any = std::erase_if(drafts_, [](Draft const& draft) { return draft.name.empty(); }) != 0;
    if (!any) return;
    core_->numbers_ = NumberTable();
    for (std::uint32_t i = 0; i < drafts_.size(); ++i) core_->numbers_.add(drafts_[i].name, i);
  }

  void add_plain(Draft const& draft) {
    core_->parameters_.push_back(Parameter(core_->more_.front()));
    Parameter& parameter = core_->parameters_.back();
    parameter.name = draft.name;
    parameter.type = scalar_type(required(*draft.fields, Field::type));
    parameter.widget =
        static_cast<Widget>(required(*draft.fields, Field::widget).choice({"COMBO", "EDIT", "CHECKBOX"}));
    parameter.words_ = &words(draft);
    if (const auto skips = draft.find(Field::skips)) parameter.skips = skips->boolean();
    parameter.default_value = value(required(*draft.fields, Field::default_), draft, parameter.type);
    if (const auto list = draft.find(Field::values)) permit(*list, draft, parameter);
    if (const auto pair = draft.find(Field::limits)) limit(*pair, draft, parameter);
    if (draft.former_names || draft.find(Field::user_names))
      named_.push_back(static_cast<std::uint32_t>(core_->parameters_.size() - 1));
  }

  // What neighbours have alike is kept once.
  Parameter::Words const& words(Draft const& draft) {
    Parameter::Words const* const before = core_->words_.empty() ? nullptr : &core_->words_.back();
    Parameter::Words own;
    const auto put = [&](KeptText Parameter::Words::*which, std::optional<JsonValue> value) {
      if (!value) return;
      const std::string_view text = borrowed_text(*value, draft.places);
      own.*which = before != nullptr && before->*which == text ? before->*which : kept(text);
    };
    put(&Parameter::Words::group, draft.find(Field::group));
    put(&Parameter::Words::display_name, draft.find(Field::display_name));
    put(&Parameter::Words::description, required(*draft.fields, Field::description));
    return before != nullptr && own == *before ? *before : core_->words_.emplace_back(own);
  }

  Parameter::More& more_of(Parameter& parameter) {
    if (parameter.more_ == &core_->more_.front())
      parameter.more_ = &core_->more_.emplace_back(Parameter::More{{}, &core_->value_lists_.front()});
    return *parameter.more_;
  }

  static Value value(JsonValue item, Draft const& draft, Type type) {
    std::optional<Value> read = read_value(type, borrowed_text(item, draft.places));
    if (!read) item.refuse("a value of type " + type.text());
    return std::move(*read);
  }

  void permit(JsonValue list, Draft const& draft, Parameter& parameter) {
    if (draft.find(Field::limits)) list.refuse("either values or limits");
    if (list.items().empty() || list.items().size() > kMostValues) list.refuse("1 to 10000 values");
    const std::size_t before = extent_.texts();
    if (permitted_.fields == draft.fields && extent_.has_room(permitted_.bytes)) {
      extent_.add_text(list, permitted_.bytes);
      more_of(parameter).values = permitted_.values;
    } else {
      more_of(parameter).values = &core_->value_lists_.emplace_back(read_values(list, draft, parameter.type));
      bool has_places = false;
      for (const JsonValue item : list.items()) has_places = has_places || item.text().find('$') != std::string::npos;
      permitted_ = {has_places ? nullptr : draft.fields, &parameter.values(), extent_.texts() - before};
    }
    auto const& values = parameter.values();
    if (std::find(values.begin(), values.end(), value_text(parameter.default_value)) == values.end())
      draft.find(Field::default_)->refuse("one of the permitted values");
  }

  static std::vector<std::string> read_values(JsonValue list, Draft const& draft, Type type) {
    std::vector<std::string> values;
    values.reserve(list.items().size());
    Seen seen;
    for (const JsonValue item : list.items()) {
      values.push_back(type == Type(Kind::text) ? text(item, draft.places) : value_text(value(item, draft, type)));
      if (seen.contains(values.back())) item.refuse("a value that is not in the list yet");
      seen.add(values.back());
    }
    return values;
  }

  void limit(JsonValue pair, Draft const& draft, Parameter& parameter) {
    if (!parameter.type.is_number()) pair.refuse("limits of a number");
    if (pair.items().size() != 2) pair.refuse("the least and the greatest value");
    const Value least = value(pair.items()[0], draft, parameter.type);
    const Value most = value(pair.items()[1], draft, parameter.type);
    const auto is_less = [](Value const& a, Value const& b) { return order(a.cell(), b.cell()) < 0; };
    if (is_less(most, least)) pair.refuse("the least value first");
    if (is_less(parameter.default_value, least) || is_less(most, parameter.default_value))
      draft.find(Field::default_)->refuse("a value within the limits");
    more_of(parameter).limits = {least, most};
  }

  void name_for_users(Draft const& draft, std::uint32_t number) {
    const auto add = [&](std::string const& name, JsonValue at) {
      const auto [place, is_new] = core_->user_numbers_.emplace(name, number);
      if (!is_new && place->second != number) at.refuse("a name that users have for no other parameter");
      if (core_->find(name)) at.refuse("a name that is not the engine's for a parameter");
      if (is_new) more_of(core_->parameters_[number]).user_names.push_back(name);
    };
    if (const auto list = draft.find(Field::user_names))
      for (std::string const& name : texts(*list, draft.places)) add(name, *list);
    if (!draft.former_names) return;
    for (std::string const& name : *draft.former_names) {
      add(name, draft.origin());
      former_numbers_.emplace(name, number);
    }
  }

  // --- rules

  // `compile()`, with the place of what it says.
  template <class Compile>
  static auto at(JsonValue value, Compile compile) {
    try {
      return compile();
    } catch (RuleError const& error) {
      throw JsonError(value.place() + ": column " + std::to_string(error.offset() + 1) + ": " + error.what());
    }
  }

  Rule rule(JsonValue value, Places const& places, std::optional<Type> wanted) const {
    const std::string_view source = borrowed_text(value, places);
    const auto compile = [&] {
      Rule made = at(value, [&] { return Rule::compile(source, *this, wanted, compiler_); });
      extent_.add_rule(value, made.bytes());
      return made;
    };
    Rule compiled = all_names_are_known_ && wanted ? remembered(source, *wanted, compile) : compile();
    compiled.set_place(place_within(value));
    return compiled;
  }

  // Many rules say the same: that a peripheral is enabled, that a range is from 0 to 1. Those that do mostly stand near
  // one another; a memory of all of them would cost a large model more than it saves. So it is with their places.
  static constexpr std::size_t kRemembered = 1024;
  struct RememberedPlace {
    char const* text = nullptr;
    char const* place = nullptr;
  };

  template <class Compile>
  Rule const& remembered(std::string_view source, Type wanted, Compile compile) const {
    Rule& known = rules_[std::hash<std::string_view>()(source) % kRemembered];
    if (!known.code_ || known.code_->text() != source || known.type() != wanted) known = compile();
    return known;
  }

  // Below the folder of cores, so that it reads the same wherever that lies.
  char const* place_within(JsonValue value) const {
    char const* const text = value.text().data();
    // Texts lie in a row in memory: so do their places here then.
    RememberedPlace& known = places_[(reinterpret_cast<std::uintptr_t>(text) >> 6) % kRemembered];
    if (known.text == text) return known.place;
    const std::string place = value.place();
    const bool is_below = !directory_.empty() && place.starts_with(directory_ + "/");
    known = {text, compiler_.keep(std::string_view(place).substr(is_below ? directory_.size() + 1 : 0))};
    return known.place;
  }

  // A definition may use those before it.
  void compile_definitions() {
    for (DefinitionDraft const& draft : definition_drafts_) {
      if (core_->find(draft.name) || core_->find_user_name(draft.name))
        draft.rule.refuse("a name that no parameter has");
      Rule compiled = rule(draft.rule, draft.places, std::nullopt);
      definition_numbers_.add(draft.name, static_cast<std::uint32_t>(core_->definitions_.size()));
      core_->definitions_.push_back({draft.name, std::move(compiled)});
    }
    all_names_are_known_ = true;
  }

  void compile_rules(Draft const& draft, Parameter& parameter) {
    const auto optional = [&](Field field, Type wanted) -> OptionalRule {
      const auto found = draft.find(field);
      if (!found) return std::nullopt;
      return rule(*found, draft.places, wanted);
    };
    parameter.enabled = optional(Field::enabled, Kind::truth);
    parameter.range = optional(Field::range, *Type::list_of(parameter.type));
    parameter.derived = optional(Field::derived, parameter.type);
    const auto messages = draft.find(Field::messages);
    if (!messages) return;
    Seen names;
    names.add("range");
    names.add("rule");
    if (messages->items().empty()) return;
    std::vector<Message>& all = more_of(parameter).messages;
    all.reserve(messages->items().size());
    for (const JsonValue entry : messages->items()) {
      entry.allow_only({"name", "severity", "when", "text"});
      Message message;
      const JsonValue name = entry.member("name"), said = entry.member("text");
      message.name = text(name, draft.places);
      if (names.contains(message.name)) name.refuse("a name that no other message here has");
      message.severity =
          static_cast<Severity>(entry.member("severity").choice({"info", "warning", "critical_warning", "error"}));
      message.when = rule(entry.member("when"), draft.places, Type(Kind::truth));
      const std::string_view source = borrowed_text(said, draft.places);
      message.text = at(said, [&] { return Rule::compile_template(source, *this, compiler_); });
      extent_.add_rule(said, message.text.bytes());
      all.push_back(std::move(message));
      names.add(all.back().name);
    }
  }

  // --- searches

  void add_searches() {
    const SectionContext context{*core_, [this](JsonValue value, Places const& places, std::optional<Type> wanted) {
                                   return rule(value, places, wanted);
                                 }};
    if (const auto clocks = clocks_.finished(context)) {
      core_->clocks_ = clocks;
      add_search(clocks);
    }
    if (const auto pads = pads_.finished(context)) {
      core_->pads_ = pads;
      add_search(pads);
    }
  }

  void add_search(std::shared_ptr<SearchSection const> search) {
    for (const std::uint32_t parameter : search->writes)
      core_->parameters_[parameter].search = static_cast<std::uint32_t>(core_->searches_.size());
    core_->searches_.push_back(std::move(search));
  }

  // --- the order of computing

  struct Node {
    Step step;
    std::uint32_t writes;  // a slot, or for a message its number among all
  };

  // `reads` is what it reads beside what the rule does.
  void add_node(Step step, Rule const* rule, std::uint32_t writes, std::initializer_list<std::uint32_t> reads = {}) {
    collected_.assign(reads);
    if (rule != nullptr) collected_.insert(collected_.end(), rule->reads().begin(), rule->reads().end());
    add_node({step, writes}, collected_);
  }
  void add_node(Node node, std::vector<std::uint32_t>& reads) {
    nodes_.push_back(node);
    node_reads_.add(reads);
  }

  // A range is read by its own value alone; it has a slot's number behind all others, for the order.
  void collect_nodes() {
    std::uint32_t messages = 0;
    nodes_.reserve(count_nodes());
    node_reads_.reserve(nodes_.capacity());
    for (std::uint32_t i = 0; i < core_->parameters_.size(); ++i) {
      Parameter const& parameter = core_->parameters_[i];
      const std::uint32_t user = Core::slot(i, Core::kUser), given = Core::slot(i, Core::kGiven);
      if (parameter.enabled)
        add_node({i, 0, Step::Kind::enabled}, parameter.enabled.get(), Core::slot(i, Core::kEnabled));
      if (parameter.range) core_->parameters_[i].range_number = plan_->ranges++;
      if (parameter.range) add_node({i, 0, Step::Kind::range}, parameter.range.get(), core_->range_slot(i));
      // What there is not is given twice.
      add_node({i, 0, Step::Kind::value}, parameter.derived.get(), Core::slot(i, Core::kValue),
               {user, given, parameter.range ? core_->range_slot(i) : user,
                parameter.search ? core_->search_slot(i) : user});
      core_->parameters_[i].first_message = messages;
      for (std::uint32_t m = 0; m < parameter.messages().size(); ++m) {
        const auto said = parameter.messages()[m].text.reads();
        collected_.assign(said.begin(), said.end());
        const auto reads = parameter.messages()[m].when.reads();
        collected_.insert(collected_.end(), reads.begin(), reads.end());
        add_node({{i, m, Step::Kind::message}, messages++}, collected_);
      }
    }
    for (std::uint32_t i = 0; i < core_->definitions_.size(); ++i)
      add_node({i, 0, Step::Kind::definition}, &core_->definitions_[i].rule, core_->definition_slot(i));
    for (std::uint32_t i = 0; i < core_->searches_.size(); ++i) {
      collected_ = core_->searches_[i]->reads;
      add_node({{i, 0, Step::Kind::search, true}, i}, collected_);
    }
    plan_->messages = messages;
  }

  std::size_t count_nodes() const {
    std::size_t count = core_->definitions_.size() + core_->searches_.size();
    for (Parameter const& parameter : core_->parameters_)
      count += 1 + static_cast<std::size_t>(parameter.enabled.has_value()) +
               static_cast<std::size_t>(parameter.range.has_value()) + parameter.messages().size();
    return count;
  }

  // Calls use(slot) for each that the node writes.
  template <class Use>
  void each_written(Node const& node, Use use) const {
    if (node.step.kind == Step::Kind::search)
      for (const std::uint32_t parameter : core_->searches_[node.step.parameter]->writes)
        use(core_->search_slot(parameter));
    else if (node.step.kind != Step::Kind::message)
      use(node.writes);
  }

  // Who writes a slot and who reads it is known by nodes first, and by steps when these are in order.
  void put_in_order() {
    collect_nodes();
    const std::size_t slots = core_->slot_count() + 2 * core_->parameters_.size();
    const std::uint32_t nothing = Core::kNoStep;
    std::vector<std::uint32_t>& writer = core_->writers_;
    writer.assign(slots, nothing);
    for (std::uint32_t n = 0; n < nodes_.size(); ++n)
      each_written(nodes_[n], [&](std::uint32_t slot) { writer[slot] = n; });
    std::vector<std::uint32_t> open(nodes_.size(), 0);  // how many of what it reads are not computed yet
    for (std::uint32_t n = 0; n < nodes_.size(); ++n)
      for (const std::uint32_t slot : node_reads_[n])
        if (writer[slot] != Core::kNoStep) ++open[n];
    core_->readers_ = node_reads_.holders(slots);
    // Among what may come next, the first as described: what is computed in a row lies in a row in memory.
    LeastFirst ready(nodes_.size());
    for (std::uint32_t n = 0; n < nodes_.size(); ++n)
      if (open[n] == 0) ready.add(n);
    std::vector<std::uint32_t> steps(nodes_.size());  // by node
    core_->steps_.reserve(nodes_.size());
    core_->reads_.reserve(nodes_.size());
    plan_->steps.reserve(nodes_.size());
    while (!ready.empty()) {
      const std::uint32_t n = ready.take();
      steps[n] = static_cast<std::uint32_t>(core_->steps_.size());
      each_written(nodes_[n], [&](std::uint32_t slot) {
        for (const std::uint32_t next : core_->readers_[slot])
          if (--open[next] == 0) ready.add(next);
      });
      core_->steps_.push_back(nodes_[n].step);
      plan_->steps.push_back(planned(nodes_[n]));
      core_->reads_.add_ordered(node_reads_[n]);
    }
    if (core_->steps_.size() < nodes_.size()) refuse_circle(open, writer);
    for (std::uint32_t& node : writer)
      if (node != nothing) node = steps[node];
    core_->readers_.renumber(steps);
    nodes_ = {};
    node_reads_ = {};
    plan_->bodies = compiler_.bodies();
    plan_->store = compiler_.store();
    core_->plan_ = plan_;
  }

  PlannedStep planned(Node const& node) {
    PlannedStep step;
    step.kind = node.step.kind;
    step.parameter = node.step.parameter;
    step.writes = node.writes;
    Rule const* const rule = rule_of(*core_, node.step);
    step.has_rule = rule != nullptr;
    if (step.has_rule) plan(*rule->code_, step);
    if (step.kind == Step::Kind::range) step.writes = core_->parameters_[step.parameter].range_number;
    if (step.kind != Step::Kind::value) return step;
    Parameter const& parameter = core_->parameters_[step.parameter];
    if (!step.has_rule && parameter.range) step.slot = parameter.range_number;
    step.has_range_rule = parameter.range.has_value();
    step.has_limits = parameter.has_limits();
    step.has_search = parameter.search.has_value();
    return step;
  }

  void plan(Code const& code, PlannedStep& step) {
    if (const auto slot = code.slot()) {
      step.slot = *slot;
      return;
    }
    step.body = code.body->number;
    step.reads = static_cast<std::uint32_t>(plan_->reads.size());
    plan_->reads.insert(plan_->reads.end(), code.reads().begin(), code.reads().end());
  }

  // Walks against the arrows from a node that is left until one comes round.
  [[noreturn]] void refuse_circle(std::vector<std::uint32_t> const& open,
                                  std::vector<std::uint32_t> const& writer) const {
    const auto stuck = [&](std::uint32_t n) { return open[n] != 0; };
    std::uint32_t at = 0;
    while (!stuck(at)) ++at;
    std::vector<std::uint32_t> path;
    while (std::find(path.begin(), path.end(), at) == path.end()) {
      path.push_back(at);
      for (const std::uint32_t slot : node_reads_[path.back()])
        if (writer[slot] != Core::kNoStep && stuck(writer[slot])) at = writer[slot];
    }
    path.erase(path.begin(), std::find(path.begin(), path.end(), at));
    std::string names;
    for (const std::uint32_t n : path) names += name_of(nodes_[n].step) + " <- ";
    throw JsonError(place_of(nodes_[at].step) + ": depends on itself: " + names + name_of(nodes_[at].step));
  }

  std::string name_of(Step const& step) const {
    if (step.kind == Step::Kind::definition) return core_->definitions_[step.parameter].name;
    if (step.kind == Step::Kind::search) return std::string(core_->searches_[step.parameter]->name());
    const KeptText name = core_->parameters_[step.parameter].name;
    if (step.kind == Step::Kind::enabled) return "enabled(" + name + ")";
    return step.kind == Step::Kind::range ? "range of " + name : name;
  }

  std::string place_of(Step const& step) const {
    if (step.kind == Step::Kind::definition) return definition_drafts_[step.parameter].rule.place();
    if (step.kind == Step::Kind::search) return core_->searches_[step.parameter]->place;
    Draft const& draft = drafts_[step.parameter];
    const Field field = step.kind == Step::Kind::enabled ? Field::enabled
                        : step.kind == Step::Kind::range ? Field::range
                                                         : Field::derived;
    return draft.find(field).value_or(draft.origin()).place();
  }

  // Of a definition or a search.
  std::string place_of_shared(std::string const& name) const {
    for (DefinitionDraft const& draft : definition_drafts_)
      if (draft.name == name) return draft.rule.place();
    for (auto const& search : core_->searches_)
      if (search->name() == name) return search->place;
    return core_->name_;
  }

  void begin() {
    const std::size_t parameters = core_->parameters_.size();
    Cells begin(core_->slot_count() - parameters * Core::kSlots, parameters);
    for (std::uint32_t i = 0; i < core_->parameters_.size(); ++i) {
      Parameter const& parameter = core_->parameters_[i];
      begin.put(Core::slot(i, Core::kValue), parameter.default_value.cell());
      begin.put(Core::slot(i, Core::kUser), parameter.default_value.cell());
      begin.put(Core::slot(i, Core::kGiven), Cell::of(false));
      begin.put(Core::slot(i, Core::kEnabled), Cell::of(!parameter.enabled));
    }
    for (std::uint32_t i = 0; i < core_->facts_.size(); ++i)
      begin.put(core_->fact_slot(i), core_->facts_[i].without.cell());
    core_->beginning_ = std::move(begin);
  }

  // Of what a step has computed.
  std::size_t bytes_of(Instance const& instance, Step const& step) const {
    switch (step.kind) {
      case Step::Kind::range:
        return cores::bytes(instance.range_cell(step.parameter));
      case Step::Kind::value:
        return cores::bytes(instance.cells_[Core::slot(step.parameter, Core::kValue)]);
      case Step::Kind::definition:
        return cores::bytes(instance.cells_[core_->definition_slot(step.parameter)]);
      default:
        return 0;
    }
  }

  // What nobody has changed yet is without fault, and within its range.
  void check_defaults() const {
    std::size_t bytes = 0;
    const Instance::After after = [&](Instance const& so_far, std::uint32_t number) {
      Step const& step = core_->steps()[number];
      bytes += bytes_of(so_far, step);
      if (so_far.machine_.spent() > kMostDefaultSteps || bytes > kMostDefaultBytes)
        throw JsonError(place_of(step) +
                        ": with all defaults, the rules up to here take too many steps or too much memory");
    };
    Instance fresh(std::shared_ptr<Core const>(core_.get(), [](Core const*) {}), {}, after);
    for (std::uint32_t i = 0; i < drafts_.size(); ++i) {
      Parameter const& parameter = core_->parameters_[i];
      if (parameter.range && !parameter.derived && !parameter.search &&
          fresh.backup(i) != value_text(parameter.default_value))
        drafts_[i].find(Field::default_)->refuse("a value that the range permits with all defaults");
    }
    for (Due const& due : fresh.messages()) {
      if (due.name != "range" && due.name != "rule") continue;
      if (due.parameter == Due::kNoParameter)
        throw JsonError(place_of_shared(due.text.substr(0, due.text.find(':'))) + ": with all defaults, " + due.text);
      Draft const& draft = drafts_[due.parameter];
      throw JsonError(draft.find(due.name == "range" ? Field::default_ : Field::name)->place() +
                      ": with all defaults, " + due.text);
    }
  }

  std::string directory_;
  std::shared_ptr<Core> core_;
  mutable Extent extent_;  // counts what rules come to as well
  std::size_t bytes_ = 0;  // of the files
  std::vector<JsonFile> files_;
  std::map<std::string, std::size_t, std::less<>> part_numbers_;  // among the files
  std::deque<Fields> fields_;
  struct {
    Fields const* fields = nullptr;  // of rows of which each permits the same values; none: no such rows
    std::vector<std::string> const* values = nullptr;
    std::size_t bytes = 0;  // of their texts
  } permitted_;
  std::vector<Draft> drafts_;
  std::vector<std::uint32_t> named_;                                  // those that users have other names for, or had
  std::map<std::string, std::uint32_t, std::less<>> former_numbers_;  // by the names that parameters had
  std::vector<DefinitionDraft> definition_drafts_;
  std::map<std::string, std::size_t, std::less<>> definition_places_;  // by name
  std::vector<CompositeDraft> composite_drafts_;
  PresetDrafts presets_;
  NumberTable definition_numbers_;
  bool all_names_are_known_ = false;                          // the same text means the same from here on
  mutable std::vector<Rule> rules_{kRemembered};              // by hashes of their texts, each the latest
  mutable std::vector<RememberedPlace> places_{kRemembered};  // by where their texts lie, likewise
  ClockDraft clocks_;
  PadDraft pads_;
  mutable Compiler compiler_;
  std::vector<Node> nodes_;
  NumberLists node_reads_;                // by node
  std::vector<std::uint32_t> collected_;  // what a node reads
  std::shared_ptr<Plan> plan_ = std::make_shared<Plan>();
};

void NumberLists::add(std::vector<std::uint32_t>& numbers) {
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  add_ordered(numbers);
}

void NumberLists::add_ordered(std::span<std::uint32_t const> numbers) {
  numbers_.insert(numbers_.end(), numbers.begin(), numbers.end());
  ends_.push_back(static_cast<std::uint32_t>(numbers_.size()));
}

void NumberLists::reserve(std::size_t lists) {
  ends_.reserve(lists);
  numbers_.reserve(lists);  // mostly there is more than one in each
}

NumberLists NumberLists::holders(std::size_t count) const {
  NumberLists holders;
  holders.ends_.assign(count, 0);
  for (const std::uint32_t number : numbers_) ++holders.ends_[number];
  // What is a count first becomes where the list begins, and with each holder that is put there, where it ends.
  std::uint32_t begin = 0;
  for (std::uint32_t& end : holders.ends_) begin += std::exchange(end, begin);
  holders.numbers_.resize(numbers_.size());
  for (std::uint32_t list = 0; list < size(); ++list)
    for (const std::uint32_t number : (*this)[list]) holders.numbers_[holders.ends_[number]++] = list;
  return holders;
}

void NumberLists::renumber(std::span<std::uint32_t const> others) {
  for (std::uint32_t& number : numbers_) number = others[number];
  std::uint32_t begin = 0;
  for (const std::uint32_t end : ends_) {
    if (end - begin > 1) std::sort(numbers_.begin() + begin, numbers_.begin() + end);
    begin = end;
  }
}

namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t);
constexpr std::uint64_t kEachByte = 0x0101010101010101;

// The bytes of `text` from `at` on, as many as a word has, and nothing behind its end.
std::uint64_t word_of(std::string_view text, std::size_t at) {
  std::uint64_t word = 0;
  if (text.size() - at >= kWord) {
    std::memcpy(&word, text.data() + at, kWord);
  } else {
    for (std::size_t i = text.size(); i > at; --i) word = word << 8 | static_cast<unsigned char>(text[i - 1]);
  }
  return word;
}

// The highest bit of each byte that is a digit, or like one, which no name has.
std::uint64_t digits_of(std::uint64_t word) {
  const std::uint64_t others = (word ^ 0x30 * kEachByte) >> 4 & 0x0F * kEachByte;  // nothing for a digit
  return ~(others + 0x7F * kEachByte) & 0x80 * kEachByte;
}

std::uint64_t mixed(std::uint64_t word, std::size_t at) {
  constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15;
  __extension__ using Product = unsigned __int128;
  const Product product = static_cast<Product>(word ^ kFactor * (at + 1)) * kFactor;
  return static_cast<std::uint64_t>(product >> 64) ^ static_cast<std::uint64_t>(product);
}

}  // namespace

// The three lowest bits are those of the last digit, and all else has a say in the others.
std::uint32_t NumberTable::hash_of(std::string_view name) {
  constexpr std::uint64_t kLow = 7;
  std::uint64_t hash = name.size(), without_low = 0;
  std::optional<std::uint64_t> low;
  for (std::size_t at = 0; at < name.size(); at += kWord) {
    const std::uint64_t word = word_of(name, at);
    const std::uint64_t own = mixed(word, at);
    hash += own;
    const std::uint64_t digits = digits_of(word);
    if (digits == 0) continue;
    const int last = (63 - std::countl_zero(digits)) / 8 * 8;  // where it begins
    low = word >> last & kLow;
    without_low = mixed(word & ~(kLow << last), at) - own;
  }
  hash += without_low;
  hash ^= hash >> 32;
  return static_cast<std::uint32_t>(low ? (hash & ~kLow) | *low : hash);
}

std::shared_ptr<Core const> Core::read(std::string const& directory, std::string const& name,
                                       std::string const& version) {
  return CoreReader(directory).read(name, version);
}

std::shared_ptr<Core const> Core::parse(std::string_view text, std::string const& file) {
  return CoreReader("").parse(text, file);
}

std::string Core::out_of_range(std::string_view parameter, std::string_view value, std::string_view range) const {
  const std::pair<std::string_view, std::string_view> places[] = {
      {"${parameter}", parameter}, {"${value}", value}, {"${range}", range}};
  std::string text;
  for (std::size_t at = 0; at < out_of_range_.size();) {
    std::string_view rest = std::string_view(out_of_range_).substr(at);
    const auto place = std::find_if(std::begin(places), std::end(places),
                                    [&](auto const& candidate) { return rest.starts_with(candidate.first); });
    text += place == std::end(places) ? rest.substr(0, 1) : place->second;
    at += place == std::end(places) ? 1 : place->first.size();
  }
  return text;
}

std::optional<std::uint32_t> Core::find(std::string_view engine_name) const {
  return numbers_.find(engine_name, [this](std::uint32_t number) { return parameters_[number].name; });
}

std::optional<std::uint32_t> Core::find_user_name(std::string_view name) const {
  const auto found = user_numbers_.find(name);
  return found == user_numbers_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::uint32_t> Core::find_fact(std::string_view word) const {
  return fact_numbers_.find(word, [this](std::uint32_t number) -> std::string const& { return facts_[number].word; });
}

bool Core::is_settable(std::uint32_t parameter) const {
  OptionalRule const& derived = parameters_[parameter].derived;
  if (!derived) return true;
  const auto reads = derived->reads();
  return std::find(reads.begin(), reads.end(), slot(parameter, kUser)) != reads.end();
}

std::uint32_t Core::slot_count() const {
  return static_cast<std::uint32_t>(parameters_.size() * kSlots + facts_.size() + definitions_.size());
}

std::uint32_t Core::fact_slot(std::uint32_t fact) const {
  return static_cast<std::uint32_t>(parameters_.size()) * kSlots + fact;
}

std::uint32_t Core::definition_slot(std::uint32_t definition) const {
  return fact_slot(static_cast<std::uint32_t>(facts_.size())) + definition;
}

std::string_view tag_of(Severity severity) {
  constexpr std::string_view kTags[] = {"Info:", "Warning:", "Critical_warning:", ""};
  return kTags[static_cast<std::size_t>(severity)];
}

Severity severity_told(std::string_view text) {
  for (const Severity severity : {Severity::info, Severity::warning, Severity::critical_warning})
    if (text.starts_with(tag_of(severity))) return severity;
  return Severity::error;
}

std::optional<Value> read_value(Type type, std::string_view text) {
  switch (type.kind()) {
    case Kind::truth:
      if (text == "1" || text == "true") return Value(true);
      if (text == "0" || text == "false") return Value(false);
      return std::nullopt;
    case Kind::integer: {
      const std::optional<Decimal> number = Decimal::read(text);
      if (!number || !number->is_whole()) return std::nullopt;
      return Value(number->mantissa());
    }
    case Kind::decimal: {
      const std::optional<Decimal> number = Decimal::read(text);
      return number ? std::optional(Value(*number)) : std::nullopt;
    }
    default:
      return Value(std::string(text));
  }
}

std::string value_text(Value const& value) {
  if (value.cell().kind() == Kind::truth) return value.cell().truth() ? "1" : "0";
  return value.text();
}

}  // namespace kdi::cores
