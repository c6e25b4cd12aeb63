// A Java that is not there: an environment whose texts and arrays are C++, which counts local references and watches
// that nothing is called that may not be while an exception waits. What the code under test does not call is null.
#pragma once

#include <gtest/gtest.h>
#include <jni.h>

#include <algorithm>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace recording_java {

struct Object {
  std::string of;  ///< the class, for one of those
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
      EXPECT_EQ(self.at(type)->of, "java/lang/String");
      if (self.runs_out()) return nullptr;
      auto array = std::make_shared<Object>();
      array->elements.resize(static_cast<std::size_t>(length));
      return static_cast<jobjectArray>(self.reference(std::move(array)));
    };
    table_.SetObjectArrayElement = [](JNIEnv* env, jobjectArray array, jsize index, jobject element) {
      Environment& self = of(env, true);
      self.at(array)->elements.at(static_cast<std::size_t>(index)) = self.at(element);
    };
    functions = &table_;
  }
  Environment(Environment const&) = delete;
  Environment& operator=(Environment const&) = delete;

  jstring text(std::u16string text) {
    return static_cast<jstring>(reference(std::make_shared<Object>(Object{{}, std::move(text), {}})));
  }
  jobjectArray array(std::vector<std::u16string> const& texts) {
    auto array = std::make_shared<Object>();
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
    std::vector<std::u16string> texts;
    for (auto const& element : at(array)->elements) texts.push_back(element->text);
    drop(array);
    return texts;
  }
  /// "class: message", and nothing waits any more.
  std::string taken_exception() { return std::exchange(pending, {}); }

  std::shared_ptr<Object> const& at(jobject object) const {
    static const std::shared_ptr<Object> none;
    for (auto const& one : references_)
      if (static_cast<void const*>(&one) == object) return one;
    ADD_FAILURE() << "a reference that has ended, or null";
    return none;
  }
  std::size_t live() const { return references_.size(); }
  std::size_t most_live = 0;
  std::string pending;
  std::set<std::string> missing_classes;
  int runs_out_after = -1;  ///< of texts and arrays that are made

 private:
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
  void drop(jobject object) {
    for (auto one = references_.begin(); one != references_.end(); ++one)
      if (static_cast<void const*>(&*one) == object) {
        references_.erase(one);
        return;
      }
    ADD_FAILURE() << "a reference ended twice";
  }

  Table table_{};
  std::list<std::shared_ptr<Object>> references_;
};

}  // namespace recording_java
