#include "veltro/media.h"

#include "api/calls.h"
#include "api/context_data_conversion.h"
#include "api/entry.h"
#include "base/utf.h"

namespace Veltro {

using namespace Internal;

void Media::Open(const MediaSettings& settings) {
  Enter([&] { OpenMedia(settings); });
}

void Media::Close(std::string_view name) {
  Enter([&] { CloseMedia(ToUtf16(name)); });
}

void Media::Play(std::string_view name, double offset) {
  Enter([&] { PostMediaReport(MediaEvent::Play, ToUtf16(name), offset); });
}

void Media::Complete(std::string_view name, double offset) {
  Enter([&] { PostMediaReport(MediaEvent::Complete, ToUtf16(name), offset); });
}

void Media::Stop(std::string_view name, double offset) {
  Enter([&] { PostMediaReport(MediaEvent::Stop, ToUtf16(name), offset); });
}

void Media::Click(std::string_view name, double offset) {
  Enter([&] { PostMediaReport(MediaEvent::Click, ToUtf16(name), offset); });
}

void Media::Track(std::string_view name, const ContextData& data) {
  Enter([&] { PostMediaTrack(ToUtf16(name), ContextDataCopy(data)); });
}

}  // namespace Veltro
