// Values between Tcl and C++: references, texts, numbers, lists, dictionaries.
//
// For everything that a script meets: the package, the services, companions and the shell. What is named new_... makes
// an object that nobody counts yet: it is passed on in the same expression or held in an ObjRef. What reads an object
// leaves the interpreter's result alone unless it is given one, and lends: what it gives is good until the object
// takes another form, which reading a list as a dictionary, or a dictionary as a list, is.
#pragma once

#include <tcl.h>

#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>
#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace tcl {

// ---------------------------------------------------------------------------------------------------- references

/// One counted reference to a Tcl object.
class ObjRef {
 public:
  explicit ObjRef(Tcl_Obj* obj) : obj_(obj) { Tcl_IncrRefCount(obj_); }
  ObjRef(ObjRef const& other) : ObjRef(other.obj_) {}
  ObjRef& operator=(ObjRef other) noexcept {
    std::swap(obj_, other.obj_);
    return *this;
  }
  ~ObjRef() { Tcl_DecrRefCount(obj_); }

  Tcl_Obj* get() const { return obj_; }  // borrowed

 private:
  Tcl_Obj* obj_;  // never null
};

// ---------------------------------------------------------------------------------------------------- texts, numbers

/// `text` may hold any bytes but a zero.
inline Tcl_Obj* new_text(std::string_view text) { return Tcl_NewStringObj(text.data(), static_cast<int>(text.size())); }

inline std::string_view text_view(Tcl_Obj* obj) {
  int length = 0;
  char const* const text = Tcl_GetStringFromObj(obj, &length);
  return {text, static_cast<std::size_t>(length)};
}
inline std::string text_of(Tcl_Obj* obj) { return std::string(text_view(obj)); }

/// A text, a truth value, an integer (of its low 64 bits) or a double as an object; an object as itself.
template <class Value>
Tcl_Obj* new_value(Value const& value) {
  if constexpr (std::is_convertible_v<Value, Tcl_Obj*>)
    return value;
  else if constexpr (std::is_convertible_v<Value const&, std::string_view>)
    return new_text(value);
  else if constexpr (std::is_same_v<Value, bool>)
    return Tcl_NewBooleanObj(value ? 1 : 0);
  else if constexpr (std::is_integral_v<Value>)
    return Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(value));
  else
    return Tcl_NewDoubleObj(value);
}

/// What Tcl takes for one, in any of its forms; nothing for anything else, with Tcl's words in the result of `interp`.
std::optional<int> int_of(Tcl_Obj* obj, Tcl_Interp* interp = nullptr);
std::optional<Tcl_WideInt> wide_of(Tcl_Obj* obj, Tcl_Interp* interp = nullptr);
std::optional<double> double_of(Tcl_Obj* obj, Tcl_Interp* interp = nullptr);
std::optional<bool> bool_of(Tcl_Obj* obj, Tcl_Interp* interp = nullptr);

// ---------------------------------------------------------------------------------------------------- the system

/// A text of the system's, such as a file's name, as a text of Tcl's, and back, by the encoding that Tcl has for them.
std::string from_system(std::string_view text);
std::string to_system(std::string_view text);

/// The name by which the system knows the file that Tcl means by `name`, so that a command and a script mean the same
/// one: in the system's encoding, and with a user's home in the place of `~`. Any other name stays as it is written,
/// relative ones too. Nothing for a name of no file of the system: of a user who is not known, with a zero in it, or in
/// a file system of Tcl's own.
std::optional<std::string> native_path(Tcl_Obj* name);
/// The same; throws std::invalid_argument for such a name.
std::string required_native_path(Tcl_Obj* name);
std::string required_native_path(std::string const& name);

// ---------------------------------------------------------------------------------------------------- lists

/// The elements of a list; nothing if it is none, with Tcl's words in the result of `interp`.
std::optional<std::span<Tcl_Obj* const>> elements_of(Tcl_Obj* list, Tcl_Interp* interp = nullptr);

