#include "platform/ippcw/handoff.h"

#include <algorithm>
#include <exception>
#include <new>
#include <pugixml.hpp>
#include <set>
#include <utility>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Core.h"
#include "kdi/device/Device.h"
#include "kdi/ippcw/HardIP.h"
#include "platform/ippcw/failures.h"
#include "platform/ippcw/layers.h"

namespace hardip_eng {
namespace {

constexpr char const* kRoot = "handoff";
constexpr char const* kParameter = "parameter";
constexpr char const* kFormat = "1";
// The attributes of a parameter's state, as all rows of parameters have it.
constexpr char const* kEnabled = "ENABLE";
constexpr char const* kDisabled = "DISABLE";

using kdi::text::shown;

// ------------------------------------------------------------------------------------------------------------ writing

bool fits_xml(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; })) return true;
  return kdi::text::is_utf8(text) && text.find("\xEF\xBF\xBE") == text.npos && text.find("\xEF\xBF\xBF") == text.npos &&
         std::all_of(text.begin(), text.end(), [](char c) {
           return static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r';
         });
}

void add(pugi::xml_node element, char const* name, std::string const& value) {
  if (!fits_xml(value)) throw HandoffError(std::string("the ") + name + " " + shown(value) + " has no place in XML");
  element.append_attribute(name).set_value(value.c_str());
}

class Text : public pugi::xml_writer {
 public:
  void write(void const* data, std::size_t size) override { text.append(static_cast<char const*>(data), size); }
  std::string text;
};

// ------------------------------------------------------------------------------------------------------------ reading

class Reader {
 public:
  Reader(std::string_view text, std::string const& name) : text_(text), name_(name) {}

  Handoff read() {
    pugi::xml_document document;
    const pugi::xml_parse_result result = document.load_buffer(
        text_.data(), text_.size(), pugi::parse_default | pugi::parse_doctype, pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
    if (!result) fail(result.offset, result.description());
    if (!kdi::text::is_utf8(text_)) fail(0, "no UTF-8");
    for (const pugi::xml_node node : document.children()) {
      if (node.type() == pugi::node_doctype) fail(node, "a document type, which a handoff does not have");
      if (node.type() != pugi::node_element) fail(node, "a text outside of the elements");
    }
    return read_root(document.document_element());
  }

 private:
  [[noreturn]] void fail(std::ptrdiff_t offset, std::string const& what) const {
    const auto end = text_.begin() + std::clamp<std::ptrdiff_t>(offset, 0, static_cast<std::ptrdiff_t>(text_.size()));
    throw HandoffError(name_ + ":" + std::to_string(1 + std::count(text_.begin(), end, '\n')) + ": " + what);
  }
  [[noreturn]] void fail(pugi::xml_node node, std::string const& what) const { fail(node.offset_debug(), what); }

  // The values of attributes that are all there, each once, and no others.
  template <std::size_t count>
  std::array<std::string, count> attributes(pugi::xml_node element, std::array<char const*, count> const& names) const {
    std::array<std::string, count> values;
    std::size_t found = 0;
    for (const pugi::xml_attribute attribute : element.attributes()) {
      const auto name = std::find_if(names.begin(), names.end(),
                                     [&](char const* one) { return std::string_view(one) == attribute.name(); });
      if (name == names.end())
        fail(element, "the attribute " + shown(attribute.name()) + " is none of a " + element.name());
      if (element.attribute(*name) != attribute) fail(element, "the attribute " + shown(*name) + " comes twice");
      values[static_cast<std::size_t>(name - names.begin())] = attribute.value();
      ++found;
    }
    if (found != count) fail(element, std::string("a ") + element.name() + " that lacks an attribute");
    return values;
  }

  Handoff read_root(pugi::xml_node root) const {
    if (std::string_view(root.name()) != kRoot)
      fail(root, "the element " + shown(root.name()) + " where a handoff begins");
    if (root.next_sibling()) fail(root.next_sibling(), "an element behind the handoff");
    const auto [format, instance, core, version, part] =
        attributes<5>(root, {"format", "instance", "core", "version", "part"});
    if (format != kFormat) fail(root, "the format " + shown(format) + " where " + kFormat + " is known");
    Handoff handoff{instance, core, version, part, {}};
    std::set<std::string> names;
    for (const pugi::xml_node node : root.children()) {
      if (node.type() != pugi::node_element || std::string_view(node.name()) != kParameter || node.first_child())
        fail(node, "something else than a parameter");
      const auto [name, value, state] = attributes<3>(node, {"name", "value", "state"});
      if (!names.insert(name).second) fail(node, "the parameter " + shown(name) + " comes twice");
      if (state != kEnabled && state != kDisabled) fail(node, "the state " + shown(state));
      handoff.parameters.push_back({name, value, state == kEnabled});
    }
    return handoff;
  }

  std::string_view text_;
  std::string const& name_;
};

// ------------------------------------------------------------------------------------------------------- of a live
// core

std::string first_of(std::vector<StrVec> const& rows, std::size_t row) {
  return row < rows.size() && !rows[row].empty() ? rows[row][0] : std::string();
}

std::vector<HandoffParameter> parameters_of(RawResult const& all) {
  std::vector<HandoffParameter> parameters;
  for (auto const& [name, rows] : all) parameters.push_back({name, first_of(rows, 0), first_of(rows, 2) != kDisabled});
  return parameters;
}

Handoff handoff_of(HardIPInterface& instance) {
  if (auto const* const with_core = dynamic_cast<WithCore*>(&instance))
    return handoff_of(*with_core->core(), instance.instanceFileStem());
  RawResult parameters;
  instance.getOutputParams(parameters);
  return {instance.instanceFileStem(), {}, {}, {}, parameters_of(parameters)};
}

}  // namespace

