#pragma once

#include <string_view>

#include "collector/http_server.h"

namespace Veltro::Collector {

/// The file of this name in the folder page, which is part of the program; empty when there is
/// none.
std::string_view PageFile(std::string_view name);

/// Registers the live page, / and /page/NAME.
void AddPageRoutes(HttpServer& server);

}  // namespace Veltro::Collector
