// Which model serves which IP, and what all models make of messages and numbers.
#include "tcltasks/psmodels/model_table.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "kdi/common/HACGCHybridCustomController.h"
#include "kdi/common/KdiNumber.h"
#include "tcltasks/psmodels/HACGCPCWCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSPMCCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSXLCustomDRCModel.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/model_fixture.h"
#include "tests/support/places.h"
#include "tests/support/program.h"

namespace {

using Controller = HACGCHybridCustomController;

// The table as it is told, and in this order.
struct Row {
  char const* identifier;
  HACGCDRCModelFunc factory, deleter;
};
Texts identifiers_of(std::vector<Row> const& rows) {
  Texts names;
  for (Row const& row : rows) names.push_back(row.identifier);
  return names;
}
std::vector<Row> rows(bool has_version_32) {
  std::vector<Row> all{{"brenlo:ip:pspmc:1.0", pspmcRulesObjInit, pspmcRulesObjDelete},
                       {"brenlo:ip:pspmc:1.1", pspmcRulesObjInit, pspmcRulesObjDelete},
                       {"brenlo:ip:tavrel_cips:3.1", pspmcRulesObjInit, pspmcRulesObjDelete}};
  if (has_version_32) {
    all.push_back({"brenlo:ip:tavrel_cips:3.2", pspmcRulesObjInit, pspmcRulesObjDelete});
    all.push_back({"brenlo:ip:pspmc:1.2", pspmcRulesObjInit, pspmcRulesObjDelete});
  }
  for (char const* const name :
       {"brenlo:ip:tavrel_cips:3.3", "brenlo:ip:pspmc:1.3", "brenlo:ip:tavrel_cips:3.4", "brenlo:ip:pspmc:1.4"})
    all.push_back({name, pspmcRulesObjInit, pspmcRulesObjDelete});
  all.push_back({"brenlo:ip:psxl:1.0", psxlRulesObjInit, psxlRulesObjDelete});
  for (char const* const name :
       {"brenlo:ip:psxl_wizard:1.0", "brenlo:ip:psx_wizard:1.0", "brenlo:ip:psx_wizard:9.99.z"})
    all.push_back({name, psxlWizardRulesObjInit, psxlWizardRulesObjDelete});
  for (char const* const name : {"brenlo:ip:ps11:1.0", "brenlo:ip:pmcps:1.0"})
    all.push_back({name, psxlRulesObjInit, psxlRulesObjDelete});
  for (char const* const name : {"brenlo:ip:ps_wizard:1.0", "brenlo:ip:ps_wizard:99.0"})
    all.push_back({name, psxlWizardRulesObjInit, psxlWizardRulesObjDelete});
  all.push_back({"brenlo:ip:pspmcx:1.0", pspmcRulesObjInit, pspmcRulesObjDelete});
  for (char const* const name :
       {"brenlo:ip:ps_pmc:1.0", "brenlo:ip:tavrel_cips:1.0", "brenlo:ip:tavrel_cips:2.0", "brenlo:ip:tavrel_cips:2.1",
        "brenlo:ip:xram:1.0", "brenlo:ip:cpm:1.0", "brenlo:ip:cpm4:1.0", "brenlo:ip:cpm4_tavrel:1.0",
        "brenlo:ip:cpm5:1.0", "brenlo:ip:cpm5_tavrel:1.0", "brenlo:ip:cpm5n:1.0"})
    all.push_back({name, pcwRulesObjInit, pcwRulesObjDelete});
  return all;
}

TEST(ModelTable, StandsSinceTheLibraryWasLoaded) {
  EXPECT_EQ(rows(true).size(), 29U);
  EXPECT_EQ(Controller::identifiers(), identifiers_of(rows(false)));
  for (Row const& row : rows(false)) {
    const auto functions = Controller::find(row.identifier);
    ASSERT_TRUE(functions) << row.identifier;
    EXPECT_EQ(functions->factory, row.factory) << row.identifier;
    EXPECT_EQ(functions->deleter, row.deleter) << row.identifier;
  }
  EXPECT_FALSE(Controller::find("brenlo:ip:tavrel_cips:3.2"));
  EXPECT_FALSE(Controller::find("brenlo:ip:pspmc:1.2"));
  EXPECT_FALSE(Controller::find("brenlo:ip:pspmc"));
}

TEST(ModelTable, HasTwoMoreRowsIfTheParameterSaysSo) {
  const Outcome outcome = run_apart([] {
    param_host::set("project.enableCIPS32", "true");
    PCWInitTcl::init();
    const auto functions = Controller::find("brenlo:ip:tavrel_cips:3.2");
    return functions && functions->factory == pspmcRulesObjInit && functions->deleter == pspmcRulesObjDelete &&
                   Controller::find("brenlo:ip:pspmc:1.2") && Controller::identifiers().size() == 29
               ? 0
               : 1;
  });
  EXPECT_EQ(outcome.status, 0);
}

// Run in a fresh process, which is given the parameters by a file before it loads the library.
TEST(ModelTable, IsToldWhileTheLibraryIsLoaded) {
  const bool is_enabled = std::getenv("KDI_PARAMS") != nullptr;
  EXPECT_EQ(Controller::identifiers(), identifiers_of(rows(is_enabled)));
}
TEST(ModelTable, AsksForTheParameterWhileTheLibraryIsLoaded) {
  const Scratch folder;
  Surroundings around;
  around.variables["KDI_PARAMS"] = folder.file("params.json", R"({"project.enableCIPS32": true})");
  const Outcome outcome = run_program(
      {places::program("model_table_test"), "--gtest_filter=ModelTable.IsToldWhileTheLibraryIsLoaded"}, around);
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_NE(outcome.out.find("[  PASSED  ] 1 test"), std::string::npos) << outcome.out;
}

class Factories : public ModelTest {};

char const* class_of(HACGCCustomDRCModel const& model) { return typeid(model).name(); }

TEST_F(Factories, MakeModelsOfTheirClassesAndDeletersEndThem) {
  const Made<HACGCPSPMCCustomDRCModel> pspmc(pspmcRulesObjInit, pspmcRulesObjDelete);
  const Made<HACGCPSXLCustomDRCModel> psxl(psxlRulesObjInit, psxlRulesObjDelete);
  const Made<HACGCPSXLCustomDRCModel> wizard(psxlWizardRulesObjInit, psxlWizardRulesObjDelete);
  const Made<HACGCPCWCustomDRCModel> pcw(pcwRulesObjInit, pcwRulesObjDelete);
  EXPECT_STREQ(class_of(pspmc.base()), "24HACGCPSPMCCustomDRCModel");
  EXPECT_STREQ(class_of(psxl.base()), "23HACGCPSXLCustomDRCModel");
  EXPECT_STREQ(class_of(wizard.base()), class_of(psxl.base()));
  EXPECT_STREQ(class_of(pcw.base()), "22HACGCPCWCustomDRCModel");
  for (HACGCCustomDRCModel* const model : {&pspmc.base(), &psxl.base(), &pcw.base()}) {
    EXPECT_TRUE(model->eventsEnabled);
    EXPECT_TRUE(model->displayNames.empty() && model->choiceMappings.empty() && model->descriptions.empty());
    EXPECT_TRUE(model->subPresetChoices.empty() && model->subPresetConfigs.empty() && model->subPresetInfos.empty());
    EXPECT_TRUE(model->subPresetMembers.empty() && model->guiContextParams.empty());
    EXPECT_TRUE(model->getParametersWithErrors().empty());
  }
  const Texts events = told("PS_WIZARD.EVENTS.DBG");
  ASSERT_EQ(events.size(), 2U);  // of the PS-XL models alone, the wizard's included
  char expected[100];
  std::snprintf(expected, sizeof expected, "1 HACGCPSXLCustomDRCModel::HACGCPSXLCustomDRCModel() '%p'\n",
                static_cast<void*>(&psxl.base()));
  EXPECT_EQ(events[0], expected);
}

TEST_F(Factories, DeletersTakeNoModelAndLeaveThePointer) {
  for (HACGCDRCModelFunc const deleter :
       {pspmcRulesObjDelete, psxlRulesObjDelete, psxlWizardRulesObjDelete, pcwRulesObjDelete}) {
    HACGCCustomDRCModel* none = nullptr;
    deleter("x", &none);
    EXPECT_EQ(none, nullptr);
  }
  HACGCCustomDRCModel* model = nullptr;
  pcwRulesObjInit("x", &model);
  HACGCCustomDRCModel* const before = model;
  pcwRulesObjDelete("x", &model);
  EXPECT_EQ(model, before);
}

TEST_F(Factories, GuiContextIsCopiedUnlessItIsTheModelsOwn) {
  const Made<HACGCPCWCustomDRCModel> model(pcwRulesObjInit, pcwRulesObjDelete);
  const ParamMap given{{"a", "1"}};
  model->setGuiContextParams(given);
  EXPECT_EQ(model->guiContextParams, given);
  model->setGuiContextParams(model->guiContextParams);
  EXPECT_EQ(model->guiContextParams, given);
}

// ---------------------------------------------------------------------------------- messages, by each of the models

struct Classified {
  bool is_no_error;
  std::string cleaned;
  unsigned mask;
  bool operator==(Classified const&) const = default;
};
std::ostream& operator<<(std::ostream& out, Classified const& c) {
  return out << c.is_no_error << " '" << c.cleaned << "' " << std::hex << c.mask;
}

struct Pspmc {
  using Model = HACGCPSPMCCustomDRCModel;
  static constexpr auto kInit = pspmcRulesObjInit, kDelete = pspmcRulesObjDelete;
  static constexpr char const* kChannel = "PSPMC.DBG";
};
struct Psxl {
  using Model = HACGCPSXLCustomDRCModel;
  static constexpr auto kInit = psxlRulesObjInit, kDelete = psxlRulesObjDelete;
  static constexpr char const* kChannel = "PSXL.DBG";
};
struct Pcw {
  using Model = HACGCPCWCustomDRCModel;
  static constexpr auto kInit = pcwRulesObjInit, kDelete = pcwRulesObjDelete;
  static constexpr char const* kChannel = "PCW.DBG";
};

template <class Kind>
class EachModel : public ModelTest {
 protected:
  Classified classified(std::string text) {
    std::string cleaned = "before";
    auto mask = static_cast<ComMsgMgr::MsgMask>(1);
    const bool is_no_error = model->isInfoOrWarningMessage(text, cleaned, mask);
    return {is_no_error, cleaned, mask};
  }
  Made<typename Kind::Model> model{Kind::kInit, Kind::kDelete};
};
using Kinds = testing::Types<Pspmc, Psxl, Pcw>;
TYPED_TEST_SUITE(EachModel, Kinds);

TYPED_TEST(EachModel, SortsMessagesByTheFirstTag) {
  EXPECT_EQ(this->classified(""), (Classified{false, "before", 1}));
  EXPECT_EQ(this->classified("plain"), (Classified{false, "plain", 1}));
  EXPECT_EQ(this->classified("Info: a Info:b"), (Classified{true, " a b", 0x4000000}));
  EXPECT_EQ(this->classified("a Warning:b"), (Classified{true, "a b", 0x8000000}));
  EXPECT_EQ(this->classified("Critical_warning:c"), (Classified{true, "c", 0x10000000}));
  EXPECT_EQ(this->classified("Warning: x Info: y"), (Classified{true, "Warning: x  y", 0x4000000}));
  EXPECT_EQ(this->classified("Critical_warning:a Warning:b"), (Classified{true, "Critical_warning:a b", 0x8000000}));
  EXPECT_EQ(this->classified("info: warning: critical_warning:"),
            (Classified{false, "info: warning: critical_warning:", 1}));
  EXPECT_EQ(this->classified("Info:"), (Classified{true, "", 0x4000000}));
  EXPECT_EQ(this->classified("InfInfo:o:x"), (Classified{true, "Info:x", 0x4000000}))
      << "looks on behind what it takes";
}

TYPED_TEST(EachModel, ReplacesEachOccurrence) {
  const auto replaced = [this](std::string subject, std::string const& search, std::string const& replacement) {
    this->model->replaceStrInPlace(subject, search, replacement);
    return subject;
  };
  EXPECT_EQ(replaced("aXbXc", "X", "--"), "a--b--c");
  EXPECT_EQ(replaced("aaa", "a", "aa"), "aaaaaa");
  EXPECT_EQ(replaced("aaa", "aa", "b"), "ba");
  EXPECT_EQ(replaced("abc", "", "x"), "abc");
  EXPECT_EQ(replaced("", "a", "x"), "");
  const std::string many(2'000'000, 'a');
  EXPECT_EQ(replaced(many, "a", ""), "") << "in time that grows with the text alone";
}

TYPED_TEST(EachModel, ReportsNumberedMessagesAndKeepsTheFirstError) {
  ParamMap none, messages{{"A", "Info:one"},    {"B", ""},      {"C", "broken 100%s"},
                          {"D", "Warning:two"}, {"E", "Info:"}, {"F", "Critical_warning:three"}};
  RawResult raw;
  EXPECT_TRUE(this->model->reportMessages(none, raw, messages));
  EXPECT_EQ(this->said(), (Texts{"INFO: [PDMS 1] one", "WARNING: [PDMS 2] two", "CRITICAL WARNING: [PDMS 3] three"}));
  EXPECT_EQ(this->model->getParametersWithErrors(), (ParamMap{{"C", "broken 100%s"}}));
  EXPECT_EQ(this->told(TypeParam::kChannel),
            (Texts{"2 Got message for param A - Info:one \n", "2 Got message for param C - broken 100%s \n",
                   "2 Message on Parameter C is broken 100%s\n", "2 Got message for param D - Warning:two \n",
                   "2 Got message for param E - Info: \n", "2 Got message for param F - Critical_warning:three \n"}));
  this->forget();
  messages = {{"C", "broken again"}};
  EXPECT_TRUE(this->model->reportMessages(none, raw, messages));
  EXPECT_EQ(this->model->getParametersWithErrors(), (ParamMap{{"C", "broken 100%s"}}));
  messages = {{"A", "Info:again"}};
  EXPECT_FALSE(this->model->reportMessages(none, raw, messages));
  EXPECT_EQ(this->said(), Texts{"INFO: [PDMS 1] again"}) << "numbers begin anew with each report";
}

TYPED_TEST(EachModel, ChecksNumbers) {
  auto& checks = *this->model.operator->();
  for (char const* const text : {"", "0", "+-12", "007"}) EXPECT_TRUE(checks.validateNumericString(text)) << text;
  for (char const* const text : {" 1", "1.0", "1e5", "0x10", "a"})
    EXPECT_FALSE(checks.validateNumericString(text)) << text;
  for (char const* const text : {"", "1.5E+3", "e.e", "-.5"}) EXPECT_TRUE(checks.validateFloatString(text)) << text;
  for (char const* const text : {"1,5", "inf", "1 ", "0x1"}) EXPECT_FALSE(checks.validateFloatString(text)) << text;

  const DecimalComma comma;
  const auto whole = [&](std::string const& text) {
    long long value = -77;
    return checks.validateAndConvertLong(text, value) ? std::to_string(value) : "no, " + std::to_string(value);
  };
  EXPECT_EQ(whole("42"), "42");
  EXPECT_EQ(whole("+42"), "42");
  EXPECT_EQ(whole("-9223372036854775808"), "-9223372036854775808");
  for (char const* const text : {"", "+", "-", "+-1", "--1", "1-", "9223372036854775808", "1.0", "1e3"})
    EXPECT_EQ(whole(text), "no, -77") << text;

  const auto real = [&](std::string const& text) {
    double value = -77;
    return checks.validateAndConvertDouble(text, value) ? kdi::number::shortest(value)
                                                        : "no, " + kdi::number::shortest(value);
  };
  EXPECT_EQ(real("1.5"), "1.5");
  EXPECT_EQ(real("+.5"), "0.5");
  EXPECT_EQ(real("5."), "5");
  EXPECT_EQ(real("1E+3"), "1000");
  EXPECT_EQ(real("1e-400"), "0") << "too small is 0";
  for (char const* const text : {"", ".", "e", "1e", "1e+", "+-1", "1e400", "-1e400", "1.5.2", "1,5", "nan", " 1"})
    EXPECT_EQ(real(text), "no, -77") << text;
}

}  // namespace
