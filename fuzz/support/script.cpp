#include "support/script.h"

#include <cstdlib>
#include <utility>

namespace Veltro::Internal::Fuzz {
namespace {

using Abi::PropertyType;
using Abi::Testing::Entry;
using Abi::Testing::Fault;
using Abi::Testing::Held;

constexpr std::size_t kFaults = 4;  // those of maps that end

std::u16string Units(std::string_view bytes) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  std::u16string units;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const bool isPair = byte(i) >= 0x80 && i + 1 < bytes.size();
    units += static_cast<char16_t>(isPair ? byte(i) << 8 | byte(i + 1) : byte(i));
    if (isPair) ++i;
  }
  return units;
}

/// A value of the type with this number, as far as there is one.
Held MakeHeld(int type, const std::string& text) {
  const std::int64_t integer = std::strtoll(text.c_str(), nullptr, 0);
  const Held held[] = {Held(),
                       static_cast<std::uint8_t>(integer),
                       static_cast<std::int16_t>(integer),
                       static_cast<std::uint16_t>(integer),
                       static_cast<std::int32_t>(integer),
                       static_cast<std::uint32_t>(integer),
                       integer,
                       static_cast<std::uint64_t>(integer),
                       std::strtof(text.c_str(), nullptr),
                       std::strtod(text.c_str(), nullptr),
                       static_cast<char16_t>(integer),
                       integer != 0,
                       Units(text)};
  return held[static_cast<std::size_t>(type) % std::size(held)];
}

Entry MakeEntry(std::u16string key, const std::string& value) {
  const char kind = value.empty() ? 'a' : value.front();
  if (kind < 'a') return {std::move(key), Held(), PropertyType{kind - 'A'}};
  return {std::move(key), MakeHeld(kind - 'a', value.substr(value.empty() ? 0 : 1))};
}

}  // namespace

std::u16string Arguments::Text() { return Units(Next()); }

double Arguments::Number() { return std::strtod(Next().c_str(), nullptr); }

std::int32_t Arguments::Integer() {
  return static_cast<std::int32_t>(std::strtoll(Next().c_str(), nullptr, 0));
}

std::vector<Entry> Arguments::Entries(Fault& fault) {
  std::vector<Entry> entries;
  while (!text_.empty()) {
    const std::string argument = Next();
    const std::size_t end = argument.find('=');
    if (end == argument.npos) {
      fault = static_cast<Fault>(argument.size() % kFaults);
    } else {
      entries.push_back(MakeEntry(Units(argument.substr(0, end)), argument.substr(end + 1)));
    }
  }
  return entries;
}

std::string Arguments::Next() {
  const std::size_t end = text_.find('|');
  const std::string argument(text_.substr(0, end));
  text_.remove_prefix(end == text_.npos ? text_.size() : end + 1);
  return argument;
}

}  // namespace Veltro::Internal::Fuzz
