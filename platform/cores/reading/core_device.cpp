#include "platform/cores/reading/core_device.h"

#include "platform/cores/reading/drafts.h"

namespace kdi::cores {
namespace {

constexpr std::size_t kMostFacts = 10'000;

}  // namespace

void add_facts(JsonValue list, Places const& places, std::vector<Fact>& facts, NumberTable& numbers) {
  const auto word_of = [&](std::uint32_t number) -> std::string const& { return facts[number].word; };
  for (const JsonValue entry : list.items()) {
    entry.allow_only({"each", "word", "type", "without"});
    for (Places const& filling : written_out(entry.find("each"), places)) {
      Fact fact{text(entry.member("word"), filling), scalar_type(entry.member("type")), {}};
      const auto without = read_value(fact.type, borrowed_text(entry.member("without"), filling));
      if (!without) entry.member("without").refuse("a value of type " + fact.type.text());
      fact.without = *without;
      if (const auto known = numbers.find(fact.word, word_of)) {
        facts[*known] = std::move(fact);
        continue;
      }
      if (facts.size() == kMostFacts) entry.refuse("at most 10000 words");
      numbers.add(fact.word, static_cast<std::uint32_t>(facts.size()));
      facts.push_back(std::move(fact));
    }
  }
}

}  // namespace kdi::cores
