// What Java calls, over an environment that records: texts and lists both ways, addresses of all kinds, and every way
// to fail. The models' cores record as well.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "kdi/common/HEXAll.h"
#include "tcltasks/psmodels/HACGCPCWCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSPMCCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSXLCustomDRCModel.h"
#include "tcltasks/psmodels/java_values.h"
#include "tcltasks/psmodels/model_table.h"
#include "tests/support/model_fixture.h"
#include "tests/support/recording_java.h"

// As a virtual machine finds them: by name.
#define ENTRY(name) Java_ui_data_pspmc_pspmc_##name
#define PSPMC(name) ENTRY(HACGCPSPMCCustomDRCModel_1##name)
#define PSXL(name) ENTRY(HACGCPSXLCustomDRCModel_1##name)
extern "C" {
jstring ENTRY(PSPMCParameters_1getQspiMode)(JNIEnv*, jclass);
jstring ENTRY(PSXLParameters_1getQspiMode)(JNIEnv*, jclass);
jint ENTRY(get_1HACGCPSPMCCustomDRCModel_1VALUE)(JNIEnv*, jclass);
jint ENTRY(get_1HACGCPSXLCustomDRCModel_1UNKNOWN)(JNIEnv*, jclass);
jint ENTRY(get_1HACGCPSXLCustomDRCModel_1DISPLAY_1NAME)(JNIEnv*, jclass);
jstring PSPMC(getBootModeOfSDPeripheral)(JNIEnv*, jclass, jlong, jstring);
jobjectArray PSPMC(getCurrentConfiguration)(JNIEnv*, jclass, jlong, jstring);
jobjectArray PSPMC(getParamChoicesMappingList)(JNIEnv*, jclass, jlong, jstring);
jobjectArray PSPMC(getParamInfo)(JNIEnv*, jclass, jlong, jstring, jint);
jobjectArray PSPMC(getSubPresetChoicesForSubPresetParam)(JNIEnv*, jclass, jlong, jstring);
jstring PSPMC(getSubPresetInfoForSubPresetParam)(JNIEnv*, jclass, jlong, jstring, jstring);
jstring PSPMC(getSysmonData)(JNIEnv*, jclass, jlong, jstring, jstring);
jstring PSPMC(getUserModifiedParams)(JNIEnv*, jclass, jlong);
jint PSPMC(guiGetStartSupplyID)(JNIEnv*, jclass, jlong);
void PSPMC(guiSetParam)(JNIEnv*, jclass, jlong, jstring, jstring);
void PSPMC(guiSetParams)(JNIEnv*, jclass, jlong, jobjectArray);
void PSPMC(guiSetSubPresetParam)(JNIEnv*, jclass, jlong, jstring);
void PSPMC(setUserModifiedParams)(JNIEnv*, jclass, jlong, jstring);
jobjectArray PSXL(getMioOccupiedPins)(JNIEnv*, jclass, jlong);
jobjectArray PSXL(getParamChoicesMappingList)(JNIEnv*, jclass, jlong, jstring);
jobjectArray PSXL(getParamInfo)(JNIEnv*, jclass, jlong, jstring, jint);
jstring PSXL(getSysmonData)(JNIEnv*, jclass, jlong, jstring, jstring);
jstring PSXL(getUserModifiedParams)(JNIEnv*, jclass, jlong);
jint PSXL(guiGetSlrCount)(JNIEnv*, jclass, jlong);
jint PSXL(guiGetStartSupplyID)(JNIEnv*, jclass, jlong);
void PSXL(guiSetParam)(JNIEnv*, jclass, jlong, jstring, jstring);
void PSXL(guiSetParams)(JNIEnv*, jclass, jlong, jobjectArray);
jboolean PSXL(isPSBankAvailable)(JNIEnv*, jclass, jlong);
}

