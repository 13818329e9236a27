#include "platform/linux/debug_output_linux.h"

#include <unistd.h>

#include "platform/linux/posix_file.h"

namespace Veltro::Internal {
namespace {

void WriteToStandardError(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count =
        Uninterrupted([&] { return write(STDERR_FILENO, bytes.data(), bytes.size()); });
    if (count <= 0) return;  // nobody is left to be told
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace

void DebugOutputLinux::WriteLine(std::string_view line) noexcept {
  if (!sink_) return WriteToStandardError(line);
  if (line.ends_with('\n')) line.remove_suffix(1);
  try {
    sink_(line);
  } catch (...) {  // the host's trouble must not become ours
  }
}

}  // namespace Veltro::Internal
