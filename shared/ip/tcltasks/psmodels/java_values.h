// Texts and lists between Java and C++, and failures on their way to Java.
//
// A text is in C++ what a Tcl interpreter has of it (kdi/common/HI18N.h): UTF-8, in which NUL stands as C0 80 and half
// of a surrogate pair in three bytes, so that each text of Java's comes back as it was. Local references end within
// each call but for the one that is returned, however long a list is.
//
// What a call of Java's fails with stays pending, and the function throws PendingInJava.
#pragma once

#include <jni.h>

#include <string>
#include <utility>

#include "kdi/common/KdiTypes.h"

namespace psmodels::java {

/// Java has an exception waiting already.
struct PendingInJava {};

/// A local reference that ends with this.
class Local {
 public:
  Local(JNIEnv* env, jobject object) : env_(env), object_(object) {}
  Local(Local const&) = delete;
  Local& operator=(Local const&) = delete;
  ~Local() {
    if (object_ != nullptr) env_->DeleteLocalRef(object_);
  }
  jobject get() const { return object_; }
  jobject release() { return std::exchange(object_, nullptr); }
  template <class Object>
  Object as() const {
    return static_cast<Object>(object_);
  }

 private:
  JNIEnv* env_;
  jobject object_;
};

/// Throws it if there is one.
inline void check_pending(JNIEnv* env) {
  if (env->ExceptionCheck() != JNI_FALSE) throw PendingInJava{};
}

/// Empty for null.
std::string text_of(JNIEnv* env, jstring text);
/// The elements of an array of texts; none for null.
StrVec texts_of(JNIEnv* env, jobjectArray texts);
/// Name, value, name, value. Throws std::invalid_argument for a last name without a value, in the name of `what`.
StrPairs pairs_of(JNIEnv* env, jobjectArray texts, char const* what);

jstring new_text(JNIEnv* env, std::string const& text);
jobjectArray new_array(JNIEnv* env, StrVec const& texts);
/// Name, value, name, value.
jobjectArray new_array(JNIEnv* env, StrPairs const& pairs);

/// Hands the exception that is being handled to Java, as the first that it is of: HEXAll, by the text of its message,
/// or its own if it has none; std::bad_alloc; any std::exception, by its text; anything else. If Java has one waiting,
/// that one stays. For within a handler.
void hand_to_java(JNIEnv* env) noexcept;

}  // namespace psmodels::java
