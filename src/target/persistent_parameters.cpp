#include "target/persistent_parameters.h"

namespace Veltro::Internal {

void PersistentParameters::SetPersistentParameter(std::u16string_view key,
                                                  std::u16string_view value) {
  if (value.empty()) return RemovePersistentParameter(key);
  if (key.empty()) return;
  const std::lock_guard lock(mutex_);
  parameters_.Add(key, value);
}

void PersistentParameters::RemovePersistentParameter(std::u16string_view key) {
  const std::lock_guard lock(mutex_);
  parameters_.Remove(key);
}

void PersistentParameters::Clear() {
  const std::lock_guard lock(mutex_);
  parameters_ = {};
}

StringMap PersistentParameters::Get() const {
  const std::lock_guard lock(mutex_);
  return parameters_;
}

}  // namespace Veltro::Internal
