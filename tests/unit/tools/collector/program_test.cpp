#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>

#include "collector/progress.h"

namespace Veltro::Collector {
namespace {

// What a collector with a program writes and ends with.
std::pair<std::string, int> RunCollector(const std::string& options) {
  FILE* const output = ::popen((VELTRO_COLLECTOR " --port 0 " + options + " 2>&1").c_str(), "r");
  std::string text;
  for (int c = 0; (c = std::fgetc(output)) != EOF;) text += static_cast<char>(c);
  return {text, WEXITSTATUS(::pclose(output))};
}

TEST(ProgramTest, RunsUnderTheCollector) {
  const std::string sendHit =
      R"(exec 3<>/dev/tcp/${VELTRO_DRY_RUN/://};)"
      R"(printf "GET /b/ss/s/0/V/s1?AQB=1&pageName=$0&AQE=1 HTTP/1.1\r\n\r\n" >&3;)"
      R"(head -c 12 <&3 >/dev/null;)";
  // The name, the options, the status, what is among the lines.
  const std::tuple<const char*, std::string, int, const char*> rows[] = {
      {"a hit", "--exit -- bash -c '" + sendHit + " exit 7' Home", 7, "state \"Home\""},
      {"how it ended", "--exit -- bash -c 'exit 7'", 7, "\nbash ended with status 7\nNo hit came"},
      {"killed", "--exit -- sh -c 'kill -9 $$'", 137, "sh ended with status 137\n"},
      {"told to end", "--exit -- sh -c 'kill -TERM $PPID; exec sleep 1000'", 143, " status 143\n"},
      {"told to end, at once", "-- sh -c 'kill -TERM $PPID; exec sleep 1000'", 0, " status 143\n"},
      {"interrupted, goes by itself",
       "--exit -- bash -c 'trap \"exit 3\" INT; kill -INT $PPID $$; sleep 1000'", 3, " status 3\n"},
      {"no such program", "--exit -- ./nosuch", 1, "cannot start ./nosuch: No such file"},
      {"no program", "--exit", 2, "--exit needs a program"},
      {"nothing behind", "--", 2, "-- needs a program"},
  };
  for (const auto& [name, options, status, line] : rows) {
    const auto [text, ended] = RunCollector(options);
    EXPECT_EQ(ended, status) << name << "\n" << text;
    EXPECT_NE(text.find(line), std::string::npos) << name << "\n" << text;
  }
}

TEST(ProgressTest, TellsTheSpeedOfTheLastSecond) {
  // Milliseconds since the start, hits so far.
  const std::tuple<int, std::int64_t, const char*> rows[] = {
      {0, 0, "0 hits, 0 a second"},
      {250, 1, "1 hit, 0 a second"},
      {1'000, 999, "999 hits, 999 a second"},
      {1'500, 5'000, "5,000 hits, 999 a second"},
      {3'000, 1'234'567, "1,234,567 hits, 616,784 a second"},
  };
  Progress progress;
  for (const auto& [time, hits, line] : rows) {
    EXPECT_EQ(progress.Line(hits, Progress::Time(std::chrono::milliseconds(time))), line);
  }
}

}  // namespace
}  // namespace Veltro::Collector
