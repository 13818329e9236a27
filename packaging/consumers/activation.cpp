// activation STATE: tracks a state through the binary interface of a library that it does not link.

#include "veltro/activation.h"

#include <dlfcn.h>

#include <chrono>
#include <iostream>
#include <string>
#include <thread>

namespace {

using namespace Veltro::Abi;

IAnalyticsStatics* LoadAnalytics() {
  void* const library = dlopen("libveltro.so.4", RTLD_NOW | RTLD_LOCAL);
  void* const entry = library == nullptr ? nullptr : dlsym(library, "DllGetActivationFactory");
  if (entry == nullptr) {
    std::cerr << dlerror() << std::endl;
    return nullptr;
  }
  HSTRING name = nullptr;
  IActivationFactory* factory = nullptr;
  void* statics = nullptr;
  if (CreateString(u"Veltro.Analytics", &name) != kOk) return nullptr;
  if (reinterpret_cast<decltype(&DllGetActivationFactory)>(entry)(name, &factory) == kOk) {
    factory->QueryInterface(kIid<IAnalyticsStatics>, &statics);
    factory->Release();
  }
  DeleteString(name);
  return static_cast<IAnalyticsStatics*>(statics);
}

bool WaitUntilSent(IAnalyticsStatics* analytics) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (std::int32_t waiting = 1; std::chrono::steady_clock::now() < end;) {
    if (analytics->GetTrackingQueueSize(&waiting) != kOk) return false;
    if (waiting == 0) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  IAnalyticsStatics* const analytics = argc == 2 ? LoadAnalytics() : nullptr;
  if (analytics == nullptr) return 2;
  const std::string name = argv[1];
  HSTRING state = nullptr;
  const bool isTracked = CreateString(std::u16string(name.begin(), name.end()), &state) == kOk &&
                         analytics->TrackState(state, nullptr) == kOk;
  DeleteString(state);
  const bool isSent = isTracked && WaitUntilSent(analytics);
  analytics->Release();
  return isSent ? 0 : 1;
}
