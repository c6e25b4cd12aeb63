// An object of Java's that hears of events, on whatever thread they happen.
#pragma once

#include <jni.h>

#include "kdi/common/KdiTypes.h"

namespace javatools {

/// For any thread: one that Java does not know is attached while it tells.
class Listener {
 public:
  /// Keeps the object until this ends.
  Listener(JNIEnv* env, jobject object);
  Listener(Listener const&) = delete;
  Listener& operator=(Listener const&) = delete;
  ~Listener();

  /// Its method updated(String[] names), and changed(long model, String[] namesAndValues, boolean byInterface). What
  /// the method throws is a std::runtime_error with its text, and waits in Java no more.
  void updated(StrVec const& names) const;
  void changed(jlong model, StrPairs const& params, bool by_interface) const;

 private:
  template <class Tell>
  void tell(char const* method, char const* signature, Tell const& tell) const;

  JavaVM* machine_ = nullptr;
  jobject object_;
};

}  // namespace javatools
