// Texts of any kind on a page of Markdown, and links to parameters.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/cores/Core.h"

namespace kdi::corepages {

/// As Markdown shows it: signs of its own are escaped.
std::string plain(std::string_view text);
std::string code(std::string_view text);
std::string codes(std::vector<std::string> const& texts);
/// Where a link to a heading leads.
std::string anchor(std::string_view heading);

/// The file of a core's page, and of the one of its registers.
std::string page_of(cores::Core const& core);
std::string registers_page_of(cores::Core const& core);

/// Names that lead to where they are told.
class NameLinks {
 public:
  /// The file in which each name has a heading.
  using Home = std::map<std::string, std::string, std::less<>>;
  /// Links on `page`; both outlive this.
  NameLinks(cores::Core const& core, Home const& home, std::string page)
      : core_(core), home_(home), page_(std::move(page)) {}

  /// The name, as a link if it has a heading somewhere.
  std::string link(std::string_view name) const;
  /// Of a parameter.
  std::string link(std::uint32_t number) const { return link(core_.parameters()[number].name); }
  std::string link(std::optional<std::uint32_t> const& number) const { return number ? link(*number) : std::string(); }
  /// Words with links for all names in them.
  std::string linked(std::string_view words) const;

 protected:
  cores::Core const& core_;

 private:
  Home const& home_;
  std::string page_;
};

}  // namespace kdi::corepages
