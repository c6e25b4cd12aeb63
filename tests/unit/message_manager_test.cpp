// The message manager, its host side, the exceptions, and the guards of the frame that report through it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <limits>
#include <thread>

#include "kdi/common/HEXAll.h"
#include "kdi/common/HSTStringUtils.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/ParamHost.h"
#include "kdi/tcl/command.h"
#include "tcltasks/frame/guard.h"
#include "tcltasks/frame/mutils_util.h"
#include "tests/support/decimal_comma.h"

namespace {

namespace fs = std::filesystem;

using message_host::Capture;
using Texts = std::vector<std::string>;

TEST(Messages, AreFormattedWithTheirKind) {
  Capture seen;
  ComMsgMgr::sendMsg::eval(0, __FILE__, __LINE__, "tcltasks", ComMsgMgr::MSG_ERROR, "%s has %d", "a", 3);
  ComMsgMgr::sendMsg::eval(0, __FILE__, __LINE__, "tcltasks", ComMsgMgr::MSG_CRITICAL_WARNING, "b");
  ComMsgMgr::sendMsg::eval(0, __FILE__, __LINE__, "tcltasks", ComMsgMgr::MSG_WARNING, "c");
  ComMsgMgr::sendMsg::eval(0, __FILE__, __LINE__, "tcltasks", ComMsgMgr::MSG_INFO, "d");
  EXPECT_EQ(seen.lines(), (Texts{"ERROR: [tcltasks] a has 3", "CRITICAL WARNING: [tcltasks] b", "WARNING: [tcltasks] c",
                                 "INFO: [tcltasks] d"}));
}

TEST(Messages, ReferencesTakeTheirTextFromTheCatalogue) {
  Capture seen;
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "tcltasks", ComMsgMgr::MSG_ERROR, "@80-1@");
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "tcltasks", ComMsgMgr::MSG_ERROR, "@80-2@%s", "100 % broken");
  EXPECT_EQ(seen.lines(), (Texts{"ERROR: [tcltasks 80-1] An exception of an unknown kind ended the command.",
                                 "ERROR: [tcltasks 80-2] An exception ended the command: 100 % broken"}));
}

TEST(Messages, AnUnknownReferenceIsShownWithItsArguments) {
  Capture seen;
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "x", ComMsgMgr::MSG_ERROR, "@81-7@%s %5.2f %lu%% %c %lld", "word", 1.5, 7UL,
                           'z', -3LL);
  EXPECT_EQ(seen.lines(), (Texts{"ERROR: [x 81-7] @81-7@ word  1.50 7 z -3"}));
}

// The arguments of a message that the catalogue does not have, as they are shown, each behind a blank.
template <class... Values>
std::string arguments_of(char const* conversions, Values... values) {
  Capture seen;
  const std::string format = std::string("@81-7@") + conversions;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "x", ComMsgMgr::MSG_ERROR, format.c_str(), values...);
#pragma GCC diagnostic pop
  const std::string line = seen.lines().at(0);
  return line.substr(std::string("ERROR: [x 81-7] @81-7@").size());
}

TEST(Messages, ArgumentsOfEveryLengthAreTaken) {
  EXPECT_EQ(arguments_of("%Lf%s", 1.5L, "end"), " 1.500000 end");
  EXPECT_EQ(arguments_of("%hhd%hu%ld%llx%s", 1, 2, 3L, 255LL, "end"), " 1 2 3 ff end");
  EXPECT_EQ(arguments_of("%jd%zu%td%s", std::intmax_t{-5}, std::size_t{6}, std::ptrdiff_t{-7}, "end"), " -5 6 -7 end");
  EXPECT_EQ(arguments_of("%lf%Le%+G%a%s", 0.5, 1e3L, 2.0, 1.0, "end"), " 0.500000 1.000000e+03 +2 0x1p+0 end");
  EXPECT_EQ(arguments_of("%lc%ls%.2ls%s", static_cast<std::wint_t>(L'a'), L"wide", L"wide", "end"), " a wide wi end");
  EXPECT_EQ(arguments_of("%#o%x%i%c%s", 8U, 255U, -3, 'z', "end"), " 010 ff -3 z end");
}

