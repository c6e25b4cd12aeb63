// The registers of cores on pages: blocks, registers, fields and what of a configuration each of them holds, in which
// order they are written, and what becomes of parameters that none holds.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kdi/cores/Registers.h"
#include "platform/corepages/markdown.h"

namespace kdi::corepages {

/// By the name of a parameter: links to the registers that hold it, with the names of the fields.
using RegisterLinks = std::map<std::string, std::string, std::less<>>;

/// Of all versions of one core, oldest first; the newest is told whole, others by what is otherwise.
class RegisterPages {
 public:
  explicit RegisterPages(std::vector<std::shared_ptr<cores::Core const>> const& versions);
  ~RegisterPages();

  /// Of the newest version.
  std::size_t count() const;
  /// Empty for a version without registers.
  RegisterLinks links(cores::Core const& core) const;
  /// `parameters` is where these are told.
  std::string page(cores::Core const& core, NameLinks::Home const& parameters) const;

 private:
  struct Version;
  Version const& version(cores::Core const& core) const;

  std::vector<std::unique_ptr<Version>> versions_;
};

}  // namespace kdi::corepages
