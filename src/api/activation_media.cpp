#include <string_view>

#include "api/activation_context_data.h"
#include "api/activation_factory.h"
#include "api/activation_media_settings.h"
#include "api/calls.h"

namespace Veltro::Internal {
namespace {

class MediaFactory final : public StaticsFactory<Abi::IMediaStatics> {
 public:
  Abi::HRESULT Open(Abi::IMediaSettings* settings) noexcept override {
    return Perform([&] { OpenMedia(ReadMediaSettings(settings)); });
  }

  Abi::HRESULT Close(Abi::HSTRING name) noexcept override {
    return Perform([&] { CloseMedia(TextOf(name)); });
  }

  Abi::HRESULT Play(Abi::HSTRING name, double offset) noexcept override {
    return Report(MediaEvent::Play, name, offset);
  }

  Abi::HRESULT Complete(Abi::HSTRING name, double offset) noexcept override {
    return Report(MediaEvent::Complete, name, offset);
  }

  Abi::HRESULT Stop(Abi::HSTRING name, double offset) noexcept override {
    return Report(MediaEvent::Stop, name, offset);
  }

  Abi::HRESULT Click(Abi::HSTRING name, double offset) noexcept override {
    return Report(MediaEvent::Click, name, offset);
  }

  Abi::HRESULT Track(Abi::HSTRING name, Abi::ContextMap* data) noexcept override {
    return Perform([&] { PostMediaTrack(TextOf(name), ReadContextData(data)); });
  }

 private:
  static Abi::HRESULT Report(MediaEvent event, Abi::HSTRING name, double offset) noexcept {
    return Perform([&] { PostMediaReport(event, TextOf(name), offset); });
  }

  std::u16string_view ClassName() const noexcept override { return u"Veltro.Media"; }
};

}  // namespace

Abi::IActivationFactory* MakeMediaFactory() { return new MediaFactory; }

}  // namespace Veltro::Internal
