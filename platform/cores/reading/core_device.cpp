#include "platform/cores/reading/core_device.h"

#include <map>

#include "platform/cores/reading/drafts.h"

namespace kdi::cores {
namespace {

constexpr std::size_t kMostFacts = 10'000;

}  // namespace

void add_facts(JsonValue list, Places const& places, std::vector<Fact>& facts) {
  std::map<std::string, std::size_t> numbers;  // by word: thousands are not looked through for each
  for (std::size_t i = 0; i < facts.size(); ++i) numbers.emplace(facts[i].word, i);
  for (const JsonValue entry : list.items()) {
    entry.allow_only({"each", "word", "type", "without"});
    for (Places const& filling : written_out(entry.find("each"), places)) {
      Fact fact{text(entry.member("word"), filling), scalar_type(entry.member("type")), {}};
      const auto without = read_value(fact.type, text(entry.member("without"), filling));
      if (!without) entry.member("without").refuse("a value of type " + fact.type.text());
      fact.without = *without;
      const auto [known, is_new] = numbers.emplace(fact.word, facts.size());
      if (!is_new) {
        facts[known->second] = std::move(fact);
        continue;
      }
      if (facts.size() == kMostFacts) entry.refuse("at most 10000 words");
      facts.push_back(std::move(fact));
    }
  }
}

}  // namespace kdi::cores
