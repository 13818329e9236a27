#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
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

/// A map that is its own, and only, iterator, and the pair that it is at.
template <class Mapped, class Pair = IKeyValuePair<HSTRING, Mapped>, class... More>
class Pairs
    : public Counted<IMap<HSTRING, Mapped>, IIterable<Pair*>, IIterator<Pair*>, Pair, More...> {
 public:
  Pairs(std::vector<Entry> entries, Fault fault) : entries_(std::move(entries)), fault_(fault) {}

  HRESULT First(IIterator<Pair*>** first) noexcept override {
    return fault_ == Fault::NoIterator ? kFailure : Share(first);
  }
  HRESULT get_Current(Pair** current) noexcept override {
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

  // The library never calls these.
  HRESULT GetIids(std::uint32_t*, GUID**) noexcept override { return kNotImplemented; }
  HRESULT GetRuntimeClassName(HSTRING*) noexcept override { return kNotImplemented; }
  HRESULT GetTrustLevel(TrustLevel*) noexcept override { return kNotImplemented; }
  HRESULT Lookup(HSTRING, Mapped*) noexcept override { return kNotImplemented; }
  HRESULT get_Size(std::uint32_t*) noexcept override { return kNotImplemented; }
  HRESULT HasKey(HSTRING, BOOLEAN*) noexcept override { return kNotImplemented; }
  HRESULT GetView(IMapView<HSTRING, Mapped>**) noexcept override { return kNotImplemented; }
  HRESULT Insert(HSTRING, Mapped, BOOLEAN*) noexcept override { return kNotImplemented; }
  HRESULT Remove(HSTRING) noexcept override { return kNotImplemented; }
  HRESULT Clear() noexcept override { return kNotImplemented; }
  HRESULT GetMany(std::uint32_t, Pair**, std::uint32_t*) noexcept override { return kOk; }

 protected:
  ~Pairs() = default;

  const Entry& At() const { return entries_[position_ % entries_.size()]; }
  HRESULT GiveText(HSTRING* to) const {
    const auto* const text = std::get_if<std::u16string>(&At().held);
    return text == nullptr ? kFailure : CreateString(*text, to);
  }
  HRESULT Share(auto** object) { return this->AddRef(), *object = this, kOk; }

 private:
  const std::vector<Entry> entries_;
  const Fault fault_;
  std::size_t position_ = 0;
};

/// A map of context data, which is the value of the entry that it is at, too.
class Map final : public Pairs<IInspectable*, ContextPair, IPropertyValue> {
 public:
  using Pairs::Pairs;

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
  HRESULT GetString(HSTRING* to) noexcept override { return GiveText(to); }

  // The library never calls these.
  HRESULT get_IsNumericScalar(BOOLEAN*) noexcept override { return kNotImplemented; }
  HRESULT GetGuid(GUID*) noexcept override { return kNotImplemented; }

 private:
  template <class T>
  HRESULT Give(auto* to) const {
    const T* const held = std::get_if<T>(&At().held);
    return held == nullptr ? kFailure : (*to = *held, kOk);
  }
};

/// A request of the name "welcome" whose parameters are the object itself. It fails to give a
/// default content that is null.
class Request final : public Pairs<HSTRING, StringPair, ITargetLocationRequest> {
 public:
  Request(const char16_t* defaultContent, std::vector<Entry> entries, Fault fault = Fault::None)
      : Pairs(std::move(entries), fault), defaultContent_(defaultContent) {}

  StringMapInterface* Parameters() { return this; }

  HRESULT get_Value(HSTRING* value) noexcept override { return GiveText(value); }
  HRESULT get_Name(HSTRING* name) noexcept override { return CreateString(u"welcome", name); }
  HRESULT get_DefaultContent(HSTRING* to) noexcept override {
    return defaultContent_ == nullptr ? kFailure : CreateString(defaultContent_, to);
  }
  HRESULT get_Parameters(StringMapInterface** to) noexcept override { return Share(to); }

  // The library never calls these.
  HRESULT put_Name(HSTRING) noexcept override { return kNotImplemented; }
  HRESULT put_DefaultContent(HSTRING) noexcept override { return kNotImplemented; }
  HRESULT put_Parameters(StringMapInterface*) noexcept override { return kNotImplemented; }

 private:
  const char16_t* const defaultContent_;
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

struct Releaser {
  void operator()(IUnknown* object) const { object->Release(); }
};

/// A reference that the client has.
template <class Interface>
using Owned = std::unique_ptr<Interface, Releaser>;

template <class Interface>
Owned<Interface> As(IUnknown* object) {
  void* found = nullptr;
  EXPECT_EQ(object->QueryInterface(kIid<Interface>, &found), kOk);
  return Owned<Interface>(static_cast<Interface*>(found));
}

/// Calls a function by its place in the object's table.
template <class... Arguments>
HRESULT Call(IUnknown* object, int slot, Arguments... arguments) {
  void** const table = *reinterpret_cast<void***>(object);
  return reinterpret_cast<HRESULT (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

/// The result of such a call; a reference, if it is one, is the caller's.
template <class Result, class... Arguments>
Result Read(IUnknown* object, int slot, Arguments... arguments) {
  Result result{};
  EXPECT_EQ(Call(object, slot, arguments..., &result), kOk) << "slot " << slot;
  return result;
}

/// The pairs of a map or view of the library's, each as "key=value ".
inline std::u16string PairsIn(IUnknown* map) {
  const auto iterable = As<StringIterable>(map);
  const Owned<StringIterator> iterator(Read<StringIterator*>(iterable.get(), 6));
  std::u16string text;
  BOOLEAN hasCurrent = Read<BOOLEAN>(iterator.get(), 7);
  for (; hasCurrent != 0 && text.size() < 1000; hasCurrent = Read<BOOLEAN>(iterator.get(), 8)) {
    const Owned<StringPair> pair(Read<StringPair*>(iterator.get(), 6));
    text += Take(Read<HSTRING>(pair.get(), 6)) + u"=" + Take(Read<HSTRING>(pair.get(), 7)) + u" ";
  }
  StringPair* none = nullptr;
  EXPECT_EQ(iterator->get_Current(&none), kOutOfBounds);
  return text;
}

}  // namespace Veltro::Abi::Testing