Handoff handoff_of(ConfiguredCore const& core, std::string instance) {
  Handoff handoff{std::move(instance),
                  core.description().name(),
                  core.description().version(),
                  core.part() == nullptr ? "" : core.part()->name,
                  {}};
  std::vector<ConfiguredCore::Row> rows = core.rows();
  handoff.parameters.reserve(rows.size());
  for (ConfiguredCore::Row& row : rows)
    handoff.parameters.push_back({std::move(row.name), std::move(row.value), row.is_enabled});
  return handoff;
}

std::string handoff_text(Handoff const& handoff) {
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  add(declaration, "version", "1.0");
  add(declaration, "encoding", "UTF-8");
  pugi::xml_node root = document.append_child(kRoot);
  add(root, "format", kFormat);
  add(root, "instance", handoff.instance);
  add(root, "core", handoff.core);
  add(root, "version", handoff.version);
  add(root, "part", handoff.part);
  for (HandoffParameter const& parameter : handoff.parameters) {
    pugi::xml_node element = root.append_child(kParameter);
    add(element, "name", parameter.name);
    add(element, "value", parameter.value);
    add(element, "state", parameter.is_enabled ? kEnabled : kDisabled);
  }
  Text writer;
  document.save(writer, "  ", pugi::format_indent, pugi::encoding_utf8);
  return std::move(writer.text);
}

Handoff read_handoff_text(std::string_view text, std::string const& name) {
  if (text.size() > kMostHandoffBytes)
    throw HandoffError(name + ":1: more than " + std::to_string(kMostHandoffBytes) + " bytes");
  return Reader(text, name).read();
}

Handoff read_handoff(std::string const& path) {
  return read_handoff_text(kdi::read_file(path, kMostHandoffBytes), path);
}

std::string HardIPManager::generateHWH(HardIPInterface* instance, std::string path) {
  if (instance == nullptr) return {};
  return write_handoff(handoff_of(*instance), path + instance->instanceFileStem() + ".hwh");
}

std::string write_handoff(Handoff const& handoff, std::string const& path) {
  const auto told = [](std::string const& why) {
    tell_failure(why);
    return std::string();
  };
  try {
    kdi::write_file(path, handoff_text(handoff));
    return path;
  } catch (std::bad_alloc const&) {
    throw;
  } catch (kdi::FileError const& error) {
    return told(error.what());
  } catch (std::exception const& error) {
    return told(path + ": cannot be written: " + error.what());
  }
}

}  // namespace hardip_eng
