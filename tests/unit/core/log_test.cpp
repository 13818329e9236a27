#include "core/log.h"

#include <gtest/gtest.h>

#include <limits>

#include "fakes/recording_debug_output.h"

namespace Veltro::Internal {
namespace {

class LogTest : public testing::Test {
 protected:
  LogTest() { SetDebugOutput(&output_); }
  ~LogTest() override {
    SetDebugLoggingEnabled(false);
    SetDebugOutput(nullptr);
  }

  std::string OnlyLine() {
    const auto lines = output_.Lines();
    return lines.size() == 1 ? lines.front() : "not one line but " + std::to_string(lines.size());
  }

  Testing::RecordingDebugOutput output_;
};

TEST_F(LogTest, WritesDebugAndWarningLinesOnlyWhenEnabled) {
  LogDebug("Target - a");
  LogWarning("Target - b");
  LogError("Target - c");
  EXPECT_EQ(OnlyLine(), "Veltro Error: Target - c\n");
  output_.Clear();
  SetDebugLoggingEnabled(true);
  LogDebug("Target - a");
  LogWarning("Target - b");
  EXPECT_EQ(output_.Lines(), (std::vector<std::string>{"Veltro Debug: Target - a\n",
                                                       "Veltro Warning: Target - b\n"}));
}

TEST_F(LogTest, FillsSlotsAndNeverReadsAValueAsAFormat) {
  LogError("(%s) (%s) (%d->%ld) %f %.2f 100%%", std::string("100%s"), u"\u00FC%d", -1,
           std::int64_t{1} << 40, 0.5, 2.345);
  EXPECT_EQ(OnlyLine(),
            "Veltro Error: (100%s) (\u00FC%d) (-1->1099511627776) 0.500000 2.35 100%\n");
}

TEST_F(LogTest, SurvivesFormatsThatDoNotFitTheirArguments) {
  LogError("%s and %");
  EXPECT_EQ(OnlyLine(), "Veltro Error:  and \n");
  output_.Clear();
  LogError("", 1);
  EXPECT_EQ(OnlyLine(), "Veltro Error: \n");
}

TEST_F(LogTest, KeepsAValueFromForgingLinesOrDrivingTheTerminal) {
  LogError("%s", std::string_view("a\r\x1B[2J\0\x7F\u0085\nb", 12));
  EXPECT_EQ(OnlyLine(), "Veltro Error: a\\x0D\\x1B[2J\\x00\\x7F\\x85\nb\n");
}

TEST_F(LogTest, CutsAMessageAt10239Characters) {
  const std::string prefix = "Veltro Error: ";
  for (const auto& [length, kept] :
       {std::pair(10'239, 10'239), {10'240, 10'239}, {99'999, 10'239}}) {
    output_.Clear();
    LogError("%s", std::string(static_cast<std::size_t>(length), 'x'));
    EXPECT_EQ(OnlyLine().size(), prefix.size() + static_cast<std::size_t>(kept) + 1) << length;
  }
}

TEST_F(LogTest, FormatsADictionaryInKeyOrder) {
  EXPECT_EQ(FormatDictionaryForLog({{u"b", u"2"}, {u"a", u"1"}}), u"\n    a = 1\n    b = 2");
  EXPECT_EQ(FormatDictionaryForLog({}), u"");
}

}  // namespace
}  // namespace Veltro::Internal
