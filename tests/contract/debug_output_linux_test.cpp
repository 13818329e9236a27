#include "platform/linux/debug_output_linux.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

namespace Veltro::Internal::Testing {
namespace {

TEST(DebugOutputLinuxTest, SinkGetsLinesWithoutTheirEnd) {
  std::vector<std::string> lines;
  DebugOutputLinux output([&](std::string_view line) { lines.emplace_back(line); });
  for (const char* line : {"one\n", "two\n\n", "no end", "\n"}) output.WriteLine(line);
  EXPECT_EQ(lines, (std::vector<std::string>{"one", "two\n", "no end", ""}));
}

TEST(DebugOutputLinuxTest, WhatTheSinkThrowsIsDropped) {
  DebugOutputLinux output([](std::string_view) { throw std::runtime_error("full"); });
  output.WriteLine("line\n");
}

TEST(DebugOutputLinuxTest, LinesWithoutASinkReachStandardErrorWhole) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  const int standardError = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  DebugOutputLinux(nullptr).WriteLine("one line\n");
  dup2(standardError, STDERR_FILENO);
  close(standardError);
  close(ends[1]);
  std::string text(100, '\0');
  text.resize(static_cast<std::size_t>(read(ends[0], text.data(), text.size())));
  close(ends[0]);
  EXPECT_EQ(text, "one line\n");
}

}  // namespace
}  // namespace Veltro::Internal::Testing
