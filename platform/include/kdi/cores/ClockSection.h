// The clocks of a core as its description gives them: which parameters say what is requested, and which show what was
// found. data/cores/README.md tells the form.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kdi/cores/Clocks.h"
#include "kdi/cores/SearchSection.h"

namespace kdi::cores {

/// A name of the section, with the text that a source parameter shows for it.
struct NamedChoice {
  std::string name, text;
};

struct DescribedDivider {
  std::optional<std::uint32_t> parameter;
  Rule values;  ///< list of integers
};

struct DescribedReference {
  std::string name;
  Rule mhz;
};

struct DescribedCrossing {
  std::string name;
  DescribedDivider divider;
  std::optional<Rule> most;
};

struct DescribedPll {
  std::string name;
  std::optional<Rule> enabled;
  std::vector<NamedChoice> references;
  std::optional<std::uint32_t> source, actual;
  DescribedDivider feedback;
  std::optional<DescribedDivider> divider;
  Rule vco_least, vco_most;
  std::optional<Rule> most;
  std::optional<DescribedCrossing> crossing;
};

struct DescribedClock {
  std::string name;
  std::optional<Rule> enabled;
  Rule requested;
  std::vector<NamedChoice> sources;
  std::uint32_t actual;
  std::optional<std::uint32_t> source;
  std::vector<DescribedDivider> dividers;
  std::optional<Rule> most;
  bool may_exceed = true;
};

/// What the search found: the request that it answered, and for its clocks and PLLs the numbers of the described ones.
struct ClockFindings : Findings {
  bool manual = false;  ///< the user sets sources and dividers: the answer is what they give
  ClockRequest request;
  std::vector<std::size_t> plls, clocks;
  ClockAnswer answer;
};

/// The answers to the latest requests. Each new instance of a core asks what those before it asked, and a search takes
/// longer than all else that an instance computes. For several threads.
class ClockAnswers {
 public:
  /// The known answer, or what `search` finds.
  ClockAnswer answer(ClockRequest const& request, ClockAnswer (*search)(ClockRequest const&));

 private:
  static constexpr std::size_t kMost = 8;
  struct Known {
    ClockRequest request;
    ClockAnswer answer;
  };
  std::mutex mutex_;
  std::deque<std::shared_ptr<Known const>> known_;  // the latest in front
};

class KDI_DOOR ClockSection : public SearchSection {
 public:
  /// Places of actual frequencies in MHz.
  static constexpr int kShownPlaces = 6;

  std::string_view name() const override { return "clocks"; }
  std::string_view message() const override { return "clock"; }
  std::shared_ptr<Findings const> run(SearchInput const& input) const override;
  /// What the user sets is told of each clock by itself.
  std::vector<std::uint32_t> reads_of(Core const& core, Findings const& found, std::uint32_t parameter) const override;

  std::optional<Rule> manual;
  std::vector<DescribedReference> references;
  std::vector<DescribedPll> plls;
  std::vector<DescribedClock> clocks;

 private:
  mutable ClockAnswers answers_;
};

}  // namespace kdi::cores
