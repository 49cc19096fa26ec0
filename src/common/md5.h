// The MD5 message digest (RFC 1321). It only makes names here: of the runner pipe and of the start page.
// Nothing relies on it for security.
#pragma once

#include <string>
#include <string_view>

namespace kx {

// The digest of the bytes as 32 lower-case hexadecimal digits.
std::string md5Hex(std::string_view bytes);

}  // namespace kx
