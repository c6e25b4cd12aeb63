// What the engine tells of a configuration, in one form for everyone that shows it: a text, a list of records, or a
// dictionary of records whose keys have an order. Shells, reports and other languages turn it into their own lists and
// dictionaries and add nothing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::cores {

class KDI_DOOR Record {
 public:
  enum class Form : std::uint8_t { text, list, dictionary };

  Record() = default;                                   // an empty text
  Record(std::string text) : text_(std::move(text)) {}  // NOLINT: a text is a record
  Record(std::string_view text) : text_(text) {}        // NOLINT
  Record(char const* text) : text_(text) {}             // NOLINT
  static Record list() { return Record(Form::list); }
  static Record list(std::vector<std::string> const& texts);
  static Record dictionary() { return Record(Form::dictionary); }
  /// `1` or `0`.
  static Record truth(bool truth) { return truth ? "1" : "0"; }

  /// Adds to a list.
  Record& add(Record element);
  /// Adds to a dictionary; the key is a new one.
  Record& set(std::string key, Record value);

  Form form() const { return form_; }
  std::string const& text() const { return text_; }
  /// The elements of a list; the values of a dictionary, each with its key in keys().
  std::vector<Record> const& items() const { return items_; }
  std::vector<std::string> const& keys() const { return keys_; }
  /// The value of a key of a dictionary; null if there is none.
  Record const* find(std::string_view key) const;

  /// As JSON: texts, arrays, objects, two blanks deeper on each level. Bytes that are no UTF-8 become U+FFFD.
  std::string json() const;

  friend bool operator==(Record const&, Record const&) = default;

 private:
  explicit Record(Form form) : form_(form) {}
  void write(std::string& json, std::size_t depth) const;

  Form form_ = Form::text;
  std::string text_;
  std::vector<std::string> keys_;
  std::vector<Record> items_;
};

/// A text between the quotes of JSON, with what JSON asks for written as escapes, and U+FFFD for bytes that are no
/// UTF-8.
KDI_DOOR std::string json_text(std::string_view text);
/// Whether the bytes are UTF-8 throughout.
KDI_DOOR bool is_utf8(std::string_view text);

}  // namespace kdi::cores
