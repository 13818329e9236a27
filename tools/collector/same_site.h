#pragma once

#include <httplib.h>

namespace Veltro::Collector {

/// `handler` for requests to this machine that come from no page but the collector's own; the
/// others are refused with status 403. Without it, any page in a browser could read what was
/// received (under a name of its own that leads here), or change faults.
httplib::Server::Handler ForOwnPage(httplib::Server::Handler handler);

}  // namespace Veltro::Collector
