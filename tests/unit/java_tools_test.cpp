// The companion for Java over an environment that records: cores by number, listeners on any thread, what fails.
#include <gtest/gtest.h>

#include <thread>

#include "kdi/common/HUTGuiEvent.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/ip/HPSPMCEvents.h"
#include "tests/support/recording_java.h"

#define ENTRY(name) Java_ui_data_pspmc_Natives_##name
extern "C" {
jobjectArray ENTRY(identifiers)(JNIEnv*, jclass);
jlong ENTRY(open)(JNIEnv*, jclass, jstring, jobjectArray, jobjectArray, jobject);
void ENTRY(close)(JNIEnv*, jclass, jlong);
jobjectArray ENTRY(set)(JNIEnv*, jclass, jlong, jobjectArray);
jobjectArray ENTRY(useModel)(JNIEnv*, jclass, jlong, jobject);
jobjectArray ENTRY(get)(JNIEnv*, jclass, jlong, jstring, jstring);
jobject ENTRY(explain)(JNIEnv*, jclass, jlong, jstring, jstring);
jstring ENTRY(why)(JNIEnv*, jclass, jlong, jstring, jstring, jint);
jlong ENTRY(subscribe)(JNIEnv*, jclass, jobject);
void ENTRY(unsubscribe)(JNIEnv*, jclass, jlong);
}

namespace {

using Units = std::u16string;
using Array = std::vector<Units>;
constexpr char16_t const* kPeriod = u"XRAM_ECC_SCRUB_PERIOD_MS";
constexpr char16_t const* kEnable = u"XRAM_ECC_SCRUB_ENABLE";

class JavaTools : public testing::Test {
 protected:
  ~JavaTools() override {
    EXPECT_EQ(java.taken_exception(), "");
    EXPECT_EQ(java.live_globals(), 0U);
    EXPECT_EQ(java.attached, 0);
  }

  jlong open(jobject listener = nullptr) {
    return ENTRY(open)(&java, nullptr, java.text(u"brenlo:ip:xram:1.0"),
                       java.array({u"part", u"brvn1102-a625-2LHP-e-S"}), java.array({}), listener);
  }
  Array set(jlong core, Array const& pairs) {
    return java.taken_array(ENTRY(set)(&java, nullptr, core, java.array(pairs)));
  }
  Array get(jlong core, Units const& name, Units const& kind) {
    return java.taken_array(ENTRY(get)(&java, nullptr, core, java.text(name), java.text(kind)));
  }
  void close(jlong core) { ENTRY(close)(&java, nullptr, core); }
  // Of a text, a list or a dictionary, in brackets.
  std::string shown(std::shared_ptr<recording_java::Object> const& object) {
    if (object->elements.empty()) return std::string(object->text.begin(), object->text.end());
    std::string all;
    for (auto const& element : object->elements) all += "[" + shown(element) + "]";
    return all;
  }

