// The message manager, its host side, the exceptions, and the guards of the frame that report through it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "common/HEXAll.h"
#include "common/HSTStringUtils.h"
#include "common/host/MessageHost.h"
#include "frame/guard.h"
#include "frame/mutils_util.h"
#include "frame/tcl_command.h"

namespace {

using texts_t = std::vector<std::string>;

// Keeps the lines of the messages sent while it lives.
class Capture {
 public:
  Capture() : number_(message_host::add_sink([this](auto const& m) { lines.push_back(message_host::line_of(m)); })) {}
  ~Capture() { message_host::remove_sink(number_); }
  texts_t lines;

 private:
  int number_;
};

TEST(Messages, AreFormattedWithTheirKind) {
  Capture seen;
  ComMsgMgr::sendMsg::eval(0, __FILE__, __LINE__, "tcltasks", ComMsgMgr::MSG_ERROR, "%s has %d", "a", 3);
  ComMsgMgr::sendMsg::eval(0, __FILE__, __LINE__, "tcltasks", ComMsgMgr::MSG_CRITICAL_WARNING, "b");
  ComMsgMgr::sendMsg::eval(0, __FILE__, __LINE__, "tcltasks", ComMsgMgr::MSG_WARNING, "c");
  ComMsgMgr::sendMsg::eval(0, __FILE__, __LINE__, "tcltasks", ComMsgMgr::MSG_INFO, "d");
  EXPECT_EQ(seen.lines, (texts_t{"ERROR: [tcltasks] a has 3", "CRITICAL WARNING: [tcltasks] b", "WARNING: [tcltasks] c",
                                 "INFO: [tcltasks] d"}));
}

TEST(Messages, ReferencesTakeTheirTextFromTheCatalogue) {
  Capture seen;
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "tcltasks", ComMsgMgr::MSG_ERROR, "@80-1@");
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "tcltasks", ComMsgMgr::MSG_ERROR, "@80-2@%s", "100 % broken");
  EXPECT_EQ(seen.lines, (texts_t{"ERROR: [tcltasks 80-1] An exception of an unknown kind ended the command.",
                                 "ERROR: [tcltasks 80-2] An exception ended the command: 100 % broken"}));
}

TEST(Messages, AnUnknownReferenceIsShownWithItsArguments) {
  Capture seen;
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "x", ComMsgMgr::MSG_ERROR, "@81-7@%s %5.2f %lu%% %c %lld", "word", 1.5, 7UL,
                           'z', -3LL);
  EXPECT_EQ(seen.lines, (texts_t{"ERROR: [x 81-7] @81-7@ word  1.50 7 z -3"}));
}

TEST(Messages, ATextByIdIsFinal) {
  Capture seen;
  ComMsgMgr::sendMsgById("PDMS", 4, ComMsgMgr::MSG_WARNING, "50 %s @80-1@");
  EXPECT_EQ(seen.lines, (texts_t{"WARNING: [PDMS 4] 50 %s @80-1@"}));
}

TEST(Messages, MadeOnesAreSentLater) {
  Capture seen;
  const auto message = ComMsgMgrInstance::createInstance::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "%d%%", 5);
  EXPECT_TRUE(seen.lines.empty());
  EXPECT_EQ(message->getMessage(), "5%");
  ComMsgMgr::sendMessage(*message);
  EXPECT_EQ(seen.lines, (texts_t{"INFO: [c] 5%"}));
}

TEST(Messages, DebugOnesNeedTheirChannel) {
  Capture seen;
  const auto send = [](int level) {
    ComMsgMgr::sendScopedMsg::eval(level, nullptr, 0, "tcltasks", "test.channel", ComMsgMgr::MSG_DEBUG2, "level %d",
                                   level);
  };
  send(1);
  message_host::set_channel("test.channel", 2);
  send(2);
  send(3);
  message_host::set_channel("test.channel", -1);
  send(0);
  EXPECT_EQ(seen.lines, (texts_t{"DEBUG: [tcltasks] level 2"}));
  ComMsgMgr::sendScopedMsg::eval(1, nullptr, 0, "tcltasks", "test.channel", ComMsgMgr::MSG_WARNING, "always");
  EXPECT_EQ(seen.lines.back(), "WARNING: [tcltasks] always");
}

