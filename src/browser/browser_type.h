// The browser types that hosts name. Any other text is accepted by an instance and matches neither.
#pragma once

namespace kx {

inline constexpr char kFirefox[] = "fx";
inline constexpr char kChrome[] = "cr";

}  // namespace kx
