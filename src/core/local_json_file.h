#pragma once

#include <string>
#include <string_view>

#include "platform/local_folder.h"

namespace Veltro::Internal {

/// Files of the local folder that hold one small JSON document each and are read and written whole.
/// Knows nothing of what they say. Callers see to it that one file has one user at a time.

/// The file's text, UTF-8. A file that is missing is created empty. Throws `PlatformError` when the
/// system refuses.
std::string ReadLocalJsonFile(LocalFolder& folder, std::string_view name);

/// Replaces the file's text: whoever reads finds the old or the new one whole, also after a loss of
/// power. Throws `PlatformError` when the system refuses; the file is as it was then.
void WriteLocalJsonFile(LocalFolder& folder, std::string_view name, std::string_view text);

}  // namespace Veltro::Internal
