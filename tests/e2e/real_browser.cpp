#include "e2e/real_browser.h"

#include "e2e/real_processes.h"
#include "e2e/site.h"
#include "support/win32/text.h"

#include <filesystem>
#include <ostream>
#include <stdexcept>

namespace {

std::string ownFolder() {
  const std::string program = ownProgramPath();
  return program.substr(0, program.rfind('\\'));
}

std::wstring launchLine(const BrowserKind& kind, const std::string& arguments) {
  return L"\"" + wide(launcherPath(kind)) + L"\"" + (arguments.empty() ? L"" : L" ") + wide(arguments);
}

DWORD startProcess(std::wstring line) {
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &process) == FALSE) {
    throw std::runtime_error("cannot start " + narrow(line) + ", error " + std::to_string(::GetLastError()));
  }
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  return process.dwProcessId;
}

}  // namespace

void PrintTo(const BrowserKind& kind, std::ostream* out) {
  *out << kind.type;
}

bool isFirefox(const BrowserKind& kind) {
  return kind.type == std::string("fx");
}

std::string launcherPath(const BrowserKind& kind) {
  return ownFolder() + "\\" + kind.launcher;
}

std::string Profile::options() const {
  return isFirefox(kind) ? "-fxProfile " + name : "-crUserDataDir \"" + folder + "\"";
}

bool Profile::isFree() const {
  const std::wstring lock = wide(folder + "\\parent.lock");
  const HANDLE file =
      ::CreateFileW(lock.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return ::GetLastError() != ERROR_SHARING_VIOLATION;
  }
  ::CloseHandle(file);
  return true;
}

Profile BrowserUser::makeProfile(const BrowserKind& kind, const std::string& name) {
  if (!isFirefox(kind)) {
    return {kind, name, user_.local() + "\\data of " + name};
  }
  profilesIni_ += "[Profile" + std::to_string(firefoxProfiles_) + "]\nName=" + name +
                  "\nIsRelative=1\nPath=Profiles/" + name + ".kx\n" +
                  (firefoxProfiles_ == 0 ? "Default=1\n\n" : "\n");
  ++firefoxProfiles_;
  user_.writeProfiles(profilesIni_);
  const std::string folder = user_.roaming() + "\\Mozilla\\Firefox\\Profiles\\" + name + ".kx";
  std::filesystem::create_directories(wide(folder));
  return {kind, name, folder};
}

std::string BrowserUser::defaultPipe(const BrowserKind& kind) const {
  const std::string profile = isFirefox(kind) && firefoxProfiles_ > 0 ? "work" : "default";
  return std::string("\\\\.\\pipe\\kx-") + kind.type + "-" + profile + "." + user_.name();
}

std::vector<std::string> BrowserUser::temporaryFolders() const {
  std::vector<std::string> folders;
  for (const auto& entry : std::filesystem::directory_iterator(wide(user_.temp()))) {
    if (entry.path().filename().wstring().starts_with(L"kxbrowser-")) {
      folders.push_back(narrow(entry.path().wstring()));
    }
  }
  return folders;
}

Host::Host(const KxLibrary& library, const BrowserKind& kind)
    : library_(library), kind_(kind), context_(library.kx_ContextCreate()) {}

Host::~Host() {
  if (hasBrowser_) {
    library_.kx_Exit(context_, kExitSeconds);
  }
  library_.kx_ContextDestroy(context_);
}

int Host::init(const Start& start) {
  const int result = library_.kx_Init(context_, kind_.type, start.options.c_str(), start.program.c_str(), 0,
                                      start.openNewBrowser, start.timeout);
  hasBrowser_ = result == KX_OK;
  return result;
}

int Host::initRunner(const std::string& options, int timeout) {
  const int result = library_.kxr_Init(context_, kind_.type, options.c_str(), 0, timeout);
  hasBrowser_ = result == KX_OK;
  return result;
}

int Host::play(const std::string& macro, int timeout) const {
  library_.kx_SetVar(context_, "site", site::address().c_str());
  return library_.kx_Play(context_, macro.c_str(), timeout);
}

int Host::setVariable(const std::string& name, const std::string& value) const {
  return library_.kx_SetVar(context_, name.c_str(), value.c_str());
}

int Host::display(const std::string& message) const {
  return library_.kx_Display(context_, message.c_str(), kPlaySeconds);
}

int Host::takePicture(const std::string& path, int type) const {
  return library_.kx_TakeBrowserScreenshot(context_, path.c_str(), type, kPlaySeconds);
}

int Host::exit(int timeout) {
  hasBrowser_ = false;
  return library_.kx_Exit(context_, timeout);
}

int Host::exitRunner(int timeout) {
  const int result = library_.kxr_Exit(context_, timeout);
  hasBrowser_ = result != KX_OK;
  return result;
}

std::vector<std::string> Host::extracts(int count) const {
  std::vector<std::string> texts;
  for (int index = 1; index <= count; ++index) {
    texts.push_back(extract(index));
  }
  return texts;
}

std::vector<std::pair<std::string, std::string>> Host::performance() const {
  std::vector<std::pair<std::string, std::string>> entries;
  for (int index = 1;; ++index) {
    int nameSize = 0;
    int valueSize = 0;
    if (library_.kx_GetLastPerformance(context_, index, nullptr, &nameSize, nullptr, &valueSize) != KX_OK) {
      return entries;
    }
    std::string name(static_cast<std::size_t>(nameSize), '?');
    std::string value(static_cast<std::size_t>(valueSize), '?');
    if (library_.kx_GetLastPerformance(context_, index, name.data(), &nameSize, value.data(), &valueSize) !=
        KX_OK) {
      throw std::runtime_error("the library asked for sizes that do not do");
    }
    name.pop_back();
    value.pop_back();
    entries.emplace_back(std::move(name), std::move(value));
  }
}

StartedBrowser::StartedBrowser(const BrowserKind& kind, const std::string& arguments)
    : process_(startProcess(launchLine(kind, arguments))) {}

bool awaitPipe(const std::string& pipe) {
  return eventually([&] {
    return ::WaitNamedPipeW(wide(pipe).c_str(), 1) != FALSE || ::GetLastError() == ERROR_SEM_TIMEOUT;
  });
}

void RealBrowser::TearDown() {
  expectNothingLeft(user_);
}

void RealBrowser::expectThatItStartsAgain(const Profile& profile) const {
  EXPECT_TRUE(profile.isFree());
  Host host(library_, kind());
  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
  EXPECT_NE(host.processId(), 0U) << "a browser was still there to attach to";
  expectOrderForm(host);
  EXPECT_EQ(host.exit(), KX_OK);
}

void RealBrowser::expectOrderForm(const Host& host) {
  EXPECT_EQ(host.play("await open(variables.site + '/form'); await extract('header');"), KX_OK)
      << host.errorText();
  EXPECT_EQ(host.extract(), "Order form");
}

void expectNothingLeft(const BrowserUser& user) {
  EXPECT_EQ(described(leftoversOfRun()), "") << "processes are left";
  EXPECT_TRUE(eventually([&] { return user.temporaryFolders().empty(); })) << "folders are left";
}

std::string nameOfKind(const ::testing::TestParamInfo<BrowserKind>& info) {
  return info.param.type;
}
