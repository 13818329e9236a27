#pragma once

#include <string_view>

#include "collector/answer.h"
#include "collector/query.h"
#include "collector/rules.h"

namespace Veltro::Collector {

/// The content server's answer to a request with these parameters and this Cookie header: the
/// content of the location that "mbox" names, empty for an unknown one, and those of the cookies
/// mboxPC and mboxSession that the client does not have. Status 400 when a parameter of such a name
/// is not what the cookie says; the body tells why.
Answer AnswerContent(const ContentRules& rules, const Parameters& parameters,
                     std::string_view cookieHeader);

}  // namespace Veltro::Collector
