// libkdi_javatools.so: cores under customisation, for programs in Java. What the classes Customisation and ModelEvents
// of ui.data.pspmc (java/) stand on; the names of parameters and the models themselves are the package's.
//
// An open customisation is a number in Java. It does one thing at a time, whichever thread asks, and one that is closed
// while it is at work ends when it is done.
#include <jni.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "host/coretools/opened_core.h"
#include "host/javatools/listener.h"
#include "kdi/common/HACGCHybridCustomController.h"
#include "kdi/common/host/GuiEventHost.h"
#include "kdi/corepages/ExplanationText.h"
#include "kdi/ip/HPSPMCEvents.h"
#include "tcltasks/psmodels/java_values.h"

namespace {

using coretools::OpenedCore;
using javatools::Listener;
using kdi::cores::Record;
using psmodels::java::check_pending;
using psmodels::java::hand_to_java;
using psmodels::java::Local;
using psmodels::java::new_array;
using psmodels::java::new_text;
using psmodels::java::pairs_of;
using psmodels::java::PendingInJava;
using psmodels::java::text_of;
using psmodels::java::texts_of;

// ----------------------------------------------------------------------------------------------- what Java has open

struct Opened {
  Opened(std::string const& identifier, ParamMap context, kdi::ip::Customization::Begin begin,
         std::unique_ptr<Listener> hears)
      : core(identifier, std::move(context), std::move(begin)), listener(std::move(hears)) {}

  std::recursive_mutex mutex;  // a listener may ask and change the core that it hears of
  OpenedCore core;
  std::unique_ptr<Listener> listener;
};

// Things by numbers that are not given twice.
template <class Thing>
class Numbered {
 public:
  jlong add(Thing thing) {
    const std::lock_guard lock(mutex_);
    things_.emplace(++last_, std::move(thing));
    return last_;
  }
  /// Empty for a number that nothing has.
  Thing find(jlong number) {
    const std::lock_guard lock(mutex_);
    const auto place = things_.find(number);
    return place == things_.end() ? Thing() : place->second;
  }
  Thing take(jlong number) {
    const std::lock_guard lock(mutex_);
    auto node = things_.extract(number);
    return node ? std::move(node.mapped()) : Thing();
  }

 private:
  std::mutex mutex_;
  std::map<jlong, Thing> things_;
  jlong last_ = 0;
};

// Never destroyed: Java may ask while the process ends.
Numbered<std::shared_ptr<Opened>>& customisations() {
  static auto& all = *new Numbered<std::shared_ptr<Opened>>;
  return all;
}

// Who hears of the events of all models.
struct Subscription {
  explicit Subscription(std::unique_ptr<Listener> hears) : listener(std::move(hears)) {
    updates = gui_event_host::subscribe<HPSPMCUpdateGuiEvent>([this](HPSPMCUpdateGuiEvent const& event) {
      if (event.parameters != nullptr) listener->updated(*event.parameters);
    });
    changes = gui_event_host::subscribe<HPSPMCParameterChanged>([this](HPSPMCParameterChanged const& event) {
      if (event.parameters == nullptr) return;
      listener->changed(static_cast<jlong>(reinterpret_cast<std::uintptr_t>(event.model)),
                        StrPairs(event.parameters->begin(), event.parameters->end()),
                        event.flow == HPSPMCParameterChanged::CUSTOMIZER_FLOW_GUI);
    });
  }
  Subscription(Subscription const&) = delete;
  Subscription& operator=(Subscription const&) = delete;
  ~Subscription() {
    gui_event_host::unsubscribe(updates);
    gui_event_host::unsubscribe(changes);
  }

  std::unique_ptr<Listener> listener;
  int updates = 0, changes = 0;
};

Numbered<std::shared_ptr<Subscription>>& subscriptions() {
  static auto& all = *new Numbered<std::shared_ptr<Subscription>>;
  return all;
}

// --------------------------------------------------------------------------------------------------- calls from Java

// What `use` returns; if it throws, that waits in Java, which looks at no result then.
template <class Use>
auto answer(JNIEnv* env, Use const& use) -> decltype(use()) {
  try {
    return use();
  } catch (...) {
    hand_to_java(env);
  }
  return decltype(use())();
}

// The same with an open core, which nobody else uses meanwhile.
template <class Use>
auto with(JNIEnv* env, jlong number, Use const& use) {
  return answer(env, [&] {
    const std::shared_ptr<Opened> opened = customisations().find(number);
    if (opened == nullptr) throw std::invalid_argument("the customisation is closed");
    const std::lock_guard lock(opened->mutex);
    return use(opened->core);
  });
}

ParamMap map_of(JNIEnv* env, jobjectArray texts, char const* what) {
  ParamMap map;
  for (auto& [name, value] : pairs_of(env, texts, what)) map.insert_or_assign(std::move(name), std::move(value));
  return map;
}

// An array of objects that `object_at` makes by number.
template <class ObjectAt>
jobjectArray new_objects(JNIEnv* env, char const* type_name, std::size_t count, ObjectAt const& object_at) {
  const Local type(env, env->FindClass(type_name));
  if (type.get() == nullptr) throw PendingInJava{};
  Local array(env, env->NewObjectArray(static_cast<jsize>(count), type.as<jclass>(), nullptr));
  if (array.get() == nullptr) throw PendingInJava{};
  for (std::size_t i = 0; i < count; ++i) {
    const Local object(env, object_at(i));
    env->SetObjectArrayElement(array.as<jobjectArray>(), static_cast<jsize>(i), object.get());
    check_pending(env);
  }
  return static_cast<jobjectArray>(array.release());
}

// A text as a String, a list as an Object[], a dictionary as an Object[][] of its keys and their values.
jobject object_of(JNIEnv* env, Record const& record) {
  const auto items = [&] {
    return new_objects(env, "java/lang/Object", record.items().size(),
                       [&](std::size_t i) { return object_of(env, record.items()[i]); });
  };
  switch (record.form()) {
    case Record::Form::text:
      return new_text(env, record.text());
    case Record::Form::list:
      return items();
    case Record::Form::dictionary:
      break;
  }
  return new_objects(env, "[Ljava/lang/Object;", 2, [&](std::size_t i) -> jobject {
    if (i == 0) return new_array(env, record.keys());
    return items();
  });
}

Record explained(OpenedCore& core, std::string const& name, std::string const& message) {
  return message.empty() ? core.explain(name) : core.explain(name, message);
}

}  // namespace

