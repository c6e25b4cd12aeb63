#include "host/kdish/reference.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <sstream>

#include "host/kdish/help.h"
#include "kdi/common/KdiFile.h"

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
    else if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-')
      address += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return address;
}

std::string heading(Command const& command) {
  std::string text;
  for (std::string const& name : command.names) text += (text.empty() ? "" : ", ") + code(name);
  return text;
}

std::string values_text(Word const& word) {
  if (word.values.empty()) return {};
  std::string text;
  for (std::string const& value : word.values) text += (text.empty() ? " One of " : ", ") + code(value);
  return text + ".";
}

std::string namespace_of(std::string const& name) {
  const std::size_t colons = name.rfind("::");
  return colons == std::string::npos ? name : name.substr(0, colons);
}

void add_words(std::string& page, Command const& command) {
  if (command.words.empty() && command.options.empty()) return;
  page += "\n| Word | Type | Meaning |\n|---|---|---|\n";
  for (Word const& word : command.words)
    page += "| " + code(word.name) + (word.optional ? " (optional)" : "") + (word.repeated ? " ..." : "") + " | " +
            word.type + " | " + cell(word.meaning + values_text(word)) + " |\n";
  for (Option const& option : command.options)
    page += "| " + code(option.word.name) + (option.required ? " (required)" : "") + " | " + option.word.type + " | " +
            cell(option.word.meaning + values_text(option.word)) + " |\n";
}

void add_keys(std::string& page, Word const& word) {
  if (word.keys.empty()) return;
  const bool differ = std::any_of(word.keys.begin(), word.keys.end(), [](Key const& key) { return !key.only.empty(); });
  page += "\nKeys of " + code(word.name) + ":\n\n| Key |" + (differ ? " Only in |" : "") + " Value |\n|---|---|" +
          (differ ? "---|" : "") + "\n";
  for (Key const& key : word.keys) {
    page += "| " + code(key.name) + " | ";
    if (differ) {
      std::string only;
      for (std::string const& name : key.only) only += (only.empty() ? "" : ", ") + code(namespace_of(name));
      page += only + " | ";
    }
    page += cell(key.meaning) + " |\n";
  }
}

void add_example(std::string& page, Example const& example) {
  page += "\n    % ";
  page += example.setup.empty() ? "" : example.setup + "\n    % ";
  page += example.script + "\n";
  std::istringstream lines(example.shown_result());
  for (std::string line; std::getline(lines, line);) page += line.empty() ? "\n" : "    " + line + "\n";
}

void add_errors(std::string& page, Command const& command) {
  const std::vector<CommandError> failures = command.failures(command.names[0]);
  if (failures.empty()) return;
  page += "\n| It fails for | with |\n|---|---|\n";
  for (CommandError const& error : failures)
    page += "| " + cell(error.when) + " | \"" + cell(error.text) + "\"" +
            (error.then.empty() ? "" : ", " + error.then) + " |\n";
}

void add_command(std::string& page, Command const& command) {
  const std::string usage = command.usage();
  page += "\n## " + heading(command) + "\n\n" + command.summary + ".\n\n    " + command.names[0] +
          (usage.empty() ? "" : " " + usage) + "\n";
  add_words(page, command);
  for (Word const& word : command.words) add_keys(page, word);
  page += "\nResult: " + command.result + " As JSON: " + code(shape_words(command.shape)) + "\n";
  add_example(page, command.example);
  add_errors(page, command);
  for (std::string const& note : command.notes) page += "\n" + note + "\n";
}

constexpr std::string_view kNotes = ".notes.md";

std::string content(std::filesystem::path const& path) {
  return kdi::is_file(path.string()) ? kdi::read_file(path.string()) : std::string();
}

std::string made_from(std::string const& what) {
  return "<!-- Made by `make docs` from " + what + "; change that, not this page. -->\n";
}

}  // namespace

std::string reference_page(Family const& family, bool has_notes) {
  std::string page = made_from("data/commands/" + family.name + ".json");
  page += "# " + family.title + "\n\n" + family.summary + ". Registered by `" + family.library + "`.\n";
  if (has_notes)
    page +=
        "\nMore on them, limits and models included: [" + family.name + ".notes.md](" + family.name + ".notes.md).\n";
  for (std::string const& about : family.about) page += "\n" + about + "\n";
  page += "\n| Command | |\n|---|---|\n";
  for (Command const& command : family.commands)
    page += "| [" + heading(command) + "](#" + anchor(heading(command)) + ") | " + cell(command.summary) + " |\n";
  for (Command const& command : family.commands) add_command(page, command);
  return page;
}

std::string reference_index(Table const& table) {
  std::string page = made_from("data/commands");
  page += "# Commands\n";
  for (auto const& family : table.families()) {
    page += "\n## [" + family->title + "](" + family->name + ".md)\n\n" + family->summary + ".\n\n";
    for (Command const& command : family->commands) page += "- " + heading(command) + ": " + command.summary + "\n";
  }
  return page;
}

std::vector<std::string> update_reference(Table const& table, std::filesystem::path const& folder, bool only_checks) {
  std::map<std::string, std::string> pages;
  pages["README.md"] = reference_index(table);
  for (auto const& family : table.families())
    pages[family->name + ".md"] =
        reference_page(*family, kdi::is_file((folder / (family->name + std::string(kNotes))).string()));
  std::vector<std::string> faults;
  for (auto const& [name, text] : pages) {
    const std::string path = (folder / name).string();
    if (content(path) == text) continue;
    if (only_checks)
      faults.push_back(path + " is not what the table says: run `make docs`");
    else
      kdi::write_file(path, text);
  }
  for (std::string const& name : kdi::list_directory(folder.string())) {
    const bool is_note = name.ends_with(kNotes) && table.family(name.substr(0, name.size() - kNotes.size())) != nullptr;
    if (!is_note && !pages.contains(name))
      faults.push_back((folder / name).string() + " belongs to no family of the table");
  }
  return faults;
}

}  // namespace kdish
