#include "host/kdish/command_reader.h"

#include <algorithm>
#include <array>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"

namespace kdish {
namespace {

using kdi::JsonValue;

constexpr std::string_view kEnd = ".json";
constexpr std::string_view kDocs = "docs/";
constexpr int kDeepestGroup = 16;  // of groups that name groups

// ------------------------------------------------------------------------------------------------ fields

std::string text_or_none(JsonValue object, char const* name) {
  const auto found = object.find(name);
  return std::string(found ? found->text() : "");
}

// What people read is never empty.
std::string words_at(JsonValue value) {
  if (value.text().empty()) value.refuse("words");
  return std::string(value.text());
}
std::string words_of(JsonValue object, char const* name) { return words_at(object.member(name)); }

std::vector<std::string> texts_of(JsonValue object, char const* name) {
  std::vector<std::string> texts;
  if (const auto found = object.find(name))
    for (const JsonValue text : found->items()) texts.emplace_back(text.text());
  return texts;
}

// Whether `pattern`, in which each `*` stands for anything, is of `name`.
bool fits(std::string_view pattern, std::string_view name) {
  const std::size_t star = pattern.find('*');
  if (star == std::string_view::npos) return pattern == name;
  if (!name.starts_with(pattern.substr(0, star))) return false;
  for (std::size_t at = star; at <= name.size(); ++at)
    if (fits(pattern.substr(star + 1), name.substr(at))) return true;
  return false;
}

std::vector<std::string> fitting(std::vector<std::string> const& names, std::string_view pattern) {
  std::vector<std::string> found;
  std::copy_if(names.begin(), names.end(), std::back_inserter(found),
               [&](std::string const& name) { return fits(pattern, name); });
  return found;
}

// ------------------------------------------------------------------------------------------------ groups

// Where the references of an entry, or of a group that it came to, are looked up.
struct Scope {
  CommandReader& reader;
  std::string family;
  std::vector<std::string> const& commands;  // of the entry
  int depth = 0;
};

struct Group {
  Scope scope;
  JsonValue value;
};

// `name` in this family's file, or `family/name`.
Group group_of(Scope const& scope, JsonValue reference, char const* kind) {
  const std::string_view text = reference.text();
  const std::size_t slash = text.find('/');
  std::string family(slash == text.npos ? scope.family : text.substr(0, slash));
  const auto found = scope.reader.group(family, kind, std::string(slash == text.npos ? text : text.substr(slash + 1)));
  if (!found) reference.refuse(std::string("a group among the ") + kind);
  if (scope.depth == kDeepestGroup) reference.refuse("a group that does not lead back to itself");
  return {{scope.reader, std::move(family), scope.commands, scope.depth + 1}, *found};
}

// The commands of the entry that `only` names; none if it names others.
std::vector<std::string> read_only(Scope const& scope, JsonValue only) {
  std::vector<std::string> commands;
  for (const JsonValue pattern : only.items())
    for (std::string const& name : fitting(scope.commands, pattern.text())) commands.push_back(name);
  scope.reader.note_only(only, !commands.empty());
  return commands;
}

void require_type(JsonValue type) {
  if (std::find(std::begin(kWordTypes), std::end(kWordTypes), type.text()) == std::end(kWordTypes))
    type.refuse("one of " + kdi::text::joined(kWordTypes, ", "));
}

void add_key(Scope const& scope, JsonValue value, std::vector<Key>& keys) {
  Key key{std::string(value.name()), "", {}, "", {}};
  if (value.is_text()) {
    key.meaning = words_at(value);
  } else {
    value.allow_only({"meaning", "only", "type", "values"});
    key.meaning = words_of(value, "meaning");
    key.type = text_or_none(value, "type");
    if (!key.type.empty()) require_type(value.member("type"));
    key.values = texts_of(value, "values");
    if (const auto only = value.find("only")) {
      key.only = read_only(scope, *only);
      if (key.only.empty()) return;
    }
  }
  for (Key const& other : keys)
    if (other.name == key.name) value.refuse("a key that is not there yet");
  keys.push_back(std::move(key));
}

// A group's name, keys with their meanings, or a list of these.
void add_keys(Scope const& scope, JsonValue value, std::vector<Key>& keys) {
  if (value.is_text()) {
    const Group group = group_of(scope, value, "keys");
    add_keys(group.scope, group.value, keys);
  } else if (value.is_list()) {
    for (const JsonValue one : value.items()) add_keys(scope, one, keys);
  } else {
    for (const JsonValue key : value.members()) add_key(scope, key, keys);
  }
}

// Fields of something new, or those in which it differs from what it was copied from.
class Fields {
 public:
  Fields(JsonValue value, bool is_new) : value_(value), is_new_(is_new) {}