extern "C" {

#define ENTRY(result, name) JNIEXPORT result JNICALL Java_ui_data_pspmc_Natives_##name

ENTRY(jobjectArray, identifiers)(JNIEnv* env, jclass) {
  return answer(env, [&] { return new_array(env, HACGCHybridCustomController::identifiers()); });
}

ENTRY(jlong, open)
(JNIEnv* env, jclass, jstring identifier, jobjectArray context, jobjectArray params, jobject listener) {
  return answer(env, [&] {
    kdi::ip::Customization::Begin begin;
    begin.params = map_of(env, params, "the parameters");
    auto hears = listener == nullptr ? nullptr : std::make_unique<Listener>(env, listener);
    auto opened = std::make_shared<Opened>(text_of(env, identifier), map_of(env, context, "the context"),
                                           std::move(begin), std::move(hears));
    opened->core.on_update = [its = opened.get()](StrVec const& names) {
      if (its->listener) its->listener->updated(names);
    };
    return customisations().add(std::move(opened));
  });
}

ENTRY(void, close)(JNIEnv* env, jclass, jlong number) {
  answer(env, [&] { customisations().take(number); });
}

ENTRY(jobjectArray, set)(JNIEnv* env, jclass, jlong number, jobjectArray pairs) {
  return with(env, number, [&](OpenedCore& core) { return new_array(env, core.set(pairs_of(env, pairs, "set"))); });
}
ENTRY(jobjectArray, setTogether)(JNIEnv* env, jclass, jlong number, jobjectArray pairs) {
  return with(env, number,
              [&](OpenedCore& core) { return new_array(env, core.set_together(pairs_of(env, pairs, "setTogether"))); });
}
ENTRY(jobjectArray, takeBack)(JNIEnv* env, jclass, jlong number, jobjectArray names) {
  return with(env, number, [&](OpenedCore& core) { return new_array(env, core.take_back(texts_of(env, names))); });
}
ENTRY(jobjectArray, undo)(JNIEnv* env, jclass, jlong number) {
  return with(env, number, [&](OpenedCore& core) { return new_array(env, core.undo()); });
}
ENTRY(jobjectArray, redo)(JNIEnv* env, jclass, jlong number) {
  return with(env, number, [&](OpenedCore& core) { return new_array(env, core.redo()); });
}
ENTRY(jobjectArray, useModel)(JNIEnv* env, jclass, jlong number, jobject use) {
  return with(env, number, [&](OpenedCore& core) {
    const Local type(env, env->GetObjectClass(use));
    jmethodID const accept = env->GetMethodID(type.as<jclass>(), "accept", "(J)V");
    if (accept == nullptr) throw PendingInJava{};
    return new_array(env, core.drive([&](HACGCCustomDRCModel& model) {
      env->CallVoidMethod(use, accept, static_cast<jlong>(reinterpret_cast<std::uintptr_t>(&model)));
      check_pending(env);
    }));
  });
}

ENTRY(jobjectArray, names)(JNIEnv* env, jclass, jlong number) {
  return with(env, number, [&](OpenedCore& core) { return new_array(env, core.names()); });
}
ENTRY(jobjectArray, get)(JNIEnv* env, jclass, jlong number, jstring name, jstring kind) {
  return with(env, number, [&](OpenedCore& core) {
    const std::string its_name = text_of(env, name);
    const Record record = core.get(its_name, text_of(env, kind));
    if (record.form() == Record::Form::text) return new_array(env, StrVec{record.text()});
    StrVec texts;
    for (Record const& item : record.items()) texts.push_back(item.text());
    return new_array(env, texts);
  });
}
ENTRY(jobjectArray, errors)(JNIEnv* env, jclass, jlong number) {
  return with(env, number,
              [&](OpenedCore& core) { return new_array(env, StrPairs(core.errors().begin(), core.errors().end())); });
}
ENTRY(jobject, explain)(JNIEnv* env, jclass, jlong number, jstring name, jstring message) {
  return with(env, number, [&](OpenedCore& core) {
    const std::string its_name = text_of(env, name);
    return object_of(env, explained(core, its_name, text_of(env, message)));
  });
}
ENTRY(jstring, why)(JNIEnv* env, jclass, jlong number, jstring name, jstring message, jint width) {
  return with(env, number, [&](OpenedCore& core) {
    const std::string its_name = text_of(env, name);
    const auto characters = std::max(static_cast<std::size_t>(std::max(width, 0)), kdi::corepages::kLeastWidth);
    return new_text(env,
                    kdi::corepages::explanation_text(explained(core, its_name, text_of(env, message)), characters));
  });
}

ENTRY(jlong, subscribe)(JNIEnv* env, jclass, jobject listener) {
  return answer(env, [&] {
    return subscriptions().add(std::make_shared<Subscription>(std::make_unique<Listener>(env, listener)));
  });
}
ENTRY(void, unsubscribe)(JNIEnv* env, jclass, jlong number) {
  answer(env, [&] { subscriptions().take(number); });
}

#undef ENTRY

}  // extern "C"
