// Tracks one state, whose name it is given; ends with status 0 when that is delivered. Every
// consumer that links the library is built from this file, as a program or as a plug-in.

#include <chrono>

#include "veltro/veltro.h"

extern "C" int Hello(const char* state) {
  Veltro::Analytics::TrackState(state, {{"greeting", "hello"}});
  const auto result = Veltro::Host::Flush(std::chrono::seconds(10));
  return result == Veltro::Host::FlushResult::Done ? 0 : 1;
}

int main(int argc, char** argv) { return argc == 2 ? Hello(argv[1]) : 2; }