  void words(char const* name, std::string& text) const {
    if (is_new_ || value_.find(name)) text = words_of(value_, name);
  }
  // What stands in a group has the group's name, unless it says otherwise.
  void own_name(std::string& name) const {
    if (const auto found = value_.find("name"))
      name = words_at(*found);
    else if (is_new_)
      name = value_.name().empty() ? words_of(value_, "name") : value_.name();
  }
  void text(char const* name, std::string& text) const {
    if (value_.find(name)) text = text_or_none(value_, name);
  }
  void flag(char const* name, bool& flag) const {
    if (const auto found = value_.find(name)) flag = found->boolean();
  }

 private:
  JsonValue value_;
  bool is_new_;
};

// The fields that a word and an option have in common.
void read_common(Scope const& scope, JsonValue value, Fields const& fields, Word& word) {
  fields.own_name(word.name);
  fields.words("type", word.type);
  if (value.find("type")) require_type(value.member("type"));
  fields.words("meaning", word.meaning);
  if (value.find("values")) word.values = texts_of(value, "values");
  if (const auto keys = value.find("keys")) {
    if (word.type != "dict" && word.type != "pairs" && word.type != "list") keys->refuse("no keys for this type");
    word.keys.clear();
    add_keys(scope, *keys, word.keys);
  }
}

// What an entry lists, and may name in place of telling.
template <class Item>
struct ItemOf;

template <>
struct ItemOf<Word> {
  static constexpr char const* kGroups = "words";
  static void read(Scope const& scope, JsonValue value, Fields const& fields, Word& word) {
    value.allow_only({"use", "name", "type", "meaning", "optional", "repeated", "values", "keys"});
    read_common(scope, value, fields, word);
    if (word.type == "flag") value.member("type").refuse("a type of words; flags are options");
    fields.flag("optional", word.optional);
    fields.flag("repeated", word.repeated);
  }
  static bool is_same(Word const& one, Word const& other) { return one.name == other.name; }
};

template <>
struct ItemOf<Option> {
  static constexpr char const* kGroups = "options";
  static void read(Scope const& scope, JsonValue value, Fields const& fields, Option& option) {
    value.allow_only({"use", "name", "type", "meaning", "required", "values", "keys"});
    read_common(scope, value, fields, option.word);
    if (option.word.name[0] != '-') value.refuse("a name that begins with -");
    if (option.word.is_pairs()) value.member("type").refuse("a type of one value");
    fields.flag("required", option.required);
  }
  static bool is_same(Option const& one, Option const& other) { return one.word.name == other.word.name; }
};

template <>
struct ItemOf<CommandError> {
  static constexpr char const* kGroups = "errors";
  static void read(Scope const& /*scope*/, JsonValue value, Fields const& fields, CommandError& error) {
    value.allow_only({"use", "when", "text", "then", "script", "before_count"});
    fields.words("when", error.when);
    fields.words("text", error.text);
    fields.text("then", error.then);
    fields.text("script", error.script);
    fields.flag("before_count", error.is_before_count);
  }
  static bool is_same(CommandError const& one, CommandError const& other) { return one.when == other.when; }
};

template <class Item>
void add_items(Scope const& scope, JsonValue value, std::vector<Item>& items) {
  if (value.is_text()) {
    const Group group = group_of(scope, value, ItemOf<Item>::kGroups);
    return add_items(group.scope, group.value, items);
  }
  if (value.is_list()) {
    for (const JsonValue one : value.items()) add_items(scope, one, items);
    return;
  }
  Item item;
  const auto use = value.find("use");
  if (use) {
    std::vector<Item> base;
    add_items(scope, *use, base);
    if (base.size() != 1) use->refuse("a group of one");
    item = std::move(base[0]);
  }
  ItemOf<Item>::read(scope, value, Fields(value, !use), item);
  for (Item const& other : items)
    if (ItemOf<Item>::is_same(other, item)) value.refuse("something that is not there yet");
  items.push_back(std::move(item));
}

// Paragraphs stand as they are; groups are named in objects.
std::vector<std::string> read_notes(Scope const& scope, JsonValue list) {
  std::vector<std::string> notes;
  for (const JsonValue note : list.items()) {
    if (note.is_text()) {
      notes.push_back(words_at(note));
      continue;
    }
    note.allow_only({"use"});
    notes.push_back(words_at(group_of(scope, note.member("use"), "notes").value));
  }
  return notes;
}

// ------------------------------------------------------------------------------------------------ shapes

struct Result {
  Shape shape;
  std::string words;  // of a group that tells them
};

Result read_result(Scope const& scope, JsonValue value);

Shape::Part read_part(Scope const& scope, JsonValue value, bool may_be_optional) {
  Shape::Part part;
  part.name = value.name();
  if (may_be_optional && part.name.size() > 1 && part.name.back() == '?') {
    part.name.pop_back();
    part.optional = true;
  }
  part.shape = read_result(scope, value).shape;
  return part;
}

Result read_named_shape(Scope const& scope, JsonValue name) {
  constexpr std::array<std::string_view, 4> kNames{"text", "integer", "number", "boolean"};
  constexpr Shape::Kind kKinds[] = {Shape::Kind::text, Shape::Kind::integer, Shape::Kind::number, Shape::Kind::boolean};
  const auto* const found = std::find(kNames.begin(), kNames.end(), name.text());
  if (found != kNames.end()) return {{kKinds[found - kNames.begin()], {}}, ""};
  const Group group = group_of(scope, name, "shapes");
  if (group.value.is_text() || !group.value.find("shape")) return read_result(group.scope, group.value);
  group.value.allow_only({"shape", "result"});
  return {read_result(group.scope, group.value.member("shape")).shape, words_of(group.value, "result")};
}

Result read_result(Scope const& scope, JsonValue value) {
  if (value.is_text()) return read_named_shape(scope, value);
  Shape shape;
  value.allow_only({"list", "tuple", "dict", "either"});
  if (value.members().size() != 1) value.refuse("one of list, tuple, dict, either");
  const JsonValue inner = value.members()[0];
  if (inner.name() == "list") {
    shape.kind = Shape::Kind::list;
    shape.parts.push_back({"", false, read_result(scope, inner).shape});
    return {shape, ""};
  }
  if (inner.name() == "either") {
    shape.kind = Shape::Kind::either;
    for (const JsonValue one : inner.items()) shape.parts.push_back({"", false, read_result(scope, one).shape});
    if (shape.parts.size() < 2) inner.refuse("two shapes at least");
    return {shape, ""};
  }
  shape.kind = inner.name() == "tuple" ? Shape::Kind::tuple : Shape::Kind::dict;
  for (const JsonValue part : inner.members())
    shape.parts.push_back(read_part(scope, part, shape.kind == Shape::Kind::dict));
  if (shape.parts.empty()) inner.refuse("a part at least");
  return {shape, ""};
}

// ------------------------------------------------------------------------------------------------ entries

// What a family's file says before its entries.
struct Frame {
  CommandReader& reader;
  std::string family;
  std::optional<JsonValue> naming;
  std::vector<JsonValue> defaults;  // of the page, then of the file
};

void check_defaults(JsonValue defaults) {
  defaults.allow_only(
      {"naming", "words", "options", "surplus", "odd", "wrong_count", "shape", "result", "setup", "errors", "notes"});
}

// An entry's own field, or what the page or the file gives for it.
class Entry {
 public:
  Entry(JsonValue value, std::vector<JsonValue> const& defaults) : value_(value), defaults_(defaults) {
    value.allow_only({"naming", "names", "summary", "words", "options", "surplus", "odd", "wrong_count", "shape",
                      "result", "answers", "example", "errors", "notes"});
  }
  JsonValue own() const { return value_; }
  std::optional<JsonValue> find(char const* name) const {
    auto found = value_.find(name);
    for (auto at = defaults_.begin(); !found && at != defaults_.end(); ++at) found = at->find(name);
    return found;
  }

