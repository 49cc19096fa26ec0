// Writes the report of a sample, for the tests of the page in a web browser:
//     kx_report_sample RUNS CONTEXTS FILE [PICTURE]
#include "cli/tests/report_sample.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

int main(int count, char** words) {
  using namespace kx::cli;
  if (count < 4) {
    return 2;
  }
  ReportSample sample = reportSample(static_cast<std::size_t>(std::atoi(words[1])), std::atoi(words[2]));
  sample.all.arguments = &sample.arguments;
  sample.all.macros = &sample.macros;
  if (count > 4) {
    sample.all.results.front().screenshot = words[4];
  }
  std::ofstream file(words[3], std::ios::binary);
  const auto picture = [](const std::string& path) -> std::optional<std::string> {
    std::ifstream bytes(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(bytes), {});
  };
  writeReport(sample.all, nullptr, picture, [&](std::string_view piece) {
    file.write(piece.data(), static_cast<std::streamsize>(piece.size()));
  });
  return file.good() ? 0 : 1;
}
