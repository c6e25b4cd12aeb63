// A rule taken apart: the comparisons, truths and choices that it consists of, each of which can be evaluated alone.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/cores/Core.h"
#include "platform/cores/rules/syntax.h"

namespace kdi::cores {

/// What names mean in the rules of a core that has been read.
class CoreScope : public Scope {
 public:
  explicit CoreScope(Core const& core);
  std::optional<Symbol> symbol(std::string_view name) const override;
  std::optional<Symbol> aspect(std::string_view aspect, std::string_view name) const override;
  Function const* function(std::string_view name) const override;

 private:
  std::optional<std::uint32_t> parameter(std::string_view name) const;

  Core const& core_;
  std::map<std::string_view, std::uint32_t> definitions_;
};

/// One part of a rule.
class Term {
 public:
  Form form() const { return form_; }
  /// The sign of a comparison, the function of a call.
  std::string const& word() const { return word_; }
  /// The slot that a name or an aspect stands for; none for a local name.
  std::optional<std::uint32_t> slot() const { return slot_; }
  /// None of a loop, whose parts mean nothing outside.
  std::vector<Term> const& parts() const { return parts_; }
  /// Whether it reads nothing.
  bool is_constant() const { return is_constant_; }
  /// Canonical.
  std::string text() const;
  /// This part alone; compiled when it is first asked for.
  Rule const& rule() const;

 private:
  friend class TermReader;
  struct Source;

  Form form_ = Form::literal;
  std::uint32_t node_ = 0;
  bool is_constant_ = false;
  std::optional<std::uint32_t> slot_;
  std::string word_;
  std::vector<Term> parts_;
  std::shared_ptr<Source> source_;
  std::vector<std::pair<std::string, std::uint32_t>> lets_;  // around it
  mutable std::optional<Rule> rule_;
};

/// The most parts that a rule is taken into; what is beyond stays whole.
constexpr std::size_t kMostTerms = 400;

/// Takes a rule of the core apart. The scope outlives what it gives.
Term terms_of(Rule const& rule, CoreScope const& scope);

}  // namespace kdi::cores