TEST(Messages, HaveTheSameNumbersUnderADecimalComma) {
  const DecimalComma comma;
  EXPECT_EQ(arguments_of("%f%.1Le%'d%s", 1234.5, 2.5L, 1234567, "1.5"), " 1234.500000 2.5e+00 1234567 1.5");
  EXPECT_EQ(arguments_of("%ls%lc", L"Gr\u00FC\u00DFe", static_cast<std::wint_t>(L'\u00FC')),
            " Gr\xC3\xBC\xC3\x9F"
            "e \xC3\xBC")
      << "letters are the locale's";
  const auto message =
      ComMsgMgrInstance::createInstance::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "%.2f MHz", 1234.5);
  EXPECT_EQ(message->getMessage(), "1234.50 MHz");
  EXPECT_EQ(std::strtod("1,5", nullptr), 1.5) << "the process's locale is as it was";
}

TEST(Messages, WidthAndPrecisionMayBeArguments) {
  EXPECT_EQ(arguments_of("%*d%s", 5, 42, "end"), "    42 end");
  EXPECT_EQ(arguments_of("%-*d|%*d|%s", 4, 1, -4, 2, "end"), " 1    2    end");
  EXPECT_EQ(arguments_of("%.*f%*.*f%s", 2, 1.0, 7, 1, 2.0, "end"), " 1.00     2.0 end");
  EXPECT_EQ(arguments_of("%.*s%.*s%.s%s", 2, "abc", -1, "abc", "abc", "end"), " ab abc  end");
  EXPECT_EQ(arguments_of("%0*d%s", 0, 3, "end"), " 3 end");
}

TEST(Messages, AWidthCannotAskForAllMemory) {
  EXPECT_EQ(arguments_of("%*d%s", std::numeric_limits<int>::max(), 1, "end").size(), 1U + 65536U + 4U);
  EXPECT_EQ(arguments_of("%*d%s", std::numeric_limits<int>::min(), 1, "end").size(), 1U + 65536U + 4U);
  EXPECT_EQ(arguments_of("%99999999999d%s", 1, "end").size(), 1U + 65536U + 4U);
}

TEST(Messages, NoTextIsShownAsSuch) {
  EXPECT_EQ(arguments_of("%s%ls%10s", static_cast<char const*>(nullptr), static_cast<wchar_t const*>(nullptr),
                         static_cast<char const*>(nullptr)),
            " (null) (null)     (null)");
}

TEST(Messages, WhatIsNoConversionStandsForItselfAndSoDoesAllBehindIt) {
  EXPECT_EQ(arguments_of("%d%y%s%5.1d", 1, 2, 3, 4), " 1 %y %s %5.1d");
  EXPECT_EQ(arguments_of("%Ld%s", 1, 2), " %Ld %s");
  EXPECT_EQ(arguments_of("%hs%*d", 1, 2, 3), " %hs %*d");
  EXPECT_EQ(arguments_of("%hf", 1.0), " %hf");
  EXPECT_EQ(arguments_of("%2$s%1$s", "a", "b"), " %2$ %1$");
  EXPECT_EQ(arguments_of("%d%", 1), " 1 %");
  EXPECT_EQ(arguments_of("%d%-5.", 1), " 1 %-5.");
  EXPECT_EQ(arguments_of("%d%5%%s", 1, 2), " 1 %5% %s");
}

TEST(Messages, NothingIsWrittenThroughAnArgument) {
  long long untouched = 77;
  EXPECT_EQ(arguments_of("%d%lln%s", 1, &untouched, "end"), " 1  end");
  EXPECT_EQ(untouched, 77);
}

