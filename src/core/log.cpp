#include "core/log.h"

#include <atomic>

#include "base/number_text.h"
#include "base/utf.h"

namespace Veltro::Internal {
namespace {

constexpr std::size_t kMaxMessageUnits = 10239;
constexpr int kDefaultDecimals = 6;

constinit std::atomic<bool> debugLoggingEnabled{false};
constinit std::atomic<DebugOutput*> debugOutput{nullptr};

constexpr std::string_view Prefix(LogLevel level) {
  switch (level) {
    case LogLevel::Debug:
      return "Veltro Debug: ";
    case LogLevel::Warning:
      return "Veltro Warning: ";
    case LogLevel::Error:
      break;
  }
  return "Veltro Error: ";
}

bool IsControl(char16_t unit) { return unit < 0x20 || (unit >= 0x7F && unit < 0xA0); }

void AppendVisible(std::u16string_view text, std::u16string& out) {
  constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  for (const char16_t unit : text.substr(0, kMaxMessageUnits)) {
    if (IsControl(unit) && unit != u'\n') {
      out.append({u'\\', u'x', kDigits[unit >> 4], kDigits[unit & 0xF]});
    } else {
      out.push_back(unit);
    }
  }
}

void AppendArgument(const LogArgument& argument, int decimals, std::u16string& out) {
  if (const auto* utf16 = std::get_if<std::u16string_view>(&argument)) {
    AppendVisible(*utf16, out);
  } else if (const auto* utf8 = std::get_if<std::string_view>(&argument)) {
    AppendVisible(ToUtf16(*utf8), out);
  } else if (const auto* integer = std::get_if<std::int64_t>(&argument)) {
    out += DecimalText(*integer);
  } else {
    out += FixedText(std::get<double>(argument), decimals);
  }
}

/// Reads the slot whose "%" stands at `position - 1`; returns the decimals that it asks for and
/// leaves `position` behind it.
int ReadSlot(std::string_view format, std::size_t& position) {
  int decimals = kDefaultDecimals;
  if (position + 1 < format.size() && format[position] == '.') {
    decimals = format[position + 1] - '0';
    position += 2;
  }
  if (position < format.size() && format[position] == 'l') ++position;
  if (position < format.size()) ++position;
  return decimals;
}

std::u16string FormatMessage(std::string_view format,
                             std::initializer_list<LogArgument> arguments) {
  std::u16string message;
  const LogArgument* next = arguments.begin();
  for (std::size_t i = 0; i < format.size() && message.size() < kMaxMessageUnits;) {
    const char c = format[i++];
    if (c != '%') {
      message.push_back(static_cast<char16_t>(c));
    } else if (i < format.size() && format[i] == '%') {
      message.push_back(static_cast<char16_t>(format[i++]));
    } else {
      const int decimals = ReadSlot(format, i);
      if (next != arguments.end()) AppendArgument(*next++, decimals, message);
    }
  }
  if (message.size() > kMaxMessageUnits) message.resize(kMaxMessageUnits);
  return message;
}

}  // namespace

bool DebugLoggingEnabled() noexcept { return debugLoggingEnabled.load(std::memory_order_relaxed); }

void SetDebugLoggingEnabled(bool enabled) noexcept {
  debugLoggingEnabled.store(enabled, std::memory_order_relaxed);
}

void SetDebugOutput(DebugOutput* output) noexcept {
  debugOutput.store(output, std::memory_order_release);
}

void WriteLogLine(LogLevel level, std::string_view format,
                  std::initializer_list<LogArgument> arguments) noexcept {
  DebugOutput* const output = debugOutput.load(std::memory_order_acquire);
  if (output == nullptr) return;
  try {
    std::string line(Prefix(level));
    line += ToUtf8(FormatMessage(format, arguments));
    line += '\n';
    output->WriteLine(line);
  } catch (...) {
    // Out of memory: there is nothing left to say it with.
  }
}

std::u16string FormatDictionaryForLog(const StringMap& map) {
  std::u16string text;
  for (const auto [key, value] : map) {
    text.append(u"\n    ").append(key).append(u" = ").append(value);
  }
  return text;
}

}  // namespace Veltro::Internal
