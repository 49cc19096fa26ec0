// JSON as this program writes it: members in the order in which they were put in, and always valid UTF-8,
// whatever bytes a browser has sent. Who makes or reads values includes <nlohmann/json.hpp> as well.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace kx::cli {

using Json = nlohmann::ordered_json;

inline constexpr int kReadable = 2;
inline constexpr int kOneLine = -1;

std::string jsonText(const Json& value, int indentation);

}  // namespace kx::cli
