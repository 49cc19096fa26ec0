// kxr_GetCommandLine: the arguments with which a host starts a browser itself. How they are put together is
// tested without the library; here is what the export adds.
#include "host/guarded_buffer.h"
#include "host/host_test.h"

#include <climits>
#include <string>
#include <vector>

namespace {

constexpr char kFirefoxOptions[] = "-runner -fxProfile=default";
constexpr char kFirefoxLine[] = "-no-remote -P \"default\" -kx-pipe \"\\\\.\\pipe\\default.runner\"";
constexpr char kChromeOptions[] = "-runner -crUserDataDir=C:\\dir";
constexpr char kChromePage[] = "65de3bfe52ce59fb9afeebfbb9260784.html";
constexpr char kChromePipe[] = "\\\\.\\pipe\\kx-cr-65de3bfe52ce59fb9afeebfbb9260784.runner";

class CommandLine : public HostTest {
 protected:
  // The size asked for and the text must agree.
  std::string line(const char* browser, const std::string& options, const char* page = nullptr) const {
    const int size = dll.kxr_GetCommandLine(browser, options.c_str(), nullptr, 0, page);
    std::string text(static_cast<std::size_t>(size), '?');
    EXPECT_EQ(dll.kxr_GetCommandLine(browser, options.c_str(), text.data(), size, page), KX_OK);
    EXPECT_EQ(text.back(), '\0');
    text.pop_back();
    return text;
  }
};

TEST_F(CommandLine, ACommandLineOfFirefoxNamesProfilePipeAndProfiler) {
  const std::string profiled = std::string(kFirefoxLine) + " -kx-profiler";

  EXPECT_EQ(line("fx", kFirefoxOptions), kFirefoxLine);
  EXPECT_EQ(line("fx", std::string(kFirefoxOptions) + " -profiler=off"), profiled);
  EXPECT_EQ(line("fx", kFirefoxOptions, "C:\\page of no use.html"), kFirefoxLine);
  expectLog(HostLog());
}

TEST_F(CommandLine, ACommandLineOfChromeNamesFolderAndPageAndWritesThePageAlsoWhenOnlyTheSizeIsAsked) {
  EXPECT_GT(dll.kxr_GetCommandLine("cr", kChromeOptions, nullptr, 0, nullptr), 0);

  EXPECT_EQ(fileBytes(temp.path(kChromePage)), "<html><body></body></html>");
  EXPECT_EQ(line("cr", kChromeOptions, ""),
            "--user-data-dir=\"C:\\dir\" file://" + temp.path(kChromePage) + "?pipe=" + kChromePipe);
  expectLog(HostLog());
}

TEST_F(CommandLine, ACommandLineOfChromeNamesTheHostsOwnPageAndWritesNone) {
  EXPECT_EQ(line("cr", kChromeOptions, "C:\\my start.html"),
            std::string("--user-data-dir=\"C:\\dir\" file://C:\\my start.html?pipe=") + kChromePipe);

  EXPECT_FALSE(fileExists(temp.path(kChromePage)));
}

TEST_F(CommandLine, ACommandLineIsRefusedWithOneEntryAndTheBufferUntouched) {
  struct Refusal {
    const char* browser;
    const char* options;
    std::string message;
  };
  for (const Refusal& refusal :
       std::vector<Refusal>{{nullptr, kFirefoxOptions, "Invalid arguments for kxr_GetCommandLine()"},
                            {"fx", nullptr, "Invalid arguments for kxr_GetCommandLine()"},
                            {"fx", "-fxProfile default", "-runner required for kxr_GetCommandLine()"},
                            {"fx", "-runner", "-fxProfile required for kxr_GetCommandLine()"},
                            {"cr", "-runner", "-crUserDataDir required for kxr_GetCommandLine()"},
                            {"FX", kFirefoxOptions, "Unsupported browser FX"},
                            {"%s%n", kFirefoxOptions, "Unsupported browser %s%n"}}) {
    SCOPED_TRACE(refusal.message);
    GuardedBuffer buffer(1000);
    log.clear();

    EXPECT_EQ(dll.kxr_GetCommandLine(refusal.browser, refusal.options, buffer.get(), 1000, nullptr),
              KX_FAILED);
    EXPECT_EQ(dll.kxr_GetCommandLine(refusal.browser, refusal.options, nullptr, 0, nullptr), KX_FAILED);

    EXPECT_TRUE(buffer.isUntouched());
    expectLog(HostLog().error(refusal.message).error(refusal.message));
  }
}

TEST_F(CommandLine, ACommandLineFailsWhenThePageCannotBeWritten) {
  tempVariable.set("C:\\no_such_folder");
  GuardedBuffer buffer(1000);

  EXPECT_EQ(dll.kxr_GetCommandLine("cr", kChromeOptions, buffer.get(), 1000, nullptr), KX_FAILED);

  EXPECT_TRUE(buffer.isUntouched());
  expectLog(HostLog().error(std::string("Could not open temp file C:\\no_such_folder\\") + kChromePage +
                            ", error 3"));
}

TEST_F(CommandLine, ACommandLineIsCopiedIntoABufferThatHoldsItAndASizeOfZeroOrBelowIsUnlimited) {
  const std::string text = kFirefoxLine;
  const int needed = static_cast<int>(text.size()) + 1;
  const auto get = [&](char* buffer, int size) {
    return dll.kxr_GetCommandLine("fx", kFirefoxOptions, buffer, size, nullptr);
  };

  for (const int size : {needed, needed + 9, INT_MAX, 0, -1, INT_MIN}) {
    GuardedBuffer buffer(text.size() + 10);
    EXPECT_EQ(get(nullptr, size), needed) << size;
    EXPECT_EQ(get(buffer.get(), size), KX_OK) << size;
    EXPECT_TRUE(buffer.holdsOnly(withZero(text))) << size;
  }
  for (const int size : {needed - 1, 1}) {
    GuardedBuffer buffer(text.size() + 1);
    EXPECT_EQ(get(buffer.get(), size), KX_BUFFER_TOO_SMALL) << size;
    EXPECT_TRUE(buffer.isUntouched()) << size;
  }
  expectLog(HostLog());
}

}  // namespace