TEST(Messages, OnlyAWholeReferenceIsOne) {
  const auto text_of = [](char const* text) {
    Capture seen;
    ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "%s", text);
    const std::string plain = seen.lines().at(0);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, text);
#pragma GCC diagnostic pop
    return std::pair{plain, seen.lines().at(1)};
  };
  for (char const* const text : {"@", "@80", "@80-", "@80-1", "@ 80-1@", "@80- 1@", "@-80-1@", "@80--1@", "@80@",
                                 "@99999999999-1@", "@80-99999999999@", "80-1@", ""}) {
    const auto [plain, sent] = text_of(text);
    EXPECT_EQ(sent, plain);
  }
}

TEST(Messages, ATextByIdIsFinal) {
  Capture seen;
  ComMsgMgr::sendMsgById("PDMS", 4, ComMsgMgr::MSG_WARNING, "50 %s @80-1@");
  EXPECT_EQ(seen.lines(), (Texts{"WARNING: [PDMS 4] 50 %s @80-1@"}));
}

TEST(Messages, MadeOnesAreSentLater) {
  Capture seen;
  const auto message = ComMsgMgrInstance::createInstance::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "%d%%", 5);
  EXPECT_TRUE(seen.lines().empty());
  EXPECT_EQ(message->getMessage(), "5%");
  ComMsgMgr::sendMessage(*message);
  EXPECT_EQ(seen.lines(), (Texts{"INFO: [c] 5%"}));
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
  EXPECT_EQ(seen.lines(), (Texts{"DEBUG: [tcltasks] level 2"}));
  ComMsgMgr::sendScopedMsg::eval(1, nullptr, 0, "tcltasks", "test.channel", ComMsgMgr::MSG_WARNING, "always");
  EXPECT_EQ(seen.lines().back(), "WARNING: [tcltasks] always");
}

// A debug message of each level from 0 to 2, and what came of them.
std::string levels_of(std::string const& channel) {
  const Capture seen;
  for (int const level : {0, 1, 2})
    ComMsgMgr::sendScopedMsg::eval(level, nullptr, 0, "c", channel, ComMsgMgr::MSG_DEBUG0, "%d", level);
  std::string levels;
  for (ComMsgMgrInstance const& message : seen.messages()) levels += message.text;
  return levels;
}

TEST(Messages, DebugOnesObeyTheChannelsParameter) {
  EXPECT_EQ(levels_of("PSPMC.DBG"), "");
  param_host::set("debug.PSPMC.DBG", "1");
  EXPECT_EQ(levels_of("PSPMC.DBG"), "01");
  EXPECT_EQ(levels_of("PCW.DBG"), "");
  param_host::set("debug.PSPMC.DBG", "99999999999");
  EXPECT_EQ(levels_of("PSPMC.DBG"), "012");
  param_host::set("debug.PSPMC.DBG", "-5");
  EXPECT_EQ(levels_of("PSPMC.DBG"), "");
  param_host::set("debug.PSPMC.DBG", "0");
  EXPECT_EQ(levels_of("PSPMC.DBG"), "0");
  param_host::unset("debug.PSPMC.DBG");
  EXPECT_EQ(levels_of("PSPMC.DBG"), "");

  EXPECT_EQ(levels_of("test.later"), "") << "not declared";
  param_host::declare({"debug.test.later", param_host::Type::integer, "2", "about", "effect"});
  EXPECT_EQ(levels_of("test.later"), "012");
  param_host::declare({"debug.test.truth", param_host::Type::boolean, "true", "about", "effect"});
  EXPECT_EQ(levels_of("test.truth"), "") << "no level";
  message_host::set_channel("test.later", 0);
  EXPECT_EQ(levels_of("test.later"), "0") << "the host's word prevails";
}

TEST(Messages, DebugOnesWithoutAChannelGoNowhere) {
  const Capture seen;
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_DEBUG1, "text");
  ComMsgMgr::sendMsgById("c", 1, ComMsgMgr::MSG_DEBUG5, "text");
  const auto made = ComMsgMgrInstance::createInstance::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_DEBUG0, "text");
  ComMsgMgr::sendMessage(*made);
  EXPECT_EQ(seen.lines(), Texts{});
}

