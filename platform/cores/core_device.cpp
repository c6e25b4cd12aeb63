#include "platform/cores/core_device.h"

#include <algorithm>

#include "platform/cores/drafts.h"

namespace kdi::cores {
namespace {

constexpr std::size_t kMostFacts = 10'000;

void add(Fact fact, JsonValue entry, std::vector<Fact>& facts) {
  const auto known =
      std::find_if(facts.begin(), facts.end(), [&](Fact const& other) { return other.word == fact.word; });
  if (known != facts.end()) {
    *known = std::move(fact);
    return;
  }
  if (facts.size() == kMostFacts) entry.refuse("at most 10000 words");
  facts.push_back(std::move(fact));
}

}  // namespace

void add_facts(JsonValue list, PlaceValues const& places, std::vector<Fact>& facts) {
  for (const JsonValue entry : list.items()) {
    entry.allow_only({"each", "word", "type", "without"});
    for (PlaceValues const& filling : written_out(entry.find("each"), places)) {
      Fact fact{text(entry.member("word"), filling), scalar_type(entry.member("type")), {}};
      const auto without = read_value(fact.type, text(entry.member("without"), filling));
      if (!without) entry.member("without").refuse("a value of type " + fact.type.text());
      fact.without = *without;
      add(std::move(fact), entry, facts);
    }
  }
}

}  // namespace kdi::cores
