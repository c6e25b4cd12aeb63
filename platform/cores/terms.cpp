#include "platform/cores/terms.h"

#include <utility>

#include "platform/cores/code.h"

namespace kdi::cores {

CoreScope::CoreScope(Core const& core) : core_(core) {
  for (std::uint32_t i = 0; i < core.definitions().size(); ++i) definitions_.emplace(core.definitions()[i].name, i);
}

// A rule may say a name that the parameter had in an older version.
std::optional<std::uint32_t> CoreScope::parameter(std::string_view name) const {
  const auto number = core_.find(name);
  return number ? number : core_.find_user_name(name);
}

std::optional<Symbol> CoreScope::symbol(std::string_view name) const {
  if (const auto number = parameter(name))
    return Symbol{core_.parameters()[*number].type, Core::slot(*number, Core::kValue)};
  const auto found = definitions_.find(name);
  if (found == definitions_.end()) return std::nullopt;
  return Symbol{core_.definitions()[found->second].rule.type(), core_.definition_slot(found->second)};
}

std::optional<Symbol> CoreScope::aspect(std::string_view aspect, std::string_view name) const {
  if (aspect == "device") {
    const auto fact = core_.find_fact(name);
    return fact ? std::optional(Symbol{core_.facts()[*fact].type, core_.fact_slot(*fact)}) : std::nullopt;
  }
  const auto number = parameter(name);
  if (!number) return std::nullopt;
  if (aspect == "user") return Symbol{core_.parameters()[*number].type, Core::slot(*number, Core::kUser)};
  if (aspect == "given") return Symbol{Kind::truth, Core::slot(*number, Core::kGiven)};
  if (aspect == "enabled") return Symbol{Kind::truth, Core::slot(*number, Core::kEnabled)};
  return std::nullopt;
}

class TermReader {
 public:
  TermReader(Rule const& rule, CoreScope const& scope) : rule_(rule), scope_(scope), syntax_(*rule.syntax_) {}

  Term whole() { return term(syntax_.root); }

 private:
  // A copy, since what a let before it binds is added to the tree, in which nodes may move.
  Term term(std::uint32_t number) {
    const Expression node = syntax_.at(number);
    ++count_;
    Term term{node.form, written(syntax_, number), node.word, alone(number), {}, {}};
    if (count_ > kMostTerms) return term;
    switch (node.form) {
      case Form::literal:
      case Form::loop:
        break;
      case Form::name:
        if (!is_local(node.word)) term.slot = scope_.symbol(node.word)->slot;
        break;
      case Form::let:
        term.parts.push_back(this->term(node.parts[0]));
        lets_.emplace_back(node.word, node.parts[0]);
        term.parts.push_back(this->term(node.parts[1]));
        lets_.pop_back();
        break;
      default:
        if (const auto symbol = aspect(node))
          term.slot = symbol->slot;
        else
          for (const std::uint32_t part : node.parts) term.parts.push_back(this->term(part));
        break;
    }
    return term;
  }

  std::optional<Symbol> aspect(Expression const& node) const {
    if (node.form != Form::call || node.parts.size() != 1) return std::nullopt;
    Expression const& named = syntax_.at(node.parts[0]);
    if (node.word == "device" && named.form == Form::literal && named.value.cell().kind() == Kind::text)
      return scope_.aspect(node.word, named.value.cell().text());
    return named.form == Form::name ? scope_.aspect(node.word, named.word) : std::nullopt;
  }

  bool is_local(std::string const& name) const {
    for (auto const& [word, value] : lets_)
      if (word == name) return true;
    return false;
  }

  // The part as a rule of its own, behind the lets around it.
  Rule alone(std::uint32_t number) {
    const std::size_t size = syntax_.nodes.size();
    std::uint32_t root = number;
    for (auto let = lets_.rbegin(); let != lets_.rend(); ++let) {
      Expression around{Form::let};
      around.word = let->first;
      around.parts = {let->second, root};
      root = static_cast<std::uint32_t>(syntax_.nodes.size());
      syntax_.nodes.push_back(std::move(around));
    }
    Rule rule;
    rule.syntax_ = rule_.syntax_;
    const std::uint32_t whole = std::exchange(syntax_.root, root);
    rule.code_ = std::make_shared<Code>(compile(syntax_, scope_, std::nullopt));
    syntax_.root = whole;
    syntax_.nodes.resize(size);
    return rule;
  }

  Rule const& rule_;
  CoreScope const& scope_;
  Syntax syntax_;
  std::vector<std::pair<std::string, std::uint32_t>> lets_;
  std::size_t count_ = 0;
};

Term terms_of(Rule const& rule, CoreScope const& scope) { return TermReader(rule, scope).whole(); }

}  // namespace kdi::cores
