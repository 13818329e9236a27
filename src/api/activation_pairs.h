#pragma once

#include "api/activation_reference.h"
#include "veltro/activation.h"

namespace Veltro::Internal {

/// An iterator of the host's that never ends must not hold up the caller for ever.
inline constexpr int kMaxPairs = 100'000;

/// Whether there was a pair to read and another follows.
template <class Pair, class ReadPair>
bool ReadCurrent(Abi::IIterator<Pair*>& iterator, ReadPair& readPair) {
  Reference<Pair> pair;
  if (iterator.get_Current(pair.Receive()) < 0 || !pair) return false;
  readPair(*pair.Get());
  Abi::BOOLEAN hasCurrent = 0;
  return iterator.MoveNext(&hasCurrent) >= 0 && hasCurrent != 0;
}

/// Passes the pairs of `map`, an object of the host's that may be null, to `readPair`, until the
/// map fails or there have been kMaxPairs. Calls the host's objects on this thread only, and holds
/// none of them when it returns.
template <class Mapped, class ReadPair>
void ReadPairs(Abi::IMap<Abi::HSTRING, Mapped>* map, ReadPair readPair) {
  using Pair = Abi::IKeyValuePair<Abi::HSTRING, Mapped>;
  const auto iterable = Query<Abi::IIterable<Pair*>>(map);
  Reference<Abi::IIterator<Pair*>> iterator;
  if (!iterable || iterable->First(iterator.Receive()) < 0 || !iterator) return;
  Abi::BOOLEAN hasCurrent = 0;
  if (iterator->get_HasCurrent(&hasCurrent) < 0 || hasCurrent == 0) return;
  for (int i = 0; i < kMaxPairs && ReadCurrent(*iterator.Get(), readPair); ++i) {
  }
}

}  // namespace Veltro::Internal
