#include "tcltasks/psmodels/java_values.h"

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>

#include "kdi/common/HEXAll.h"
#include "kdi/common/HI18N.h"
#include "kdi/common/KdiText.h"

namespace psmodels::java {
namespace {

constexpr char kFailed[] = "ui/frmwork/cmd/CommandFailedException";
constexpr char kOutOfMemory[] = "ui/frmwork/COutOfMemoryException";

constexpr bool is_high(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool is_low(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// A character in UTF-8; NUL and halves of pairs as Tcl has them.
void append_utf8(std::string& text, char32_t character) {
  const auto following = [&](unsigned shift) { return static_cast<char>(0x80U | ((character >> shift) & 0x3FU)); };
  if (character != 0 && character < 0x80) {
    text += static_cast<char>(character);
  } else if (character < 0x800) {
    text += static_cast<char>(0xC0U | (character >> 6U));
    text += following(0);
  } else if (character < 0x10000) {
    text += static_cast<char>(0xE0U | (character >> 12U));
    text += following(6);
    text += following(0);
  } else {
    text += static_cast<char>(0xF0U | (character >> 18U));
    text += following(12);
    text += following(6);
    text += following(0);
  }
}

std::string text_of(std::basic_string_view<jchar> units) {
  std::string text;
  text.reserve(units.size());
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t character = units[i];
    if (is_high(character) && i + 1 < units.size() && is_low(units[i + 1]))
      character = 0x10000 + ((character - 0xD800) << 10U) + (units[++i] - 0xDC00U);
    append_utf8(text, character);
  }
  return text;
}

// The text as the machine takes it for the message of an exception: each unit of UTF-16 by itself.
std::string message_for_java(std::string const& text) {
  std::wstring units;
  HI18N::convert(text, units);
  std::string message;
  for (const wchar_t unit : units) append_utf8(message, static_cast<char32_t>(unit));
  return message;
}

// If the class is not found, the machine's own exception waits instead.
void throw_new(JNIEnv* env, char const* type, char const* message) {
  const Local found(env, env->FindClass(type));
  if (found.get() != nullptr) env->ThrowNew(found.as<jclass>(), message);
}

void hand_over(JNIEnv* env) {
  try {
    throw;
  } catch (HEXAll const& failure) {
    throw_new(env, kFailed, message_for_java(failure.message ? failure.message->getMessage() : failure.what()).c_str());
  } catch (std::bad_alloc const&) {
    throw_new(env, kOutOfMemory, "Out of memory");
  } catch (std::exception const& failure) {
    throw_new(env, kFailed, message_for_java(failure.what()).c_str());
  } catch (...) {
    throw_new(env, kFailed, "Unknown exception occurred");
  }
}

// An array of the texts that `text_at` tells by number.
template <class TextAt>
jobjectArray array_of(JNIEnv* env, std::size_t count, TextAt const& text_at) {
  const Local type(env, env->FindClass("java/lang/String"));
  if (type.get() == nullptr) throw PendingInJava{};
  if (count > 0x7FFFFFFFU) throw std::bad_alloc();  // more than an array of Java's has
  Local array(env, env->NewObjectArray(static_cast<jsize>(count), type.as<jclass>(), nullptr));
  if (array.get() == nullptr) throw PendingInJava{};
  for (std::size_t i = 0; i < count; ++i) {
    const Local text(env, new_text(env, text_at(i)));
    env->SetObjectArrayElement(array.as<jobjectArray>(), static_cast<jsize>(i), text.get());
    check_pending(env);
  }
  return static_cast<jobjectArray>(array.release());
}

}  // namespace

void hand_to_java(JNIEnv* env) noexcept {
  if (env->ExceptionCheck() != JNI_FALSE) return;
  try {
    hand_over(env);
  } catch (...) {  // no memory even for what failed
    if (env->ExceptionCheck() == JNI_FALSE) throw_new(env, kOutOfMemory, "Out of memory");
  }
}

std::string text_of(JNIEnv* env, jstring text) {
  if (text == nullptr) return {};
  const jsize length = env->GetStringLength(text);
  const std::unique_ptr<jchar[]> units(new jchar[static_cast<std::size_t>(length)]);
  env->GetStringRegion(text, 0, length, units.get());
  check_pending(env);
  return text_of({units.get(), static_cast<std::size_t>(length)});
}

StrVec texts_of(JNIEnv* env, jobjectArray texts) {
  StrVec all;
  if (texts == nullptr) return all;
  const jsize count = env->GetArrayLength(texts);
  all.reserve(static_cast<std::size_t>(count));
  for (jsize i = 0; i < count; ++i) {
    const Local text(env, env->GetObjectArrayElement(texts, i));
    check_pending(env);
    all.push_back(text_of(env, text.as<jstring>()));
  }
  return all;
}

StrPairs pairs_of(JNIEnv* env, jobjectArray texts, char const* what) {
  StrVec all = texts_of(env, texts);
  if (all.size() % 2 != 0)
    throw std::invalid_argument(std::string(what) + " : no value for " + kdi::text::shown(all.back()));
  StrPairs pairs;
  pairs.reserve(all.size() / 2);
  for (std::size_t i = 0; i < all.size(); i += 2) pairs.emplace_back(std::move(all[i]), std::move(all[i + 1]));
  return pairs;
}

jstring new_text(JNIEnv* env, std::string const& text) {
  std::wstring wide;
  HI18N::convert(text, wide);
  if (wide.size() > 0x7FFFFFFFU) throw std::bad_alloc();  // longer than a text of Java's
  const std::unique_ptr<jchar[]> units(new jchar[wide.size()]);
  std::transform(wide.begin(), wide.end(), units.get(), [](wchar_t unit) { return static_cast<jchar>(unit); });
  jstring const made = env->NewString(units.get(), static_cast<jsize>(wide.size()));
  if (made == nullptr) throw PendingInJava{};
  return made;
}

jobjectArray new_array(JNIEnv* env, StrVec const& texts) {
  return array_of(env, texts.size(), [&](std::size_t i) -> std::string const& { return texts[i]; });
}

jobjectArray new_array(JNIEnv* env, StrPairs const& pairs) {
  return array_of(env, 2 * pairs.size(), [&](std::size_t i) -> std::string const& {
    return i % 2 == 0 ? pairs[i / 2].first : pairs[i / 2].second;
  });
}

}  // namespace psmodels::java
