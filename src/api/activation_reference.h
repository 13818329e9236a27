#pragma once

#include <string_view>
#include <utility>

#include "veltro/activation.h"

namespace Veltro::Internal {

/// A counted reference to an object behind the binary interface, or none.
template <class Interface>
class Reference {
 public:
  Reference() = default;
  Reference(const Reference& other) : object_(other.object_) {
    if (object_ != nullptr) object_->AddRef();
  }
  Reference(Reference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Reference& operator=(Reference other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Reference() {
    if (object_ != nullptr) object_->Release();
  }

  /// Takes over a reference that the caller has.
  static Reference Adopt(Interface* object) {
    Reference reference;
    reference.object_ = object;
    return reference;
  }

  /// One more reference to `object`, which may be null.
  static Reference Share(Interface* object) {
    if (object != nullptr) object->AddRef();
    return Adopt(object);
  }

  /// Where a function may put a new reference. Only for a reference that is none so far.
  Interface** Receive() { return &object_; }

  /// Hands the reference to the caller.
  Interface* Detach() { return std::exchange(object_, nullptr); }

  Interface* Get() const { return object_; }
  Interface* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  Interface* object_ = nullptr;
};

/// Another interface of `object`; none when it is null or has not got it.
template <class Interface>
Reference<Interface> Query(Abi::IUnknown* object) {
  void* found = nullptr;
  if (object == nullptr || object->QueryInterface(Abi::kIid<Interface>, &found) < 0) return {};
  return Reference<Interface>::Adopt(static_cast<Interface*>(found));
}

/// A string that somebody else has made and this object gives back.
class ReceivedString {
 public:
  ReceivedString() = default;
  ~ReceivedString() { Abi::DeleteString(string_); }
  ReceivedString(const ReceivedString&) = delete;
  ReceivedString& operator=(const ReceivedString&) = delete;

  /// Where a function may put the string. To be called once.
  Abi::HSTRING* Receive() { return &string_; }

  std::u16string_view View() const { return Abi::ViewString(string_); }

 private:
  Abi::HSTRING string_ = nullptr;
};

}  // namespace Veltro::Internal