TEST(Messages, AreKeptByACapture) {
  Capture seen;
  ComMsgMgr::sendScopedMsg::eval(3, "file", 5, "c", "scope", ComMsgMgr::MSG_WARNING, "one\ntwo \n\n");
  ASSERT_EQ(seen.messages().size(), 1U);
  EXPECT_EQ(seen.messages()[0].scope, "scope");
  EXPECT_EQ(seen.messages()[0].level, 3);
  EXPECT_EQ(seen.messages()[0].line, 5);
  EXPECT_EQ(seen.messages()[0].text, "one\ntwo \n\n");
  EXPECT_EQ(seen.lines(), Texts{"WARNING: [c] one\ntwo "}) << "a line ends by itself";
  seen.clear();
  EXPECT_EQ(seen.lines(), Texts{});
}

// A capture that goes while other threads send is not called afterwards.
TEST(Messages, MayComeWhileASinkGoes) {
  constexpr int kMessages = 2000;
  const Capture lasting;
  std::atomic<bool> over = false;
  std::thread sender([&] {
    for (int i = 0; i < kMessages; ++i) ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "x");
    over = true;
  });
  while (!over) const Capture passing;
  sender.join();
  EXPECT_EQ(lasting.lines(), Texts(kMessages, "INFO: [c] x")) << "a sink that stays misses nothing";
}

TEST(Messages, WithoutASinkGoToStandardError) {
  testing::internal::CaptureStderr();
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "tcltasks", ComMsgMgr::MSG_ERROR, "@80-2@%s", "why");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "ERROR: [tcltasks 80-2] An exception ended the command: why\n");
}

TEST(Messages, OnStandardErrorHaveNothingThatATerminalWouldObey) {
  testing::internal::CaptureStderr();
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "%s", "one\ntwo\033[2J");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "INFO: [c] one\ntwo\\u001b[2J\n");
}

TEST(Messages, ASinkThatThrowsIsPassedOver) {
  const int bad = message_host::add_sink([](auto const&) { throw 1; });
  Capture seen;
  ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "x");
  message_host::remove_sink(bad);
  EXPECT_EQ(seen.lines().size(), 1U);
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
  fs::remove(path);
  EXPECT_THROW(message_host::file_sink("/nonexistent/folder/log"), std::runtime_error);
}

TEST(Messages, ComeFromSeveralThreads) {
  Capture seen;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 200; ++i) ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_INFO, "%d", i);
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(seen.lines().size(), 800U);
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
  EXPECT_EQ(seen.lines().at(0), "ERROR: [c 80-1] An exception of an unknown kind ended the command.");
}

// ------------------------------------------------------------------------------------------------- environment

// A folder that lives as long as the test.
class Folder {
 public:
  Folder() : path(fs::path(testing::TempDir()) / ("message_manager_test_" + std::to_string(getpid()))) {
    fs::create_directories(path);
  }
  ~Folder() { remove(); }
  void remove() const { fs::remove_all(path); }

  /// A data directory in which message 80-1 has the text `text`.
  std::string data(std::string const& name, std::string const& text) const {
    fs::create_directories(path / name / "messages");
    std::ofstream(path / name / "messages/catalogue.json")
        << "[{\"kind\": \"error\", \"group\": 80, \"number\": 1, \"text\": \"" << text << "\"}]";
    return (path / name).string();
  }

  fs::path path;
};

// The environment is read once, when the manager is first needed: each of these tests is a process of its own, which
// writes to standard error.
class FromEnvironment : public testing::Test {
 protected:
  FromEnvironment() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  static void send_80_1(std::string const& data_dirs) {
    setenv("KDI_DATA_DIR", data_dirs.c_str(), 1);
    ComMsgMgr::sendMsg::eval(0, nullptr, 0, "c", ComMsgMgr::MSG_ERROR, "@80-1@");
  }

