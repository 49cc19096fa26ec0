// The wrapper where <windows.h> has made macros of min and max, as Microsoft's does without NOMINMAX. The
// standard headers come first: this compiler's own do not stand such macros.
#define NOMINMAX
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#define max(a, b) (((a) > (b)) ? (a) : (b))
#define min(a, b) (((a) < (b)) ? (a) : (b))
// clang-format off
#include <kxtcp64.hpp>
// clang-format on
