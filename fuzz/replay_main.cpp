// Runs a fuzz target over stored inputs, without a fuzzer. Every normal build compiles and runs the targets
// this way, so that they keep compiling and a mended bug stays mended. Arguments: files, or folders of files.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Targets that prepare something define it, as for the fuzzer itself.
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* count, char*** arguments);

namespace {

std::vector<std::filesystem::path> inputFiles(int count, char** arguments) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < count; ++i) {
    if (std::filesystem::is_directory(arguments[i])) {
      for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
        files.push_back(entry.path());
      }
    } else {
      files.emplace_back(arguments[i]);
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

// Also every beginning of the input: a text that is cut short is the commonest broken one.
void replay(const std::vector<char>& bytes) {
  const std::size_t step = 1 + bytes.size() / 256;
  for (std::size_t length = 0; length < bytes.size(); length += step) {
    // A copy of exactly that size lets the address sanitizer see a read behind the end.
    const std::vector<std::uint8_t> beginning(bytes.begin(),
                                              bytes.begin() + static_cast<std::ptrdiff_t>(length));
    LLVMFuzzerTestOneInput(beginning.data(), beginning.size());
  }
  const std::vector<std::uint8_t> whole(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(whole.data(), whole.size());
}

}  // namespace

int main(int count, char** arguments) {
  if (LLVMFuzzerInitialize != nullptr) {
    LLVMFuzzerInitialize(&count, &arguments);
  }
  const std::vector<std::filesystem::path> files = inputFiles(count, arguments);
  for (const std::filesystem::path& file : files) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
      std::fprintf(stderr, "cannot open %s\n", file.c_str());
      return 1;
    }
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    replay({std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()});
  }
  std::printf("%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
