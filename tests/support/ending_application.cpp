// An application that tracks fifty pages and then ends in the way that its argument names. It opens
// the library as a plug-in host does.

#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

#include "veltro/activation.h"

namespace {

using namespace Veltro::Abi;

IAnalyticsStatics* analytics = nullptr;

void Track(std::u16string_view page) {
  HSTRING name = nullptr;
  CreateString(page, &name);
  analytics->TrackState(name, nullptr);
  DeleteString(name);
}

void* OpenLibrary() {
  void* const library = dlopen(VELTRO_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) _exit(3);
  const auto activate = reinterpret_cast<decltype(&DllGetActivationFactory)>(
      dlsym(library, "DllGetActivationFactory"));
  HSTRING name = nullptr;
  CreateString(u"Veltro.Analytics", &name);
  IActivationFactory* factory = nullptr;
  void* statics = nullptr;
  activate(name, &factory);
  factory->QueryInterface(kIid<IAnalyticsStatics>, &statics);
  DeleteString(name);
  analytics = static_cast<IAnalyticsStatics*>(statics);
  return library;
}

/// Goes down after everything that was made later, the library's part in it included.
struct Last {
  bool tracks = false;
  ~Last() {
    if (tracks) Track(u"static destructor");
  }
} last;

}  // namespace

int main(int, char** arguments) {
  const std::string_view way = arguments[1];
  if (way == "handlers") {
    last.tracks = true;
    std::atexit([] { Track(u"exit handler"); });
  }
  void* const library = OpenLibrary();
  for (int page = 0; page < 50; ++page) Track(u"page");
  if (way == "thread") {
    static std::atomic<bool> isRunning{false};
    std::thread([] {
      for (isRunning = true;; usleep(100)) Track(u"more");
    }).detach();
    while (!isRunning) std::this_thread::yield();
  }
  if (write(STDOUT_FILENO, "e", 1) != 1) _exit(3);
  if (way == "waiting" && read(STDIN_FILENO, arguments[0], 1) != 0) return 3;
  if (way == "exit") std::exit(0);
  if (way == "quick_exit") std::quick_exit(0);
  if (way == "SIGTERM") raise(SIGTERM);
  if (way == "dlclose") dlclose(library);
  return 0;
}
