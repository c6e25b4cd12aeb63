#include "host/kdish/command_table.h"

#include <algorithm>
#include <filesystem>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"

namespace kdish {
namespace {

namespace fs = std::filesystem;

std::string text_or(kdi::JsonValue object, char const* name, std::string const& otherwise = {}) {
  const auto found = object.find(name);
  return found ? found->text() : otherwise;
}

bool flag_of(kdi::JsonValue object, char const* name) {
  const auto found = object.find(name);
  return found && found->boolean();
}

// What people read is never empty.
std::string words_of(kdi::JsonValue object, char const* name) {
  const kdi::JsonValue value = object.member(name);
  if (value.text().empty()) value.refuse("words");
  return value.text();
}

std::vector<std::string> texts_of(kdi::JsonValue object, char const* name) {
  std::vector<std::string> texts;
  if (const auto found = object.find(name))
    for (const kdi::JsonValue text : found->items()) texts.push_back(text.text());
  return texts;
}

template <class Read>
auto each_of(kdi::JsonValue object, char const* name, Read read) {
  std::vector<decltype(read(object))> all;
  if (const auto found = object.find(name))
    for (const kdi::JsonValue item : found->items()) all.push_back(read(item));
  return all;
}

Shape read_shape(kdi::JsonValue value);

Shape::Part read_part(kdi::JsonValue value, bool may_be_optional) {
  Shape::Part part;
  part.name = value.name();
  if (may_be_optional && part.name.size() > 1 && part.name.back() == '?') {
    part.name.pop_back();
    part.optional = true;
  }
  part.shape = read_shape(value);
  return part;
}

Shape read_shape(kdi::JsonValue value) {
  Shape shape;
  if (value.is_text()) {
    constexpr Shape::Kind kSimple[] = {Shape::Kind::text, Shape::Kind::integer, Shape::Kind::number,
                                       Shape::Kind::boolean};
    shape.kind = kSimple[value.choice({"text", "integer", "number", "boolean"})];
    return shape;
  }
  value.allow_only({"list", "tuple", "dict", "either"});
  if (value.members().size() != 1) value.refuse("one of list, tuple, dict, either");
  const kdi::JsonValue inner = value.members()[0];
  if (inner.name() == "list") {
    shape.kind = Shape::Kind::list;
    shape.parts.push_back({"", false, read_shape(inner)});
    return shape;
  }
  if (inner.name() == "either") {
    shape.kind = Shape::Kind::either;
    for (const kdi::JsonValue one : inner.items()) shape.parts.push_back({"", false, read_shape(one)});
    if (shape.parts.size() < 2) inner.refuse("two shapes at least");
    return shape;
  }
  shape.kind = inner.name() == "tuple" ? Shape::Kind::tuple : Shape::Kind::dict;
  for (const kdi::JsonValue part : inner.members())
    shape.parts.push_back(read_part(part, shape.kind == Shape::Kind::dict));
  if (shape.parts.empty()) inner.refuse("a part at least");
  return shape;
}

Key read_key(kdi::JsonValue value, std::vector<std::string> const& commands) {
  value.allow_only({"name", "meaning", "only"});
  Key key{words_of(value, "name"), words_of(value, "meaning"), texts_of(value, "only")};
  for (std::string const& one : key.only)
    if (std::find(commands.begin(), commands.end(), one) == commands.end())
      value.member("only").refuse("names of this entry's commands");
  return key;
}

// The fields that a word and an option have in common.
Word read_word_fields(kdi::JsonValue value, std::vector<std::string> const& commands) {
  Word word;
  word.name = words_of(value, "name");
  word.type = value.member("type").text();
  if (std::find(std::begin(kWordTypes), std::end(kWordTypes), word.type) == std::end(kWordTypes)) {
    std::string types;
    for (const std::string_view type : kWordTypes) types += (types.empty() ? "" : ", ") + std::string(type);
    value.member("type").refuse("one of " + types);
  }
  word.meaning = words_of(value, "meaning");
  word.values = texts_of(value, "values");
  word.keys = each_of(value, "keys", [&](kdi::JsonValue key) { return read_key(key, commands); });
  return word;
}

Word read_word(kdi::JsonValue value, std::vector<std::string> const& commands) {
  value.allow_only({"name", "type", "meaning", "optional", "repeated", "values", "keys"});
  Word word = read_word_fields(value, commands);
  if (word.type == "flag") value.member("type").refuse("a type of words; flags are options");
  word.optional = flag_of(value, "optional");
  word.repeated = flag_of(value, "repeated");
  return word;
}

Option read_option(kdi::JsonValue value) {
  value.allow_only({"name", "type", "meaning", "required", "values"});
  Option option{read_word_fields(value, {}), flag_of(value, "required")};
  if (option.word.name[0] != '-') value.member("name").refuse("a name that begins with -");
  return option;
}

Example read_example(kdi::JsonValue value) {
  value.allow_only({"setup", "script", "result", "pattern"});
  Example example;
  example.setup = text_or(value, "setup");
  example.script = words_of(value, "script");
  example.is_pattern = value.find("pattern").has_value();
  example.result = value.member(example.is_pattern ? "pattern" : "result").text();
  return example;
}

CommandError read_error(kdi::JsonValue value) {
  value.allow_only({"when", "text", "then", "script"});
  return {words_of(value, "when"), words_of(value, "text"), text_or(value, "then"), text_or(value, "script")};
}

Command read_command(kdi::JsonValue value) {
  value.allow_only({"names", "summary", "words", "options", "surplus", "wrong_count", "result", "shape", "example",
                    "errors", "notes"});
  Command command;
  command.names = texts_of(value, "names");
  if (command.names.empty()) value.refuse("a command with a name");
  for (std::string const& name : command.names)
    if (name.empty() || name.starts_with("::")) value.member("names").refuse("names without :: in front");
  command.summary = words_of(value, "summary");
  command.words = each_of(value, "words", [&](kdi::JsonValue word) { return read_word(word, command.names); });
  command.options = each_of(value, "options", read_option);
  command.result = words_of(value, "result");
  command.shape = read_shape(value.member("shape"));
  command.example = read_example(value.member("example"));
  command.errors = each_of(value, "errors", read_error);
  command.notes = texts_of(value, "notes");
  if (const auto surplus = value.find("surplus")) command.ignores_surplus = surplus->choice({"ignored"}) == 0;
  if (value.find("wrong_count")) command.wrong_count = words_of(value, "wrong_count");
  return command;
}

// The files of all folders by family; the first folder's file counts.
std::map<std::string, std::string> family_files(std::vector<std::string> const& folders) {
  std::map<std::string, std::string> files;
  for (std::string const& folder : folders) {
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed); !failed && entry != fs::directory_iterator();
         entry.increment(failed))
      if (entry->path().extension() == ".json") files.emplace(entry->path().stem().string(), entry->path().string());
    if (failed) throw kdi::FileError(folder + ": cannot be listed: " + failed.message());
  }
  return files;
}

