#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/activation_client.h"
#include "support/check.h"
#include "support/script.h"
#include "veltro/activation.h"

namespace Veltro::Internal::Fuzz {

inline void Done(Abi::HRESULT result) { Require(result == Abi::kOk, "a call failed"); }

/// A string of a client's; the empty one is null.
class Handle {
 public:
  explicit Handle(std::u16string units) : text_{std::move(units)} {}
  operator Abi::HSTRING() { return text_.units.empty() ? nullptr : &text_.header; }

 private:
  Abi::Testing::Text text_;
};

/// A map of a client's with the entries that the arguments name, or null when they name none.
class Data {
 public:
  explicit Data(Arguments& arguments) {
    auto fault = Abi::Testing::Fault::None;
    auto entries = arguments.Entries(fault);
    if (!entries.empty()) map_.emplace(std::move(entries), fault);
  }
  operator Abi::ContextMap*() { return map_ ? &*map_ : nullptr; }

 private:
  std::optional<Abi::Testing::Map> map_;
};

/// A request of a client's, or its map alone. Null when there are no entries.
class ClientRequest {
 public:
  explicit ClientRequest(Arguments& arguments) {
    auto fault = Abi::Testing::Fault::None;
    auto entries = arguments.Entries(fault);
    if (!entries.empty()) request_.emplace(u"default", std::move(entries), fault);
  }
  operator Abi::ITargetLocationRequest*() { return request_ ? &*request_ : nullptr; }
  Abi::StringMapInterface* Parameters() { return request_ ? request_->Parameters() : nullptr; }

 private:
  std::optional<Abi::Testing::Request> request_;
};

/// An operation that has begun. It ends once, with a result, whatever else happens.
class Operation {
 public:
  virtual ~Operation() = default;
  virtual void CheckEnd() = 0;
};

template <class T>
class OperationOf final : public Operation {
 public:
  explicit OperationOf(Abi::IAsyncOperation<T>* operation) : operation_(operation) {
    Done(operation->put_Completed(&handler_));
  }

  void CheckEnd() override {
    typename Abi::ResultType<T>::Type result{};
    Require(operation_->GetResults(&result) == Abi::kOk && handler_.calls == 1,
            "an operation has not ended once");
    if constexpr (std::is_same_v<T, Abi::HSTRING>) Abi::DeleteString(result);
    if constexpr (std::is_same_v<T, Abi::StringMapView*>) {
      if (result != nullptr) result->Release();
    }
  }

 private:
  struct Handler final : Abi::Testing::Counted<Abi::IAsyncOperationCompletedHandler<T>> {
    Abi::HRESULT Invoke(Abi::IAsyncOperation<T>*, Abi::AsyncStatus) noexcept override {
      ++calls;
      return Abi::kOk;
    }
    std::atomic<int> calls = 0;
  };

  Handler handler_;
  const Abi::Testing::Owned<Abi::IAsyncOperation<T>> operation_;
};

/// The class's object that a client works with: its statics, or a fresh instance.
template <class Interface>
Abi::Testing::Owned<Interface> Activate(const char16_t* name) {
  Abi::IActivationFactory* factory = nullptr;
  Done(DllGetActivationFactory(Abi::Testing::Text{name}, &factory));
  const Abi::Testing::Owned<Abi::IActivationFactory> owned(factory);
  Abi::IInspectable* instance = nullptr;
  if (factory->ActivateInstance(&instance) != Abi::kOk) {
    return Abi::Testing::As<Interface>(factory);
  }
  return Abi::Testing::As<Interface>(Abi::Testing::Owned<Abi::IInspectable>(instance).get());
}

/// A client that has one object of each class.
class Client {
 public:
  using Pairs = std::map<std::string, std::string>;

  /// Keeps the operation that `begin` begins.
  template <class T, class Begin>
  void Keep(Begin begin) {
    Abi::IAsyncOperation<T>* operation = nullptr;
    Done(begin(&operation));
    operations_.push_back(std::make_unique<OperationOf<T>>(operation));
  }

  void Insert(const std::u16string& key, const std::u16string& value);
  void Remove(const std::u16string& key);
  void Clear();

  /// Requires that the pairs of the request are those that were put there.
  void CheckPairs();

  /// Has the library make a request, for an order or not, and loads it.
  void LoadCreated(Arguments& arguments, bool isOrder);

  /// Changes the settings of the media to come.
  void PutText(Arguments& arguments);
  void PutNumbers(Arguments& arguments);

  /// Asks all questions that are answered at once.
  void ReadAnswers();

  /// Asks for the factory of a class that there may not be.
  void GetFactory(const std::u16string& name);

  /// Requires that all operations have ended. Only when the library has.
  void CheckOperations();

  const Abi::Testing::Owned<Abi::IConfigStatics> config =
      Activate<Abi::IConfigStatics>(u"Veltro.Config");
  const Abi::Testing::Owned<Abi::IAnalyticsStatics> analytics =
      Activate<Abi::IAnalyticsStatics>(u"Veltro.Analytics");
  const Abi::Testing::Owned<Abi::IAudienceManagerStatics> audience =
      Activate<Abi::IAudienceManagerStatics>(u"Veltro.AudienceManager");
  const Abi::Testing::Owned<Abi::ITargetStatics> target =
      Activate<Abi::ITargetStatics>(u"Veltro.Target");
  const Abi::Testing::Owned<Abi::IMediaStatics> media =
      Activate<Abi::IMediaStatics>(u"Veltro.Media");
  const Abi::Testing::Owned<Abi::IMediaSettings> settings =
      Activate<Abi::IMediaSettings>(u"Veltro.MediaSettings");
  const Abi::Testing::Owned<Abi::ITargetLocationRequest> request =
      Activate<Abi::ITargetLocationRequest>(u"Veltro.TargetLocationRequest");

 private:
  Abi::Testing::Owned<Abi::StringMapInterface> Map();

  Pairs pairs_;
  std::vector<std::unique_ptr<Operation>> operations_;
};

}  // namespace Veltro::Internal::Fuzz
