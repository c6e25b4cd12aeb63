// What the readers of all sections of a core's description share: places that are filled, and types.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiPattern.h"
#include "kdi/cores/Value.h"

namespace kdi::cores {

constexpr std::size_t kMostParameters = 100'000;  ///< of a core, patterns written out

constexpr std::size_t kMostEntries = 10'000;   ///< of a section, patterns written out
constexpr std::size_t kLongestName = 250;      ///< bytes, of a parameter or a definition
constexpr std::size_t kLongestFill = 1 << 20;  ///< bytes, of a text with its places filled

/// What a description comes to with its patterns written out. A small file may stand for more than any memory holds;
/// what is beyond these bounds is refused where it stands.
class Extent {
 public:
  static constexpr std::size_t kMostFiles = 32 << 20;  ///< bytes of all files
  static constexpr std::size_t kMostTexts = 64 << 20;  ///< bytes of all texts
  static constexpr std::size_t kMostRules = 1 << 29;   ///< bytes that all rules take as they are compiled

  void add_text(JsonValue at, std::size_t bytes);
  void add_rule(JsonValue at, std::size_t bytes);

 private:
  std::size_t texts_ = 0, rules_ = 0;
};

/// What stands for each ${name}, and what the texts count for that are filled with it. Copies share what they hold
/// until one of them is changed: thousands of entries have the places of the part that they stand in.
class Places {
 public:
  explicit Places(Extent& counted, PlaceValues values = {})
      : extent(&counted), values_(std::make_shared<PlaceValues>(std::move(values))) {}

  PlaceValues const& values() const { return *values_; }
  auto begin() const { return values_->begin(); }
  auto end() const { return values_->end(); }
  std::size_t size() const { return values_->size(); }
  auto find(std::string_view name) const { return values_->find(name); }
  bool contains(std::string_view name) const { return values_->contains(name); }
  void put(std::string const& name, std::string value) {
    if (values_.use_count() > 1) values_ = std::make_shared<PlaceValues>(*values_);
    values_->insert_or_assign(name, std::move(value));
  }

  Extent* extent;

 private:
  std::shared_ptr<PlaceValues> values_;
};

/// `text`, which stands at `value`, with each ${name} replaced; refuses a place that `places` lacks. What stands for a
/// place of a part may itself have places, those of `each`.
std::string filled(JsonValue value, std::string_view text, Places const& places);
/// The text or texts that stand at `value`, filled.
std::string text(JsonValue value, Places const& places);
std::vector<std::string> texts(JsonValue list, Places const& places);

/// All ways to fill the places of `each`, in the order of their names, with those of `known` beside them; that alone if
/// there is no `each`.
std::vector<Places> written_out(std::optional<JsonValue> each, Places const& known);

/// truth, integer, decimal or text.
Type scalar_type(JsonValue value);

}  // namespace kdi::cores
