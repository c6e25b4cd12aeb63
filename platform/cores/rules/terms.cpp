#include "platform/cores/rules/terms.h"

#include <algorithm>
#include <utility>

#include "platform/cores/rules/code.h"
#include "platform/cores/rules/memory_functions.h"

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

Function const* CoreScope::function(std::string_view name) const { return memory_function(name); }

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

struct Term::Source {
  Syntax syntax;
  CoreScope const& scope;
  Compiler compiler = {};
};

class TermReader {
 public:
  TermReader(Rule const& rule, CoreScope const& scope)
      : source_(new Term::Source{*rule.syntax(), scope}), syntax_(source_->syntax), scope_(scope) {}

  Term whole() { return term(syntax_.root); }

  // The part as a rule of its own, behind the lets around it.
  static Rule alone(Term const& term) {
    Syntax& syntax = term.source_->syntax;
    const std::size_t size = syntax.nodes.size();
    std::uint32_t root = term.node_;
    for (auto let = term.lets_.rbegin(); let != term.lets_.rend(); ++let) {
      Expression around{Form::let};
      around.word = std::string_view(let->first);
      around.parts = {let->second, root};
      root = static_cast<std::uint32_t>(syntax.nodes.size());
      syntax.nodes.push_back(std::move(around));
    }
    const std::uint32_t whole = std::exchange(syntax.root, root);
    Rule rule(term.source_->compiler.compile(syntax, term.source_->scope, std::nullopt));
    syntax.root = whole;
    syntax.nodes.resize(size, Expression{Form::literal});
    return rule;
  }

 private:
  Term term(std::uint32_t number) {
    Expression const& node = syntax_.at(number);
    Term term;
    term.form_ = node.form;
    term.node_ = number;
    term.word_ = node.word;
    term.source_ = source_;
    term.lets_ = lets_;
    if (++count_ > kMostTerms) return term;
    switch (node.form) {
      case Form::literal:
        term.is_constant_ = true;
        return term;
      case Form::loop:
        return term;
      case Form::rows: {  // told as it is written, taken apart by its rows
        Term rows = this->term(node.parts[0]);
        rows.node_ = number;
        return rows;
      }
      case Form::name:
        if (!is_local(node.word)) term.slot_ = scope_.symbol(node.word)->slot;
        return term;
      case Form::let:
        term.parts_.push_back(this->term(node.parts[0]));
        lets_.emplace_back(node.word, node.parts[0]);
        term.parts_.push_back(this->term(node.parts[1]));
        lets_.pop_back();
        break;
      default:
        if (const auto symbol = aspect(node)) {
          term.slot_ = symbol->slot;
          return term;
        }
        for (const std::uint32_t part : node.parts) term.parts_.push_back(this->term(part));
        break;
    }
    term.is_constant_ =
        std::all_of(term.parts_.begin(), term.parts_.end(), [](Term const& part) { return part.is_constant(); });
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
    return std::any_of(lets_.begin(), lets_.end(), [&](auto const& let) { return let.first == name; });
  }

  std::shared_ptr<Term::Source> source_;
  Syntax const& syntax_;
  CoreScope const& scope_;
  std::vector<std::pair<std::string, std::uint32_t>> lets_;
  std::size_t count_ = 0;
};

std::string Term::text() const { return written(source_->syntax, node_); }

Rule const& Term::rule() const {
  if (!rule_) rule_ = TermReader::alone(*this);
  return *rule_;
}

Term terms_of(Rule const& rule, CoreScope const& scope) { return TermReader(rule, scope).whole(); }

}  // namespace kdi::cores
