// How often a start tries to connect, and how long it may take. The numbers come from the library's own
// rules; docs/time-bounds.md publishes them for common time-outs.
#pragma once

#include <cstdint>
#include <optional>

namespace kx::cli {

// In seconds; nothing stands for "for ever".
struct StartBounds {
  std::int64_t attempts = 0;
  // Nobody serves the extension's pipe.
  std::optional<std::int64_t> nobodyServes;
  // The extension takes the library's name and does not connect back.
  std::optional<std::int64_t> noConnectionBack;
  // Every wait takes its whole time, and the browser answers at the last moment.
  std::optional<std::int64_t> slowest;
};

// The bounds of kx_Init() or, for a runner, of kxr_Init().
StartBounds startBounds(bool isRunner, int timeoutSeconds);

}  // namespace kx::cli
