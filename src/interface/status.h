// The status codes of the public header under their public names, for the rooms behind the interface.
#pragma once

#include "vyr.h"

namespace vyr {

/// 0 or one of the negative VYR_ERR_ codes of the public header, which lists every code with its meaning.
using Status = int;

} // namespace vyr
