#include "veltro/host.h"

#include <utility>

#include "api/entry.h"
#include "api/host_options.h"
#include "api/runtime.h"

namespace Veltro {

using namespace Internal;

bool Host::Configure(Options options) {
  bool accepted = false;
  Enter([&] { accepted = SetHostOptions(std::move(options)); });
  return accepted;
}

void Host::SetWindowSize(double width, double height) {
  Enter([&] { SetHostWindow({width, height}); });
}

Host::FlushResult Host::Flush(std::chrono::milliseconds deadline) {
  FlushResult result = FlushResult::TimedOut;
  Enter([&] {
    switch (Runtime::Current().Flush(deadline)) {
      case HitSender::DrainResult::Done:
        result = FlushResult::Done;
        break;
      case HitSender::DrainResult::TimedOut:
        break;
      case HitSender::DrainResult::Offline:
        result = FlushResult::Offline;
        break;
      case HitSender::DrainResult::NotAllowed:
        result = FlushResult::NotAllowed;
        break;
    }
  });
  return result;
}

AsyncOperation<bool> Host::Purge() {
  return Ask(false, [](Runtime& runtime) { return runtime.Purge(); });
}

}  // namespace Veltro
