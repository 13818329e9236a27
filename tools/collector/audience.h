#pragma once

#include <string>

#include "collector/answer.h"
#include "collector/query.h"
#include "collector/rules.h"

namespace Veltro::Collector {

/// The audience server's answer to an event with these parameters: a JSON object with "uuid",
/// "stuff" (segments) and "dests" (destinations) of all rules that apply, in order; without those
/// of them that are empty. `host` is the host and port that destinations call "SELF".
Answer AnswerEvent(const AudienceRules& rules, const Parameters& parameters,
                   const std::string& host);

}  // namespace Veltro::Collector
