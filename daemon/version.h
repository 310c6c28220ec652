// The version of the daemon: that of the library's SONAME.
#pragma once

namespace qel::daemon {

inline constexpr char kVersion[] = "1.0";

}  // namespace qel::daemon
