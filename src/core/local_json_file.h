#pragma once

#include <string>
#include <string_view>

#include "platform/local_folder.h"

namespace Veltro::Internal {

/// The whole text of a file in the local folder. A file that is not there is created empty, and an
/// empty text returned. Throws `PlatformError`.
std::string ReadLocalJsonFile(LocalFolder& folder, std::string_view name);

/// Makes `text` the whole contents of a file in the local folder: afterwards, and after a crash in
/// between, the file holds either all of the old text or all of the new. Throws `PlatformError`.
void WriteLocalJsonFile(LocalFolder& folder, std::string_view name, std::string_view text);

}  // namespace Veltro::Internal
