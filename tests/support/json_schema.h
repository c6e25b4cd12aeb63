// Enough of JSON Schema (draft 2020-12) to hold the readers of data files against the schema that people's editors use.
// A keyword that it does not know is an error, so that no part of a schema goes unchecked.
#pragma once

#include <regex.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

class JsonSchema {
 public:
  explicit JsonSchema(nlohmann::json schema) : root_(std::move(schema)) {}

  bool accepts(nlohmann::json const& value) const { return valid(root_, value); }

 private:
  using json = nlohmann::json;

  bool valid(json const& schema, json const& value) const {
    if (schema.is_boolean()) return schema.get<bool>();
    return std::all_of(schema.items().begin(), schema.items().end(),
                       [&](auto const& rule) { return keeps(schema, rule.key(), rule.value(), value); });
  }

  bool keeps(json const& schema, std::string const& keyword, json const& rule, json const& value) const {
    if (keyword == "$schema" || keyword == "title" || keyword == "description" || keyword == "$defs") return true;
    if (keyword == "$ref") return valid(root_.at(json::json_pointer(rule.get<std::string>().substr(1))), value);
    if (keyword == "const") return value == rule;
    if (keyword == "enum") return std::find(rule.begin(), rule.end(), value) != rule.end();
    if (keyword == "type") return is_of(rule.get<std::string>(), value);
    if (keyword == "oneOf")
      return std::count_if(rule.begin(), rule.end(), [&](json const& each) { return valid(each, value); }) == 1;
    if (keyword == "minimum") return !value.is_number() || value.get<double>() >= rule.get<double>();
    if (keyword == "exclusiveMinimum") return !value.is_number() || value.get<double>() > rule.get<double>();
    if (keyword == "minLength") return !value.is_string() || value.get<std::string>().size() >= rule.get<std::size_t>();
    if (keyword == "maximum") return !value.is_number() || value.get<double>() <= rule.get<double>();
    if (keyword == "pattern")
      return !value.is_string() || pattern(rule.get<std::string>()).matches(value.get<std::string>());
    if (value.is_object()) return keeps_as_object(schema, keyword, rule, value);
    if (value.is_array()) return keeps_as_list(keyword, rule, value);
    return is_known(keyword);
  }

  bool keeps_as_object(json const& schema, std::string const& keyword, json const& rule, json const& value) const {
    if (keyword == "maxProperties") return value.size() <= rule.get<std::size_t>();
    if (keyword == "required")
      return std::all_of(rule.begin(), rule.end(),
                         [&](json const& name) { return value.contains(name.get<std::string>()); });
    for (auto const& member : value.items()) {
      if (keyword == "propertyNames" && !valid(rule, json(member.key()))) return false;
      const bool listed = schema.contains("properties") && schema["properties"].contains(member.key());
      if (keyword == "properties" && listed && !valid(rule[member.key()], member.value())) return false;
      if (keyword == "additionalProperties" && !listed && !valid(rule, member.value())) return false;
    }
    return is_known(keyword);
  }

  bool keeps_as_list(std::string const& keyword, json const& rule, json const& value) const {
    if (keyword == "minItems") return value.size() >= rule.get<std::size_t>();
    if (keyword == "maxItems") return value.size() <= rule.get<std::size_t>();
    if (keyword == "items")
      return std::all_of(value.begin(), value.end(), [&](json const& item) { return valid(rule, item); });
    if (keyword == "uniqueItems")
      for (auto item = value.begin(); item != value.end(); ++item)
        if (std::find(value.begin(), item, *item) != item) return false;
    return is_known(keyword);
  }

  static bool is_known(std::string const& keyword) {
    for (char const* known : {"required", "properties", "additionalProperties", "propertyNames", "maxProperties",
                              "items", "minItems", "maxItems", "uniqueItems"})
      if (keyword == known) return true;
    throw std::logic_error("the schema has an unknown keyword: " + keyword);
  }

  static bool is_of(std::string const& type, json const& value) {
    if (type == "object") return value.is_object();
    if (type == "array") return value.is_array();
    if (type == "string") return value.is_string();
    if (type == "boolean") return value.is_boolean();
    if (type == "integer") return value.is_number_integer();
    if (type == "number") return value.is_number();
    throw std::logic_error("the schema has an unknown type: " + type);
  }

  // A POSIX extended expression: std::regex does not compile without warnings under the sanitizers.
  class Pattern {
   public:
    explicit Pattern(std::string const& text) {
      if (::regcomp(&compiled_, text.c_str(), REG_EXTENDED | REG_NOSUB) != 0)
        throw std::logic_error("the schema has a pattern of another kind: " + text);
    }
    Pattern(Pattern const&) = delete;
    Pattern& operator=(Pattern const&) = delete;
    ~Pattern() { ::regfree(&compiled_); }

    bool matches(std::string const& text) const { return ::regexec(&compiled_, text.c_str(), 0, nullptr, 0) == 0; }

   private:
    ::regex_t compiled_;
  };

  Pattern const& pattern(std::string const& text) const { return patterns_.try_emplace(text, text).first->second; }

  nlohmann::json root_;
  mutable std::map<std::string, Pattern> patterns_;
};
