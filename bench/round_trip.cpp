// What the library adds to a round trip: kx_Display() against the same bytes over a bare pipe, alternately in
// one run and as a ratio, because the time of the pipe itself differs from machine to machine. The other side
// is a thread of this process, the same for both.
#include "kxtcp64.h"

#include <windows.h>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kRounds = 9;
constexpr int kTrips = 400;
constexpr DWORD kPipeBytes = 4096;

// The last line of every request of the library, and of the bare ones.
constexpr char kRequestEnd[] = "\n}";

[[noreturn]] void giveUp(const char* what) {
  std::printf("bench_round_trip: %s, error %lu\n", what, GetLastError());
  std::fflush(stdout);
  ExitProcess(1);
}

HANDLE servePipe(const std::string& name) {
  const HANDLE pipe = CreateNamedPipeA(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE | PIPE_WAIT, 1,
                                       kPipeBytes, kPipeBytes, 0, nullptr);
  if (pipe == INVALID_HANDLE_VALUE) {
    giveUp("cannot serve a pipe");
  }
  return pipe;
}

HANDLE openPipe(const std::string& name) {
  const HANDLE pipe =
      CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (pipe == INVALID_HANDLE_VALUE) {
    giveUp("cannot open a pipe");
  }
  return pipe;
}

// Appends what has arrived; false at the end of the connection.
bool readSome(HANDLE pipe, std::string& received) {
  std::array<char, kPipeBytes> buffer{};
  DWORD count = 0;
  if (ReadFile(pipe, buffer.data(), kPipeBytes, &count, nullptr) == FALSE || count == 0) {
    return false;
  }
  received.append(buffer.data(), count);
  return true;
}

void writeAll(HANDLE pipe, const std::string& text) {
  DWORD count = 0;
  if (WriteFile(pipe, text.data(), static_cast<DWORD>(text.size()), &count, nullptr) == FALSE ||
      count != text.size()) {
    giveUp("cannot write");
  }
}

// Answers every request until the connection ends; the last request is kept.
void answer(HANDLE pipe, const std::string& reply, std::string& lastRequest) {
  for (std::string received; readSome(pipe, received);) {
    if (received.ends_with(kRequestEnd)) {
      lastRequest = received;
      received.clear();
      writeAll(pipe, reply);
    }
  }
  CloseHandle(pipe);
}

// The extension's part: reads the name of the library's pipe from the one it serves, connects to it and
// answers.
void playExtension(HANDLE served, const std::string& reply, std::string& lastRequest) {
  if (ConnectNamedPipe(served, nullptr) == FALSE && GetLastError() != ERROR_PIPE_CONNECTED) {
    giveUp("nobody came");
  }
  std::string name;
  while (readSome(served, name)) {
  }
  CloseHandle(served);
  answer(openPipe(name.substr(0, name.find('\n'))), reply, lastRequest);
}

template <typename Trip>
double microsecondsPerTrip(Trip trip) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kTrips; ++i) {
    trip();
  }
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
  return taken.count() / kTrips;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void compare(const char* what, const std::string& reply) {
  const std::string id = std::to_string(GetCurrentProcessId());
  const std::string user = "bench" + id;
  SetEnvironmentVariableA("USERNAME", user.c_str());

  std::string request;
  const HANDLE served = servePipe("\\\\.\\pipe\\kx-cr-default." + user);
  std::thread extension([&] { playExtension(served, reply, request); });
  const int context = kx_ContextCreate();
  if (kx_Init(context, "cr", "", "", 0, 0, 30) != KX_OK || kx_Display(context, "a message", 30) != KX_OK) {
    giveUp("the library did not connect");
  }

  const std::string bareName = "\\\\.\\pipe\\kx-bench." + id;
  const HANDLE bare = servePipe(bareName);
  std::string bareRequest;
  std::thread barePeer([&] { answer(openPipe(bareName), reply, bareRequest); });
  if (ConnectNamedPipe(bare, nullptr) == FALSE && GetLastError() != ERROR_PIPE_CONNECTED) {
    giveUp("nobody came to the bare pipe");
  }

  std::vector<double> library;
  std::vector<double> pipe;
  for (int round = 0; round < kRounds; ++round) {
    library.push_back(microsecondsPerTrip([&] {
      if (kx_Display(context, "a message", 30) != KX_OK) {
        giveUp("a message was not shown");
      }
    }));
    pipe.push_back(microsecondsPerTrip([&] {
      writeAll(bare, request);
      for (std::string received; received.size() < reply.size();) {
        if (!readSome(bare, received)) {
          giveUp("the bare pipe broke");
        }
      }
    }));
  }
  std::printf("%-22s library %8.1f us, bare pipe %8.1f us, ratio %.2f\n", what, median(library), median(pipe),
              median(library) / median(pipe));
  std::fflush(stdout);

  CloseHandle(bare);
  barePeer.join();
  kx_Exit(context, 30);
  kx_ContextDestroy(context);
  extension.join();
}

}  // namespace

int main() {
  compare("short reply", R"({"status":"OK","errorCode":1})");
  compare("reply of 64 kilobytes", R"({"status":")" + std::string(64 << 10, 'x') + R"(","errorCode":1})");
  return 0;
}
