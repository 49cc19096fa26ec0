// JSON as this program writes it: members in the order in which they were put in, and always valid UTF-8,
// whatever bytes a browser has sent.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace kx::cli {

using Json = nlohmann::ordered_json;

inline constexpr int kReadable = 2;
inline constexpr int kOneLine = -1;

inline std::string jsonText(const Json& value, int indentation) {
  return value.dump(indentation, ' ', false, Json::error_handler_t::replace);
}

}  // namespace kx::cli
