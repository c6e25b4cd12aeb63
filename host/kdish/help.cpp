#include "host/kdish/help.h"

#include <tcl.h>

#include <algorithm>
#include <numeric>
#include <sstream>
#include <stdexcept>

namespace kdish {
namespace {

constexpr std::size_t kWidth = 100;

// Appends `text`, which goes on at `column`, broken at blanks so that no line is longer than kWidth.
void append_wrapped(std::string& out, std::string const& text, std::size_t column, std::size_t indent) {
  std::istringstream words(text);
  bool is_first = true;
  for (std::string word; words >> word; is_first = false) {
    if (!is_first && column + 1 + word.size() > kWidth) {
      out += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!is_first) {
      out += ' ';
      ++column;
    }
    out += word;
    column += word.size();
  }
  out += '\n';
}

struct Row {
  std::string left, right;
};

// Rows of two columns, the second one wrapped.
std::string rows_text(std::vector<Row> const& rows, std::size_t indent) {
  constexpr std::size_t kWidestLeft = 32;
  std::size_t left = 0;
  for (Row const& row : rows) left = std::max(left, std::min(row.left.size(), kWidestLeft));
  const std::size_t column = indent + left + 2;
  std::string text;
  for (Row const& row : rows) {
    text += std::string(indent, ' ') + row.left;
    if (row.left.size() > left)
      text += '\n' + std::string(column, ' ');
    else
      text += std::string(left + 2 - row.left.size(), ' ');
    append_wrapped(text, row.right, column, column);
  }
  return text;
}

std::string joined(std::vector<std::string> const& parts, char const* between) {
  std::string text;
  for (std::string const& part : parts) text += (text.empty() ? "" : between) + part;
  return text;
}

std::string meaning_of(Word const& word) {
  std::string text = word.meaning;
  if (!word.values.empty()) text += " One of " + joined(word.values, ", ") + ".";
  return text;
}

std::string paragraph(std::string const& title, std::string const& text) {
  std::string out = title;
  append_wrapped(out, text, title.size(), 2);
  return out;
}

std::vector<Row> word_rows(Command const& command) {
  std::vector<Row> rows;
  for (Word const& word : command.words)
    rows.push_back({word.name, "(" + word.type + (word.optional ? ", optional) " : ") ") + meaning_of(word)});
  for (Option const& option : command.options)
    rows.push_back({option.word.name,
                    "(" + option.word.type + (option.required ? ", required) " : ") ") + meaning_of(option.word)});
  return rows;
}

std::size_t distance(std::string const& left, std::string const& right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= left.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const std::size_t changed = diagonal + (left[i - 1] == right[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
    }
  }
  return row.back();
}

std::string tail_of(std::string const& name) {
  const std::size_t colons = name.rfind("::");
  return colons == std::string::npos ? name : name.substr(colons + 2);
}

}  // namespace

std::string shape_words(Shape const& shape) {
  switch (shape.kind) {
    case Shape::Kind::text:
      return "text";
    case Shape::Kind::integer:
      return "integer";
    case Shape::Kind::number:
      return "number";
    case Shape::Kind::boolean:
      return "boolean";
    case Shape::Kind::list:
      return "[" + shape_words(shape.parts[0].shape) + ", ...]";
    case Shape::Kind::either: {
      std::vector<std::string> shapes;
      for (Shape::Part const& part : shape.parts) shapes.push_back(shape_words(part.shape));
      return joined(shapes, " or ");
    }
    case Shape::Kind::tuple:
    case Shape::Kind::dict:
      break;
  }
  std::vector<std::string> parts;
  for (Shape::Part const& part : shape.parts) {
    const std::string name = part.name == "*" ? "any key" : '"' + part.name + '"' + (part.optional ? "?" : "");
    parts.push_back(name + ": " + shape_words(part.shape));
  }
  return "{" + joined(parts, ", ") + "}";
}

std::string families_help(Table const& table) {
  std::vector<Row> rows;
  for (auto const& family : table.families()) rows.push_back({family->name, family->summary});
  return "Families of commands:\n" + rows_text(rows, 2) +
         "\nhelp FAMILY lists a family's commands, help COMMAND tells of one, help PATTERN finds some.\n";
}

std::string family_help(Family const& family) {
  std::string text = family.title + ": " + family.summary + "\n";
  for (std::string const& about : family.about) text += paragraph("", about);
  text += "\n";
  std::vector<Row> rows;
  for (Command const& command : family.commands)
    for (std::string const& name : command.names) rows.push_back({name, command.summary});
  return text + rows_text(rows, 2);
}

std::string command_help(Command const& command, std::string const& name) {
  const std::string usage = command.usage();
  std::string text = name + (usage.empty() ? "" : " " + usage) + "\n\n" + paragraph("  ", command.summary + ".");
  if (command.names.size() > 1) {
    std::vector<std::string> others;
    std::copy_if(command.names.begin(), command.names.end(), std::back_inserter(others),
                 [&](std::string const& other) { return other != name; });
    text += paragraph("  Likewise: ", joined(others, ", "));
  }
  if (const std::vector<Row> rows = word_rows(command); !rows.empty()) text += "\nWords:\n" + rows_text(rows, 2);
  for (Word const& word : command.words) {
    std::vector<Row> keys;
    for (Key const& key : word.keys)
      if (key.only.empty() || std::find(key.only.begin(), key.only.end(), name) != key.only.end())
        keys.push_back({key.name, key.meaning});
    if (!keys.empty()) text += "\nKeys of " + word.name + ":\n" + rows_text(keys, 2);
  }
  text += "\n" + paragraph("Result: ", command.result);
  text += paragraph("As JSON: ", shape_words(command.shape));
  text += "\nExample:\n";
  if (!command.example.setup.empty()) text += "  % " + command.example.setup + "\n";
  text += "  % " + command.example.script + "\n";
  std::istringstream lines(command.example.shown_result());
  for (std::string line; std::getline(lines, line);) text += "  " + line + "\n";
  if (const std::vector<CommandError> failures = command.failures(name); !failures.empty()) {
    std::vector<Row> rows;
    for (CommandError const& error : failures)
      rows.push_back({error.text + (error.then.empty() ? "" : " (" + error.then + ")"), error.when});
    text += "\nErrors:\n" + rows_text(rows, 2);
  }
  if (!command.notes.empty()) text += "\n";
  for (std::string const& note : command.notes) text += paragraph("", note);
  return text;
}

std::vector<std::string> close_names(Table const& table, std::string const& name) {
  constexpr std::size_t kMost = 3;
  std::vector<std::pair<std::size_t, std::string>> found;
  for (auto const& [known, command] : table.commands()) {
    // somebody may have forgotten the namespace
    const std::size_t apart = std::min(distance(name, known), distance(name, tail_of(known)));
    if (apart * 4 <= name.size() || (apart <= 2 && name.size() >= 4)) found.emplace_back(apart, known);
  }
  std::sort(found.begin(), found.end());
  std::vector<std::string> names;
  for (auto const& [apart, known] : found)
    if (names.size() < kMost) names.push_back(known);
  return names;
}

std::string topic_help(Table const& table, std::string const& topic) {
  if (Command const* const command = table.command(topic))
    return command_help(*command, topic.substr(topic.find_first_not_of(':')));
  if (Family const* const family = table.family(topic)) return family_help(*family);

  std::vector<Row> rows;
  for (auto const& [name, command] : table.commands())
    if (Tcl_StringMatch(name.c_str(), topic.c_str()) != 0) rows.push_back({name, command->summary});
  if (!rows.empty()) return rows_text(rows, 0);

  const std::vector<std::string> close = close_names(table, topic);
  throw std::runtime_error(
      "no command and no family \"" + topic + "\"" +
      (close.empty() ? "; help lists the families" : "; did you mean " + joined(close, ", ") + "?"));
}

}  // namespace kdish
