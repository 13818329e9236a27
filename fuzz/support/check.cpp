#include "support/check.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "collector/utf8.h"
#include "core/log.h"

namespace Veltro::Internal::Fuzz {
namespace {

bool IsPrintable(char c) {
  return c == '\n' || (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F);
}

bool IsUrlCharacter(char c) {
  constexpr std::string_view kIllegal = "\"<>\\^`{|}";
  return c > 0x20 && c < 0x7F && kIllegal.find(c) == kIllegal.npos;
}

}  // namespace

void Require(bool holds, std::string_view message) {
  if (holds) return;
  std::fprintf(stderr, "fuzz: %.*s\n", static_cast<int>(message.size()), message.data());
  std::abort();
}

std::string Stored(std::string text) {
  static const bool isSpoiled = std::getenv("VELTRO_FUZZ_SPOIL") != nullptr;
  if (isSpoiled && !text.empty()) text[text.size() / 2] ^= 1;
  return text;
}

bool IsUrlText(std::string_view text) {
  return std::all_of(text.begin(), text.end(), IsUrlCharacter);
}

void LogCheck::WriteLine(std::string_view line) noexcept {
  Require(Collector::IsUtf8(line), "a log line is not UTF-8");
  Require(std::all_of(line.begin(), line.end(), IsPrintable), "a log line has control characters");
  Require(line.ends_with('\n'), "a log line does not end");
}

}  // namespace Veltro::Internal::Fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  static Veltro::Internal::Fuzz::LogCheck log;
  Veltro::Internal::SetDebugOutput(&log);
  Veltro::Internal::SetDebugLoggingEnabled(true);
  return 0;
}
