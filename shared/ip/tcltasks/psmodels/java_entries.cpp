// What Java calls: the names of parameters, the kinds of information on one, and the models by their addresses.
//
// The getters themselves are made from data/psmodels/names.csv (tools/java_entries.tcl), one function for each key, and
// all end in psmodels_name_text here. Nothing of this runs while the library is loaded, and none of it needs a Tcl
// interpreter.
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "tcltasks/psmodels/HACGCPSPMCCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSXLCustomDRCModel.h"
#include "tcltasks/psmodels/java_values.h"
#include "tcltasks/psmodels/live_models.h"

namespace {

using namespace psmodels::java;
using Pspmc = HACGCPSPMCCustomDRCModel;
using Psxl = HACGCPSXLCustomDRCModel;

// ------------------------------------------------------------------------------------------------- results for Java

jstring to_java(JNIEnv* env, std::string const& text) { return new_text(env, text); }
jobjectArray to_java(JNIEnv* env, StrVec const& texts) { return new_array(env, texts); }
jobjectArray to_java(JNIEnv* env, StrPairs const& pairs) { return new_array(env, pairs); }
jint to_java(JNIEnv*, int number) { return number; }
jboolean to_java(JNIEnv*, bool truth) { return truth ? JNI_TRUE : JNI_FALSE; }

// What `use` makes of the live model of that class at the address, or `neutral` if there is none. What it throws waits
// in Java then, which looks at no result.
template <class Model, class Use>
auto ask(JNIEnv* env, jlong address, std::invoke_result_t<Use, Model&> neutral, Use const& use)
    -> decltype(to_java(env, neutral)) {
  try {
    Model* const model = psmodels::live_model<Model>(static_cast<std::uint64_t>(address));
    return to_java(env, model == nullptr ? neutral : use(*model));
  } catch (...) {
    hand_to_java(env);
  }
  if constexpr (std::is_same_v<decltype(neutral), int>)
    return neutral;
  else
    return {};
}

template <class Model, class Use>
void tell(JNIEnv* env, jlong address, Use const& use) {
  try {
    if (Model* const model = psmodels::live_model<Model>(static_cast<std::uint64_t>(address))) use(*model);
  } catch (...) {
    hand_to_java(env);
  }
}

// ------------------------------------------------------------------------------------------- what both models answer

template <class Model>
jobjectArray param_info(JNIEnv* env, jlong address, jstring name, jint kind) {
  return ask<Model>(env, address, {}, [&](Model& model) {
    StrVec answer;
    const bool is_known = kind >= 0 && kind <= static_cast<jint>(Model::UNKNOWN);
    model.getParamInfo(text_of(env, name), is_known ? static_cast<typename Model::paramInfo>(kind) : Model::UNKNOWN,
                       answer);
    return answer;
  });
}

template <class Model>
jobjectArray choices(JNIEnv* env, jlong address, jstring name) {
  return ask<Model>(env, address, {},
                    [&](Model& model) { return model.getParamChoicesMappingList(text_of(env, name)); });
}

template <class Model>
jstring sysmon_data(JNIEnv* env, jlong address, jstring what, jstring which) {
  return ask<Model>(env, address, {}, [&](Model& model) {
    std::string first = text_of(env, what);
    return model.getSysmonData(std::move(first), text_of(env, which));
  });
}

template <class Model>
jstring user_modified(JNIEnv* env, jlong address) {
  return ask<Model>(env, address, {}, [](Model& model) { return model.getUserModifiedParams(); });
}

template <class Model>
jint start_supply(JNIEnv* env, jlong address) {
  return ask<Model>(env, address, -1, [](Model& model) { return model.guiGetStartSupplyID(); });
}

template <class Model>
void set_param(JNIEnv* env, jlong address, jstring name, jstring value) {
  tell<Model>(env, address, [&](Model& model) {
    std::string its_name = text_of(env, name);
    model.guiSetParam(std::move(its_name), text_of(env, value));
  });
}

template <class Model>
void set_params(JNIEnv* env, jlong address, jobjectArray names_and_values) {
  tell<Model>(env, address, [&](Model& model) { model.guiSetParams(pairs_of(env, names_and_values, "guiSetParams")); });
}

}  // namespace

// No memory, and what Java fails with itself, are all that can go wrong: there is no text then.
extern "C" [[gnu::visibility("hidden")]] jstring psmodels_name_text(JNIEnv* env, char const* key, std::size_t length);
jstring psmodels_name_text(JNIEnv* env, char const* key, std::size_t length) {
  try {
    return new_text(env, std::string(key, length));
  } catch (...) {
    return nullptr;
  }
}

