// Texts of any kind on a page of HTML or in a picture, and links between the things on it.
#pragma once

#include <string>
#include <string_view>

#include "kdi/cores/Core.h"

namespace kdi::corepages {

/// The text as it may stand between tags and between quotes: nothing in it is markup, control characters are shown as
/// `\u001b`, and bytes that are no UTF-8 as U+FFFD.
std::string html(std::string_view text);

/// The same, cut after `most` characters of UTF-8, with dots.
std::string html_cut(std::string_view text, std::size_t most);

/// How many characters of UTF-8 there are.
std::size_t characters(std::string_view text);

/// The parameters of one core on the page: where each stands, and how other places lead there.
class Links {
 public:
  /// `path` tells the core from others on the page; empty for the outermost.
  Links(cores::Core const& core, std::string const& path);

  std::string id(std::string_view parameter) const { return prefix_ + std::string(parameter); }
  /// A link with the parameter's name.
  std::string link(std::string_view parameter) const;
  /// A rule, or a text about parameters, with a link on each of their names.
  std::string linked(std::string_view text) const;

 private:
  cores::Core const& core_;
  std::string prefix_;
};

}  // namespace kdi::corepages
