// A library with nothing in it but what a getter of names does, in two forms, for bench/java/NamesBench.java.
#include <jni.h>

#include <memory>
#include <string>

#include "kdi/common/HI18N.h"

extern "C" {

/// The steps of a getter: a text, widened, narrowed to units, a String of those.
JNIEXPORT jstring JNICALL Java_iptasks_NamesBench_steps(JNIEnv* env, jclass) {
  const std::string key = "PS_UART0_PERIPHERAL_ENABLE";
  std::wstring wide;
  HI18N::convert(key, wide);
  const std::unique_ptr<jchar[]> units(new jchar[wide.size()]);
  for (std::size_t i = 0; i < wide.size(); ++i) units[i] = static_cast<jchar>(wide[i]);
  return env->NewString(units.get(), static_cast<jsize>(wide.size()));
}

/// The shortest way there is.
JNIEXPORT jstring JNICALL Java_iptasks_NamesBench_constant(JNIEnv* env, jclass) {
  return env->NewStringUTF("PS_UART0_PERIPHERAL_ENABLE");
}
}
