#include "api/activation_media_settings.h"

#include <cstdint>
#include <mutex>
#include <string_view>

#include "api/activation_factory.h"
#include "api/activation_object.h"
#include "api/activation_reference.h"
#include "base/utf.h"

namespace Veltro::Internal {
namespace {

using Abi::BOOLEAN;
using Abi::HRESULT;
using Abi::HSTRING;
using Abi::IMediaSettings;

constexpr std::u16string_view kClassName = u"Veltro.MediaSettings";

/// The two functions of a property.
// NOLINTBEGIN(bugprone-macro-parentheses): a type cannot stand in parentheses
#define PROPERTY(Type, Name)                                                                     \
  HRESULT get_##Name(Type* value) noexcept override { return Get(&MediaSettings::Name, value); } \
  HRESULT put_##Name(Type value) noexcept override { return Put(&MediaSettings::Name, value); }
// NOLINTEND(bugprone-macro-parentheses)

class SettingsObject final : public ActivationObject<IMediaSettings> {
 public:
  PROPERTY(HSTRING, Name)
  PROPERTY(HSTRING, PlayerName)
  PROPERTY(HSTRING, PlayerId)
  PROPERTY(double, Length)
  PROPERTY(HSTRING, Channel)
  PROPERTY(HSTRING, Milestones)
  PROPERTY(HSTRING, OffsetMilestones)
  PROPERTY(BOOLEAN, SegmentByMilestones)
  PROPERTY(BOOLEAN, SegmentByOffsetMilestones)
  PROPERTY(std::int32_t, TrackSeconds)
  PROPERTY(std::int32_t, CompleteCloseOffsetThreshold)
  PROPERTY(HSTRING, ParentName)
  PROPERTY(HSTRING, ParentPod)
  PROPERTY(HSTRING, CPM)
  PROPERTY(double, ParentPodPosition)
  PROPERTY(BOOLEAN, IsMediaAd)

 private:
  std::u16string_view ClassName() const noexcept override { return kClassName; }

  HRESULT Get(std::string MediaSettings::*property, HSTRING* value) noexcept {
    return Guarded([&] {
      const std::lock_guard lock(mutex_);
      return Abi::CreateString(ToUtf16(settings_.*property), value);
    });
  }

  template <class Property, class Result>
  HRESULT Get(Property MediaSettings::*property, Result* value) noexcept {
    return Deliver(value, [&] {
      const std::lock_guard lock(mutex_);
      return static_cast<Result>(settings_.*property);
    });
  }

  HRESULT Put(std::string MediaSettings::*property, HSTRING value) noexcept {
    return Perform([&] {
      std::string text = Utf8Of(value);
      const std::lock_guard lock(mutex_);
      (settings_.*property).swap(text);
    });
  }

  template <class Property, class Argument>
  HRESULT Put(Property MediaSettings::*property, Argument value) noexcept {
    const std::lock_guard lock(mutex_);
    settings_.*property = static_cast<Property>(value);
    return Abi::kOk;
  }

  std::mutex mutex_;
  MediaSettings settings_;
};

#undef PROPERTY

Abi::IInspectable* MakeSettings() { return new SettingsObject; }

class SettingsFactory final : public ActivationObject<Abi::IActivationFactory> {
 public:
  HRESULT ActivateInstance(Abi::IInspectable** instance) noexcept override {
    return Deliver(instance, MakeSettings);
  }

 private:
  std::u16string_view ClassName() const noexcept override { return kClassName; }
};

/// Reads a property into `value`, which keeps its default when the object fails to give it.
template <class Property, class Result>
void Read(IMediaSettings& settings, HRESULT (IMediaSettings::*getter)(Result*) noexcept,
          Property& value) {
  Result result{};
  if ((settings.*getter)(&result) >= 0) value = static_cast<Property>(result);
}

void Read(IMediaSettings& settings, HRESULT (IMediaSettings::*getter)(HSTRING*) noexcept,
          std::string& value) {
  ReceivedString text;
  if ((settings.*getter)(text.Receive()) >= 0) value = ToUtf8(text.View());
}

}  // namespace

MediaSettings ReadMediaSettings(IMediaSettings* settings) {
  MediaSettings read;
  if (settings == nullptr) return read;
  Read(*settings, &IMediaSettings::get_Name, read.Name);
  Read(*settings, &IMediaSettings::get_PlayerName, read.PlayerName);
  Read(*settings, &IMediaSettings::get_PlayerId, read.PlayerId);
  Read(*settings, &IMediaSettings::get_Length, read.Length);
  Read(*settings, &IMediaSettings::get_Channel, read.Channel);
  Read(*settings, &IMediaSettings::get_Milestones, read.Milestones);
  Read(*settings, &IMediaSettings::get_OffsetMilestones, read.OffsetMilestones);
  Read(*settings, &IMediaSettings::get_SegmentByMilestones, read.SegmentByMilestones);
  Read(*settings, &IMediaSettings::get_SegmentByOffsetMilestones, read.SegmentByOffsetMilestones);
  Read(*settings, &IMediaSettings::get_TrackSeconds, read.TrackSeconds);
  Read(*settings, &IMediaSettings::get_CompleteCloseOffsetThreshold,
       read.CompleteCloseOffsetThreshold);
  Read(*settings, &IMediaSettings::get_ParentName, read.ParentName);
  Read(*settings, &IMediaSettings::get_ParentPod, read.ParentPod);
  Read(*settings, &IMediaSettings::get_CPM, read.CPM);
  Read(*settings, &IMediaSettings::get_ParentPodPosition, read.ParentPodPosition);
  Read(*settings, &IMediaSettings::get_IsMediaAd, read.IsMediaAd);
  return read;
}

Abi::IActivationFactory* MakeMediaSettingsFactory() { return new SettingsFactory; }

}  // namespace Veltro::Internal
