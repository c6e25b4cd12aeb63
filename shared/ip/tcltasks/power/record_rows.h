// A record of the power calculator as rows: the word by which a key is known, and what its value sets.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiTypes.h"
#include "tcltasks/power/key_words.h"

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

template <class Record>
struct RecordRow {
  std::string_view word;
  void (*set)(Record& record, std::string const& value);
};

/// What most rows do: the field becomes value_of its type.
template <auto Field>
struct FieldOf;
template <class Record, class Value, Value Record::*Field>
struct FieldOf<Field> {
  static void set(Record& record, std::string const& value) { record.*Field = value_of<Value>(value); }
};
template <auto Field>
constexpr auto set_field = FieldOf<Field>::set;

/// Each key sets what the first of the rows does whose word it contains; of several such keys the last counts. `words`
/// are those of the rows.
template <class Record, std::size_t Count>
void set_fields(Record& record, RecordRow<Record> const (&rows)[Count], KeyWords<Count> const& words,
                ParamMap const& params) {
  for (auto const& [key, value] : params)
    if (const std::size_t row = words.first_in(key); row < Count) rows[row].set(record, value);
}

}  // namespace power_est_init::power_est_kdi_tcltasks
