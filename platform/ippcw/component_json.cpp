#include <expat.h>

#include <exception>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiText.h"
#include "kdi/ippcw/HICComponentXMltoJsonConverter.h"
#include "kdi/ippcw/host/ComponentJson.h"

namespace hardip_eng {
namespace {

using kdi::text::json_text;

// Writes the JSON while the parser goes through the document.
class Conversion {
 public:
  explicit Conversion(std::string const& name) : name_(name), parser_(XML_ParserCreate(nullptr), XML_ParserFree) {
    if (!parser_) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(parser_.get(), begin, end);
    XML_SetCharacterDataHandler(parser_.get(), characters);
    XML_SetStartDoctypeDeclHandler(parser_.get(), document_type);
  }

  std::string of(std::string_view xml) {
    const XML_Status status = XML_Parse(parser_.get(), xml.data(), static_cast<int>(xml.size()), XML_TRUE);
    if (thrown_) std::rethrow_exception(thrown_);
    if (status == XML_STATUS_ERROR) {
      const XML_Error error = XML_GetErrorCode(parser_.get());
      if (error == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
      fail(XML_ErrorString(error));
    }
    return "{\n  \"format\": 1,\n  \"root\": " + json_ + "\n}\n";
  }

 private:
  struct Element {
    bool has_content = false;
    bool has_elements = false;
  };

  [[noreturn]] void fail(std::string const& what) const {
    throw ComponentError(name_ + ":" + std::to_string(XML_GetCurrentLineNumber(parser_.get())) + ": " + what);
  }

  // The parser is C and knows no exceptions.
  template <class Step>
  static void take(void* self, Step step) {
    auto& conversion = *static_cast<Conversion*>(self);
    if (conversion.thrown_) return;
    try {
      step(conversion);
    } catch (...) {
      conversion.thrown_ = std::current_exception();
      XML_StopParser(conversion.parser_.get(), XML_FALSE);
    }
  }
  static void begin(void* self, XML_Char const* name, XML_Char const** attributes) {
    take(self, [&](Conversion& conversion) { conversion.begin_element(name, attributes); });
  }
  static void end(void* self, XML_Char const*) {
    take(self, [](Conversion& conversion) { conversion.end_element(); });
  }
  static void characters(void* self, XML_Char const* text, int size) {
    take(self, [&](Conversion& conversion) { conversion.text_.append(text, static_cast<std::size_t>(size)); });
  }
  static void document_type(void* self, XML_Char const*, XML_Char const*, XML_Char const*, int) {
    take(self, [](Conversion& conversion) {
      conversion.fail("a document type declaration, which no description of a component has");
    });
  }

  void begin_element(XML_Char const* name, XML_Char const** attributes) {
    if (open_.size() == kDeepestComponent)
      fail("elements within one another, more than " + std::to_string(kDeepestComponent));
    if (!open_.empty()) {
      add_text(true);
      begin_content();
      open_.back().has_elements = true;
    }
    put("{\"element\": " + json_text(name));
    for (XML_Char const** at = attributes; *at != nullptr; at += 2)
      put((at == attributes ? ", \"attributes\": {" : ", ") + json_text(at[0]) + ": " + json_text(at[1]));
    if (*attributes != nullptr) put("}");
    open_.emplace_back();
  }

  void end_element() {
    add_text(open_.back().has_elements);
    const bool has_content = open_.back().has_content;
    open_.pop_back();
    if (has_content) put("\n" + indentation() + "]");
    put("}");
  }

  // What stands between elements to lay them out is no text.
  void add_text(bool is_between_elements) {
    const bool is_layout = is_between_elements && kdi::text::trimmed(text_).empty();
    if (!text_.empty() && !is_layout) {
      begin_content();
      put(json_text(text_));
    }
    text_.clear();
  }

  void begin_content() {
    Element& element = open_.back();
    put(std::string(element.has_content ? "," : ", \"content\": [") + "\n" + indentation());
    element.has_content = true;
  }

  std::string indentation() const { return std::string(2 * open_.size() + 2, ' '); }

  void put(std::string const& json) {
    if (json.size() > kMostComponentJson - json_.size())
      fail("more than " + std::to_string(kMostComponentJson) + " bytes of JSON");
    json_ += json;
  }

  std::string const& name_;
  std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser_;
  std::exception_ptr thrown_;
  std::vector<Element> open_;
  std::string text_;  // of the innermost element, since its last element
  std::string json_;
};

}  // namespace

std::string component_json(std::string_view xml, std::string const& name) {
  if (xml.size() > kMostComponentBytes)
    throw ComponentError(name + ":1: more than " + std::to_string(kMostComponentBytes) + " bytes");
  return Conversion(name).of(xml);
}

}  // namespace hardip_eng

void HICComponentXMltoJsonConverter(std::string input, std::string& output) {
  try {
    kdi::write_file(output, hardip_eng::component_json(kdi::read_file(input, hardip_eng::kMostComponentBytes), input));
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "ippcw", ComMsgMgr::MSG_ERROR, "%s", error.what());
  }
}
