// Draws what a screenshot of the played browser shows.
#pragma once

#include "png.h"

#include <string>

namespace kxsim {

// The page alone, 320 by 240, white; or the page inside a browser window with tabs and an address bar, 360 by
// 320, framed in blue for Chrome and orange for Firefox.
Picture drawPage();
Picture drawBrowser(const std::string& browserType);

}  // namespace kxsim
