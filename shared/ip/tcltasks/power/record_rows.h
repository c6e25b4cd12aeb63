// A record of the power calculator as rows: the word by which a key is known, and what its value sets.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/KdiTypes.h"
#include "tcltasks/power/key_words.h"
#include "tcltasks/power/unread_words.h"

namespace power_est_init::power_est_kdi_tcltasks {

/// The text as it is, or the number that it begins with; 0 if it begins with none. The same under every locale.
template <class Value>
Value value_of(std::string const& text) {
  if constexpr (std::is_same_v<Value, std::string>)
    return text;
  else if constexpr (std::is_floating_point_v<Value>)
    return static_cast<Value>(kdi::number::leading_double(text.c_str()));
  else
    return static_cast<Value>(kdi::number::leading_long(text.c_str()));
}

/// What a row sets, and how it reads a value.
template <class Record>
struct Setter {
  void (*set)(Record& record, std::string const& value);
  Reads reads;
};

/// Most values are digits alone, and all of them is read.
inline bool is_plain_number(std::string const& value) {
  return std::all_of(value.begin(), value.end(), kdi::text::is_digit);
}

template <class Record>
struct RecordRow {
  std::string_view word;
  Setter<Record> setter;
};

/// What most rows do: the field becomes value_of its type.
template <auto Field>
struct FieldOf;
template <class Record, class Value, Value Record::*Field>
struct FieldOf<Field> {
  static void set(Record& record, std::string const& value) { record.*Field = value_of<Value>(value); }
  static constexpr Reads kReads = std::is_same_v<Value, std::string> ? Reads::text
                                  : std::is_floating_point_v<Value>  ? Reads::real
                                                                     : Reads::integer;
  static constexpr Setter<Record> kSetter = {set, kReads};
};
template <auto Field>
constexpr auto set_field = FieldOf<Field>::kSetter;

/// Each key sets what the first of the rows does whose word it contains; of several such keys the last counts. `words`
/// are those of the rows. What is not read as it stands is told to `unread`, if there is one; `others` are keys that
/// are looked for elsewhere, as they are.
template <class Record, std::size_t Count>
void set_fields(Record& record, RecordRow<Record> const (&rows)[Count], KeyWords<Count> const& words,
                ParamMap const& params, std::initializer_list<std::string_view> others, UnreadWords* unread) {
  for (auto const& [key, value] : params) {
    const std::size_t row = words.first_in(key);
    if (row < Count) {
      rows[row].setter.set(record, value);
      const Reads reads = rows[row].setter.reads;
      const bool is_number = reads == Reads::integer || reads == Reads::real;
      if (unread != nullptr && !(is_number && is_plain_number(value))) unread->look_at(key, value, reads);
    } else if (unread != nullptr && std::find(others.begin(), others.end(), key) == others.end()) {
      unread->add(key, [&rows](std::size_t index) { return index < Count ? rows[index].word : std::string_view(); });
    }
  }
}

}  // namespace power_est_init::power_est_kdi_tcltasks