  static void send_debug(std::string const& channels) {
    setenv("KDI_MSG_CHANNELS", channels.c_str(), 1);
    for (char const* const channel : {"a", "b", "c"})
      for (int level : {0, 1, 2})
        ComMsgMgr::sendScopedMsg::eval(level, nullptr, 0, channel, channel, ComMsgMgr::MSG_DEBUG0, "%d", level);
  }

  // Ends one of the processes, which has a folder of its own.
  [[noreturn]] static void end(Folder const& folder) {
    folder.remove();
    std::fputs("end", stderr);
    std::exit(0);
  }

  Folder folder_;
};

constexpr auto kEnded = [](int status) { return status == 0; };

// What `statement` writes to standard error in a process of its own has to match `pattern` from end to end.
#define EXPECT_WRITES(statement, pattern) \
  EXPECT_EXIT(                            \
      {                                   \
        statement;                        \
        end(folder_);                     \
      },                                  \
      kEnded, std::string("^") + (pattern) + "end$")

TEST_F(FromEnvironment, TheFirstDataDirectoryThatHasTheFileCounts) {
  const std::string first = folder_.data("first", "of the first");
  const std::string second = folder_.data("second", "of the second");
  const std::string none = (folder_.path / "none").string();
  EXPECT_WRITES(send_80_1(first + ":" + second), "ERROR: \\[c 80-1\\] of the first\n");
  EXPECT_WRITES(send_80_1(none + "::" + second + ":" + first), "ERROR: \\[c 80-1\\] of the second\n");
}

TEST_F(FromEnvironment, DataDirectoriesWithoutTheFileArePassedOver) {
  for (char const* const roots : {"", ":", "/nonexistent", "/nonexistent:/nonexistent/too"})
    EXPECT_WRITES(send_80_1(roots), "ERROR: \\[c 80-1\\] An exception of an unknown kind ended the command.\n");
}

TEST_F(FromEnvironment, ABadCatalogueIsReportedAndReferencesAreShown) {
  EXPECT_WRITES(send_80_1(folder_.data("bad", "\\")),
                "WARNING: \\[messages\\] .*/bad/messages/catalogue.json:1: .*\nERROR: \\[c 80-1\\] @80-1@\n");
}

TEST_F(FromEnvironment, ChannelsAreSwitchedOnUpToTheirLevels) {
  EXPECT_WRITES(send_debug("a=1,c=0"), "DEBUG: \\[a\\] 0\nDEBUG: \\[a\\] 1\nDEBUG: \\[c\\] 0\n");
  EXPECT_WRITES(send_debug("a=1,,a=0,"), "DEBUG: \\[a\\] 0\n");
  EXPECT_WRITES(send_debug(""), "");
  EXPECT_WRITES(send_debug("a=-1"), "");
}

TEST_F(FromEnvironment, ChannelsAreSwitchedOnByParametersOfAFile) {
  const std::string values = (folder_.path / "values.json").string();
  std::ofstream(values) << R"({"debug.PCW.DBG": 1, "debug.PSPMC.DBG": 0})";
  const auto send = [&](char const* channels) {
    setenv("KDI_PARAMS", values.c_str(), 1);
    setenv("KDI_MSG_CHANNELS", channels, 1);
    for (char const* const channel : {"PCW.DBG", "PSPMC.DBG", "HIPClocking"})
      for (int level : {0, 1, 2})
        ComMsgMgr::sendScopedMsg::eval(level, nullptr, 0, channel, channel, ComMsgMgr::MSG_DEBUG0, "%d", level);
  };
  EXPECT_WRITES(send(""), "DEBUG: \\[PCW.DBG\\] 0\nDEBUG: \\[PCW.DBG\\] 1\nDEBUG: \\[PSPMC.DBG\\] 0\n");
  EXPECT_WRITES(send("PCW.DBG=-1"), "DEBUG: \\[PSPMC.DBG\\] 0\n") << "the environment's word prevails";
}

