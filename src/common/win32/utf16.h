// Conversion between the library's texts (UTF-8) and those of the wide Windows calls. Bytes that are no UTF-8
// become the replacement character; nothing fails. Both keep the thread's last error.
#pragma once

#include <string>
#include <string_view>

namespace kx {

std::wstring utf16FromUtf8(std::string_view text);
std::string utf8FromUtf16(std::wstring_view text);

}  // namespace kx
