// JSON files as data: what is read is checked, and what is wrong is said with its place.
//
// For the platform's own libraries. A file is parsed whole; its values are then asked for by name and type, and each
// answer is either of that type and within its bounds or a kdi::JsonError with the text
//
//   <file>:<line>: <field path>: expected <what is accepted>, found <what stands there>
//
// in which a field path is like `parts[3].name`, and "top level" for the value of the whole file. Lines count from 1.
// The text is UTF-8 without comments (RFC 8259); a name that an object has twice is an error. Nesting may be as deep as
// memory allows. Numbers read the same under every locale.
//
//   const kdi::JsonFile file(path);
//   file.root().allow_only({"parts"});
//   for (const kdi::JsonValue part : file.root().member("parts").items()) {
//     const std::string_view name = part.member("name").text();
//     const std::int64_t banks = part.member("banks").integer(1, 64);
//     if (const auto speed = part.find("speed")) ...
//   }
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiFile.h"

namespace kdi {

class KDI_DOOR JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct JsonDocument;
class JsonRange;

/// One value of a file. Borrowed, as its texts and its name are: it lives as long as the JsonFile that it comes from.
/// Every operation but the predicates, line, name and place throws JsonError when the value is not what it asks for.
class KDI_DOOR JsonValue {
 public:
  bool is_object() const;
  bool is_list() const;
  bool is_text() const;
  bool is_number() const;
  bool is_boolean() const;
  bool is_null() const;

  bool boolean() const;
  /// A number written without fraction and exponent, from `least` to `most`.
  std::int64_t integer(std::int64_t least = std::numeric_limits<std::int64_t>::min(),
                       std::int64_t most = std::numeric_limits<std::int64_t>::max()) const;
  /// A number in any form, from `least` to `most`.
  double number(double least = std::numeric_limits<double>::lowest(),
                double most = std::numeric_limits<double>::max()) const;
  std::string_view text() const;
  /// A text that is one of `words`; its index among them.
  std::size_t choice(std::initializer_list<std::string_view> words) const;

  /// The member `name` of an object; `find` answers nothing where `member` fails with "expected a field".
  JsonValue member(std::string_view name) const;
  std::optional<JsonValue> find(std::string_view name) const;
  /// Fails at the first member of an object whose name is none of `names`, so that a misspelt field is not passed over.
  void allow_only(std::initializer_list<std::string_view> names) const;

  /// The values of a list, or of an object's members (see name), in the order of the file.
  JsonRange items() const;
  JsonRange members() const;

  /// The name under which an object holds this value; empty for an element of a list and for the root.
  std::string_view name() const;
  /// The line on which the value begins.
  int line() const;
  /// "<file>:<line>: <field path>".
  std::string place() const;
  /// What stands there, in words for an error: `the number 7`, `a list`.
  std::string found() const;
  /// Fails with "<place>: expected <expectation>, found <found>", for what only the caller can judge.
  [[noreturn]] void refuse(std::string const& expectation) const;

 private:
  friend class JsonFile;
  friend class JsonRange;
  JsonValue(JsonDocument const* document, std::size_t index) : document_(document), index_(index) {}
  JsonRange held() const;

  JsonDocument const* document_;
  std::size_t index_;
};

/// The values held by a list or an object, for a range-based for.
class JsonRange {
 public:
  class iterator {
   public:
    JsonValue operator*() const { return {document_, *at_}; }
    iterator& operator++() {
      ++at_;
      return *this;
    }
    bool operator==(iterator const& other) const { return at_ == other.at_; }
    bool operator!=(iterator const& other) const { return at_ != other.at_; }

   private:
    friend class JsonRange;
    iterator(JsonDocument const* document, std::uint32_t const* at) : document_(document), at_(at) {}
    JsonDocument const* document_;
    std::uint32_t const* at_;
  };

  iterator begin() const { return {document_, first_}; }
  iterator end() const { return {document_, first_ + size_}; }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  JsonValue operator[](std::size_t at) const { return {document_, first_[at]}; }

 private:
  friend class JsonValue;
  JsonRange(JsonDocument const* document, std::uint32_t const* first, std::size_t size)
      : document_(document), first_(first), size_(size) {}
  JsonDocument const* document_;
  std::uint32_t const* first_;
  std::size_t size_;
};

/// A parsed file.
class KDI_DOOR JsonFile {
 public:
  /// Reads and parses the file `path`. Throws FileError if it cannot be read, JsonError if it is no JSON.
  explicit JsonFile(std::string const& path, std::size_t most_bytes = kLargestFile);
  /// Parses `text`; errors call it `name`.
  JsonFile(std::string_view text, std::string const& name);
  JsonFile(JsonFile&&) noexcept;
  JsonFile& operator=(JsonFile&&) noexcept;
  ~JsonFile();

  JsonValue root() const;

 private:
  std::unique_ptr<JsonDocument> document_;
};

}  // namespace kdi
