#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "veltro/activation.h"

/// What a client of the binary interface brings along. Its objects live where the test puts them,
/// and nobody may still refer to one when it ends.
namespace Veltro::Abi::Testing {

template <class... Interfaces>
class Counted : public Interfaces... {
 public:
  HRESULT QueryInterface(const GUID& iid, void** object) noexcept override {
    *object = nullptr;
    ((iid == kIid<Interfaces> ? void(*object = static_cast<Interfaces*>(this)) : void()), ...);
    return *object == nullptr ? kNoInterface : (AddRef(), kOk);
  }
  ULONG AddRef() noexcept override { return ++references_; }
  ULONG Release() noexcept override { return --references_; }
  ULONG References() const { return references_; }

 protected:
  ~Counted() { EXPECT_EQ(References(), 0U) << "not given back as often as taken"; }

 private:
  std::atomic<ULONG> references_{0};
};

/// The kinds of value that a client boxes, at the index of their property type.
using Held = std::variant<std::monostate, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t,
                          std::uint32_t, std::int64_t, std::uint64_t, float, double, char16_t, bool,
                          std::u16string>;

/// The value is null where the type is Empty, and not to be had where it is not that of `held`.
struct Entry {
  std::u16string key;
  Held held;
  PropertyType type = static_cast<PropertyType>(held.index());
};

enum class Fault { None, NoIterator, CurrentFailsAtSecond, MoveNextFails, NeverEnds };

/// A map that is its own, and only, iterator, and both pair and value of the entry that it is at.
class Map final
    : public Counted<ContextMap, ContextIterable, ContextIterator, ContextPair, IPropertyValue> {
 public:
  Map(std::vector<Entry> entries, Fault fault) : entries_(std::move(entries)), fault_(fault) {}

  HRESULT First(ContextIterator** first) noexcept override {
    return fault_ == Fault::NoIterator ? kFailure : Share(first);
  }
  HRESULT get_Current(ContextPair** current) noexcept override {
    return fault_ == Fault::CurrentFailsAtSecond && position_ == 1 ? kFailure : Share(current);
  }
  HRESULT get_HasCurrent(BOOLEAN* has) noexcept override {
    return *has = position_ < entries_.size() || fault_ == Fault::NeverEnds, kOk;
  }
  HRESULT MoveNext(BOOLEAN* has) noexcept override {
    EXPECT_LT(++position_, 1'000'000U) << "reads for ever";
    return position_ == 1'000'000 || fault_ == Fault::MoveNextFails ? kFailure
                                                                    : get_HasCurrent(has);
  }
  HRESULT get_Key(HSTRING* key) noexcept override { return CreateString(At().key, key); }
  HRESULT get_Value(IInspectable** value) noexcept override {
    IPropertyValue* boxed = nullptr;
    const HRESULT result = At().type == PropertyType::Empty ? kOk : Share(&boxed);
    return *value = boxed, result;
  }
  HRESULT get_Type(PropertyType* type) noexcept override { return *type = At().type, kOk; }
  HRESULT GetUInt8(std::uint8_t* to) noexcept override { return Give<std::uint8_t>(to); }
  HRESULT GetInt16(std::int16_t* to) noexcept override { return Give<std::int16_t>(to); }
  HRESULT GetUInt16(std::uint16_t* to) noexcept override { return Give<std::uint16_t>(to); }
  HRESULT GetInt32(std::int32_t* to) noexcept override { return Give<std::int32_t>(to); }
  HRESULT GetUInt32(std::uint32_t* to) noexcept override { return Give<std::uint32_t>(to); }
  HRESULT GetInt64(std::int64_t* to) noexcept override { return Give<std::int64_t>(to); }
  HRESULT GetUInt64(std::uint64_t* to) noexcept override { return Give<std::uint64_t>(to); }
  HRESULT GetSingle(float* to) noexcept override { return Give<float>(to); }
  HRESULT GetDouble(double* to) noexcept override { return Give<double>(to); }
  HRESULT GetChar16(char16_t* to) noexcept override { return Give<char16_t>(to); }
  HRESULT GetBoolean(BOOLEAN* to) noexcept override { return Give<bool>(to); }
  HRESULT GetString(HSTRING* to) noexcept override {
    const auto* const text = std::get_if<std::u16string>(&At().held);
    return text == nullptr ? kFailure : CreateString(*text, to);
  }

  // The library never calls these.
  HRESULT GetIids(std::uint32_t*, GUID**) noexcept override { return kNotImplemented; }
  HRESULT GetRuntimeClassName(HSTRING*) noexcept override { return kNotImplemented; }
  HRESULT GetTrustLevel(TrustLevel*) noexcept override { return kNotImplemented; }
  HRESULT Lookup(HSTRING, IInspectable**) noexcept override { return kNotImplemented; }
  HRESULT get_Size(std::uint32_t*) noexcept override { return kNotImplemented; }
  HRESULT HasKey(HSTRING, BOOLEAN*) noexcept override { return kNotImplemented; }
  HRESULT GetView(IMapView<HSTRING, IInspectable*>**) noexcept override { return kNotImplemented; }
  HRESULT Insert(HSTRING, IInspectable*, BOOLEAN*) noexcept override { return kNotImplemented; }
  HRESULT Remove(HSTRING) noexcept override { return kNotImplemented; }
  HRESULT Clear() noexcept override { return kNotImplemented; }
  HRESULT GetMany(std::uint32_t, ContextPair**, std::uint32_t*) noexcept override { return kOk; }
  HRESULT get_IsNumericScalar(BOOLEAN*) noexcept override { return kNotImplemented; }
  HRESULT GetGuid(GUID*) noexcept override { return kNotImplemented; }

 private:
  const Entry& At() const { return entries_[position_ % entries_.size()]; }
  HRESULT Share(auto** object) { return AddRef(), *object = this, kOk; }
  template <class T>
  HRESULT Give(auto* to) const {
    const T* const held = std::get_if<T>(&At().held);
    return held == nullptr ? kFailure : (*to = *held, kOk);
  }

  const std::vector<Entry> entries_;
  const Fault fault_;
  std::size_t position_ = 0;
};

using PrivacyOperation = IAsyncOperation<VeltroPrivacyStatus>;
using PrivacyHandler = IAsyncOperationCompletedHandler<VeltroPrivacyStatus>;

/// Runs an action on whatever thread the library calls it.
struct Handler final : Counted<PrivacyHandler> {
  explicit Handler(std::function<void(PrivacyOperation*)> run) : action(std::move(run)) {}
  HRESULT Invoke(PrivacyOperation* operation, AsyncStatus status) noexcept override {
    EXPECT_EQ(status, AsyncStatus::Completed);
    return action(operation), kOk;
  }
  const std::function<void(PrivacyOperation*)> action;
};

/// A fast-pass string, which the library must not keep.
struct Text {
  operator HSTRING() { return &header; }
  std::u16string units;
  StringHeader header{kFastPassString, static_cast<std::uint32_t>(units.size()), 0, 0,
                      units.data()};
};

inline std::u16string Take(HSTRING string) {
  const std::u16string text(ViewString(string));
  return DeleteString(string), text;
}

}  // namespace Veltro::Abi::Testing
