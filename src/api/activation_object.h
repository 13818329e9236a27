#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string_view>
#include <tuple>
#include <utility>

#include "platform/linux/forked_child.h"
#include "veltro/activation.h"

namespace Veltro::Internal {

/// How many objects of the library its clients hold.
class LiveObjects {
 public:
  static bool Any() noexcept;

 private:
  template <class... Interfaces>
  friend class ActivationObject;
  static void Add(std::int32_t change) noexcept;
};

/// Runs `body` and turns what it throws into an error code. In a child that was forked while the
/// library ran, fails.
template <class Body>
Abi::HRESULT Guarded(Body&& body) noexcept {
  if (InForkedChild()) return Abi::kFailure;
  try {
    return std::forward<Body>(body)();
  } catch (const std::bad_alloc&) {
    return Abi::kOutOfMemory;
  } catch (...) {
    return Abi::kFailure;
  }
}

/// What all objects of the library have in common: they count their references, starting with one,
/// and end with the last; they answer for every one of `Interfaces`, each derived from
/// IInspectable.
template <class... Interfaces>
class ActivationObject : public Interfaces... {
 public:
  ActivationObject(const ActivationObject&) = delete;
  ActivationObject& operator=(const ActivationObject&) = delete;

  Abi::HRESULT QueryInterface(const Abi::GUID& iid, void** object) noexcept final {
    if (object == nullptr) return Abi::kNullPointer;
    *object = Find(iid);
    if (*object == nullptr) return Abi::kNoInterface;
    AddRef();
    return Abi::kOk;
  }

  Abi::ULONG AddRef() noexcept final { return ++references_; }

  Abi::ULONG Release() noexcept final {
    const Abi::ULONG remaining = --references_;
    if (remaining == 0) delete this;
    return remaining;
  }

  Abi::HRESULT GetIids(std::uint32_t* count, Abi::GUID** iids) noexcept final {
    if (count == nullptr || iids == nullptr) return Abi::kNullPointer;
    *count = 0;
    *iids = static_cast<Abi::GUID*>(std::malloc(sizeof...(Interfaces) * sizeof(Abi::GUID)));
    if (*iids == nullptr) return Abi::kOutOfMemory;
    ((new (*iids + (*count)++) Abi::GUID(Abi::kIid<Interfaces>)), ...);
    return Abi::kOk;
  }

  Abi::HRESULT GetRuntimeClassName(Abi::HSTRING* name) noexcept final {
    return Abi::CreateString(ClassName(), name);
  }

  Abi::HRESULT GetTrustLevel(Abi::TrustLevel* level) noexcept final {
    if (level == nullptr) return Abi::kNullPointer;
    *level = Abi::TrustLevel::Base;
    return Abi::kOk;
  }

 protected:
  ActivationObject() noexcept { LiveObjects::Add(1); }
  virtual ~ActivationObject() { LiveObjects::Add(-1); }

  virtual std::u16string_view ClassName() const noexcept = 0;

 private:
  void* Find(const Abi::GUID& iid) noexcept {
    using First = std::tuple_element_t<0, std::tuple<Interfaces...>>;
    void* found = nullptr;
    if (iid == Abi::kIid<Abi::IUnknown> || iid == Abi::kIid<Abi::IInspectable>) {
      found = static_cast<First*>(this);
    }
    ((iid == Abi::kIid<Interfaces> ? void(found = static_cast<Interfaces*>(this)) : void()), ...);
    return found;
  }

  std::atomic<Abi::ULONG> references_{1};
};

}  // namespace Veltro::Internal
