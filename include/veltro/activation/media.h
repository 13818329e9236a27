#pragma once

#include <cstdint>

#include "veltro/activation/basics.h"
#include "veltro/activation/collections.h"
#include "veltro/activation/objects.h"
#include "veltro/activation/strings.h"

namespace Veltro::Abi {

/// "Veltro.__IMediaSettingsPublicNonVirtuals", the properties of the class "Veltro.MediaSettings";
/// they mean what those of `Veltro::MediaSettings` mean, defaults included. Clients may have
/// the library's class activated, or bring their own.
struct IMediaSettings : IInspectable {
  virtual HRESULT get_Name(HSTRING* value) noexcept = 0;
  virtual HRESULT put_Name(HSTRING value) noexcept = 0;
  virtual HRESULT get_PlayerName(HSTRING* value) noexcept = 0;
  virtual HRESULT put_PlayerName(HSTRING value) noexcept = 0;
  virtual HRESULT get_PlayerId(HSTRING* value) noexcept = 0;
  virtual HRESULT put_PlayerId(HSTRING value) noexcept = 0;
  virtual HRESULT get_Length(double* value) noexcept = 0;
  virtual HRESULT put_Length(double value) noexcept = 0;
  virtual HRESULT get_Channel(HSTRING* value) noexcept = 0;
  virtual HRESULT put_Channel(HSTRING value) noexcept = 0;
  virtual HRESULT get_Milestones(HSTRING* value) noexcept = 0;
  virtual HRESULT put_Milestones(HSTRING value) noexcept = 0;
  virtual HRESULT get_OffsetMilestones(HSTRING* value) noexcept = 0;
  virtual HRESULT put_OffsetMilestones(HSTRING value) noexcept = 0;
  virtual HRESULT get_SegmentByMilestones(BOOLEAN* value) noexcept = 0;
  virtual HRESULT put_SegmentByMilestones(BOOLEAN value) noexcept = 0;
  virtual HRESULT get_SegmentByOffsetMilestones(BOOLEAN* value) noexcept = 0;
  virtual HRESULT put_SegmentByOffsetMilestones(BOOLEAN value) noexcept = 0;
  virtual HRESULT get_TrackSeconds(std::int32_t* value) noexcept = 0;
  virtual HRESULT put_TrackSeconds(std::int32_t value) noexcept = 0;
  virtual HRESULT get_CompleteCloseOffsetThreshold(std::int32_t* value) noexcept = 0;
  virtual HRESULT put_CompleteCloseOffsetThreshold(std::int32_t value) noexcept = 0;
  virtual HRESULT get_ParentName(HSTRING* value) noexcept = 0;
  virtual HRESULT put_ParentName(HSTRING value) noexcept = 0;
  virtual HRESULT get_ParentPod(HSTRING* value) noexcept = 0;
  virtual HRESULT put_ParentPod(HSTRING value) noexcept = 0;
  virtual HRESULT get_CPM(HSTRING* value) noexcept = 0;
  virtual HRESULT put_CPM(HSTRING value) noexcept = 0;
  virtual HRESULT get_ParentPodPosition(double* value) noexcept = 0;
  virtual HRESULT put_ParentPodPosition(double value) noexcept = 0;
  virtual HRESULT get_IsMediaAd(BOOLEAN* value) noexcept = 0;
  virtual HRESULT put_IsMediaAd(BOOLEAN value) noexcept = 0;
};
template <>
inline constexpr GUID kIid<IMediaSettings>{
    0xA153E24C, 0x8DA2, 0x5BAD, {0xA5, 0x03, 0xC2, 0x5E, 0x3A, 0x68, 0x98, 0xC5}};

/// "Veltro.__IMediaStatics", the operations of the class "Veltro.Media"; they mean what those of
/// `Veltro::Media` mean. Settings and map may be null, and are read before the function returns.
struct IMediaStatics : IInspectable {
  virtual HRESULT Open(IMediaSettings* settings) noexcept = 0;
  virtual HRESULT Close(HSTRING name) noexcept = 0;
  virtual HRESULT Play(HSTRING name, double offset) noexcept = 0;
  virtual HRESULT Complete(HSTRING name, double offset) noexcept = 0;
  virtual HRESULT Stop(HSTRING name, double offset) noexcept = 0;
  virtual HRESULT Click(HSTRING name, double offset) noexcept = 0;
  virtual HRESULT Track(HSTRING name, ContextMap* data) noexcept = 0;
};
template <>
inline constexpr GUID kIid<IMediaStatics>{
    0xAFF15DC3, 0x551F, 0x5329, {0x9D, 0x30, 0x2C, 0xDC, 0x83, 0x8F, 0x9B, 0xE2}};

}  // namespace Veltro::Abi