std::string with_each(std::string text, std::string_view mark, std::string const& replacement) {
  for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + replacement.size()))
    text.replace(at, mark.size(), replacement);
  return text;
}

std::string when_miscounted(WordCount const& count) {
  const auto words = [](std::size_t number) { return std::to_string(number) + (number == 1 ? " word" : " words"); };
  if (count.most == 0) return "any word";
  if (count.most == count.least) return "other than " + words(count.least);
  if (count.least == 0) return "more than " + words(count.most);
  if (count.most == WordCount::kAny) return count.least == 1 ? "no word" : "fewer than " + words(count.least);
  return (count.least == 1 ? "no word" : "fewer than " + std::to_string(count.least)) + " or more than " +
         words(count.most);
}

std::string_view without_root(std::string_view name) {
  while (name.starts_with("::")) name.remove_prefix(2);
  return name;
}

}  // namespace

std::string Example::shown_result() const {
  return is_pattern && result.ends_with('*') ? result.substr(0, result.size() - 1) + "..." : result;
}

std::string Command::usage() const {
  std::string usage;
  const auto add = [&usage](std::string const& word, bool optional) {
    usage += (usage.empty() ? "" : " ") + (optional ? "?" + word + "?" : word);
  };
  for (Option const& option : options)
    if (option.required) add(option.word.name + (option.word.type == "flag" ? "" : " value"), false);
  for (Word const& word : words) add(word.name + (word.repeated ? " ..." : ""), word.optional);
  for (Option const& option : options)
    if (!option.required) add(option.word.name + (option.word.type == "flag" ? "" : " value"), true);
  return usage;
}

