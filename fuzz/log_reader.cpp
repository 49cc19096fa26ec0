// The reader of logs takes any bytes, gives the same entries however they are cut, and its views are whole.
#include "cli/log_entries.h"
#include "cli/log_view.h"
#include "fuzz/property.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

using kx::cli::LogEntry;

std::vector<LogEntry> entriesOf(std::string_view log, std::size_t piece) {
  kx::cli::LogReader reader;
  for (std::size_t i = 0; i < log.size(); i += piece) {
    reader.feed(log.substr(i, piece));
  }
  reader.finish();
  return reader.take();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view log(reinterpret_cast<const char*>(data), size);

  const std::vector<LogEntry> whole = entriesOf(log, size + 1);
  const std::vector<LogEntry> cut = entriesOf(log, 3);

  FUZZ_PROPERTY(whole.size() == cut.size(), "the pieces do not matter");
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < whole.size(); ++i) {
    bytes += whole[i].message.size();
    FUZZ_PROPERTY(
        whole[i].message == cut[i].message && whole[i].ids == cut[i].ids && whole[i].line == cut[i].line,
        "the pieces do not matter");
  }
  FUZZ_PROPERTY(bytes <= size, "nothing is made up");
  kx::cli::LogArguments arguments;
  for (const bool redact : {false, true}) {
    arguments.redact = redact;
    arguments.json = !redact;
    FUZZ_PROPERTY(!kx::cli::logView(log, arguments, {}).empty(), "there is a view");
  }
  return 0;
}
