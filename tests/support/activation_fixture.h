#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

#include "support/activation_client.h"
#include "support/temporary_folder.h"

namespace Veltro::Abi::Testing {

inline bool WaitUntil(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (; !condition(); std::this_thread::yield()) {
    if (std::chrono::steady_clock::now() > end) return false;
  }
  return true;
}

/// The library as a foreign client has it, with a folder for its package and data. It reads its
/// configuration once in a process.
class ActivationFixture : public testing::Test {
 protected:
  static void Open(const char* configuration) {
    if (folder_ != nullptr) return;
    folder_ = std::make_unique<Internal::Testing::TemporaryFolder>();
    std::ofstream(folder_->Path() / "VeltroConfig.json") << configuration;
    setenv("VELTRO_PACKAGE_DIR", folder_->Path().c_str(), 1);
    setenv("VELTRO_DATA_DIR", folder_->Path().c_str(), 1);
    void* const library = dlopen(VELTRO_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    factory_ = reinterpret_cast<decltype(factory_)>(dlsym(library, "DllGetActivationFactory"));
    canUnload_ = reinterpret_cast<decltype(canUnload_)>(dlsym(library, "DllCanUnloadNow"));
  }

  void TearDown() override {
    EXPECT_EQ(canUnload_(), 1);
    EXPECT_EQ(config_->Release(), 0U);
    EXPECT_EQ(analytics_->Release(), 0U);
    EXPECT_EQ(audience_->Release(), 0U);
    EXPECT_EQ(target_->Release(), 0U);
    EXPECT_EQ(media_->Release(), 0U);
    EXPECT_TRUE(WaitUntil([] { return canUnload_() == 0; })) << "an object was never released";
  }

  template <class Statics>
  static Statics* Get(const char16_t* name) {
    IActivationFactory* factory = nullptr;
    void* statics = nullptr;
    HSTRING className = nullptr;
    EXPECT_EQ(factory_(Text{name}, &factory), kOk);
    EXPECT_EQ(factory->GetRuntimeClassName(&className), kOk);
    EXPECT_EQ(Take(className), name);
    EXPECT_EQ(factory->QueryInterface(kIid<Statics>, &statics), kOk);
    EXPECT_EQ(factory->Release(), 1U);
    return static_cast<Statics*>(statics);
  }

  static inline std::unique_ptr<Internal::Testing::TemporaryFolder> folder_;
  static inline decltype(&DllGetActivationFactory) factory_ = nullptr;
  static inline decltype(&DllCanUnloadNow) canUnload_ = nullptr;
  IConfigStatics* const config_ = Get<IConfigStatics>(u"Veltro.Config");
  IAnalyticsStatics* const analytics_ = Get<IAnalyticsStatics>(u"Veltro.Analytics");
  IAudienceManagerStatics* const audience_ =
      Get<IAudienceManagerStatics>(u"Veltro.AudienceManager");
  ITargetStatics* const target_ = Get<ITargetStatics>(u"Veltro.Target");
  IMediaStatics* const media_ = Get<IMediaStatics>(u"Veltro.Media");
};

}  // namespace Veltro::Abi::Testing