WordCount Command::word_count() const {
  WordCount count;
  const auto add = [&count](std::size_t number, bool is_required) {
    if (is_required) count.least += number;
    if (count.most != WordCount::kAny) count.most += number;
  };
  if (ignores_surplus) count.most = WordCount::kAny;
  for (Word const& word : words) {
    if (word.repeated) count.most = WordCount::kAny;
    add(1, !word.optional);
  }
  for (Option const& option : options) add(option.word.type == "flag" ? 1 : 2, option.required);
  return count;
}

std::string Command::wrong_count_text(std::string const& name, std::vector<std::string> const& given) const {
  if (!wrong_count && ignores_surplus) return name + " : Not enough arguments";
  if (!wrong_count) {
    const std::string expected = usage();
    return "wrong # args: should be \"" + name + (expected.empty() ? "" : " ") + expected + "\"";
  }
  std::string text = with_each(*wrong_count, "{name}", name);
  return with_each(text, "{3}", given.size() < 3 ? std::string() : given[2]);
}

std::vector<CommandError> Command::failures(std::string const& name) const {
  std::vector<CommandError> all = errors;
  const WordCount count = word_count();
  const std::string text = wrong_count_text(name);
  const bool is_told = std::any_of(errors.begin(), errors.end(),
                                   [&](CommandError const& error) { return text.starts_with(error.text); });
  const bool can_fail = count.least > 0 || count.most != WordCount::kAny;
  if (is_told || !can_fail || text.starts_with("wrong # args")) return all;
  CommandError error{when_miscounted(count), text, "", ""};
  if (wrong_count && wrong_count->ends_with("{3}")) error.then = "the third word";
  if (text.ends_with('\n')) {
    error.text.pop_back();
    error.then = "a line feed";
  }
  all.insert(all.begin(), error);
  return all;
}

Table::Table(std::vector<std::string> const& folders) {
  for (auto const& [name, path] : family_files(folders)) {
    const kdi::JsonFile file(path);
    const kdi::JsonValue root = file.root();
    root.allow_only({"format", "title", "summary", "library", "about", "commands"});
    root.member("format").integer(1, 1);
    auto family = std::make_unique<Family>();
    family->name = name;
    family->title = words_of(root, "title");
    family->summary = words_of(root, "summary");
    family->library = words_of(root, "library");
    family->about = texts_of(root, "about");
    for (const kdi::JsonValue value : root.member("commands").items()) {
      family->commands.push_back(read_command(value));
    }
    std::size_t at = 0;
    for (const kdi::JsonValue value : root.member("commands").items()) {
      Command& command = family->commands[at++];
      command.family = family.get();
      for (std::string const& one : command.names)
        if (!commands_.emplace(one, &command).second) value.member("names").refuse("names that have no other entry");
    }
    families_.push_back(std::move(family));
  }
}

Family const* Table::family(std::string_view name) const {
  for (auto const& family : families_)
    if (family->name == name) return family.get();
  return nullptr;
}

Command const* Table::command(std::string_view name) const {
  const auto found = commands_.find(without_root(name));
  return found == commands_.end() ? nullptr : found->second;
}

}  // namespace kdish
