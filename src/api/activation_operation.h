#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string_view>
#include <utility>

#include "api/activation_object.h"
#include "api/activation_operation_result.h"
#include "api/activation_reference.h"
#include "veltro/async_operation.h"

namespace Veltro::Internal {

/// A number for each operation, never 0.
std::uint32_t NextOperationId() noexcept;

/// An `AsyncOperation` of the C++ surface as an object of the binary interface.
template <class T>
class ActivationOperation final
    : public ActivationObject<Abi::IAsyncOperation<T>, Abi::IAsyncInfo> {
 public:
  using Handler = Abi::IAsyncOperationCompletedHandler<T>;
  using Source = typename OperationResult<T>::Source;

  /// A new object for `operation`, which keeps itself alive until the result arrives.
  static Abi::IAsyncOperation<T>* Make(const AsyncOperation<Source>& operation) {
    auto self = Reference<ActivationOperation>::Adopt(new ActivationOperation(operation));
    operation.Completed([self](const Source&) { self->Finish(); });
    return self.Detach();
  }

  Abi::HRESULT put_Completed(Handler* handler) noexcept override {
    {
      const std::lock_guard lock(mutex_);
      if (std::exchange(isHandlerAssigned_, true)) return Abi::kIllegalDelegateAssignment;
      if (!isFinished_) {
        handler_ = Reference<Handler>::Share(handler);
        return Abi::kOk;
      }
    }
    Call(handler);
    return Abi::kOk;
  }

  Abi::HRESULT get_Completed(Handler** handler) noexcept override {
    if (handler == nullptr) return Abi::kNullPointer;
    const std::lock_guard lock(mutex_);
    *handler = Reference<Handler>(handler_).Detach();
    return Abi::kOk;
  }

  Abi::HRESULT GetResults(typename Abi::ResultType<T>::Type* result) noexcept override {
    if (result == nullptr) return Abi::kNullPointer;
    *result = {};
    if (!IsFinished()) return Abi::kIllegalMethodCall;
    return Guarded([&] { return OperationResult<T>::Convert(operation_.Get(), result); });
  }

  Abi::HRESULT get_Id(std::uint32_t* id) noexcept override {
    if (id == nullptr) return Abi::kNullPointer;
    *id = id_;
    return Abi::kOk;
  }

  Abi::HRESULT get_Status(Abi::AsyncStatus* status) noexcept override {
    if (status == nullptr) return Abi::kNullPointer;
    *status = IsFinished() ? Abi::AsyncStatus::Completed : Abi::AsyncStatus::Started;
    return Abi::kOk;
  }

  Abi::HRESULT get_ErrorCode(Abi::HRESULT* code) noexcept override {
    if (code == nullptr) return Abi::kNullPointer;
    *code = Abi::kOk;
    return Abi::kOk;
  }

  Abi::HRESULT Cancel() noexcept override { return Abi::kOk; }

  Abi::HRESULT Close() noexcept override {
    return IsFinished() ? Abi::kOk : Abi::kIllegalStateChange;
  }

 private:
  explicit ActivationOperation(const AsyncOperation<Source>& operation) : operation_(operation) {}

  std::u16string_view ClassName() const noexcept override { return OperationResult<T>::kClassName; }

  bool IsFinished() {
    const std::lock_guard lock(mutex_);
    return isFinished_;
  }

  /// Lets go of the handler, too: it may hold on to this object.
  void Finish() {
    Reference<Handler> handler;
    {
      const std::lock_guard lock(mutex_);
      isFinished_ = true;
      handler = std::move(handler_);
    }
    Call(handler.Get());
  }

  void Call(Handler* handler) {
    if (handler != nullptr) handler->Invoke(this, Abi::AsyncStatus::Completed);
  }

  const AsyncOperation<Source> operation_;
  const std::uint32_t id_ = NextOperationId();
  std::mutex mutex_;
  bool isHandlerAssigned_ = false;
  bool isFinished_ = false;
  Reference<Handler> handler_;
};

}  // namespace Veltro::Internal
