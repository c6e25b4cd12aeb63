// A Java that is not there: an environment whose texts and arrays are C++, which counts local references and watches
// that nothing is called that may not be while an exception waits. What the code under test does not call is null.
#pragma once

#include <gtest/gtest.h>
#include <jni.h>

#include <algorithm>
#include <cstdarg>
#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace recording_java {

using Units = std::u16string;

struct Object {
  std::string of;  ///< the class; that of the elements, for an array
  std::u16string text;
  std::vector<std::shared_ptr<Object>> elements;
};

class Environment : public JNIEnv {
 public:
  Environment() {
    table_.FindClass = [](JNIEnv* env, char const* name) -> jclass {
      Environment& self = of(env, true);
      if (self.missing_classes.contains(name)) {
        self.pending = std::string("java/lang/NoClassDefFoundError: ") + name;
        return nullptr;
      }
      return static_cast<jclass>(self.reference(std::make_shared<Object>(Object{name, {}, {}})));
    };
    table_.ThrowNew = [](JNIEnv* env, jclass type, char const* message) -> jint {
      Environment& self = of(env, true);
      self.pending = self.at(type)->of + ": " + message;
      return 0;
    };
    table_.ExceptionCheck = [](JNIEnv* env) -> jboolean { return of(env).pending.empty() ? JNI_FALSE : JNI_TRUE; };
    table_.DeleteLocalRef = [](JNIEnv* env, jobject object) { of(env).drop(object); };
    table_.GetStringLength = [](JNIEnv* env, jstring text) {
      return static_cast<jsize>(of(env, true).at(text)->text.size());
    };
    table_.GetStringRegion = [](JNIEnv* env, jstring text, jsize start, jsize length, jchar* buffer) {
      of(env, true).at(text)->text.copy(reinterpret_cast<char16_t*>(buffer), static_cast<std::size_t>(length),
                                        static_cast<std::size_t>(start));
    };
    table_.NewString = [](JNIEnv* env, jchar const* units, jsize length) -> jstring {
      Environment& self = of(env, true);
      if (self.runs_out()) return nullptr;
      return self.text({reinterpret_cast<char16_t const*>(units), static_cast<std::size_t>(length)});
    };
    table_.GetArrayLength = [](JNIEnv* env, jarray array) {
      return static_cast<jsize>(of(env, true).at(array)->elements.size());
    };
    table_.GetObjectArrayElement = [](JNIEnv* env, jobjectArray array, jsize index) -> jobject {
      Environment& self = of(env, true);
      auto const& element = self.at(array)->elements.at(static_cast<std::size_t>(index));
      return element == nullptr ? nullptr : self.reference(element);
    };
    table_.NewObjectArray = [](JNIEnv* env, jsize length, jclass type, jobject) -> jobjectArray {
      Environment& self = of(env, true);
      if (self.runs_out()) return nullptr;
      auto array = std::make_shared<Object>(Object{self.at(type)->of, {}, {}});
      array->elements.resize(static_cast<std::size_t>(length));
      return static_cast<jobjectArray>(self.reference(std::move(array)));
    };
    table_.SetObjectArrayElement = [](JNIEnv* env, jobjectArray array, jsize index, jobject element) {
      Environment& self = of(env, true);
      self.at(array)->elements.at(static_cast<std::size_t>(index)) = self.at(element);
    };
    table_.NewGlobalRef = [](JNIEnv* env, jobject object) -> jobject {
      Environment& self = of(env, true);
      self.globals_.push_back(self.at(object));
      return reinterpret_cast<jobject>(&self.globals_.back());
    };
    table_.DeleteGlobalRef = [](JNIEnv* env, jobject object) { drop(of(env).globals_, object); };
    table_.GetObjectClass = [](JNIEnv* env, jobject object) {
      return static_cast<jclass>(
          of(env, true).reference(std::make_shared<Object>(Object{of(env).at(object)->of, {}, {}})));
    };
    table_.GetMethodID = [](JNIEnv* env, jclass type, char const* name, char const* signature) -> jmethodID {
      Environment& self = of(env, true);
      if (self.at(type)->of == "without methods") {
        self.pending = std::string("java/lang/NoSuchMethodError: ") + name;
        return nullptr;
      }
      return reinterpret_cast<jmethodID>(
          const_cast<std::string*>(&*self.methods_.insert(std::string(name) + signature).first));
    };
    table_.CallVoidMethodV = [](JNIEnv* env, jobject object, jmethodID method, va_list words) {
      Environment& self = of(env, true);
      const std::string name = *reinterpret_cast<std::string const*>(method);
      Heard call{name.substr(0, name.find('(')), self.at(object)->of, 0, {}, false};
      if (name == "accept(J)V" || name == "changed(J[Ljava/lang/String;Z)V") call.number = va_arg(words, jlong);
      if (name.find("[Ljava/lang/String;") != std::string::npos)
        for (auto const& text : self.at(va_arg(words, jobject))->elements) call.texts.push_back(text->text);
      if (call.method == "changed") call.truth = va_arg(words, int) != 0;
      self.heard.push_back(call);
      if (self.on_call) self.on_call(call);
    };
    table_.CallObjectMethodV = [](JNIEnv* env, jobject object, jmethodID method, va_list) -> jobject {
      Environment& self = of(env, true);
      EXPECT_EQ(*reinterpret_cast<std::string const*>(method), "toString()Ljava/lang/String;");
      if (self.at(object)->of == "unspeakable") {
        self.pending = "java/lang/Error: toString";
        return nullptr;
      }
      return self.reference(self.at(object));
    };
    table_.ExceptionOccurred = [](JNIEnv* env) {
      Environment& self = of(env);
      const std::string type = self.pending.substr(0, self.pending.find(':'));
      return static_cast<jthrowable>(
          self.reference(std::make_shared<Object>(Object{type, Units(self.pending.begin(), self.pending.end()), {}})));
    };
    table_.ExceptionClear = [](JNIEnv* env) { of(env).pending.clear(); };
    table_.GetJavaVM = [](JNIEnv* env, JavaVM** machine) -> jint {
      *machine = &of(env, true).machine_;
      return JNI_OK;
    };
    functions = &table_;

    invoke_.GetEnv = [](JavaVM* machine, void** env, jint) -> jint {
      Environment& self = *static_cast<Machine*>(machine)->environment;
      if (std::this_thread::get_id() != self.known_) return JNI_EDETACHED;
      *env = static_cast<JNIEnv*>(&self);
      return JNI_OK;
    };
    // Headers differ in the type of what comes out.
    invoke_.AttachCurrentThreadAsDaemon = [](JavaVM* machine, auto** env, void*) -> jint {
      Environment& self = *static_cast<Machine*>(machine)->environment;
      if (self.is_ending) return JNI_ERR;
      ++self.attached;
      self.known_ = std::this_thread::get_id();
      *env = static_cast<JNIEnv*>(&self);
      return JNI_OK;
    };
    invoke_.DetachCurrentThread = [](JavaVM* machine) -> jint {
      Environment& self = *static_cast<Machine*>(machine)->environment;
      --self.attached;
      self.known_ = self.own_;
      return JNI_OK;
    };
    machine_.functions = &invoke_;
    machine_.environment = this;
  }
  Environment(Environment const&) = delete;
  Environment& operator=(Environment const&) = delete;