namespace {

using recording_core::rows;
using Units = std::u16string;
using Array = std::vector<Units>;

// A model as a controller has it, with its core.
template <class Model>
class Opened {
 public:
  Opened(typename Made<Model>::Function factory, typename Made<Model>::Function deleter, std::string const& core,
         ParamMap params)
      : model(factory, deleter) {
    ParamMap context{{"ps_core_name", core}, {"instance_name", "u1"}};
    typename Model::OutMap outputs;
    StrVec errors;
    model->init_params(params, outputs, context, errors, 1);
    recording_core::forget_calls();
  }
  jlong address() const { return static_cast<jlong>(reinterpret_cast<std::uintptr_t>(&model.base())); }

  Made<Model> model;
};

class JavaEntries : public ModelTest {
 protected:
  ~JavaEntries() override {
    EXPECT_EQ(java.taken_exception(), "");
    EXPECT_EQ(java.live(), 0U) << "references are left";
  }

  // An argument, which ends with the call as it does in Java.
  class Given {
   public:
    Given(recording_java::Environment& java, Units text) : java_(java), text_(java.text(std::move(text))) {}
    Given(Given const&) = delete;
    Given& operator=(Given const&) = delete;
    ~Given() { java_.taken(text_); }
    operator jstring() const { return text_; }

   private:
    recording_java::Environment& java_;
    jstring text_;
  };
  Given text(Units units) { return Given(java, std::move(units)); }

