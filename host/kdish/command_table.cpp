#include "host/kdish/command_table.h"

#include <algorithm>

#include "host/kdish/command_reader.h"
#include "kdi/common/KdiText.h"

namespace kdish {
namespace {

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

constexpr std::string_view kWordsMark = "{words}";

std::string filled_in(std::string const& text, Command const& command, std::string const& name) {
  if (text.find('{') == std::string::npos) return text;
  std::string call = name;
  for (std::size_t i = 1; i <= command.word_count().least; ++i) call += " w" + std::to_string(i);
  return with_each(with_each(with_each(text, "{call}", call), "{name}", name), "{base}", command.base);
}

std::string_view without_root(std::string_view name) {
  while (name.starts_with("::")) name.remove_prefix(2);
  return name;
}

}  // namespace

bool Key::is_of(std::string const& command) const {
  return only.empty() || std::find(only.begin(), only.end(), command) != only.end();
}

CommandError CommandError::shown() const {
  CommandError error = *this;
  if (!text.ends_with('\n')) return error;
  error.text.pop_back();
  error.then = then.empty() ? "a line feed" : "a line feed; " + then;
  return error;
}

std::string Example::shown_result() const {
  if (!is_pattern) return result;
  std::string shown;
  for (std::size_t i = 0; i < result.size(); ++i)
    if (result[i] == '*')
      shown += "...";
    else
      shown += result[i] == '\\' && i + 1 < result.size() ? result[++i] : result[i];
  return shown;
}

std::string Command::usage() const {
  std::string usage;
  const auto add = [&usage](std::string const& word, bool optional) {
    usage += (usage.empty() ? "" : " ") + (optional ? "?" + word + "?" : word);
  };
  const auto with_value = [](Option const& option) {
    return option.word.name + (option.word.type == "flag" ? "" : " value");
  };
  for (Option const& option : options)
    if (option.required) add(with_value(option), false);
  for (Word const& word : words) {
    if (word.is_pairs() && !word.optional) add(word.name + " value", false);
    const bool is_optional = word.optional || word.is_pairs();
    add(word.name + (word.is_pairs() ? " value" : "") + (word.repeated || word.is_pairs() ? " ..." : ""), is_optional);
  }
  for (Option const& option : options)
    if (!option.required) add(with_value(option), true);
  return usage;
}

bool Command::has_ignored_words() const {
  return ignores_surplus && (words.empty() || !(words.back().repeated || words.back().is_pairs()));
}

WordCount Command::word_count() const {
  WordCount count;
  count.in_twos = refuses_odd;
  bool is_bounded = !ignores_surplus;
  const auto add = [&count](std::size_t number, bool is_required) {
    if (is_required) count.least += number;
    count.most += number;
  };
  for (Word const& word : words) {
    add(word.is_pairs() && refuses_odd ? 2 : 1, !word.optional);
    is_bounded = is_bounded && !word.repeated && !word.is_pairs();
  }
  for (Option const& option : options) add(option.word.type == "flag" ? 1 : 2, option.required);
  if (!is_bounded) count.most = WordCount::kAny;
  return count;
}

std::string Command::wrong_count_text(std::string const& name, std::vector<std::string> const& given) const {
  if (const auto text = wrong_count.find(name); text != wrong_count.end()) {
    const std::string all_words = given.empty() ? name : "{" + name + " " + kdi::text::joined(given, " ") + "}";
    return with_each(with_each(filled_in(text->second, *this, name), kWordsMark, all_words), "{3}",
                     given.size() < 3 ? std::string() : given[2]);
  }
  if (ignores_surplus) return name + " : Not enough arguments";
  const std::string expected = usage();
  return "wrong # args: should be \"" + name + (expected.empty() ? "" : " ") + expected + "\"";
}

Example Command::example_of(std::string const& name) const {
  Example filled = example;
  if (const auto own = results.find(name); own != results.end()) filled.result = own->second;
  for (std::string Example::*const text : {&Example::setup, &Example::script, &Example::result})
    filled.*text = filled_in(filled.*text, *this, name);
  return filled;
}

std::vector<CommandError> Command::failures_of(std::string const& name) const {
  const std::string text = wrong_count_text(name);
  const WordCount count = word_count();
  std::vector<CommandError> all;
  const bool is_usual = text.starts_with("wrong # args");
  if (!is_usual && (count.least > 0 || count.most != WordCount::kAny)) {
    const auto own = wrong_count.find(name);
    const auto ends_with = [&](std::string_view mark) {
      return own != wrong_count.end() && own->second.ends_with(mark);
    };
    CommandError miscounted{when_miscounted(count), text, ends_with("{3}") ? "the third word" : "", ""};
    if (ends_with(kWordsMark)) {
      miscounted.text.resize(text.size() - name.size());
      miscounted.then = "the list of the words of the call";
    }
    all.push_back(std::move(miscounted));
  }
  for (CommandError error : errors) {
    for (std::string CommandError::*const part : {&CommandError::text, &CommandError::script})
      error.*part = filled_in(error.*part, *this, name);
    if (!all.empty() && all[0].text == error.text) all.erase(all.begin());  // the entry tells more
    all.push_back(error);
  }
  return all;
}

// ================================================================================================ the table

Table::Table(std::vector<std::string> const& folders) {
  CommandReader reader(folders);
  for (std::string const& name : reader.families()) families_.push_back(reader.read(name));
  reader.require_all_used();
  for (auto const& family : families_)
    for (Page& page : family->pages) {
      page.family = family.get();
      for (Command& command : page.commands) {
        command.page = &page;
        for (std::string const& one : command.names) commands_.emplace(one, &command);
      }
    }
}

Family const* Table::family(std::string_view name) const {
  for (auto const& family : families_)
    if (family->name == name) return family.get();
  return nullptr;
}

Page const* Table::page(std::string_view name) const {
  for (auto const& family : families_)
    for (Page const& page : family->pages)
      if (page.name == name) return &page;
  return nullptr;
}

Command const* Table::command(std::string_view name) const {
  const auto found = commands_.find(without_root(name));
  return found == commands_.end() ? nullptr : found->second;
}

std::vector<Command const*> Table::entries() const {
  std::vector<Command const*> all;
  for (auto const& family : families_)
    for (Page const& page : family->pages)
      for (Command const& command : page.commands) all.push_back(&command);
  return all;
}

}  // namespace kdish
