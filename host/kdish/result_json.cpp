#include "host/kdish/result_json.h"

#include <cmath>
#include <set>
#include <stdexcept>

#include "kdi/common/KdiNumber.h"
#include "kdi/tcl/values.h"

namespace kdish {
namespace {

using tcl::text_of;

struct Misfit : std::runtime_error {
  using std::runtime_error::runtime_error;
};

[[noreturn]] void refuse(std::string const& place, char const* expected, std::string found) {
  constexpr std::size_t kShown = 40;
  if (found.size() > kShown) found = found.substr(0, kShown) + "...";
  throw Misfit("the result is not as declared: " + (place.empty() ? "at the top" : place) + ": expected " + expected +
               ", found \"" + found + "\"");
}

bool is_decimal_integer(std::string const& text) {
  const std::size_t first = text.starts_with('-') ? 1 : 0;
  if (text.size() == first || (text[first] == '0' && text.size() > first + 1) || text == "-0") return false;
  return text.find_first_not_of("0123456789", first) == std::string::npos;
}

void append_escape(std::string& json, unsigned unit) { json += "\\u" + kdi::number::hexadecimal(unit, 4); }

void append_text(std::string& json, std::string const& text) {
  constexpr unsigned kHighSurrogates = 0xD800;
  constexpr unsigned kLowSurrogates = 0xDC00;
  constexpr unsigned kBehindSurrogates = 0xE000;
  json += '"';
  char const* at = text.c_str();
  char const* const end = at + text.size();
  unsigned open_high = 0;
  while (at < end) {
    Tcl_UniChar unit = 0;
    at += Tcl_UtfToUniChar(at, &unit);
    const unsigned code = unit;
    if (open_high != 0) {
      const bool is_pair = code >= kLowSurrogates && code < kBehindSurrogates;
      append_escape(json, is_pair ? open_high : 0xFFFD);  // half a character cannot be told in JSON
      open_high = 0;
      if (is_pair) {
        append_escape(json, code);
        continue;
      }
    }
    if (code >= kHighSurrogates && code < kLowSurrogates) {
      open_high = code;
    } else if (code >= kLowSurrogates && code < kBehindSurrogates) {
      append_escape(json, 0xFFFD);
    } else if (code == '\n') {
      json += "\\n";
    } else if (code == '"' || code == '\\') {
      json += '\\';
      json += static_cast<char>(code);
    } else if (code < ' ') {
      append_escape(json, code);
    } else {
      char bytes[TCL_UTF_MAX];
      json.append(bytes, static_cast<std::size_t>(Tcl_UniCharToUtf(unit, bytes)));
    }
  }
  if (open_high != 0) append_escape(json, 0xFFFD);
  json += '"';
}

std::vector<tcl::ObjRef> elements_of(Tcl_Obj* list, std::string const& place) {
  const auto elements = tcl::elements_of(list);
  if (!elements) refuse(place, "a list", text_of(list));
  return std::vector<tcl::ObjRef>(elements->begin(), elements->end());
}

class Writer {
 public:
  std::string json;

  void write(Tcl_Obj* value, Shape const& shape, std::string const& place) {
    switch (shape.kind) {
      case Shape::Kind::text:
        return append_text(json, text_of(value));
      case Shape::Kind::integer:
        return write_integer(value, place);
      case Shape::Kind::number:
        return write_number(value, place);
      case Shape::Kind::boolean:
        return write_boolean(value, place);
      case Shape::Kind::list:
        return write_list(value, shape.parts[0].shape, place);
      case Shape::Kind::tuple:
        return write_tuple(value, shape, place);
      case Shape::Kind::dict:
        return write_dict(value, shape, place);
      case Shape::Kind::either:
        return write_either(value, shape, place);
    }
  }

 private:
  void write_integer(Tcl_Obj* value, std::string const& place) {
    const std::string text = text_of(value);
    if (!is_decimal_integer(text)) refuse(place, "an integer", text);
    json += text;
  }

  void write_number(Tcl_Obj* value, std::string const& place) {
    const std::string text = text_of(value);
    if (is_decimal_integer(text)) {
      json += text;
      return;
    }
    const auto number = tcl::double_of(value);
    if (!number || !std::isfinite(*number)) refuse(place, "a finite number", text);
    char digits[TCL_DOUBLE_SPACE];
    Tcl_PrintDouble(nullptr, *number, digits);
    json += digits;
  }

  void write_boolean(Tcl_Obj* value, std::string const& place) {
    const auto truth = tcl::bool_of(value);
    if (!truth) refuse(place, "a boolean", text_of(value));
    json += *truth ? "true" : "false";
  }

  void write_list(Tcl_Obj* value, Shape const& element, std::string const& place) {
    json += '[';
    std::size_t index = 0;
    for (tcl::ObjRef const& one : elements_of(value, place)) {
      if (index > 0) json += ',';
      write(one.get(), element, place + "[" + std::to_string(index++) + "]");
    }
    json += ']';
  }

  void write_tuple(Tcl_Obj* value, Shape const& shape, std::string const& place) {
    const std::vector<tcl::ObjRef> elements = elements_of(value, place);
    if (elements.size() != shape.parts.size())
      refuse(place, ("a list of " + std::to_string(shape.parts.size())).c_str(), text_of(value));
    json += '{';
    for (std::size_t i = 0; i < elements.size(); ++i)
      write_member(i == 0, shape.parts[i].name, elements[i].get(), shape.parts[i].shape, place);
    json += '}';
  }

  void write_dict(Tcl_Obj* value, Shape const& shape, std::string const& place) {
    const std::vector<tcl::ObjRef> words = elements_of(value, place);
    if (words.size() % 2 != 0) refuse(place, "a dictionary", text_of(value));
    std::set<std::string> seen;
    json += '{';
    for (std::size_t i = 0; i < words.size(); i += 2) {
      const std::string key = text_of(words[i].get());
      Shape const* const part = part_of(shape, key);
      if (part == nullptr || !seen.insert(key).second) refuse(place, "a key that is declared, once", key);
      write_member(i == 0, key, words[i + 1].get(), *part, place);
    }
    for (Shape::Part const& part : shape.parts)
      if (!part.optional && part.name != "*" && !seen.contains(part.name))
        refuse(place, ("the key " + part.name).c_str(), text_of(value));
    json += '}';
  }

  // The last shape's refusal is the one that is told.
  void write_either(Tcl_Obj* value, Shape const& shape, std::string const& place) {
    const std::size_t begin = json.size();
    for (auto part = shape.parts.begin(); part + 1 != shape.parts.end(); ++part) {
      try {
        return write(value, part->shape, place);
      } catch (Misfit const&) {
        json.resize(begin);
      }
    }
    write(value, shape.parts.back().shape, place);
  }

  void write_member(bool is_first, std::string const& name, Tcl_Obj* value, Shape const& shape,
                    std::string const& place) {
    if (!is_first) json += ',';
    append_text(json, name);
    json += ':';
    write(value, shape, place.empty() ? name : place + "." + name);
  }

  static Shape const* part_of(Shape const& shape, std::string const& key) {
    Shape const* any = nullptr;
    for (Shape::Part const& part : shape.parts) {
      if (part.name == "*")
        any = &part.shape;
      else if (part.name == key)
        return &part.shape;
    }
    return any;
  }
};

}  // namespace

std::string to_json(Tcl_Obj* result, Shape const& shape) {
  Writer one;
  one.write(result, shape, {});
  return std::move(one.json);
}

std::string json_text(std::string const& text) {
  std::string json;
  append_text(json, text);
  return json;
}

}  // namespace kdish
