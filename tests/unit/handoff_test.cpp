// Hardware handoffs: what is written is read back, of real cores as well; what is damaged is told with its line, or is
// a handoff that is written back equal.
#include "kdi/ippcw/host/Handoff.h"

#include <gtest/gtest.h>

#include "kdi/common/KdiFile.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/ippcw/HardIP.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

using namespace hardip_eng;
using test_support::Random;
using Texts = std::vector<std::string>;

template <class Body>
std::string refusal(Body body) {
  try {
    body();
  } catch (HandoffError const& error) {
    return error.what();
  }
  return "taken";
}
std::string refusal_of(std::string const& text) {
  return refusal([&] { read_handoff_text(text, "u1.hwh"); });
}

std::string random_text(Random& random) {
  static const Texts kPieces = {"a",  "B",  "7",  "<",   ">",        "&", "&amp;",           "\"", "'", " ",
                                "\n", "\t", "\r", "]]>", "\xC3\xA4", "{", "\xF0\x9F\x98\x80"};
  std::string text;
  for (unsigned size = random.below(9); size > 0; --size)
    text += kPieces[random.below(static_cast<unsigned>(kPieces.size()))];
  return text;
}
Handoff random_handoff(Random& random) {
  Handoff handoff{random_text(random), random_text(random), random_text(random), random_text(random), {}};
  for (unsigned i = random.below(8); i > 0; --i)
    handoff.parameters.push_back(
        {"P" + std::to_string(i) + random_text(random), random_text(random), random.one_in(2)});
  return handoff;
}

TEST(Handoff, ReadsBackWhatWasWritten) {
  Random random(2);
  for (int run = 0; run < 300; ++run) {
    const Handoff handoff = random_handoff(random);
    EXPECT_EQ(read_handoff_text(handoff_text(handoff), "u1.hwh"), handoff);
  }
}

TEST(Handoff, LooksAsTheDocumentTells) {
  EXPECT_EQ(handoff_text({"u1", "xram", "1.0", "p", {{"A", "1 < 2", true}, {"B", "", false}}}),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<handoff format=\"1\" instance=\"u1\" core=\"xram\" version=\"1.0\" part=\"p\">\n"
            "  <parameter name=\"A\" value=\"1 &lt; 2\" state=\"ENABLE\" />\n"
            "  <parameter name=\"B\" value=\"\" state=\"DISABLE\" />\n"
            "</handoff>\n");
}

TEST(Handoff, TellsWhatIsNone) {
  const std::string front = "<handoff format=\"1\" instance=\"u\" core=\"\" version=\"\" part=\"\">\n";
  const auto of = [&](std::string const& inside) { return refusal_of(front + inside + "</handoff>"); };
  EXPECT_EQ(of(""), "taken");
  EXPECT_EQ(of("<parameter name='A' value='1' state='ENABLE'/>\n<!-- people may say something --><parameter name='B' "
               "value='' state='DISABLE'></parameter>"),
            "taken");
  EXPECT_EQ(of("\n<parameter name='A' value='1'/>"), "u1.hwh:3: a parameter that lacks an attribute");
  EXPECT_EQ(of("<parameter name='A' value='1' state='on'/>"), "u1.hwh:2: the state \"on\"");
  EXPECT_EQ(of("<parameter name='A' value='1' state='ENABLE' x=''/>"),
            "u1.hwh:2: the attribute \"x\" is none of a parameter");
  EXPECT_EQ(of("<parameter name='A' name='A' value='1'/>"), "u1.hwh:2: the attribute \"name\" comes twice");
  EXPECT_EQ(of("<parameter name='A' value='1' state='ENABLE'/>\n<parameter name='A' value='2' state='ENABLE'/>"),
            "u1.hwh:3: the parameter \"A\" comes twice");
  EXPECT_EQ(of("<other/>"), "u1.hwh:2: something else than a parameter");
  EXPECT_EQ(of("text"), "u1.hwh:1: something else than a parameter");
  EXPECT_EQ(of("<parameter name='A' value='1' state='ENABLE'>x</parameter>"),
            "u1.hwh:2: something else than a parameter");
  EXPECT_EQ(refusal_of("<other/>"), "u1.hwh:1: the element \"other\" where a handoff begins");
  EXPECT_EQ(refusal_of(front + "</handoff>\n<handoff/>"), "u1.hwh:3: an element behind the handoff");
  EXPECT_EQ(refusal_of("<handoff format='2' instance='' core='' version='' part=''/>"),
            "u1.hwh:1: the format \"2\" where 1 is known");
  EXPECT_EQ(refusal_of("<!DOCTYPE handoff [<!ENTITY x SYSTEM 'file:///etc/passwd'>]>\n" + front + "</handoff>"),
            "u1.hwh:1: a document type, which a handoff does not have");
  EXPECT_EQ(refusal_of(front + "</handoff>\n<![CDATA[x]]>"), "u1.hwh:3: a text outside of the elements");
  EXPECT_EQ(refusal_of("").substr(0, 10), "u1.hwh:1: ");
  EXPECT_EQ(refusal_of(front + "<parameter").substr(0, 10), "u1.hwh:2: ");
  EXPECT_EQ(refusal_of("<handoff format='1' instance='\xFF' core='' version='' part=''/>"), "u1.hwh:1: no UTF-8");
  EXPECT_EQ(refusal_of(std::string(kMostHandoffBytes + 1, ' ')), "u1.hwh:1: more than 67108864 bytes");
  std::string deep = front;
  for (int i = 0; i < 100'000; ++i) deep += "<a>";
  EXPECT_EQ(refusal_of(deep).substr(0, 10), "u1.hwh:2: ");
}

TEST(Handoff, IsToldWithItsLineOrWrittenBackEqualWhenItIsDamaged) {
  Random random(4);
  const std::string text = handoff_text({"u1", "xram", "1.0", "p", {{"A", "1 < 2\n", true}, {"B", "\xC3\xA4", false}}});
  int refused = 0;
  for (std::size_t at = 0; at < text.size(); ++at)
    for (const unsigned change : {1U, 0x20U, 0x80U, 1 + random.below(255)}) {
      std::string damaged = text;
      damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ change);
      try {
        const Handoff taken = read_handoff_text(damaged, "u1.hwh");
        EXPECT_EQ(read_handoff_text(handoff_text(taken), "u1.hwh"), taken);
      } catch (HandoffError const& error) {
        ++refused;
        const std::string told = error.what();
        const bool has_line = told.starts_with("u1.hwh:") && told[7] >= '1' && told[7] <= '9';
        EXPECT_TRUE(has_line || told.ends_with("has no place in XML")) << told;
      }
    }
  EXPECT_GT(refused, static_cast<int>(text.size()));
}

