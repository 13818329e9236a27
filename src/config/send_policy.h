#pragma once

namespace Veltro::Internal {

enum class SendPermission {
  Send,    ///< collected data may leave the device
  Hold,    ///< data may be collected, and stays on the device
  Refuse,  ///< no data may be collected
};

/// Answers whether data may leave the device now. All that a queue or a request needs to know of
/// the user's privacy choice. Safe to use from any thread.
class SendPolicy {
 public:
  virtual ~SendPolicy() = default;

  virtual SendPermission Permission() const = 0;
};

}  // namespace Veltro::Internal
