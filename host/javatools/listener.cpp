#include "host/javatools/listener.h"

#include <new>
#include <stdexcept>
#include <string>

#include "tcltasks/psmodels/java_values.h"

namespace javatools {
namespace {

using psmodels::java::Local;

// Versions of the interface's header differ in the type of what comes out.
template <class Made>
JNIEnv* attached(JavaVM& machine, jint (JavaVM::*attach)(Made**, void*)) {
  Made* made = nullptr;
  return (machine.*attach)(&made, nullptr) == JNI_OK ? static_cast<JNIEnv*>(made) : nullptr;
}

// The environment of this thread, which is attached for as long as this lives if Java did not know it. Null while Java
// ends.
class Attached {
 public:
  explicit Attached(JavaVM& machine) : machine_(machine) {
    void* known = nullptr;
    if (machine_.GetEnv(&known, JNI_VERSION_1_6) == JNI_OK) {
      env_ = static_cast<JNIEnv*>(known);
    } else {
      env_ = attached(machine_, &JavaVM::AttachCurrentThreadAsDaemon);
      is_guest_ = env_ != nullptr;
    }
  }
  Attached(Attached const&) = delete;
  Attached& operator=(Attached const&) = delete;
  ~Attached() {
    if (is_guest_) machine_.DetachCurrentThread();
  }
  JNIEnv* env() const { return env_; }

 private:
  JavaVM& machine_;
  JNIEnv* env_ = nullptr;
  bool is_guest_ = false;
};

// What waits in Java, which waits no more then, as a text.
std::string taken_exception(JNIEnv* env) {
  const Local thrown(env, env->ExceptionOccurred());
  env->ExceptionClear();
  const Local type(env, env->GetObjectClass(thrown.get()));
  jmethodID const to_text = env->GetMethodID(type.as<jclass>(), "toString", "()Ljava/lang/String;");
  if (to_text != nullptr) {
    const Local text(env, env->CallObjectMethod(thrown.get(), to_text));
    if (env->ExceptionCheck() == JNI_FALSE) return psmodels::java::text_of(env, text.as<jstring>());
  }
  env->ExceptionClear();
  return "an exception without a text";
}

}  // namespace

Listener::Listener(JNIEnv* env, jobject object) : object_(env->NewGlobalRef(object)) {
  if (object_ == nullptr) throw std::bad_alloc();
  env->GetJavaVM(&machine_);
}

Listener::~Listener() {
  const Attached here(*machine_);
  if (here.env() != nullptr) here.env()->DeleteGlobalRef(object_);
}

template <class Tell>
void Listener::tell(char const* method, char const* signature, Tell const& tell) const {
  const Attached here(*machine_);
  JNIEnv* const env = here.env();
  if (env == nullptr) return;
  try {
    const Local type(env, env->GetObjectClass(object_));
    jmethodID const its_method = env->GetMethodID(type.as<jclass>(), method, signature);
    if (its_method != nullptr) tell(env, its_method);
  } catch (psmodels::java::PendingInJava const&) {
  }
  if (env->ExceptionCheck() != JNI_FALSE)
    throw std::runtime_error("a listener in Java failed: " + taken_exception(env));
}

void Listener::updated(StrVec const& names) const {
  tell("updated", "([Ljava/lang/String;)V", [&](JNIEnv* env, jmethodID method) {
    const Local told(env, psmodels::java::new_array(env, names));
    env->CallVoidMethod(object_, method, told.get());
  });
}

void Listener::changed(jlong model, StrPairs const& params, bool by_interface) const {
  tell("changed", "(J[Ljava/lang/String;Z)V", [&](JNIEnv* env, jmethodID method) {
    const Local told(env, psmodels::java::new_array(env, params));
    env->CallVoidMethod(object_, method, model, told.get(), by_interface ? JNI_TRUE : JNI_FALSE);
  });
}

}  // namespace javatools
