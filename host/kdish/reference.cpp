#include "host/kdish/reference.h"

#include <algorithm>
#include <filesystem>

#include "host/kdish/help.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"

namespace kdish {
namespace {

std::string code(std::string const& text) { return "`" + text + "`"; }

// For a cell of a table.
std::string cell(std::string const& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '|') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

// The address that a heading gets on the usual viewers of Markdown.
std::string anchor(std::string const& heading) {
  std::string address;
  for (const char c : heading) {
    if (c == ' ')
      address += '-';
    else if (kdi::text::is_letter_or_digit(c) || c == '_' || c == '-')
      address += kdi::text::to_lower(c);
  }
  return address;
}

// To the section of a command.
std::string link_to(std::string const& base, std::string const& file = {}) {
  return "[" + code(base) + "](" + file + "#" + anchor(base) + ")";
}

std::string codes(std::vector<std::string> const& names) {
  std::string text;
  for (std::string const& name : names) text += (text.empty() ? "" : ", ") + code(name);
  return text;
}

std::string values_text(Word const& word) {
  if (word.values.empty()) return {};
  std::string text;
  for (std::string const& value : word.values) text += (text.empty() ? " One of " : ", ") + code(value);
  return text + ".";
}

void add_words(std::string& page, Command const& command) {
  if (command.words.empty() && command.options.empty()) return;
  page += "\n| Word | Type | Meaning |\n|---|---|---|\n";
  for (Word const& word : command.words)
    page += "| " + code(word.name + (word.is_pairs() ? " value" : "")) + (word.optional ? " (optional)" : "") +
            (word.repeated || word.is_pairs() ? " ..." : "") + " | " + word.type + " | " +
            cell(word.meaning + values_text(word)) + " |\n";
  for (Option const& option : command.options)
    page += "| " + code(option.word.name) + (option.required ? " (required)" : "") + " | " + option.word.type + " | " +
            cell(option.word.meaning + values_text(option.word)) + " |\n";
  if (command.has_ignored_words()) page += "\nFurther words are ignored.\n";
}

std::string key_table(Command const& command, Word const& word) {
  const bool differ = std::any_of(word.keys.begin(), word.keys.end(), [](Key const& key) { return !key.only.empty(); });
  std::string table = std::string("| ") + (word.is_pairs() ? "Name" : "Key") + (differ ? " | Only in" : "") +
                      " | Value |\n|---|---|" + (differ ? "---|" : "") + "\n";
  for (Key const& key : word.keys) {
    std::vector<std::string> only;
    for (std::string const& name : key.only) only.push_back(name_pattern(name, command.base));
    table += "| " + code(key.name) + (differ ? " | " + codes(only) : "") + " | " + cell(key.meaning) + " |\n";
  }
  return table;
}

// The commands under which a page has told of keys, by the table that it gave.
using KeyTables = std::map<std::string, std::string>;

void add_keys(std::string& page, Command const& command, Word const& word, KeyTables& told) {
  if (word.keys.empty()) return;
  const std::string table = key_table(command, word);
  const auto [at, is_new] = told.emplace(table, command.base);
  page += word.is_pairs() ? "\nNames:" : "\nKeys of " + code(word.name) + ":";
  page += is_new ? "\n\n" + table : " those of " + link_to(at->second) + ".\n";
}

void add_example(std::string& page, Example const& example) {
  page += "\n    % ";
  page += example.setup.empty() ? "" : example.setup + "\n    % ";
  page += example.script + "\n";
  const std::string result = example.shown_result();
  for (const std::string_view line : kdi::text::lines(result))
    page.append(line.empty() ? "" : "    ").append(line) += '\n';
}

void add_failures(std::string& page, Command const& command) {
  const std::vector<CommandError> failures = command.failures_of(command.names[0]);
  if (failures.empty()) return;
  page += "\n| It fails for | with |\n|---|---|\n";
  for (CommandError const& failure : failures) {
    const CommandError error = failure.shown();
    page += "| " + cell(error.when) + " | \"" + cell(error.text) + "\"" +
            (error.then.empty() ? "" : ", " + error.then) + " |\n";
  }
}

void add_command(std::string& page, Command const& command, KeyTables& told) {
  const std::string usage = command.usage();
  page += "\n## " + code(command.base) + "\n\n" + command.summary + ".\n\n";
  for (std::string const& name : command.names) page += "    " + name + (usage.empty() ? "" : " " + usage) + "\n";
  add_words(page, command);
  for (Word const& word : command.words) add_keys(page, command, word, told);
  for (Option const& option : command.options) add_keys(page, command, option.word, told);
  page += "\nResult: " + command.result + " As JSON: " + code(shape_words(command.shape)) + "\n";
  add_keys(page, command, command.answer, told);
  add_example(page, command.example_of(command.names[0]));
  add_failures(page, command);
  for (std::string const& note : command.notes) page += "\n" + note + "\n";
}

// The commands of a page, each leading to its section in `file`, or in the page itself.
std::string list_of(Page const& page, std::string const& file) {
  std::string text;
  for (NamedAlike const& group : by_naming(page)) {
    text += group.patterns.empty() ? "\n" : "\n" + codes(group.patterns) + ":\n\n";
    for (Command const* const command : group.commands)
      text += "- " + link_to(command->base, file) + ": " + command->summary + "\n";
  }
  return text;
}

std::string file_of(Page const& page) {
  std::string name = page.name;
  std::replace(name.begin(), name.end(), '/', '-');
  return name + ".md";
}

std::string made_from(std::string const& what) { return "<!-- Made from " + what + " by `make docs`. -->\n"; }

std::string beginning(Family const& family, std::string const& title, std::string const& summary,
                      std::vector<std::string> const& about) {
  std::string text = made_from("data/commands/" + family.name + ".json") + "# " + title + "\n\n" + summary +
                     ". Registered by `" + family.library + "`.\n";
  if (!family.more.empty())
    text += "\nMore on them, limits and models included: [" + family.more + "](../../" + family.more + ").\n";
  for (std::string const& one : about) text += "\n" + one + "\n";
  return text;
}

std::string page_text(Page const& page) {
  std::string text = beginning(*page.family, page.title, page.summary, page.about) + list_of(page, "");
  KeyTables told;
  for (Command const& command : page.commands) add_command(text, command, told);
  return text;
}

std::string overview_text(Family const& family) {
  std::string text = beginning(family, family.title, family.summary, family.about);
  for (Page const& page : family.pages)
    text +=
        "\n## [" + page.title + "](" + file_of(page) + ")\n\n" + page.summary + ".\n" + list_of(page, file_of(page));
  return text;
}

std::string index_text(Table const& table) {
  std::string text = made_from("data/commands") + "# Commands\n";
  for (auto const& family : table.families()) {
    text += "\n## [" + family->title + "](" + family->name + ".md)\n\n" + family->summary + ".\n";
    for (Page const& page : family->pages) {
      if (family->pages.size() > 1) text += "\n### [" + page.title + "](" + file_of(page) + ")\n";
      text += list_of(page, file_of(page));
    }
  }
  return text;
}

}  // namespace

std::map<std::string, std::string> reference_pages(Table const& table) {
  std::map<std::string, std::string> pages;
  pages["README.md"] = index_text(table);
  for (auto const& family : table.families()) {
    if (family->pages.size() > 1) pages[family->name + ".md"] = overview_text(*family);
    for (Page const& page : family->pages) pages[file_of(page)] = page_text(page);
  }
  return pages;
}

void write_reference(Table const& table, std::string const& folder) {
  const std::map<std::string, std::string> pages = reference_pages(table);
  for (auto const& [name, text] : pages) kdi::write_file(folder + "/" + name, text);
  for (std::string const& name : kdi::list_directory(folder, ".md"))
    if (!pages.contains(name)) std::filesystem::remove(std::filesystem::path(folder) / name);
}

}  // namespace kdish
