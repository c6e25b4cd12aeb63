// What the readers of all sections of a core's description share: places that are filled, and types.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiPattern.h"
#include "kdi/common/KdiText.h"
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
  /// What all texts come to so far, and whether there may be so many bytes more.
  std::size_t texts() const { return texts_; }
  bool has_room(std::size_t bytes) const { return bytes <= kMostTexts - texts_; }

  /// Memory in which texts are filled, one after the other.
  std::string& room() { return room_; }

 private:
  std::size_t texts_ = 0, rules_ = 0;
  std::string room_;
};

/// What stands for each ${name}, and what the texts count for that are filled with it. Copies share what they hold, and
/// so do the rows of a pattern: thousands of entries have the places of the part that they stand in.
class Places {
 public:
  explicit Places(Extent& counted) : extent(&counted) {}

  /// What stands for `name`; null if nothing does.
  std::string_view const* find(std::string_view name) const {
    Place const* place = last_.get();
    while (place != nullptr && !text::same_name(place->name, name)) place = place->before;
    return place == nullptr ? nullptr : &place->value;
  }
  bool contains(std::string_view name) const { return find(name) != nullptr; }
  /// In place of what stood for `name`.
  void put(std::string_view name, std::string_view value);
  /// Puts what `others` has.
  void put(Places const& others);
  PlaceValues values() const;

  Extent* extent;

 private:
  friend std::vector<Places> written_out(std::optional<JsonValue> each, Places const& known);

  struct Place {
    Place const* before;
    std::string_view name, value;
    std::size_t bytes;  // that it and those before take, about
  };
  struct One;
  struct Row;

  Place after(std::string_view name, std::string_view value) const;

  std::shared_ptr<Place const> last_;  // which keeps those before
};

/// `text`, which stands at `value`, with each ${name} replaced; refuses a place that `places` lacks. What stands for a
/// place of a part may itself have places, those of `each`.
std::string filled(JsonValue value, std::string_view text, Places const& places);
/// The text or texts that stand at `value`, filled.
std::string text(JsonValue value, Places const& places);
/// The same without a copy: good until another text is filled.
std::string_view borrowed_text(JsonValue value, Places const& places);
std::vector<std::string> texts(JsonValue list, Places const& places);

/// All ways to fill the places of `each`, in the order of their names, with those of `known` beside them; that alone if
/// there is no `each`.
std::vector<Places> written_out(std::optional<JsonValue> each, Places const& known);

/// truth, integer, decimal or text.
Type scalar_type(JsonValue value);

}  // namespace kdi::cores