extern "C" {

#define ENTRY(type, name) JNICALL Java_ui_data_pspmc_pspmc_##type##_1##name

// ---------------------------------------------------------------------------------------- kinds of information

// The kinds of both models are the same, and so are these entries.
#define TEXT(words) #words
#define KIND(name, kind)                                                                               \
  JNIEXPORT jint ENTRY(get, HACGCPSPMCCustomDRCModel_1##name)(JNIEnv*, jclass) { return Pspmc::kind; } \
  JNIEXPORT jint ENTRY(get, HACGCPSXLCustomDRCModel_1##name)(JNIEnv*, jclass)                          \
      __attribute__((alias("Java_ui_data_pspmc_pspmc_get_1HACGCPSPMCCustomDRCModel_1" TEXT(name))));   \
  static_assert(static_cast<int>(Pspmc::kind) == static_cast<int>(Psxl::kind));
KIND(VALUE, VALUE)
KIND(TYPE, TYPE)
KIND(RANGE, RANGE)
KIND(ENABLED, ENABLED)
KIND(VISIBLE, VISIBLE)
KIND(DISPLAY_1NAME, DISPLAY_NAME)
KIND(DESCRIPTION, DESCRIPTION)
KIND(ERRMSG, ERRMSG)
KIND(UNKNOWN, UNKNOWN)
#undef KIND
#undef TEXT

// ---------------------------------------------------------------------------------------- HACGCPSPMCCustomDRCModel

#define PSPMC(result, name) JNIEXPORT result ENTRY(HACGCPSPMCCustomDRCModel, name)

PSPMC(jstring, getBootModeOfSDPeripheral)(JNIEnv* env, jclass, jlong model, jstring peripheral) {
  return ask<Pspmc>(env, model, {},
                    [&](Pspmc& one) { return one.getBootModeOfSDPeripheral(text_of(env, peripheral)); });
}
PSPMC(jobjectArray, getCurrentConfiguration)(JNIEnv* env, jclass, jlong model, jstring configuration) {
  return ask<Pspmc>(env, model, {}, [&](Pspmc& one) {
    StrPairs answer;
    one.getCurrentConfiguration(text_of(env, configuration), answer);
    return answer;
  });
}
PSPMC(jobjectArray, getParamChoicesMappingList)(JNIEnv* env, jclass, jlong model, jstring name) {
  return choices<Pspmc>(env, model, name);
}
PSPMC(jobjectArray, getParamInfo)(JNIEnv* env, jclass, jlong model, jstring name, jint kind) {
  return param_info<Pspmc>(env, model, name, kind);
}
PSPMC(jobjectArray, getSubPresetChoicesForSubPresetParam)(JNIEnv* env, jclass, jlong model, jstring name) {
  return ask<Pspmc>(env, model, {},
                    [&](Pspmc& one) { return one.getSubPresetChoicesForSubPresetParam(text_of(env, name)); });
}
PSPMC(jstring, getSubPresetInfoForSubPresetParam)(JNIEnv* env, jclass, jlong model, jstring name, jstring key) {
  return ask<Pspmc>(env, model, {}, [&](Pspmc& one) {
    std::string its_name = text_of(env, name);
    return one.getSubPresetInfoForSubPresetParam(std::move(its_name), text_of(env, key));
  });
}
PSPMC(jstring, getSysmonData)(JNIEnv* env, jclass, jlong model, jstring what, jstring which) {
  return sysmon_data<Pspmc>(env, model, what, which);
}
PSPMC(jstring, getUserModifiedParams)(JNIEnv* env, jclass, jlong model) { return user_modified<Pspmc>(env, model); }
PSPMC(jint, guiGetStartSupplyID)(JNIEnv* env, jclass, jlong model) { return start_supply<Pspmc>(env, model); }
PSPMC(void, guiSetParam)(JNIEnv* env, jclass, jlong model, jstring name, jstring value) {
  set_param<Pspmc>(env, model, name, value);
}
PSPMC(void, guiSetParams)(JNIEnv* env, jclass, jlong model, jobjectArray names_and_values) {
  set_params<Pspmc>(env, model, names_and_values);
}
PSPMC(void, guiSetSubPresetParam)(JNIEnv* env, jclass, jlong model, jstring choice) {
  tell<Pspmc>(env, model, [&](Pspmc& one) { one.guiSetSubPresetParam(text_of(env, choice)); });
}
PSPMC(void, setUserModifiedParams)(JNIEnv* env, jclass, jlong model, jstring names_and_values) {
  tell<Pspmc>(env, model, [&](Pspmc& one) { one.setUserModifiedParams(text_of(env, names_and_values)); });
}
#undef PSPMC

// ----------------------------------------------------------------------------------------- HACGCPSXLCustomDRCModel

#define PSXL(result, name) JNIEXPORT result ENTRY(HACGCPSXLCustomDRCModel, name)

PSXL(jobjectArray, getMioOccupiedPins)(JNIEnv* env, jclass, jlong model) {
  return ask<Psxl>(env, model, {}, [](Psxl& one) {
    StrVec pins;
    one.getMioOccupiedPins(pins);
    return pins;
  });
}
PSXL(jobjectArray, getParamChoicesMappingList)(JNIEnv* env, jclass, jlong model, jstring name) {
  return choices<Psxl>(env, model, name);
}
PSXL(jobjectArray, getParamInfo)(JNIEnv* env, jclass, jlong model, jstring name, jint kind) {
  return param_info<Psxl>(env, model, name, kind);
}
PSXL(jstring, getSysmonData)(JNIEnv* env, jclass, jlong model, jstring what, jstring which) {
  return sysmon_data<Psxl>(env, model, what, which);
}
PSXL(jstring, getUserModifiedParams)(JNIEnv* env, jclass, jlong model) { return user_modified<Psxl>(env, model); }
PSXL(jint, guiGetSlrCount)(JNIEnv* env, jclass, jlong model) {
  return ask<Psxl>(env, model, 0, [](Psxl& one) { return one.guiGetSlrCount(); });
}
PSXL(jint, guiGetStartSupplyID)(JNIEnv* env, jclass, jlong model) { return start_supply<Psxl>(env, model); }
PSXL(void, guiSetParam)(JNIEnv* env, jclass, jlong model, jstring name, jstring value) {
  set_param<Psxl>(env, model, name, value);
}
PSXL(void, guiSetParams)(JNIEnv* env, jclass, jlong model, jobjectArray names_and_values) {
  set_params<Psxl>(env, model, names_and_values);
}
PSXL(jboolean, isPSBankAvailable)(JNIEnv* env, jclass, jlong model) {
  return ask<Psxl>(env, model, false, [](Psxl& one) { return one.isPSBankAvailable(); });
}
#undef PSXL
#undef ENTRY

}  // extern "C"
