#pragma once

namespace Veltro::Internal {

/// Leaves the application's signals to its own threads, and keeps a broken connection or pipe from
/// raising SIGPIPE. What reports a crash of the calling thread itself stays open.
void BlockSignals();

}  // namespace Veltro::Internal