/// A list of what `make` makes of each member: whatever new_value takes.
template <std::ranges::input_range Members, class Make>
Tcl_Obj* new_list(Members const& members, Make make) {
  std::vector<Tcl_Obj*> elements;
  if constexpr (std::ranges::sized_range<Members const>) elements.reserve(std::ranges::size(members));
  for (auto const& member : members) elements.push_back(new_value(make(member)));
  return Tcl_NewListObj(static_cast<int>(elements.size()), elements.data());
}

/// A list of the members.
template <std::ranges::input_range Members>
Tcl_Obj* new_list(Members const& members) {
  return new_list(
      members, [](auto const& member) -> auto const& { return member; });
}
inline Tcl_Obj* new_list(std::initializer_list<Tcl_Obj*> elements) {
  return Tcl_NewListObj(static_cast<int>(elements.size()), std::data(elements));
}

/// A flat list of names and values, in whose names `fold` changes what it likes: a later value replaces an earlier one,
/// and a name without a value at the end is left out.
template <class Fold>
std::map<std::string, std::string> pairs_of(std::span<Tcl_Obj* const> words, Fold fold) {
  std::map<std::string, std::string> pairs;
  for (std::size_t i = 0; i + 1 < words.size(); i += 2) {
    std::string name = text_of(words[i]);
    fold(name);
    pairs.insert_or_assign(std::move(name), text_of(words[i + 1]));
  }
  return pairs;
}
inline std::map<std::string, std::string> pairs_of(std::span<Tcl_Obj* const> words) {
  return pairs_of(words, [](std::string&) {});
}

/// Appends to a list that nobody shares.
template <class Value>
void append(Tcl_Obj* list, Value const& value) {
  Tcl_ListObjAppendElement(nullptr, list, new_value(value));
}

// ---------------------------------------------------------------------------------------------------- dictionaries

/// A key as an object, made once for many look-ups.
class Key {
 public:
  explicit Key(std::string_view name) : object_(new_text(name)) {}

  std::string_view name() const { return text_view(object_.get()); }

  /// The value in `dict`, null if there is no such key; nothing if `dict` is no dictionary.
  std::optional<Tcl_Obj*> find(Tcl_Obj* dict) const;

  /// Puts `value` into a dictionary that nobody shares.
  void put(Tcl_Obj* dict, Tcl_Obj* value) const { Tcl_DictObjPut(nullptr, dict, object_.get(), value); }

 private:
  ObjRef object_;
};

template <class Value>
void put(Tcl_Obj* dict, std::string_view key, Value const& value) {
  Key(key).put(dict, new_value(value));
}

/// A dictionary of a few entries, in their order.
struct Entry {
  template <class Value>
  Entry(std::string_view key, Value const& value) : name(key), object(new_value(value)) {}

  std::string_view name;
  Tcl_Obj* object;
};
Tcl_Obj* new_dict(std::initializer_list<Entry> entries);

/// Walks the entries of a dictionary in their order: for (DictWalk at(dict); !at.at_end(); at.next()).
class DictWalk {
 public:
  explicit DictWalk(Tcl_Obj* dict);
  DictWalk(DictWalk const&) = delete;
  DictWalk& operator=(DictWalk const&) = delete;
  ~DictWalk() {
    if (is_dict_) Tcl_DictObjDone(&search_);
  }

  bool is_dict() const { return is_dict_; }
  bool at_end() const { return done_ != 0; }
  void next() { Tcl_DictObjNext(&search_, &key_, &value_, &done_); }
  Tcl_Obj* key() const { return key_; }
  Tcl_Obj* value() const { return value_; }

 private:
  Tcl_DictSearch search_{};
  Tcl_Obj* key_ = nullptr;
  Tcl_Obj* value_ = nullptr;
  int done_ = 1;
  bool is_dict_ = false;
};

}  // namespace tcl
