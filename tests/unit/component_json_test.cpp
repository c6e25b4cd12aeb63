// Descriptions of components as JSON: the same tree, by a reader of XML and one of JSON that know nothing of the
// converter; and what it refuses.
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <thread>

#include "kdi/common/host/MessageHost.h"
#include "kdi/ippcw/HICComponentXMltoJsonConverter.h"
#include "kdi/ippcw/host/ComponentJson.h"
#include "tests/support/foreign_locale.h"
#include "tests/support/random.h"
#include "tests/support/sanitized.h"
#include "tests/support/scratch.h"

namespace {

using namespace hardip_eng;
using nlohmann::ordered_json;
using Texts = std::vector<std::string>;

std::string refusal_of(std::string const& xml) {
  try {
    component_json(xml, "c.xml");
  } catch (ComponentError const& error) {
    return error.what();
  }
  return "taken";
}

// ------------------------------------------------------------------------------------------------- independent readers

// A tree as one text: names, attributes in order, texts and elements in order.
std::string tree_of(pugi::xml_node element) {
  std::string tree = "<" + std::string(element.name());
  for (const pugi::xml_attribute attribute : element.attributes())
    tree += " " + std::string(attribute.name()) + "='" + attribute.value() + "'";
  tree += ">";
  bool has_elements = false;
  for (const pugi::xml_node child : element.children()) has_elements |= child.type() == pugi::node_element;
  std::string text;
  const auto add_text = [&] {
    if (!text.empty() && (!has_elements || text.find_first_not_of(" \t\r\n") != std::string::npos))
      tree += "[" + text + "]";
    text.clear();
  };
  for (const pugi::xml_node child : element.children()) {
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) text += child.value();
    if (child.type() != pugi::node_element) continue;
    add_text();
    tree += tree_of(child);
  }
  add_text();
  return tree + "</>";
}
std::string tree_of_xml(std::string const& xml) {
  pugi::xml_document document;
  EXPECT_TRUE(document.load_buffer(xml.data(), xml.size(), pugi::parse_default | pugi::parse_ws_pcdata));
  return tree_of(document.document_element());
}
std::string tree_of(ordered_json const& node) {
  if (node.is_string()) return "[" + node.get<std::string>() + "]";
  std::string tree = "<" + node.at("element").get<std::string>();
  if (node.contains("attributes"))
    for (auto const& [name, value] : node["attributes"].items())
      tree += " " + name + "='" + value.get<std::string>() + "'";
  tree += ">";
  if (node.contains("content"))
    for (auto const& child : node["content"]) tree += tree_of(child);
  return tree + "</>";
}
std::string tree_of_json(std::string const& json) { return tree_of(ordered_json::parse(json).at("root")); }

// ------------------------------------------------------------------------------------------------------ random
// documents

class Document {
 public:
  explicit Document(unsigned seed) : random_(seed) {}
  std::string text() {
    std::string xml = random_.one_in(2) ? "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" : "";
    if (random_.one_in(3)) xml += "<!-- a comment -->\n";
    element(xml, 0);
    return xml + "\n";
  }

 private:
  std::string one_of(Texts const& words) { return words[random_.below(static_cast<unsigned>(words.size()))]; }
  std::string name() {
    return one_of({"ipxact:name", "ipxact:parameter", "spirit:value", "busInterface", "x", "\xC3\xA4"});
  }
  void element(std::string& xml, unsigned depth) {
    const std::string tag = depth == 0 ? "ipxact:component" : name();
    xml += "<" + tag;
    for (unsigned i = random_.below(4); i > 0; --i)
      xml += (random_.one_in(4) ? "\n  " : " ") + std::string("a") + std::to_string(i) + "=\"" +
             one_of({"", "1", "&lt;&amp;&quot;", "\xE2\x82\xAC", "a b", "&#x10;", "'"}).substr(0) + "\"";
    if (random_.one_in(5)) {
      xml += "/>";
      return;
    }
    xml += ">";
    for (unsigned i = random_.below(depth < 6 ? 6 : 1); i > 0; --i) {
      if (random_.one_in(2))
        xml +=
            one_of({"text", " ", "\n   ", "&amp;", "a<!-- c -->b", "<![CDATA[<raw>]]>", "&#228;\n", "<?pi x?>", "\t"});
      if (random_.one_in(2)) element(xml, depth + 1);
    }
    xml += "</" + tag + ">";
  }
  test_support::Random random_;
};

TEST(ComponentJson, HasTheSameTree) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::string xml = Document(seed).text();
    // pugixml takes a control character that XML 1.0 does not have
    for (std::size_t at; (at = xml.find("&#x10;")) != std::string::npos;) xml.replace(at, 6, "&#x9;");
    EXPECT_EQ(tree_of_json(component_json(xml, "c.xml")), tree_of_xml(xml)) << xml;
  }
}

TEST(ComponentJson, LooksAsTheDocumentTells) {
  EXPECT_EQ(component_json("<?xml version=\"1.0\"?>\n"
                           "<ipxact:component xmlns:ipxact=\"http://www.accellera.org/XMLSchema/IPXACT/1685-2014\">\n"
                           "  <ipxact:name>xram</ipxact:name>\n"
                           "  <!-- two of them -->\n"
                           "  <ipxact:port a=\"1\" b=\"\"/>\n"
                           "  <ipxact:port> </ipxact:port>\n"
                           "</ipxact:component>\n",
                           "c.xml"),
            R"({
  "format": 1,
  "root": {"element": "ipxact:component", "attributes": {"xmlns:ipxact": "http://www.accellera.org/XMLSchema/IPXACT/1685-2014"}, "content": [
    {"element": "ipxact:name", "content": [
      "xram"
    ]},
    {"element": "ipxact:port", "attributes": {"a": "1", "b": ""}},
    {"element": "ipxact:port", "content": [
      " "
    ]}
  ]}
}
)");
}