  recording_java::Environment java;
};

TEST_F(JavaTools, CoresAreOpenedAskedChangedAndClosed) {
  EXPECT_GT(java.taken_array(ENTRY(identifiers)(&java, nullptr)).size(), 20U);
  const jlong core = open();
  EXPECT_GT(core, 0);
  EXPECT_EQ(get(core, kPeriod, u"enabled"), Array{u"false"});
  EXPECT_EQ(set(core, {kEnable, u"1"}).front(), kEnable);
  EXPECT_EQ(get(core, kPeriod, u"enabled"), Array{u"true"});
  EXPECT_EQ(get(core, kPeriod, u"range").size(), 2U);
  jobject const facts = ENTRY(explain)(&java, nullptr, core, java.text(kPeriod), nullptr);
  EXPECT_EQ(shown(java.at(facts)).substr(0, 12), "[[parameter]") << "a dictionary is its keys, and their values";
  EXPECT_NE(java.taken(ENTRY(why)(&java, nullptr, core, java.text(kPeriod), nullptr, -5)).find(kPeriod), Units::npos);
  close(core);
  EXPECT_EQ(get(core, kPeriod, u"value"), Array{u"(null)"});
  EXPECT_EQ(java.taken_exception(), "ui/frmwork/cmd/CommandFailedException: the customisation is closed");
  close(core);
  const jlong next = open();
  EXPECT_GT(next, core) << "no number is given twice";
  close(next);
}

TEST_F(JavaTools, WhatCannotBeDoneIsTold) {
  EXPECT_EQ(ENTRY(open)(&java, nullptr, java.text(u"brenlo:ip:xram:1.0"), java.array({u"part"}), nullptr, nullptr), 0);
  EXPECT_EQ(java.taken_exception(), "ui/frmwork/cmd/CommandFailedException: the context : no value for \"part\"");
  EXPECT_EQ(ENTRY(open)(&java, nullptr, nullptr, nullptr, java.array({u"A"}), java.object("a listener")), 0);
  EXPECT_EQ(java.taken_exception(), "ui/frmwork/cmd/CommandFailedException: the parameters : no value for \"A\"");
  EXPECT_EQ(ENTRY(open)(&java, nullptr, nullptr, nullptr, nullptr, java.object("a listener")), 0);
  EXPECT_EQ(java.taken_exception().substr(0, 61), "ui/frmwork/cmd/CommandFailedException: no parameter model for");
  const jlong core = open();
  EXPECT_EQ(set(core, {u"NONE", u"1"}), Array{u"(null)"});
  EXPECT_EQ(java.taken_exception(), "ui/frmwork/cmd/CommandFailedException: xram 1.0 has no parameter \"NONE\"");
  close(core);
}

TEST_F(JavaTools, ListenersHearAndTheirReferencesEnd) {
  const jlong core = open(java.object("a listener"));
  EXPECT_EQ(java.live_globals(), 1U);
  set(core, {kEnable, u"1"});
  ASSERT_EQ(java.heard.size(), 1U);
  EXPECT_EQ(java.heard[0].method, "updated");
  EXPECT_EQ(java.heard[0].texts.front(), kEnable);
  const std::size_t before = java.live();
  java.on_call = [&](auto const&) {
    if (java.heard.size() == 2) close(core);  // it is at work, and ends when it is done
  };
  EXPECT_EQ(set(core, {kEnable, u"0"}).front(), kEnable);
  EXPECT_EQ(java.live_globals(), 0U);
  EXPECT_EQ(java.live(), before + 1) << "but for the argument, nothing is left";
}

// What a listener throws becomes a message, and waits no more.
TEST_F(JavaTools, ListenersMayFail) {
  const message_host::Capture capture;
  const jlong core = open(java.object("a listener"));
  const jlong without = open(java.object("without methods"));
  for (char const* const pending : {"java/lang/RuntimeException: no", "unspeakable: no"}) {
    java.on_call = [&](auto const&) { java.pending = pending; };
    EXPECT_FALSE(set(core, {kEnable, u"1"}).empty());
    set(core, {kEnable, u"0"});
  }
  EXPECT_FALSE(set(without, {kEnable, u"1"}).empty());
  std::vector<std::string> lines;
  for (ComMsgMgrInstance const& message : capture.messages())
    if (message.text.find("listener in Java") != std::string::npos) lines.push_back(message.text);
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_NE(lines[0].find("a listener in Java failed: java/lang/RuntimeException: no"), std::string::npos) << lines[0];
  EXPECT_NE(lines[2].find("a listener in Java failed: an exception without a text"), std::string::npos) << lines[2];
  EXPECT_NE(lines[4].find("a listener in Java failed: java/lang/NoSuchMethodError: updated"), std::string::npos);
  close(core);
  close(without);
}

TEST_F(JavaTools, ModelsAreLentWithTheirAddress) {
  const jlong core = open();
  java.on_call = [&](auto const& heard) {
    if (heard.number == 0) java.pending = "java/lang/Error: no address";
  };
  EXPECT_EQ(java.taken_array(ENTRY(useModel)(&java, nullptr, core, java.object("a consumer"))), Array{});
  EXPECT_EQ(java.heard.at(0).method, "accept");
  java.on_call = [&](auto const&) { java.pending = "java/lang/Error: of the consumer"; };
  EXPECT_EQ(ENTRY(useModel)(&java, nullptr, core, java.object("a consumer")), nullptr);
  EXPECT_EQ(java.taken_exception(), "java/lang/Error: of the consumer");
  EXPECT_EQ(ENTRY(useModel)(&java, nullptr, core, java.object("without methods")), nullptr);
  EXPECT_EQ(java.taken_exception(), "java/lang/NoSuchMethodError: accept");
  close(core);
}

TEST_F(JavaTools, EventsComeFromThreadsThatJavaDoesNotKnow) {
  const jlong subscription = ENTRY(subscribe)(&java, nullptr, java.object("a listener"));
  const auto fire = [] {
    StrVec names{"A", "B"};
    HUTGuiEvent::fire<HPSPMCUpdateGuiEvent>(&names);
    ParamMap params{{"A", "1"}};
    HUTGuiEvent::fire<HPSPMCParameterChanged>(nullptr, &params, HPSPMCParameterChanged::CUSTOMIZER_FLOW_GUI);
    HUTGuiEvent::fire<HPSPMCUpdateGuiEvent>(nullptr);
  };
  bool was_attached = false;
  java.on_call = [&](auto const&) { was_attached = java.attached == 1; };
  std::thread(fire).join();
  ASSERT_EQ(java.heard.size(), 2U);
  EXPECT_EQ(java.heard[0].texts, (Array{u"A", u"B"}));
  EXPECT_EQ(java.heard[1].method, "changed");
  EXPECT_EQ(java.heard[1].texts, (Array{u"A", u"1"}));
  EXPECT_TRUE(java.heard[1].truth);
  EXPECT_TRUE(was_attached);
  EXPECT_EQ(java.attached, 0);
  java.is_ending = true;
  std::thread(fire).join();
  EXPECT_EQ(java.heard.size(), 2U) << "Java ends";
  java.is_ending = false;
  ENTRY(unsubscribe)(&java, nullptr, subscription);
  ENTRY(unsubscribe)(&java, nullptr, subscription);
  fire();
  EXPECT_EQ(java.heard.size(), 2U);
}

}  // namespace