  recording_java::Environment java;
  Opened<HACGCPSPMCCustomDRCModel> pspmc{pspmcRulesObjInit, pspmcRulesObjDelete, "top", {{"A", "1"}, {"B", ""}}};
  Opened<HACGCPSXLCustomDRCModel> psxl{psxlRulesObjInit, psxlRulesObjDelete, "hic", {{"A", "1"}}};
};

// ------------------------------------------------------------------------------------------------------------- names

TEST_F(JavaEntries, GettersTellTheKeysOfTheirClass) {
  EXPECT_EQ(java.taken(ENTRY(PSPMCParameters_1getQspiMode)(&java, nullptr)), u"PMC_QSPI_PERIPHERAL_MODE");
  EXPECT_EQ(java.taken(ENTRY(PSXLParameters_1getQspiMode)(&java, nullptr)), u"PMCX_QSPI_PERIPHERAL_MODE");
  java.runs_out_after = 0;
  EXPECT_EQ(ENTRY(PSXLParameters_1getQspiMode)(&java, nullptr), nullptr);
  EXPECT_EQ(java.taken_exception(), "java/lang/OutOfMemoryError: Java heap space");
}

TEST_F(JavaEntries, KindsAreThoseOfTheModels) {
  EXPECT_EQ(ENTRY(get_1HACGCPSPMCCustomDRCModel_1VALUE)(&java, nullptr), 0);
  EXPECT_EQ(ENTRY(get_1HACGCPSXLCustomDRCModel_1DISPLAY_1NAME)(&java, nullptr), 5);
  EXPECT_EQ(ENTRY(get_1HACGCPSXLCustomDRCModel_1UNKNOWN)(&java, nullptr), 8);
}

// ------------------------------------------------------------------------------------------------------------- texts

// Whatever Java has comes back as it was.
TEST_F(JavaEntries, TextsComeBackAsTheyWere) {
  const Array all{u"",
                  u"PS_UART0",
                  u"M\u00FCller \u20AC",
                  u"\U0001D11E and \U0010FFFF",
                  Units(u"a\0b\0", 4),
                  Units{u'x', 0xD834},
                  Units{0xDD1E, u'y'},
                  Units{0xDD1E, 0xD834},
                  Units{0xD834, 0xD834, 0xDD1E},
                  Units{0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}};
  for (Units const& units : all) {
    const auto given = text(units);
    const std::string inside = psmodels::java::text_of(&java, given);
    EXPECT_EQ(inside.find('\0'), std::string::npos);
    EXPECT_EQ(java.taken(psmodels::java::new_text(&java, inside)), units);
  }
  EXPECT_EQ(psmodels::java::text_of(&java, text(u"\U0001D11E\u20AC\u00FC")), "\xF0\x9D\x84\x9E\xE2\x82\xAC\xC3\xBC");
  EXPECT_EQ(psmodels::java::text_of(&java, text(Units(1, u'\0'))), "\xC0\x80");
  EXPECT_EQ(psmodels::java::text_of(&java, nullptr), "");
}

TEST_F(JavaEntries, ListsOfAnyLengthLeaveNoReferences) {
  constexpr std::size_t kMany = 20'000;
  const jobjectArray given = java.array(Array(kMany, u"PS_UART0_PERIPHERAL_ENABLE"));
  const StrVec texts = psmodels::java::texts_of(&java, given);
  EXPECT_EQ(texts, StrVec(kMany, "PS_UART0_PERIPHERAL_ENABLE"));
  EXPECT_EQ(java.taken_array(psmodels::java::new_array(&java, texts)), java.taken_array(given));
  EXPECT_LE(java.most_live, 4U);
  EXPECT_EQ(psmodels::java::texts_of(&java, nullptr), StrVec());
  EXPECT_EQ(java.taken_array(psmodels::java::new_array(&java, StrVec())), Array{});
  EXPECT_EQ(java.taken_array(psmodels::java::new_array(&java, StrPairs{{"a", "1"}, {"b", ""}})),
            (Array{u"a", u"1", u"b", u""}));
}

// ----------------------------------------------------------------------------------------------- the smaller systems

TEST_F(JavaEntries, PspmcAnswers) {
  answers.values = {{"A", "1"}};
  answers.ranges = {{"A", {"0", "1"}}};
  answers.enabled = {"A"};
  answers.number = 7;
  pspmc.model->choiceMappings = {{"A", {{"0", "off"}, {"1", "on"}}}};
  pspmc.model->subPresetChoices = {{"A", {"fast", "Custom"}}};
  pspmc.model->subPresetInfos = {{"A", {{"fast", "is fast"}}}};
  const jlong at = pspmc.address();
  const auto a = text(u"A");
  EXPECT_EQ(java.taken_array(PSPMC(getParamInfo)(&java, nullptr, at, a, 0)), Array{u"1"});
  EXPECT_EQ(java.taken_array(PSPMC(getParamInfo)(&java, nullptr, at, a, 2)), Array{u"fast"});
  EXPECT_EQ(java.taken_array(PSPMC(getParamInfo)(&java, nullptr, at, a, 3)), Array{u"true"});
  for (const jint kind : {4, 8, 9, -1, 0x7FFFFFFF, -0x7FFFFFFF - 1})
    EXPECT_EQ(java.taken_array(PSPMC(getParamInfo)(&java, nullptr, at, a, kind)), Array{}) << kind;
  EXPECT_EQ(java.taken_array(PSPMC(getSubPresetChoicesForSubPresetParam)(&java, nullptr, at, a)), Array{u"fast"});
  EXPECT_EQ(java.taken(PSPMC(getSubPresetInfoForSubPresetParam)(&java, nullptr, at, a, text(u"fast"))), u"is fast");
  pspmc.model->subPresetChoices.clear();
  EXPECT_EQ(java.taken_array(PSPMC(getParamChoicesMappingList)(&java, nullptr, at, a)),
            (Array{u"0", u"off", u"1", u"on"}));
  EXPECT_EQ(java.taken_array(PSPMC(getCurrentConfiguration)(&java, nullptr, at, text(u"A 1 B {x y} C"))),
            (Array{u"A", u"1", u"B", u"{x y}", u"C", u""}));
  EXPECT_EQ(java.taken(PSPMC(getSysmonData)(&java, nullptr, at, text(u"x"), text(u"y"))), u"x+y");
  EXPECT_EQ(java.taken(PSPMC(getBootModeOfSDPeripheral)(&java, nullptr, at, text(u"SD0"))), u"boot of SD0");
  EXPECT_EQ(PSPMC(guiGetStartSupplyID)(&java, nullptr, at), 7);
}

TEST_F(JavaEntries, PspmcTakesChanges) {
  const jlong at = pspmc.address();
  PSPMC(guiSetParam)(&java, nullptr, at, text(u"A"), text(u"true"));
  EXPECT_EQ(calls(), Texts{"guiSetParamOf {A=1}"});
  EXPECT_EQ(updates.size(), 1U);
  const jobjectArray pairs = java.array({u"B", u"x", u"A", u"2"});
  PSPMC(guiSetParams)(&java, nullptr, at, pairs);
  EXPECT_EQ(calls().back(), "guiSetParamOf {A=2 B=x}");
  java.taken_array(pairs);
  const jobjectArray odd = java.array({u"B", u"x", u"A"});
  PSPMC(guiSetParams)(&java, nullptr, at, odd);
  EXPECT_EQ(java.taken_exception(), "ui/frmwork/cmd/CommandFailedException: guiSetParams : no value for \"A\"");
  java.taken_array(odd);
  PSPMC(guiSetParams)(&java, nullptr, at, nullptr);
  EXPECT_EQ(calls().back(), "guiSetParamOf {}");
  pspmc.model->subPresetConfigs = {{"fast", {{"CONFIG.A", "3"}}}};
  PSPMC(guiSetSubPresetParam)(&java, nullptr, at, text(u"fast"));
  EXPECT_EQ(calls().back(), "guiSetParamOf {A={3} DEVICE_INTEGRITY_MODE=fast}");
}

TEST_F(JavaEntries, PspmcTakesBackWhatItTellsOfTheUsersChanges) {
  const jlong at = pspmc.address();
  const auto modified = [&] { return java.taken(PSPMC(getUserModifiedParams)(&java, nullptr, at)); };
  answers.values = {{"A", "{x {y z}}"}, {"B", "2"}};
  PSPMC(guiSetParam)(&java, nullptr, at, text(u"A"), text(u"1"));
  PSPMC(guiSetParam)(&java, nullptr, at, text(u"B"), text(u"1"));
  const Units told = modified();
  EXPECT_EQ(told, u" A {x {y z}} B 2");
  EXPECT_EQ(modified(), u"");
  answers.values.clear();
  recording_core::forget_calls();
  PSPMC(setUserModifiedParams)(&java, nullptr, at, text(told));
  EXPECT_EQ(calls(), Texts{}) << "the engine hears nothing of it";
  EXPECT_EQ(modified(), told);
  PSPMC(setUserModifiedParams)(&java, nullptr, at, text(u"A 1 B 2 A 3 B"));
  EXPECT_EQ(modified(), u" A 3") << "the later of two, and none of the name without a value";
  PSPMC(setUserModifiedParams)(&java, nullptr, at, text(u"A 1"));
  PSPMC(setUserModifiedParams)(&java, nullptr, at, nullptr);
  EXPECT_EQ(modified(), u"");
}

// ------------------------------------------------------------------------------------------------ the larger systems

TEST_F(JavaEntries, PsxlAnswers) {
  answers.values = {{"A", "1"}, {"PMCX_PRESET_MIO_3", "UART"}};
  answers.ranges = {{"A", {"0", "1"}}};
  answers.number = 7;
  const jlong at = psxl.address();
  const auto a = text(u"A");
  EXPECT_EQ(java.taken_array(PSXL(getParamInfo)(&java, nullptr, at, a, 0)), Array{u"1"});
  EXPECT_EQ(java.taken_array(PSXL(getParamInfo)(&java, nullptr, at, a, 5)), Array{});
  EXPECT_EQ(java.taken_array(PSXL(getParamChoicesMappingList)(&java, nullptr, at, a)), (Array{u"0", u"0", u"1", u"1"}));
  EXPECT_EQ(java.taken_array(PSXL(getMioOccupiedPins)(&java, nullptr, at)), Array{u"PMCX_PRESET_MIO_3:UART"});
  EXPECT_EQ(java.taken(PSXL(getSysmonData)(&java, nullptr, at, text(u"x"), text(u"y"))), u"x*y");
  EXPECT_EQ(PSXL(guiGetSlrCount)(&java, nullptr, at), 7);
  EXPECT_EQ(PSXL(guiGetStartSupplyID)(&java, nullptr, at), 7);
  EXPECT_EQ(PSXL(isPSBankAvailable)(&java, nullptr, at), JNI_TRUE);
}

TEST_F(JavaEntries, PsxlTakesChanges) {
  const jlong at = psxl.address();
  PSXL(guiSetParam)(&java, nullptr, at, text(u"A"), text(u"1"));
  EXPECT_EQ(calls(), Texts{"u1.guiSetParam {A=1}"});
  const jobjectArray pairs = java.array({u"B", u"x", u"A", u"false"});
  PSXL(guiSetParams)(&java, nullptr, at, pairs);
  EXPECT_EQ(calls().back(), "u1.guiSetParam {A=0 B=x}");
  java.taken_array(pairs);
  answers.values = {{"A", "5"}};
  EXPECT_EQ(java.taken(PSXL(getUserModifiedParams)(&java, nullptr, at)), u" A 5");
}

// --------------------------------------------------------------------------------------------------------- addresses

// Null, made up, of another class, of a model of a third class, and of one that has gone.
TEST_F(JavaEntries, AddressesOfNoModelOfThatClassGetTheNeutralAnswer) {
  const Made<HACGCPCWCustomDRCModel> third(pcwRulesObjInit, pcwRulesObjDelete);
  jlong gone = 0;
  {
    const Opened<HACGCPSPMCCustomDRCModel> closed(pspmcRulesObjInit, pspmcRulesObjDelete, "top", {});
    gone = closed.address();
  }
  const auto of_third = static_cast<jlong>(reinterpret_cast<std::uintptr_t>(&third.base()));
  const auto a = text(u"A");
  recording_core::forget_calls();
  for (const jlong at : {jlong{0}, jlong{1}, jlong{-1}, psxl.address(), pspmc.address() + 1, of_third, gone}) {
    EXPECT_EQ(java.taken(PSPMC(getBootModeOfSDPeripheral)(&java, nullptr, at, a)), u"");
    EXPECT_EQ(java.taken_array(PSPMC(getCurrentConfiguration)(&java, nullptr, at, a)), Array{});
    EXPECT_EQ(java.taken_array(PSPMC(getParamChoicesMappingList)(&java, nullptr, at, a)), Array{});
    EXPECT_EQ(java.taken_array(PSPMC(getParamInfo)(&java, nullptr, at, a, 0)), Array{});
    EXPECT_EQ(java.taken_array(PSPMC(getSubPresetChoicesForSubPresetParam)(&java, nullptr, at, a)), Array{});
    EXPECT_EQ(java.taken(PSPMC(getSubPresetInfoForSubPresetParam)(&java, nullptr, at, a, a)), u"");
    EXPECT_EQ(java.taken(PSPMC(getSysmonData)(&java, nullptr, at, a, a)), u"");
    EXPECT_EQ(java.taken(PSPMC(getUserModifiedParams)(&java, nullptr, at)), u"");
    EXPECT_EQ(PSPMC(guiGetStartSupplyID)(&java, nullptr, at), -1);
    PSPMC(guiSetParam)(&java, nullptr, at, a, a);
    PSPMC(guiSetParams)(&java, nullptr, at, nullptr);
    PSPMC(guiSetSubPresetParam)(&java, nullptr, at, a);
    PSPMC(setUserModifiedParams)(&java, nullptr, at, a);
  }
  for (const jlong at : {jlong{0}, jlong{1}, jlong{-1}, pspmc.address(), psxl.address() - 1, of_third, gone}) {
    EXPECT_EQ(java.taken_array(PSXL(getMioOccupiedPins)(&java, nullptr, at)), Array{});
    EXPECT_EQ(java.taken_array(PSXL(getParamChoicesMappingList)(&java, nullptr, at, a)), Array{});
    EXPECT_EQ(java.taken_array(PSXL(getParamInfo)(&java, nullptr, at, a, 0)), Array{});
    EXPECT_EQ(java.taken(PSXL(getSysmonData)(&java, nullptr, at, a, a)), u"");
    EXPECT_EQ(java.taken(PSXL(getUserModifiedParams)(&java, nullptr, at)), u"");
    EXPECT_EQ(PSXL(guiGetSlrCount)(&java, nullptr, at), 0);
    EXPECT_EQ(PSXL(guiGetStartSupplyID)(&java, nullptr, at), -1);
    PSXL(guiSetParam)(&java, nullptr, at, a, a);
    PSXL(guiSetParams)(&java, nullptr, at, nullptr);
    EXPECT_EQ(PSXL(isPSBankAvailable)(&java, nullptr, at), JNI_FALSE);
  }
  EXPECT_EQ(calls(), Texts{});
}

// ---------------------------------------------------------------------------------------------------------- failures

TEST_F(JavaEntries, WhatFailsIsHandedOver) {
  const auto message =
      std::make_shared<ComMsgMgrInstance const>(*HEXAlgException("the engine gave up on \xF0\x9D\x84\x9E").message);
  struct {
    std::function<void()> fail;
    std::string waits;
  } const all[] = {
      {[&] { throw HEXError(message); },
       "ui/frmwork/cmd/CommandFailedException: the engine gave up on \xED\xA0\xB4\xED\xB4\x9E"},
      {[] { throw HEXAll(nullptr); }, std::string("ui/frmwork/cmd/CommandFailedException: ") + HEXAll(nullptr).what()},
      {[] { throw std::bad_alloc(); }, "ui/frmwork/COutOfMemoryException: Out of memory"},
      {[] { throw std::runtime_error("no \xFF"); }, "ui/frmwork/cmd/CommandFailedException: no \xEF\xBF\xBD"},
      {[] { throw std::string("a text"); }, "ui/frmwork/cmd/CommandFailedException: Unknown exception occurred"},
      {[] { throw 1; }, "ui/frmwork/cmd/CommandFailedException: Unknown exception occurred"},
  };
  const auto a = text(u"A");
  for (auto const& [fail, waits] : all) {
    answers.on_call = [&fail = fail](std::string const&) { fail(); };
    PSPMC(guiSetParam)(&java, nullptr, pspmc.address(), a, a);
    EXPECT_EQ(java.taken_exception(), waits);
    EXPECT_EQ(PSPMC(getUserModifiedParams)(&java, nullptr, pspmc.address()), nullptr);
    EXPECT_EQ(java.taken_exception(), waits);
    PSXL(guiSetParam)(&java, nullptr, psxl.address(), a, a);
    EXPECT_EQ(java.taken_exception(), waits);
    EXPECT_EQ(PSXL(getUserModifiedParams)(&java, nullptr, psxl.address()), nullptr);
    EXPECT_EQ(java.taken_exception(), waits);
  }
}

TEST_F(JavaEntries, WithoutTheClassTheMachinesOwnExceptionWaits) {
  answers.on_call = [](std::string const&) { throw std::runtime_error("of the engine"); };
  java.missing_classes = {"ui/frmwork/cmd/CommandFailedException"};
  PSPMC(guiSetParam)(&java, nullptr, pspmc.address(), text(u"A"), text(u"1"));
  EXPECT_EQ(java.taken_exception(), "java/lang/NoClassDefFoundError: ui/frmwork/cmd/CommandFailedException");
}

TEST_F(JavaEntries, WhatTheMachineFailsWithStays) {
  answers.ranges = {{"A", {"0", "1", "2"}}};
  const auto a = text(u"A");
  for (int made = 0; made < 7; ++made) {  // the array, then its texts
    java.runs_out_after = made;
    EXPECT_EQ(PSPMC(getParamChoicesMappingList)(&java, nullptr, pspmc.address(), a), nullptr);
    EXPECT_EQ(java.taken_exception(), "java/lang/OutOfMemoryError: Java heap space");
  }
  java.runs_out_after = 7;
  EXPECT_EQ(java.taken_array(PSPMC(getParamChoicesMappingList)(&java, nullptr, pspmc.address(), a)).size(), 6U);
  java.runs_out_after = -1;
  java.missing_classes = {"java/lang/String"};
  EXPECT_EQ(PSPMC(getParamInfo)(&java, nullptr, pspmc.address(), a, 0), nullptr);
  EXPECT_EQ(java.taken_exception(), "java/lang/NoClassDefFoundError: java/lang/String");
}

}  // namespace