TEST(ComponentJson, TellsFileAndLineOfFaults) {
  EXPECT_EQ(refusal_of("<a>\n<b>\n</a>"), "c.xml:3: mismatched tag");
  EXPECT_EQ(refusal_of(""), "c.xml:1: no element found");
  EXPECT_EQ(refusal_of("\n<a x='1' x='2'/>"), "c.xml:2: duplicate attribute");
  EXPECT_EQ(refusal_of("<a>\n&nothing;</a>"), "c.xml:2: undefined entity");
  EXPECT_EQ(refusal_of("<a/>\n<b/>"), "c.xml:2: junk after document element");
  EXPECT_EQ(refusal_of("<a>\n\xFF</a>").substr(0, 9), "c.xml:2: ");
  EXPECT_EQ(refusal_of("<a>\n&#1;</a>").substr(0, 9), "c.xml:2: ");
}

TEST(ComponentJson, RefusesDocumentTypesAndSoEntities) {
  const std::string text = ": a document type declaration, which no description of a component has";
  EXPECT_EQ(refusal_of("<?xml version='1.0'?>\n<!DOCTYPE a [<!ENTITY x SYSTEM 'file:///etc/passwd'>]>\n<a>&x;</a>"),
            "c.xml:2" + text);
  EXPECT_EQ(refusal_of("<!DOCTYPE a SYSTEM 'http://nowhere/a.dtd'>\n<a/>"), "c.xml:1" + text);
  std::string flood = "<!DOCTYPE a [<!ENTITY x0 'ha'>";
  for (int i = 1; i < 40; ++i) {
    const std::string before = std::to_string(i - 1);
    flood += "<!ENTITY x" + std::to_string(i) + " '&x" + before + ";&x" + before + ";'>";
  }
  EXPECT_EQ(refusal_of(flood + "]><a>&x39;</a>"), "c.xml:1" + text);
  // of parameters as well
  EXPECT_EQ(refusal_of("<!DOCTYPE a [<!ENTITY % p SYSTEM 'file:///dev/zero'> %p;]><a/>"), "c.xml:1" + text);
}

TEST(ComponentJson, BoundsDepthAndSize) {
  const auto nested = [](int deep) {
    std::string xml;
    for (int i = 0; i < deep; ++i) xml += "<a>";
    for (int i = 0; i < deep; ++i) xml += "</a>";
    return xml;
  };
  EXPECT_EQ(tree_of_json(component_json(nested(kDeepestComponent), "c.xml")), tree_of_xml(nested(kDeepestComponent)));
  EXPECT_EQ(refusal_of(nested(kDeepestComponent + 1)), "c.xml:1: elements within one another, more than 200");
  EXPECT_EQ(refusal_of(nested(1'000'000)), "c.xml:1: elements within one another, more than 200");
  EXPECT_EQ(refusal_of(std::string(kMostComponentBytes + 1, ' ')), "c.xml:1: more than 67108864 bytes");
  if (test_support::kSanitized) return;
  // many small elements deep within give the most JSON
  std::string deep = nested(kDeepestComponent - 1), many;
  for (int i = 0; i < 1'000'000; ++i) many += "<b/>";
  deep.insert(deep.find("</a>"), many);
  EXPECT_EQ(refusal_of(deep), "c.xml:1: more than 268435456 bytes of JSON");
}

// ----------------------------------------------------------------------------------------------------------- the door

TEST(ComponentConverter, WritesTheFileWholeOrNotAtAll) {
  const Scratch scratch;
  message_host::Capture capture;
  const std::string good = scratch.file("good.xml", "<a>1</a>"), bad = scratch.file("bad.xml", "<a>\n<b></a>");
  std::string output = scratch.file("out.json", "before");
  HICComponentXMltoJsonConverter(bad, output);
  EXPECT_EQ(scratch.content("out.json"), "before");
  HICComponentXMltoJsonConverter(scratch.path("none.xml"), output);
  EXPECT_EQ(scratch.content("out.json"), "before");
  std::string nowhere = scratch.path("no/out.json");
  HICComponentXMltoJsonConverter(good, nowhere);
  EXPECT_EQ(capture.lines(),
            (Texts{"ERROR: [ippcw] " + bad + ":2: mismatched tag",
                   "ERROR: [ippcw] " + scratch.path("none.xml") + ": cannot be opened: No such file or directory",
                   "ERROR: [ippcw] " + nowhere + ": cannot be created: No such file or directory"}));
  HICComponentXMltoJsonConverter(good, output);
  EXPECT_EQ(scratch.content("out.json"), component_json("<a>1</a>", {}));
  EXPECT_EQ(scratch.names(), (Texts{"bad.xml", "good.xml", "out.json"}));
}

TEST(ComponentConverter, IsTheSameOnSeveralThreadsAndUnderEveryLocale) {
  const std::string xml = Document(7).text(), alone = component_json("<a b='1.5'>I i</a>", "c");
  const ForeignLocale turkish("tr_TR", "ISO-8859-9");
  std::vector<std::string> results(4);
  std::vector<std::thread> threads;
  for (std::string& result : results)
    threads.emplace_back([&] {
      for (int i = 0; i < 50; ++i) result = component_json("<a b='1.5'>I i</a>", "c");
    });
  for (std::thread& thread : threads) thread.join();
  for (std::string const& result : results) EXPECT_EQ(result, alone);
}

}  // namespace
