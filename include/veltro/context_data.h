#pragma once

#include <map>
#include <string>

#include "veltro/value.h"

namespace Veltro {

/// What an application tells about a state or an action: keys with values, all UTF-8. Dots in keys
/// make levels. Characters of a key other than letters, digits, "_" and "." are removed; a key
/// longer than two characters that begins with "&&" sets a variable of the hit instead, such as
/// "&&products".
using ContextData = std::map<std::string, Value>;

}  // namespace Veltro