// ------------------------------------------------------------------------------------------------------- of live cores

class LiveHandoff : public testing::Test {
 protected:
  static HardIPInterface* core(std::string const& name, std::string const& instance) {
    StrVec errors;
    return HardIPManager::getInstance()->getOrCreateInstance(
        {{"ps_core_name", name}, {"instance_name", instance}, {"part", "brvn3716-die-2LHP-e-S-es1"}}, errors);
  }
  Scratch scratch_;
  message_host::Capture capture_;
};

TEST_F(LiveHandoff, HasAnElementForEachParameter) {
  HardIPInterface* const xram = core("xram", "x1");
  ASSERT_NE(xram, nullptr);
  RawResult rows, all;
  ParamMap messages;
  xram->getRanges({{"XRAM_ECC_ENABLE", "0"}}, rows, messages, 10);
  xram->getOutputParams(all);
  const std::string path = HardIPManager::getInstance()->generateHWH(xram, scratch_.folder() + "/");
  EXPECT_EQ(path, scratch_.path("x1.hwh"));
  const Handoff handoff = read_handoff(path);
  EXPECT_EQ(handoff.instance, "x1");
  EXPECT_EQ(handoff.core, "xram");
  EXPECT_EQ(handoff.version, "1.0");
  EXPECT_EQ(handoff.part, "brvn3716-die-2LHP-e-S-es1");
  ASSERT_EQ(handoff.parameters.size(), all.size());
  for (HandoffParameter const& parameter : handoff.parameters) {
    EXPECT_EQ(parameter.value, all.at(parameter.name).at(0).at(0));
    EXPECT_EQ(parameter.is_enabled, all.at(parameter.name).at(2).at(0) == "ENABLE");
  }
  const std::string before = kdi::read_file(path);
  HardIPManager::getInstance()->generateHWH(xram, scratch_.folder() + "/");
  EXPECT_EQ(kdi::read_file(path), before) << "equal bytes for an equal core";
}

TEST_F(LiveHandoff, IsWrittenWholeOrNotAtAll) {
  HardIPManager* const manager = HardIPManager::getInstance();
  EXPECT_EQ(manager->generateHWH(nullptr, scratch_.folder() + "/"), "");
  EXPECT_EQ(manager->generateHWH(core("xram", "x1"), scratch_.path("no/")), "");
  scratch_.file("x\x01.hwh", "before");
  EXPECT_EQ(manager->generateHWH(core("xram", "x\x01"), scratch_.folder() + "/"), "");
  EXPECT_EQ(scratch_.content("x\x01.hwh"), "before");
  EXPECT_EQ(capture_.lines(),
            (Texts{"ERROR: [ippcw] " + scratch_.path("no/x1.hwh") + ": cannot be created: No such file or directory",
                   "ERROR: [ippcw] " + scratch_.path("x\x01.hwh") +
                       ": cannot be written: the instance \"x\x01\" has no place in XML"}));
}

TEST(CdoBuffer, TakesWholePiecesWithinItsRoom) {
  CdoBuffer buffer(4, 3);
  EXPECT_EQ(buffer.room(), 12U);
  EXPECT_TRUE(buffer.append("12345"));
  EXPECT_FALSE(buffer.append("12345678"));
  EXPECT_EQ(buffer.bytes(), "12345");
  EXPECT_TRUE(buffer.append("6789012"));
  EXPECT_FALSE(buffer.append("x"));
  EXPECT_TRUE(buffer.append(""));
  EXPECT_EQ(buffer.bytes(), "123456789012");
  EXPECT_FALSE(CdoBuffer(0, 0).append("x"));
  EXPECT_EQ(CdoBuffer(static_cast<std::size_t>(-1), 2).room(), static_cast<std::size_t>(-1));
}

}  // namespace