TEST(Messages, WithoutASinkGoToStandardError) {
  testing::internal::CaptureStderr();
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "tcltasks", ComMsgMgr::MSG_ERROR, "@80-2@%s", "why");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "ERROR: [tcltasks 80-2] An exception ended the command: why\n");
}

TEST(Messages, ASinkThatThrowsIsPassedOver) {
  const int bad = message_host::add_sink([](auto const&) { throw 1; });
  Capture seen;
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "x");
  message_host::remove_sink(bad);
  EXPECT_EQ(seen.lines.size(), 1U);
}

TEST(Messages, GoToAFile) {
  const std::string path = testing::TempDir() + "/messages_test_" + std::to_string(getpid()) + ".log";
  const int number = message_host::add_sink(message_host::file_sink(path));
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "one");
  message_host::remove_sink(number);
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  EXPECT_EQ(line, "INFO: [c] one");
  std::filesystem::remove(path);
  EXPECT_THROW(message_host::file_sink("/nonexistent/folder/log"), std::runtime_error);
}

TEST(Messages, GoToStandardErrorWhenTheirFileIsFull) {
  const int number = message_host::add_sink(message_host::file_sink("/dev/full"));
  testing::internal::CaptureStderr();
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "one");
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "two");
  message_host::remove_sink(number);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "INFO: [c] one (/dev/full cannot be written)\nINFO: [c] two (/dev/full cannot be written)\n");
}

TEST(Messages, ComeFromSeveralThreads) {
  Capture seen;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 200; ++i) ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "%d", i);
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(seen.lines.size(), 800U);
}

// --------------------------------------------------------------------------------------------------- catalogue

std::string catalogue_fault(std::string const& text) {
  // Tests run side by side, each in a process of its own.
  const std::string path = testing::TempDir() + "/catalogue_test_" + std::to_string(getpid()) + ".json";
  std::ofstream(path) << text;
  try {
    message_host::load_catalogue(path);
  } catch (std::runtime_error const& error) {
    const std::string what = error.what();
    std::filesystem::remove(path);
    EXPECT_EQ(what.substr(0, path.size() + 1), path + ":");
    return what.substr(path.size() + 1);
  }
  std::filesystem::remove(path);
  return {};
}

TEST(Catalogue, NamesLineAndFieldOfABadEntry) {
  const auto entry = [](std::string const& rest) { return "[\n {\"kind\": \"info\", " + rest + "}\n]"; };
  EXPECT_EQ(catalogue_fault("[\n {\"kind\": \"info\", \"group\": 1, \"number\": 1, \"text\": \"a\"},\n"
                            " {\"kind\": \"info\", \"group\": 1, \"text\": \"b\"}\n]"),
            "3: [1]: expected a field \"number\", found none");
  EXPECT_EQ(catalogue_fault(entry("\"group\": -1, \"number\": 1, \"text\": \"a\"")),
            "2: [0].group: expected an integer from 0 to 2147483647, found the number -1");
  EXPECT_EQ(catalogue_fault(entry("\"group\": 1, \"number\": 1,\n \"text\": 5")),
            "3: [0].text: expected a text, found the number 5");
  EXPECT_EQ(catalogue_fault("[\n{\"kind\": \"fatal\"}]"),
            "2: [0].kind: expected one of error, warning, info, found the text \"fatal\"");
  EXPECT_EQ(catalogue_fault(entry("\"txt\": \"\"")),
            "2: [0].txt: expected one of group, number, kind, text as the field's name");
  const std::string one = "{\"kind\": \"info\", \"group\": 1, \"number\": 1, \"text\": \"a\"}";
  EXPECT_EQ(catalogue_fault("[" + one + ",\n" + one + "]"),
            "2: [1].number: expected a number that no other message of the group has, found the number 1");
  EXPECT_EQ(catalogue_fault("{}"), "1: top level: expected a list, found an object");
  EXPECT_EQ(catalogue_fault("[\n{").substr(0, 3), "2: ");
  EXPECT_THROW(message_host::load_catalogue("/nonexistent/file"), std::runtime_error);
}

TEST(Catalogue, ABadOneLeavesTheOldInUse) {
  catalogue_fault("[{]");
  Capture seen;
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_ERROR, "@80-1@");
  EXPECT_EQ(seen.lines.at(0), "ERROR: [c 80-1] An exception of an unknown kind ended the command.");
}

