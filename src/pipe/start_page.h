// The first page that a started browser opens. Its location tells the extension which pipe to serve. Unless
// the host names a page of its own, the page is a small file in the TEMP folder; it is rewritten each time
// and never deleted.
#pragma once

#include <string>

namespace kx {

// The path of the generated page: TEMP, a backslash, the stem and ".html". An absent TEMP counts as empty.
std::string startPagePath(const std::string& stem);

// The page's location with the pipe as its query, or the empty text when the page could not be written. The
// host's page may be null or empty. Nothing is escaped: the extension takes the bytes behind "?pipe=" as they
// are.
std::string startPageUrl(const std::string& stem, const std::string& pipe, const char* hostPage);

}  // namespace kx