  jstring text(std::u16string text) {
    return static_cast<jstring>(reference(std::make_shared<Object>(Object{{}, std::move(text), {}})));
  }
  /// Of a class; `without methods` has none, and the exception `unspeakable` no text.
  jobject object(std::string type) { return reference(std::make_shared<Object>(Object{std::move(type), {}, {}})); }
  jobjectArray array(std::vector<std::u16string> const& texts) {
    auto array = std::make_shared<Object>(Object{"java/lang/String", {}, {}});
    for (auto const& one : texts) array->elements.push_back(std::make_shared<Object>(Object{{}, one, {}}));
    return static_cast<jobjectArray>(reference(std::move(array)));
  }
  /// Takes the reference, as Java does with what a native method returns.
  std::u16string taken(jobject text) {
    if (text == nullptr) return u"(null)";
    std::u16string units = at(text)->text;
    drop(text);
    return units;
  }
  std::vector<std::u16string> taken_array(jobject array) {
    if (array == nullptr) return {u"(null)"};
    EXPECT_EQ(at(array)->of, "java/lang/String");
    std::vector<std::u16string> texts;
    for (auto const& element : at(array)->elements) texts.push_back(element->text);
    drop(array);
    return texts;
  }
  /// "class: message", and nothing waits any more.
  std::string taken_exception() { return std::exchange(pending, {}); }

  std::shared_ptr<Object> const& at(jobject object) const {
    static const std::shared_ptr<Object> none;
    for (auto const* const list : {&references_, &globals_})
      for (auto const& one : *list)
        if (static_cast<void const*>(&one) == object) return one;
    ADD_FAILURE() << "a reference that has ended, or null";
    return none;
  }
  std::size_t live() const { return references_.size(); }
  std::size_t live_globals() const { return globals_.size(); }
  std::size_t most_live = 0;
  std::string pending;
  std::set<std::string> missing_classes;
  int runs_out_after = -1;  ///< of texts and arrays that are made

  /// A call of a method of Java's without a result.
  struct Heard {
    std::string method, type;
    jlong number;
    std::vector<Units> texts;
    bool truth;
  };
  std::vector<Heard> heard;
  std::function<void(Heard const&)> on_call;  ///< may let something wait
  int attached = 0;
  bool is_ending = false;  ///< no thread can be attached any more

 private:
  using References = std::list<std::shared_ptr<Object>>;
  struct Machine : JavaVM {
    Environment* environment;
  };
  using Invoke = std::remove_const_t<std::remove_pointer_t<decltype(JavaVM::functions)>>;
  using Table = std::remove_const_t<std::remove_pointer_t<decltype(JNIEnv::functions)>>;

  static Environment& of(JNIEnv* env, bool needs_calm = false) {
    auto& self = static_cast<Environment&>(*env);
    if (needs_calm && !self.pending.empty()) ADD_FAILURE() << "called while an exception waits: " << self.pending;
    return self;
  }
  bool runs_out() {
    if (runs_out_after < 0 || runs_out_after-- > 0) return false;
    pending = "java/lang/OutOfMemoryError: Java heap space";
    return true;
  }
  jobject reference(std::shared_ptr<Object> object) {
    references_.push_back(std::move(object));
    most_live = std::max(most_live, references_.size());
    return reinterpret_cast<jobject>(&references_.back());
  }
  void drop(jobject object) { drop(references_, object); }
  static void drop(References& list, jobject object) {
    for (auto one = list.begin(); one != list.end(); ++one)
      if (static_cast<void const*>(&*one) == object) {
        list.erase(one);
        return;
      }
    ADD_FAILURE() << "a reference ended twice";
  }

  Table table_{};
  Invoke invoke_{};
  Machine machine_{};
  References references_, globals_;
  std::set<std::string> methods_;
  std::thread::id own_ = std::this_thread::get_id(), known_ = own_;
};

}  // namespace recording_java
