// A rule taken apart: the comparisons, truths and choices that it consists of, each of which can be evaluated alone.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/cores/Core.h"
#include "platform/cores/syntax.h"

namespace kdi::cores {

/// What names mean in the rules of a core that has been read.
class CoreScope : public Scope {
 public:
  explicit CoreScope(Core const& core);
  std::optional<Symbol> symbol(std::string_view name) const override;
  std::optional<Symbol> aspect(std::string_view aspect, std::string_view name) const override;

 private:
  std::optional<std::uint32_t> parameter(std::string_view name) const;

  Core const& core_;
  std::map<std::string_view, std::uint32_t> definitions_;
};

/// One part of a rule.
struct Term {
  Form form;
  std::string text;                   ///< canonical
  std::string word;                   ///< the sign of a comparison
  Rule rule;                          ///< of this part alone
  std::optional<std::uint32_t> slot;  ///< what a name stands for, unless it is a local one
  std::vector<Term> parts;            ///< none of a loop, whose parts mean nothing outside
  bool is_constant() const { return rule.reads().empty(); }
};

/// The most parts that a rule is taken into; what is beyond stays whole.
constexpr std::size_t kMostTerms = 400;

/// Takes a rule of the core apart.
Term terms_of(Rule const& rule, CoreScope const& scope);

}  // namespace kdi::cores