// --------------------------------------------------------------------------------------------------- exceptions

TEST(Exceptions, CarryAMessageOrNone) {
  const HEXAll none(nullptr);
  EXPECT_STREQ(none.what(), "exception without a message");
  Capture seen;
  none.print();
  EXPECT_TRUE(seen.lines.empty());
  const HEXAlgException text("50 % of it");
  EXPECT_STREQ(text.what(), "50 % of it");
  text.print();
  EXPECT_EQ(seen.lines, (texts_t{"ERROR: [tcltasks] 50 % of it"}));
  EXPECT_NE(dynamic_cast<HEXError const*>(static_cast<HEXAll const*>(&text)), nullptr);
}

TEST(Strings, AreLowerCasedByTheirAsciiLettersAlone) {
  std::string text = "AbZ-09\xC4[";
  HSTStringUtils::to_lower(text);
  EXPECT_EQ(text, "abz-09\xC4[");
}

// -------------------------------------------------------------------------------------------------------- guards

class Guards : public testing::Test {
 protected:
  Guards() : interp_(Tcl_CreateInterp()) { Tcl_SetResult(interp_, const_cast<char*>("as it was"), TCL_STATIC); }
  ~Guards() override { Tcl_DeleteInterp(interp_); }
  std::string result() const { return Tcl_GetStringResult(interp_); }
  Tcl_Interp* interp_;
};

TEST_F(Guards, TheMessageManagerHearsOfEveryExceptionAndTheResultStays) {
  Capture seen;
  const auto guarded = [](auto thrown) { return frame::report_to_message_manager([&]() -> int { throw thrown; }); };
  EXPECT_EQ(guarded(HEXAlgException("engine")), TCL_ERROR);
  EXPECT_EQ(guarded(HEXAll(nullptr)), TCL_ERROR);
  EXPECT_EQ(guarded(std::runtime_error("library")), TCL_ERROR);
  EXPECT_EQ(guarded(std::string("text")), TCL_ERROR);
  EXPECT_EQ(frame::report_to_message_manager([] { return TCL_OK; }), TCL_OK);
  EXPECT_EQ(seen.lines,
            (texts_t{"ERROR: [tcltasks] engine", "ERROR: [tcltasks 80-2] An exception ended the command: library",
                     "ERROR: [tcltasks 80-1] An exception of an unknown kind ended the command."}));
  EXPECT_EQ(result(), "as it was");
}

TEST_F(Guards, TheTextGuardCatchesTextsAlone) {
  const auto guarded = [this](auto body) {
    return frame::report_thrown_text(interp_, mutils::util::set_tcl_error, body);
  };
  EXPECT_EQ(guarded([]() -> int { throw std::string("needle"); }), TCL_ERROR);
  EXPECT_EQ(result(), "needle");
  EXPECT_EQ(guarded([] { return TCL_OK; }), TCL_OK);
  EXPECT_THROW(guarded([]() -> int { throw std::runtime_error("other"); }), std::runtime_error);
}

template <int Kind>
int throwing(ClientData, Tcl_Interp*, int, Tcl_Obj* const[]) {
  if constexpr (Kind == 0) throw std::runtime_error("what it says");
  if constexpr (Kind == 1) throw std::string("a text");
  if constexpr (Kind == 2) throw "a literal";
  if constexpr (Kind == 3) throw 42;
  return TCL_OK;
}

TEST_F(Guards, NoExceptionReachesTcl) {
  tcl::register_command<throwing<0>>(interp_, "zero");
  tcl::register_command<throwing<1>>(interp_, "one");
  tcl::register_command<throwing<2>>(interp_, "two");
  tcl::register_command<throwing<3>>(interp_, "space::three");
  for (auto const& [name, text] : std::vector<std::pair<char const*, char const*>>{
           {"zero", "what it says"}, {"one", "a text"}, {"two", "a literal"}, {"space::three", "unknown exception"}}) {
    EXPECT_EQ(Tcl_Eval(interp_, name), TCL_ERROR);
    EXPECT_EQ(result(), text);
  }
  tcl::register_command<throwing<4>>(interp_, "four");
  EXPECT_EQ(Tcl_Eval(interp_, "four"), TCL_OK);
}

}  // namespace
