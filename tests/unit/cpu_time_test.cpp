// The line that tells scripts how much processor time something took.
#include "tcltasks/frame/cpu_time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/scratch.h"

namespace {

constexpr char kVariable[] = "IPTASKS_CPU_TIME_TEST";

std::string printed(frame::CpuTime const& time, char const* value) {
  const Environment asked(kVariable, value);
  testing::internal::CaptureStdout();
  time.print_if_asked(kVariable, "took ");
  return testing::internal::GetCapturedStdout();
}

TEST(CpuTime, IsPrintedInWholeMillisecondsWhereItIsAskedFor) {
  const std::clock_t begin = std::clock();
  const frame::CpuTime time;
  while (std::clock() - begin < 3 * CLOCKS_PER_SEC / 100) {  // 30 ms
  }
  const std::string line = printed(time, "TRUE");
  const double most = static_cast<double>(std::clock() - begin) * 1000 / CLOCKS_PER_SEC;
  ASSERT_TRUE(line.starts_with("took ") && line.ends_with("\n")) << line;
  const std::string number = line.substr(5, line.size() - 6);
  EXPECT_EQ(number.find_first_not_of("0123456789"), std::string::npos) << line;
  EXPECT_GE(std::atoi(number.c_str()), 29) << "it began a moment later";
  EXPECT_LE(std::atoi(number.c_str()), static_cast<int>(most) + 1);
  for (char const* const other : {"true", "TRUE ", "1", ""}) EXPECT_EQ(printed(time, other), "") << other;
}

TEST(CpuTime, IsNotPrintedWithoutItsVariable) {
  testing::internal::CaptureStdout();
  frame::CpuTime().print_if_asked("IPTASKS_CPU_TIME_TEST_NOT_SET", "took ");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