TEST_F(FromEnvironment, WhatIsNoChannelIsReported) {
  for (char const* const entry : {"a", "=1", "a=", "a=x", "a=1x", "a=99999999999", "a= 1"})
    EXPECT_WRITES(send_debug(std::string(entry) + ",b=0"), std::string("WARNING: \\[messages\\] KDI_MSG_CHANNELS: \"") +
                                                               entry + "\" is no channel=level\nDEBUG: \\[b\\] 0\n");
}

// What a program that runs this one's test of a message prints.
std::string output_of(std::string const& program) {
  const std::string command =
      "'" + program + "' --gtest_filter=Messages.WithoutASinkGoToStandardError --gtest_color=no 2>&1";
  std::string text;
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return text;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) text += static_cast<char>(c);
  pclose(pipe);
  return text;
}

TEST_F(FromEnvironment, AnInstallationUsesItsOwnData) {
  unsetenv("KDI_DATA_DIR");
  const fs::path program = fs::read_symlink("/proc/self/exe");
  const fs::path copy = folder_.path / "bin" / program.filename();
  fs::create_directories(copy.parent_path());
  fs::copy(program, copy);
  fs::create_directories(folder_.path / "lib");
  // The package and all engines that it links.
  for (fs::directory_entry const& library : fs::directory_iterator(program.parent_path().parent_path() / "lib"))
    if (library.path().filename().string().starts_with("libkdi_"))
      fs::copy(library.path(), folder_.path / "lib" / library.path().filename());
  // Alone, the library has no texts, and says which one it would have shown.
  EXPECT_NE(output_of(copy.string()).find("@80-2@"), std::string::npos);
  fs::create_directories(folder_.path / "share/iptasks/data/messages");
  std::ofstream(folder_.path / "share/iptasks/data/messages/catalogue.json")
      << R"([{"kind": "error", "group": 80, "number": 2, "text": "the installed text: %1"}])";
  EXPECT_NE(output_of(copy.string()).find("ERROR: [tcltasks 80-2] the installed text: why"), std::string::npos);
}

// --------------------------------------------------------------------------------------------------- exceptions

TEST(Exceptions, CarryAMessageOrNone) {
  const HEXAll none(nullptr);
  EXPECT_STREQ(none.what(), "exception without a message");
  Capture seen;
  none.print();
  EXPECT_TRUE(seen.lines().empty());
  const HEXAlgException text("50 % of it");
  EXPECT_STREQ(text.what(), "50 % of it");
  text.print();
  EXPECT_EQ(seen.lines(), (Texts{"ERROR: [tcltasks] 50 % of it"}));
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
  EXPECT_EQ(seen.lines(),
            (Texts{"ERROR: [tcltasks] engine", "ERROR: [tcltasks 80-2] An exception ended the command: library",
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

constexpr tcl::Row kThrowing[] = {{"zero", throwing<0>, tcl::kAnyWords},
                                  {"one", throwing<1>, tcl::kAnyWords},
                                  {"two", throwing<2>, tcl::kAnyWords},
                                  {"space::three", throwing<3>, tcl::kAnyWords},
                                  {"four", throwing<4>, tcl::kAnyWords}};

TEST_F(Guards, NoExceptionReachesTcl) {
  tcl::register_all<kThrowing>(interp_);
  for (auto const& [name, text] : std::vector<std::pair<char const*, char const*>>{
           {"zero", "what it says"}, {"one", "a text"}, {"two", "a literal"}, {"space::three", "unknown exception"}}) {
    EXPECT_EQ(Tcl_Eval(interp_, name), TCL_ERROR);
    EXPECT_EQ(result(), text);
  }
  EXPECT_EQ(Tcl_Eval(interp_, "four"), TCL_OK);
}

}  // namespace
