#pragma once

#include <stdlib.h>

#include <optional>
#include <string>

namespace Veltro::Internal::Testing {

/// Sets an environment variable, or removes it where `value` is null, and puts back what was there.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* present = getenv(name)) before_ = present;
    Set(value);
  }
  ~ScopedVariable() { Set(before_ ? before_->c_str() : nullptr); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void Set(const char* value) const {
    if (value != nullptr) {
      setenv(name_.c_str(), value, 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

  std::string name_;
  std::optional<std::string> before_;
};

}  // namespace Veltro::Internal::Testing