 private:
  JsonValue value_;
  std::vector<JsonValue> const& defaults_;
};

std::vector<std::string> names_by(Frame const& frame, JsonValue naming, std::string const& base) {
  const auto patterns = frame.naming ? frame.naming->find(naming.text()) : std::nullopt;
  if (!patterns) naming.refuse("one of the file's ways of naming");
  std::vector<std::string> names;
  for (const JsonValue pattern : patterns->items()) {
    const std::size_t star = pattern.text().find('*');
    if (star == std::string::npos) pattern.refuse("a name with * for what differs");
    names.push_back(std::string(pattern.text()).replace(star, 1, base));
  }
  return names;
}

void read_names(Frame const& frame, Entry const& entry, Command& command) {
  JsonValue where = entry.own();
  command.base = where.name();
  if (const auto names = where.find("names")) {
    where = *names;
    for (const JsonValue one : where.items()) command.names.push_back(words_at(one));
  } else if (const auto naming = entry.find("naming")) {
    command.names = names_by(frame, *naming, command.base);
  } else {
    command.names = {command.base};
  }
  if (command.names.empty()) where.refuse("a command with a name");
  for (std::string const& one : command.names) {
    if (one.empty() || one.starts_with("::")) where.refuse("names without :: in front");
    if (!frame.reader.take(one)) where.refuse("names that have no other entry");
  }
}

// One text for all names, or one for each pattern of names.
std::map<std::string, std::string> read_by_name(JsonValue value, std::vector<std::string> const& names) {
  std::map<std::string, std::string> texts;
  if (value.is_text()) {
    for (std::string const& name : names) texts.emplace(name, value.text());
    return texts;
  }
  for (const JsonValue one : value.members()) {
    const std::vector<std::string> found = fitting(names, one.name());
    if (found.empty()) one.refuse("the names of some of the entry's commands");
    for (std::string const& name : found)
      if (!texts.emplace(name, one.text()).second) one.refuse("names that have no other text");
  }
  for (std::string const& name : names)
    if (!texts.contains(name)) value.refuse("a text for " + name);
  return texts;
}

void read_example(JsonValue value, std::optional<JsonValue> setup, Command& command) {
  value.allow_only({"setup", "script", "result", "pattern"});
  Example& example = command.example;
  example.setup = setup ? setup->text() : std::string();
  if (value.find("setup")) example.setup = text_or_none(value, "setup");
  example.script = words_of(value, "script");
  example.is_pattern = value.find("pattern").has_value();
  command.results = read_by_name(value.member(example.is_pattern ? "pattern" : "result"), command.names);
}

void read_counting(Entry const& entry, Command& command) {
  if (const auto surplus = entry.find("surplus"))
    command.ignores_surplus = surplus->choice({"refused", "ignored"}) == 1;
  if (const auto odd = entry.find("odd")) {
    command.refuses_odd = odd->choice({"accepted", "refused"}) == 1;
    const bool is_clear =
        std::all_of(command.words.begin(), command.words.end(),
                    [](Word const& word) { return word.is_pairs() || !(word.optional || word.repeated); }) &&
        std::all_of(command.options.begin(), command.options.end(),
                    [](Option const& option) { return option.word.type != "flag"; });
    if (command.refuses_odd && !is_clear) odd->refuse("words of which only names and values may be left out");
  }
  if (const auto texts = entry.find("wrong_count")) command.wrong_count = read_by_name(*texts, command.names);
}

void check_words(JsonValue where, std::vector<Word> const& words) {
  bool is_last = false;
  for (Word const& word : words) {
    if (is_last) where.refuse("nothing behind words that stand for all that follow");
    is_last = word.repeated || word.is_pairs();
  }
}

Command read_entry(Frame const& frame, JsonValue value) {
  const Entry entry(value, frame.defaults);
  Command command;
  read_names(frame, entry, command);
  command.summary = words_of(value, "summary");
  const Scope scope{frame.reader, frame.family, command.names};
  const auto list = [&](char const* name, auto& items) {
    if (const auto found = entry.find(name))
      for (const JsonValue one : found->items()) add_items(scope, one, items);
  };
  list("words", command.words);
  check_words(value, command.words);
  list("options", command.options);
  list("errors", command.errors);
  read_counting(entry, command);
  const auto shape = entry.find("shape");
  Result result = read_result(scope, shape ? *shape : value.member("shape"));
  command.shape = std::move(result.shape);
  const auto words = entry.find("result");
  command.result = words ? words_at(*words) : result.words.empty() ? words_of(value, "result") : result.words;
  if (const auto answers = value.find("answers")) add_keys(scope, *answers, command.answer.keys);
  read_example(value.member("example"), entry.find("setup"), command);
  if (const auto notes = entry.find("notes")) command.notes = read_notes(scope, *notes);
  return command;
}

std::vector<Command> read_commands(Frame const& frame, JsonValue entries) {
  std::vector<Command> commands;
  for (const JsonValue entry : entries.members()) commands.push_back(read_entry(frame, entry));
  return commands;
}

Page read_page(Frame frame, JsonValue value) {
  value.allow_only({"title", "summary", "about", "defaults", "commands"});
  if (const auto defaults = value.find("defaults")) {
    check_defaults(*defaults);
    frame.defaults.insert(frame.defaults.begin(), *defaults);
  }
  Page page;
  page.name.append(frame.family).append("/").append(value.name());
  page.title = words_of(value, "title");
  page.summary = words_of(value, "summary");
  page.about = texts_of(value, "about");
  page.commands = read_commands(frame, value.member("commands"));
  return page;
}

}  // namespace

// ================================================================================================ the reader

CommandReader::CommandReader(std::vector<std::string> const& folders) {
  for (std::string const& folder : folders) {
    if (!kdi::is_directory(folder)) throw kdi::FileError(folder + ": is no directory");
    for (std::string const& name : kdi::list_directory(folder, kEnd))
      paths_.emplace(name.substr(0, name.size() - kEnd.size()), folder + "/" + name);
  }
}

std::vector<std::string> CommandReader::families() const {
  std::vector<std::string> names;
  for (auto const& [name, path] : paths_) names.push_back(name);
  return names;
}

std::optional<JsonValue> CommandReader::root(std::string const& family) {
  const auto path = paths_.find(family);
  if (path == paths_.end()) return std::nullopt;
  auto file = files_.find(family);
  if (file == files_.end()) file = files_.emplace(family, kdi::JsonFile(path->second)).first;
  return file->second.root();
}

std::optional<JsonValue> CommandReader::group(std::string const& family, std::string const& kind,
                                              std::string const& name) {
  auto found = root(family);
  for (std::string const& step : {std::string("groups"), kind, name})
    if (found) found = found->find(step);
  if (found) note(groups_, *found, true);
  return found;
}

void CommandReader::note_only(JsonValue only, bool names_some) { note(onlys_, only, names_some); }

void CommandReader::note(std::map<std::string, Use>& uses, JsonValue value, bool is_used) {
  Use& use = uses.emplace(value.place(), Use{value, false}).first->second;
  use.is_used = use.is_used || is_used;
}

std::unique_ptr<Family> CommandReader::read(std::string const& name) {
  const JsonValue file = root(name).value();
  file.allow_only(
      {"format", "title", "summary", "library", "about", "more", "naming", "groups", "defaults", "commands", "pages"});
  file.member("format").integer(2, 2);
  if (const auto groups = file.find("groups")) {
    groups->allow_only({"words", "options", "keys", "shapes", "errors", "notes"});
    for (const JsonValue kind : groups->members())
      for (const JsonValue group : kind.members()) note(groups_, group, false);
  }
  Frame frame{*this, name, file.find("naming"), {}};
  if (const auto defaults = file.find("defaults")) {
    check_defaults(*defaults);
    frame.defaults.push_back(*defaults);
  }
  auto family = std::make_unique<Family>();
  family->name = name;
  family->title = words_of(file, "title");
  family->summary = words_of(file, "summary");
  family->library = words_of(file, "library");
  family->about = texts_of(file, "about");
  if (const auto more = file.find("more")) {
    family->more = more->text();
    if (!family->more.starts_with(kDocs)) more->refuse("a path that begins with docs/");
  }
  if (const auto pages = file.find("pages")) {
    if (const auto commands = file.find("commands")) commands->refuse("no commands beside pages");
    for (const JsonValue page : pages->members()) family->pages.push_back(read_page(frame, page));
  } else {
    family->pages.push_back(
        {nullptr, name, family->title, family->summary, family->about, read_commands(frame, file.member("commands"))});
  }
  return family;
}

void CommandReader::require_all_used() const {
  for (auto const& [place, use] : groups_)
    if (!use.is_used) use.value.refuse("a group that a command uses");
  for (auto const& [place, use] : onlys_)
    if (!use.is_used) use.value.refuse("names of commands that have it");
}

}  // namespace kdish
