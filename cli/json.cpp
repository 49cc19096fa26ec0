#include "cli/json.h"

#include <nlohmann/json.hpp>

namespace kx::cli {

std::string jsonText(const Json& value, int indentation) {
  return value.dump(indentation, ' ', false, Json::error_handler_t::replace);
}

}  // namespace kx::cli
