#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/activation_client.h"

namespace Veltro::Internal::Fuzz {

/// The arguments of a call, with '|' between them. One that is missing is empty.
class Arguments {
 public:
  explicit Arguments(std::string_view text) : text_(text) {}

  /// UTF-16 of any kind: a byte that is not ASCII is the upper half of a unit, the next the lower.
  std::u16string Text();
  double Number();
  std::int32_t Integer();

  /// The rest. An entry is "key=", a letter for the kind of the value, and the value: 'a' for an
  /// empty one to 'm' for a text, or a capital for a value that cannot be had. What is no entry
  /// says by its length how the map fails.
  std::vector<Abi::Testing::Entry> Entries(Abi::Testing::Fault& fault);

 private:
  std::string Next();

  std::string_view text_;
};

}  // namespace Veltro::Internal::Fuzz
