// What the shell's `help` shows, made from the command table: lines no longer than `width`, unless a single word is.
#pragma once

#include <cstddef>
#include <string>

#include "host/kdish/command_table.h"

namespace kdish {

/// Where nobody says how wide the lines are.
inline constexpr std::size_t kUsualWidth = 100;

/// All families, with what they are about.
std::string families_help(Table const& table, std::size_t width = kUsualWidth);

/// The commands of a family, or its pages if it has several.
std::string family_help(Family const& family, std::size_t width = kUsualWidth);

/// The commands of a page.
std::string page_help(Page const& page, std::size_t width = kUsualWidth);

/// One command: its words, its result and an example. `name` is the one of the entry's names that was asked for.
std::string command_help(Command const& command, std::string const& name, std::size_t width = kUsualWidth);

/// What `help TOPIC` answers: a command, a family or a page of that name; for a pattern, the commands whose names
/// match; the one command or family of which a name begins so, with its namespace or without; else all whose names or
/// summaries hold the word, in letters of either case. Throws std::runtime_error, with names that are close, if there
/// is nothing.
std::string topic_help(Table const& table, std::string const& topic, std::size_t width = kUsualWidth);

/// Names of commands that somebody who typed `name` may have meant, the closest first, three at most.
std::vector<std::string> close_names(Table const& table, std::string const& name);

/// `name` with NAME in the place of `base`; itself if it does not hold it.
std::string name_pattern(std::string const& name, std::string const& base);

/// Commands of a page that are named alike, such as `sd_fec::NAME` and `ldpc::NAME`.
struct NamedAlike {
  std::vector<std::string> patterns;  ///< with NAME for the base; none: commands of one name each
  std::vector<Command const*> commands;
};
/// All commands of the page, by the ways in which they are named.
std::vector<NamedAlike> by_naming(Page const& page);

/// The shape in words for people: `a list of {address data comment}`, `a dictionary of any keys`.
std::string shape_words(Shape const& shape);

}  // namespace kdish
