#include "host/kdish/help.h"

#include <tcl.h>

#include <algorithm>
#include <map>
#include <stdexcept>

#include "kdi/common/KdiText.h"

namespace kdish {
namespace {

using kdi::text::edit_distance;
using kdi::text::joined;

// Appends `text`, which goes on at `column`, broken at blanks so that no line is longer than `width` unless a word is.
void append_wrapped(std::string& out, std::string const& text, std::size_t column, std::size_t indent,
                    std::size_t width) {
  bool is_first = true;
  for (const std::string_view word : kdi::text::words(text)) {
    if (column > indent && column + (is_first ? 0 : 1) + word.size() > width) {
      if (out.ends_with(' ')) out.pop_back();
      out += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!is_first) {
      out += ' ';
      ++column;
    }
    out += word;
    column += word.size();
    is_first = false;
  }
  out += '\n';
}

// Where a line whose blanks are kept is broken: at its last blank up to `most`, or else at the first one behind; npos
// where there is none. A script reads alike when it is broken there: not between quotes, nor behind a backslash.
std::size_t break_of(std::string_view line, std::size_t most, bool is_script) {
  std::size_t found = std::string_view::npos;
  bool is_quoted = false;
  for (std::size_t i = line.find_first_not_of(' '); i < line.size(); ++i) {
    const bool is_escaped = i > 0 && line[i - 1] == '\\';
    if (line[i] == '"' && !is_escaped) is_quoted = !is_quoted;
    if (line[i] != ' ' || (is_script && (is_quoted || is_escaped))) continue;
    if (i > most && found != std::string_view::npos) break;
    found = i;
    if (i > most) break;
  }
  return found;
}

// Appends a line behind `begin`. One that is too long goes on further in; a script's lines then end as Tcl's do.
void append_broken(std::string& out, std::string begin, std::string_view line, bool is_script, std::size_t width) {
  const std::string_view end = is_script ? " \\\n" : "\n";
  const std::string further(begin.size() + 2, ' ');
  while (begin.size() + line.size() > width) {
    const std::size_t taken = begin.size() + end.size() - 1;
    const std::size_t at = break_of(line, width > taken ? width - taken : 0, is_script);
    if (at == std::string_view::npos) break;
    out.append(begin).append(line.substr(0, at)).append(end);
    line.remove_prefix(at + 1);
    begin = further;
  }
  out.append(begin).append(line).append("\n");
}

struct Row {
  std::string left, right;
};

// Rows of two columns, the second one wrapped. It keeps half of a narrow terminal.
std::string rows_text(std::vector<Row> const& rows, std::size_t indent, std::size_t width) {
  const std::size_t widest_left = std::min<std::size_t>(32, width / 2);
  std::size_t left = 0;
  for (Row const& row : rows) left = std::max(left, std::min(row.left.size(), widest_left));
  const std::size_t column = indent + left + 2;
  std::string text;
  for (Row const& row : rows) {
    const std::string begin(indent, ' ');
    if (row.left.size() > left) {
      append_broken(text, begin, row.left, false, width);
      text += std::string(column, ' ');
    } else {
      text += begin + row.left + std::string(left + 2 - row.left.size(), ' ');
    }
    append_wrapped(text, row.right, column, column, width);
  }
  return text;
}

std::string meaning_of(Word const& word) {
  std::string text = word.meaning;
  if (!word.values.empty()) text += " One of " + joined(word.values, ", ") + ".";
  return text;
}

// What a link in Markdown shows.
std::string without_links(std::string text) {
  for (std::size_t middle = text.find("]("); middle != std::string::npos; middle = text.find("](", middle)) {
    const std::size_t begin = text.rfind('[', middle);
    const std::size_t end = text.find(')', middle);
    if (begin == std::string::npos || end == std::string::npos) break;
    text.erase(middle, end + 1 - middle).erase(begin, 1);
  }
  return text;
}

std::string paragraph(std::string const& title, std::string const& text, std::size_t width) {
  std::string out = title;
  append_wrapped(out, without_links(text), title.size(), 2, width);
  return out;
}

std::vector<Row> word_rows(Command const& command) {
  std::vector<Row> rows;
  for (Word const& word : command.words)
    rows.push_back({word.name + (word.is_pairs() ? " value" : ""),
                    "(" + word.type + (word.optional ? ", optional) " : ") ") + meaning_of(word)});
  for (Option const& option : command.options)
    rows.push_back({option.word.name,
                    "(" + option.word.type + (option.required ? ", required) " : ") ") + meaning_of(option.word)});
  return rows;
}

std::string keys_text(Word const& word, std::string const& command, std::size_t width) {
  std::vector<Row> keys;
  for (Key const& key : word.keys)
    if (key.is_of(command)) keys.push_back({key.name, key.meaning});
  if (keys.empty()) return {};
  return (word.is_pairs() ? "\nNames:\n" : "\nKeys of " + word.name + ":\n") + rows_text(keys, 2, width);
}

std::string failures_text(Command const& command, std::string const& name, std::size_t width) {
  std::vector<Row> rows;
  for (CommandError const& failure : command.failures_of(name)) {
    const CommandError error = failure.shown();
    rows.push_back({error.text + (error.then.empty() ? "" : " (" + error.then + ")"), error.when});
  }
  return rows.empty() ? "" : "\nErrors:\n" + rows_text(rows, 2, width);
}

std::string about_text(std::string const& title, std::string const& summary, std::vector<std::string> const& about,
                       std::size_t width) {
  std::string text = paragraph("", title + ": " + summary, width);
  for (std::string const& one : about) text += paragraph("", one, width);
  return text;
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

std::string families_help(Table const& table, std::size_t width) {
  std::vector<Row> rows;
  for (auto const& family : table.families()) rows.push_back({family->name, family->summary});
  return "Families of commands:\n" + rows_text(rows, 2, width) + "\n" +
         paragraph(
             "",
             "help FAMILY lists a family's commands, help COMMAND tells of one, help WORD finds those that have it "
             "in their names or summaries, help PATTERN those whose names match.",
             width);
}

std::string name_pattern(std::string const& name, std::string const& base) {
  const std::size_t at = name.rfind(base);
  return at == std::string::npos ? name : std::string(name).replace(at, base.size(), "NAME");
}

std::vector<NamedAlike> by_naming(Page const& page) {
  std::vector<NamedAlike> groups;
  for (Command const& command : page.commands) {
    std::vector<std::string> patterns;
    if (command.names.size() > 1)
      for (std::string const& name : command.names) patterns.push_back(name_pattern(name, command.base));
    auto group =
        std::find_if(groups.begin(), groups.end(), [&](NamedAlike const& one) { return one.patterns == patterns; });
    if (group == groups.end()) group = groups.insert(groups.end(), {patterns, {}});
    group->commands.push_back(&command);
  }
  return groups;
}

std::string page_help(Page const& page, std::size_t width) {
  std::string text = about_text(page.title, page.summary, page.about, width);
  for (NamedAlike const& group : by_naming(page)) {
    text += "\n" + (group.patterns.empty() ? "" : paragraph("", joined(group.patterns, ", "), width));
    std::vector<Row> rows;
    for (Command const* command : group.commands) rows.push_back({command->base, command->summary});
    text += rows_text(rows, 2, width);
  }
  return text;
}

std::string family_help(Family const& family, std::size_t width) {
  const std::string more = family.more.empty() ? "" : "\nMore: " + family.more + "\n";
  if (family.pages.size() == 1) return page_help(family.pages[0], width) + more;
  std::vector<Row> rows;
  for (Page const& page : family.pages)
    rows.push_back({page.name, page.summary + " (" + std::to_string(page.commands.size()) + " commands)"});
  return about_text(family.title, family.summary, family.about, width) + "\n" + rows_text(rows, 2, width) + "\nhelp " +
         family.pages[0].name + " lists the commands of a page.\n" + more;
}

std::string command_help(Command const& command, std::string const& name, std::size_t width) {
  const std::string usage = command.usage();
  std::string text;
  append_broken(text, "", name + (usage.empty() ? "" : " " + usage), false, width);
  text += "\n" + paragraph("  ", command.summary + ".", width);
  if (command.names.size() > 1) {
    std::vector<std::string> others;
    std::copy_if(command.names.begin(), command.names.end(), std::back_inserter(others),
                 [&](std::string const& other) { return other != name; });
    text += paragraph("  Likewise: ", joined(others, ", "), width);
  }
  std::string words_text = rows_text(word_rows(command), 2, width);
  if (command.has_ignored_words()) words_text += "  Further words are ignored.\n";
  if (!words_text.empty()) text += "\nWords:\n" + words_text;
  for (Word const& word : command.words) text += keys_text(word, name, width);
  for (Option const& option : command.options) text += keys_text(option.word, name, width);
  text += "\n" + paragraph("Result: ", command.result, width);
  text += paragraph("As JSON: ", shape_words(command.shape), width);
  text += keys_text(command.answer, name, width);
  text += "\nExample:\n";
  const Example example = command.example_of(name);
  for (std::string const* const script : {&example.setup, &example.script})
    if (!script->empty()) append_broken(text, "  % ", *script, true, width);
  const std::string result = example.shown_result();
  for (const std::string_view line : kdi::text::lines(result)) append_broken(text, "  ", line, false, width);
  text += failures_text(command, name, width);
  if (!command.notes.empty()) text += "\n";
  for (std::string const& note : command.notes) text += paragraph("", note, width);
  return text;
}

std::vector<std::string> close_names(Table const& table, std::string const& name) {
  constexpr std::size_t kMost = 3;
  std::vector<std::pair<std::size_t, std::string>> found;
  for (auto const& [known, command] : table.commands()) {
    // somebody may have forgotten the namespace
    const std::size_t apart = std::min(edit_distance(name, known), edit_distance(name, tail_of(known)));
    if (apart * 4 <= name.size() || (apart <= 2 && name.size() >= 4)) found.emplace_back(apart, known);
  }
  std::sort(found.begin(), found.end());
  std::vector<std::string> names;
  for (auto const& [apart, known] : found)
    if (names.size() < kMost) names.push_back(known);
  return names;
}

namespace {

// Entries, each with the name by which it was found.
using Found = std::map<Command const*, std::string>;

// Those of which a name, with its namespace or without, begins so.
Found beginning_so(Table const& table, std::string_view begin) {
  Found found;
  for (auto const& [name, command] : table.commands())
    if (name.starts_with(begin) || tail_of(name).starts_with(begin)) found.emplace(command, name);
  return found;
}

std::vector<Family const*> families_beginning_so(Table const& table, std::string_view begin) {
  std::vector<Family const*> found;
  for (auto const& family : table.families())
    if (family->name.starts_with(begin)) found.push_back(family.get());
  return found;
}

bool holds(std::string const& text, std::string const& lowered_word) {
  return kdi::text::lowered(text).find(lowered_word) != std::string::npos;
}

// Families, pages and commands that have the word in a name or a summary.
std::vector<Row> rows_with(Table const& table, std::string const& word) {
  const std::string lowered = kdi::text::lowered(word);
  const auto has = [&](auto const& one) {
    return holds(one.name, lowered) || holds(one.title, lowered) || holds(one.summary, lowered);
  };
  std::vector<Row> rows;
  for (auto const& family : table.families()) {
    if (has(*family)) rows.push_back({family->name, family->summary});
    if (family->pages.size() > 1)
      for (Page const& page : family->pages)
        if (has(page)) rows.push_back({page.name, page.summary});
  }
  for (auto const& [name, command] : table.commands())
    if (holds(name, lowered) || holds(command->summary, lowered)) rows.push_back({name, command->summary});
  return rows;
}

bool is_pattern(std::string const& topic) { return topic.find_first_of("*?[\\") != std::string::npos; }

}  // namespace

std::string topic_help(Table const& table, std::string const& topic, std::size_t width) {
  if (Command const* const command = table.command(topic))
    return command_help(*command, topic.substr(topic.find_first_not_of(':')), width);
  if (Family const* const family = table.family(topic)) return family_help(*family, width);
  if (Page const* const page = table.page(topic)) return page_help(*page, width);

  std::vector<Row> rows;
  if (is_pattern(topic)) {
    for (auto const& [name, command] : table.commands())
      if (Tcl_StringMatch(name.c_str(), topic.c_str()) != 0) rows.push_back({name, command->summary});
  } else if (std::any_of(topic.begin(), topic.end(), kdi::text::is_letter_or_digit)) {
    const Found begun = beginning_so(table, topic);
    const std::vector<Family const*> families = families_beginning_so(table, topic);
    if (begun.size() == 1 && families.empty()) return command_help(*begun.begin()->first, begun.begin()->second, width);
    if (begun.empty() && families.size() == 1) return family_help(*families[0], width);
    rows = rows_with(table, topic);
  }
  if (!rows.empty()) return rows_text(rows, 0, width);

  const std::vector<std::string> close = close_names(table, topic);
  throw std::runtime_error(
      "no command and no family \"" + topic + "\"" +
      (close.empty() ? "; help lists the families" : "; did you mean " + joined(close, ", ") + "?"));
}

}  // namespace kdish
