// Strings and names of the framework.
#pragma once

#include <string>

namespace Orv {

using String = std::string;  // attribute strings
using Name = std::string;    // entity names

}  // namespace Orv
