// Failures of the engine to order, and events from threads that Java does not know. Loaded before everything else
// (LD_PRELOAD), so that the package finds two functions here before those of the engine, which do the work.
#include <dlfcn.h>
#include <jni.h>

#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "kdi/common/HEXAll.h"
#include "kdi/common/HUTGuiEvent.h"
#include "kdi/ip/HPSPMCEvents.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HardIP.h"

namespace {

enum Failure { none, message, no_memory, standard, other };
thread_local Failure next = none;

void fail_if_asked() {
  switch (std::exchange(next, none)) {
    case message:
      throw HEXAlgException("the engine gave up: 100 %");
    case no_memory:
      throw std::bad_alloc();
    case standard:
      throw std::runtime_error("a plain failure");
    case other:
      throw 42;
    case none:
      break;
  }
}

template <class Function>
Function engines(char const* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

hardip_eng::HardIPManager* hardip_eng::HardIPManager::getInstance() {
  fail_if_asked();
  static const auto its = engines<HardIPManager* (*)()>("_ZN10hardip_eng13HardIPManager11getInstanceEv");
  return its();
}

bool HICInst::isPSBankAvailable() {
  fail_if_asked();
  static const auto its = engines<bool (*)(HICInst*)>("_ZN7HICInst17isPSBankAvailableEv");
  return its(this);
}

extern "C" {

/// The next question to the engine on this thread fails in that way.
JNIEXPORT void JNICALL Java_iptasks_Faults_failNext(JNIEnv*, jclass, jint failure) {
  next = static_cast<Failure>(failure);
}

/// Fires the events of both kinds on a thread of its own; the address of the model is 77.
JNIEXPORT void JNICALL Java_iptasks_Faults_fireElsewhere(JNIEnv*, jclass) {
  std::thread([] {
    std::vector<std::string> names{"A", "B"};
    HUTGuiEvent::fire<HPSPMCUpdateGuiEvent>(&names);
    std::map<std::string, std::string> params{{"A", "1"}};
    HUTGuiEvent::fire<HPSPMCParameterChanged>(reinterpret_cast<HACGCCustomDRCModel*>(77), &params,
                                              HPSPMCParameterChanged::CUSTOMIZER_FLOW_GUI);
  }).join();
}
}
