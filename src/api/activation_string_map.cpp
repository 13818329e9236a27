#include "api/activation_string_map.h"

#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include "api/activation_factory.h"
#include "api/activation_object.h"
#include "api/activation_pairs.h"
#include "api/activation_reference.h"
#include "base/utf.h"

namespace Veltro::Internal {
namespace {

class PairObject final : public ActivationObject<Abi::StringPair> {
 public:
  static Abi::StringPair* Make(const Strings::value_type& entry) { return new PairObject(entry); }

  Abi::HRESULT get_Key(Abi::HSTRING* key) noexcept override { return Abi::CreateString(key_, key); }

  Abi::HRESULT get_Value(Abi::HSTRING* value) noexcept override {
    return Abi::CreateString(value_, value);
  }

 private:
  explicit PairObject(const Strings::value_type& entry)
      : key_(ToUtf16(entry.first)), value_(ToUtf16(entry.second)) {}

  std::u16string_view ClassName() const noexcept override {
    return u"Windows.Foundation.Collections.IKeyValuePair`2<String, String>";
  }

  const std::u16string key_;
  const std::u16string value_;
};

class IteratorObject final : public ActivationObject<Abi::StringIterator> {
 public:
  static Abi::StringIterator* Make(Strings strings) {
    return new IteratorObject(std::move(strings));
  }

  Abi::HRESULT get_Current(Abi::StringPair** current) noexcept override {
    if (current == nullptr) return Abi::kNullPointer;
    *current = nullptr;
    const std::lock_guard lock(mutex_);
    if (next_ == strings_.end()) return Abi::kOutOfBounds;
    return Perform([&] { *current = PairObject::Make(*next_); });
  }

  Abi::HRESULT get_HasCurrent(Abi::BOOLEAN* hasCurrent) noexcept override {
    if (hasCurrent == nullptr) return Abi::kNullPointer;
    const std::lock_guard lock(mutex_);
    *hasCurrent = next_ != strings_.end() ? 1 : 0;
    return Abi::kOk;
  }

  Abi::HRESULT MoveNext(Abi::BOOLEAN* hasCurrent) noexcept override {
    if (hasCurrent == nullptr) return Abi::kNullPointer;
    const std::lock_guard lock(mutex_);
    if (next_ != strings_.end()) ++next_;
    *hasCurrent = next_ != strings_.end() ? 1 : 0;
    return Abi::kOk;
  }

  Abi::HRESULT GetMany(std::uint32_t capacity, Abi::StringPair** items,
                       std::uint32_t* count) noexcept override {
    if (count == nullptr || (items == nullptr && capacity != 0)) return Abi::kNullPointer;
    *count = 0;
    const std::lock_guard lock(mutex_);
    return Perform([&] {
      std::vector<Reference<Abi::StringPair>> pairs;
      auto next = next_;
      for (; next != strings_.end() && pairs.size() < capacity; ++next) {
        pairs.push_back(Reference<Abi::StringPair>::Adopt(PairObject::Make(*next)));
      }
      for (auto& pair : pairs) items[(*count)++] = pair.Detach();
      next_ = next;
    });
  }

 private:
  explicit IteratorObject(Strings strings) : strings_(std::move(strings)) {}

  std::u16string_view ClassName() const noexcept override {
    return u"Windows.Foundation.Collections.IIterator`1<"
           u"Windows.Foundation.Collections.IKeyValuePair`2<String, String>>";
  }

  std::mutex mutex_;
  const Strings strings_;
  Strings::const_iterator next_ = strings_.begin();
};

/// What maps and their views have in common.
template <class Interface>
class ReadableObject : public ActivationObject<Interface, Abi::StringIterable> {
 public:
  explicit ReadableObject(Strings strings) : strings_(std::move(strings)) {}

  Abi::HRESULT Lookup(Abi::HSTRING key, Abi::HSTRING* value) noexcept final {
    if (value == nullptr) return Abi::kNullPointer;
    *value = nullptr;
    return Guarded([&] {
      const std::lock_guard lock(mutex_);
      const auto entry = strings_.find(Utf8Of(key));
      if (entry == strings_.end()) return Abi::kOutOfBounds;
      return Abi::CreateString(ToUtf16(entry->second), value);
    });
  }

  Abi::HRESULT get_Size(std::uint32_t* size) noexcept final {
    return Deliver(size, [&] {
      const std::lock_guard lock(mutex_);
      return static_cast<std::uint32_t>(strings_.size());
    });
  }

  Abi::HRESULT HasKey(Abi::HSTRING key, Abi::BOOLEAN* found) noexcept final {
    return Deliver(found, [&] {
      const std::lock_guard lock(mutex_);
      return static_cast<Abi::BOOLEAN>(strings_.count(Utf8Of(key)));
    });
  }

  Abi::HRESULT First(Abi::StringIterator** first) noexcept final {
    return Deliver(first, [&] { return IteratorObject::Make(Copy()); });
  }

 protected:
  Strings Copy() {
    const std::lock_guard lock(mutex_);
    return strings_;
  }

  std::mutex mutex_;
  Strings strings_;  // guarded by mutex_
};

class ViewObject final : public ReadableObject<Abi::StringMapView> {
 public:
  using ReadableObject::ReadableObject;

  Abi::HRESULT Split(Abi::StringMapView** first, Abi::StringMapView** second) noexcept override {
    if (first == nullptr || second == nullptr) return Abi::kNullPointer;
    *first = *second = nullptr;
    return Abi::kOk;
  }

 private:
  std::u16string_view ClassName() const noexcept override {
    return u"Windows.Foundation.Collections.IMapView`2<String, String>";
  }
};

class MapObject final : public ReadableObject<Abi::StringMapInterface> {
 public:
  using ReadableObject::ReadableObject;

  Abi::HRESULT GetView(Abi::StringMapView** view) noexcept override {
    return Deliver(view, [&] { return MakeStringMapView(Copy()); });
  }

  Abi::HRESULT Insert(Abi::HSTRING key, Abi::HSTRING value,
                      Abi::BOOLEAN* replaced) noexcept override {
    return Deliver(replaced, [&] {
      const std::lock_guard lock(mutex_);
      const bool isNew = strings_.insert_or_assign(Utf8Of(key), Utf8Of(value)).second;
      return static_cast<Abi::BOOLEAN>(isNew ? 0 : 1);
    });
  }

  Abi::HRESULT Remove(Abi::HSTRING key) noexcept override {
    return Guarded([&] {
      const std::lock_guard lock(mutex_);
      return strings_.erase(Utf8Of(key)) == 0 ? Abi::kOutOfBounds : Abi::kOk;
    });
  }

  Abi::HRESULT Clear() noexcept override {
    const std::lock_guard lock(mutex_);
    strings_.clear();
    return Abi::kOk;
  }

 private:
  std::u16string_view ClassName() const noexcept override {
    return u"Windows.Foundation.Collections.IMap`2<String, String>";
  }
};

}  // namespace

Strings ReadStrings(Abi::StringMapInterface* map) {
  Strings strings;
  ReadPairs(map, [&](Abi::StringPair& pair) {
    ReceivedString key;
    ReceivedString value;
    if (pair.get_Key(key.Receive()) < 0 || pair.get_Value(value.Receive()) < 0) return;
    strings.insert_or_assign(ToUtf8(key.View()), ToUtf8(value.View()));
  });
  return strings;
}

Abi::StringMapInterface* MakeStringMap(Strings strings) {
  return new MapObject(std::move(strings));
}

Abi::StringMapView* MakeStringMapView(Strings strings) {
  return new ViewObject(std::move(strings));
}

}  // namespace Veltro::Internal
