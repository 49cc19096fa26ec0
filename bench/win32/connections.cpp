#include "win32/connections.h"

#include "support/win32/pipe_name.h"
#include "support/win32/text.h"
#include "win32/peer_requests.h"
#include "win32/windows_error.h"

#include <array>
#include <optional>
#include <stdexcept>

namespace {

// More hosts at a time than any row has.
constexpr int kPeerThreads = 96;
constexpr DWORD kPeerStartMilliseconds = 60000;
constexpr DWORD kLockMilliseconds = 600000;

std::string ownPipeName() {
  return "\\\\.\\pipe\\" + uniqueName("bare");
}

// A named mutex, taken and held.
class Lock {
 public:
  explicit Lock(const std::wstring& name) : mutex_(::CreateMutexW(nullptr, FALSE, name.c_str())) {
    if (mutex_ == nullptr || ::WaitForSingleObject(mutex_, kLockMilliseconds) != WAIT_OBJECT_0) {
      failWith("cannot take a lock");
    }
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock() {
    ::ReleaseMutex(mutex_);
    ::CloseHandle(mutex_);
  }

 private:
  HANDLE mutex_;
};

}  // namespace

HANDLE startedProgram(const std::string& commandLine) {
  std::wstring folder(1024, L'\0');
  folder.resize(::GetModuleFileNameW(nullptr, folder.data(), static_cast<DWORD>(folder.size())));
  const std::wstring program =
      folder.substr(0, folder.rfind(L'\\') + 1) + wide(commandLine.substr(0, commandLine.find(' ')));
  std::wstring line = wide(commandLine);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  if (::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &started) == FALSE) {
    failWith("cannot start " + narrow(program));
  }
  ::CloseHandle(started.hThread);
  return started.hProcess;
}

Peer::Peer() : profile_(uniqueName("peer")), pipe_(L"\\\\.\\pipe\\" + wide(profile_) + L".runner") {
  const std::string readyName = uniqueName("ready");
  const HANDLE ready = ::CreateEventW(nullptr, TRUE, FALSE, wide(readyName).c_str());
  process_ = startedProgram("kx_bench_peer.exe " + narrow(pipe_) + " " + std::to_string(kPeerThreads) + " " +
                            readyName);
  const std::array<HANDLE, 2> handles = {ready, process_};
  const DWORD result = ::WaitForMultipleObjects(2, handles.data(), FALSE, kPeerStartMilliseconds);
  ::CloseHandle(ready);
  if (result != WAIT_OBJECT_0) {
    failWith("the peer does not get ready");
  }
}

Peer::~Peer() {
  ::TerminateProcess(process_, 0);
  ::CloseHandle(process_);
}

PipeEnd::Extras BareConnection::extrasOf(Handshake handshake) {
  return handshake == Handshake::AsTheLibrary ? PipeEnd::Extras::AsTheLibrary : PipeEnd::Extras::None;
}

BareConnection::BareConnection(const std::wstring& peerPipe, Handshake handshake)
    : own_(extrasOf(handshake)) {
  const std::string name = ownPipeName();
  const std::string line = name + "\n";
  PipeEnd server(extrasOf(handshake));
  {
    std::optional<Lock> lock;
    if (handshake == Handshake::AsTheLibrary) {
      lock.emplace(L"kx-bench.lock");
    }
    server.open(peerPipe);
  }
  own_.create(wide(name));
  server.write(line.data(), line.size());
  server.close();
  own_.accept();
}

void BareConnection::exchange(const std::string& request, std::size_t answerBytes) {
  std::array<char, PipeEnd::kReadBytes> buffer;
  own_.write(request.data(), request.size());
  for (std::size_t received = 0; received < answerBytes;) {
    const std::size_t count = own_.read(buffer.data());
    if (count == 0) {
      failWith("the peer left a bare connection");
    }
    received += count;
  }
}

std::string BareConnection::lastRequest() {
  const std::string size = answer(kAskForSize, kSizeBytes);
  return answer(kAskForText, std::stoull(size));
}

std::string BareConnection::answer(const std::string& request, std::size_t answerBytes) {
  std::string text;
  std::array<char, PipeEnd::kReadBytes> buffer;
  own_.write(request.data(), request.size());
  while (text.size() < answerBytes) {
    const std::size_t count = own_.read(buffer.data());
    if (count == 0) {
      failWith("the peer left a bare connection");
    }
    text.append(buffer.data(), count);
  }
  return text;
}

LibraryContext::LibraryContext(const KxLibrary& library, const std::string& profile)
    : library_(library), number_(library.kx_ContextCreate()) {
  if (library.kxr_Init(number_, "fx", runnerOptions(profile).c_str(), 0, kTimeoutSeconds) != KX_OK) {
    throw std::runtime_error("the library does not connect: " + library.lastErrorText(number_));
  }
}

LibraryContext::~LibraryContext() {
  library_.kxr_Exit(number_, kTimeoutSeconds);
  library_.kx_ContextDestroy(number_);
}

void LibraryContext::display() const {
  if (library_.kx_Display(number_, kMessage, kTimeoutSeconds) != KX_OK) {
    throw std::runtime_error("a message was not shown: " + library_.lastErrorText(number_));
  }
}

void LibraryContext::play(const std::string& source) const {
  if (library_.kx_Play(number_, source.c_str(), kTimeoutSeconds) != KX_OK) {
    throw std::runtime_error("\"" + source + "\" was not played: " + library_.lastErrorText(number_));
  }
}

std::string runnerOptions(const std::string& profile) {
  return "-runner -fxProfile " + profile;
}
