#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>

namespace Veltro::Internal {

/// A failed platform operation. Thrown by the implementations of the seam and caught once for each
/// unit of work (one hit, one file, one request), where it becomes a log line.
///
/// It comes in two kinds: with an HRESULT (a network or activation failure that has a code of its
/// own) or with a message only.
class PlatformError : public std::exception {
 public:
  /// A failure described by `message`, UTF-8 text fit for a log line.
  explicit PlatformError(std::string message) : message_(std::move(message)) {}

  /// A failure with the code `hresult`.
  PlatformError(std::uint32_t hresult, std::string message)
      : message_(std::move(message)), hresult_(hresult) {}

  const char* what() const noexcept override { return message_.c_str(); }

  /// The code, or nothing when the failure has only a message.
  std::optional<std::uint32_t> HResult() const noexcept { return hresult_; }

 private:
  std::string message_;
  std::optional<std::uint32_t> hresult_;
};

}  // namespace Veltro::Internal
