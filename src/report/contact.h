// Who made the library and where its users find help.
#pragma once

namespace vyr {

inline constexpr const char* COPYRIGHT_NOTICE = "Copyright (c) 2026, the VYR authors";
inline constexpr const char* SUPPORT_ADDRESS = "support@vyr.example";

} // namespace vyr
