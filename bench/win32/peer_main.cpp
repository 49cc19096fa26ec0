// The other side of all conversations, the library's and the bare ones: serves the well-known pipe, connects
// back, and answers. A play's source says what the answer shall be, "SHAPE SIZE SEED"; every other request is
// answered with a success. Two requests of the benchmark's own ask for the last request that a browser would
// have got, so that the bare connection can send the same bytes.
//
//   kx_bench_peer PIPE THREADS READY-EVENT
#include "support/win32/text.h"
#include "texts/response_texts.h"
#include "win32/peer_requests.h"
#include "win32/pipe_end.h"
#include "win32/windows_error.h"

#include <windows.h>
#include <array>
#include <cstdio>
#include <exception>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr std::string_view kSource = "\"source\" : \"";

class Answers {
 public:
  // The text lives as long as the program.
  const std::string& to(std::string_view request) {
    const std::lock_guard guard(mutex_);
    const std::size_t source = request.substr(0, 256).find(kSource);
    if (source == std::string_view::npos) {
      return textFor("small 0 0");
    }
    const std::string_view rest = request.substr(source + kSource.size());
    return textFor(rest.substr(0, rest.find('"')));
  }

  void keep(std::string& request) {
    const std::lock_guard guard(mutex_);
    lastRequest_.swap(request);
  }

  std::string lastRequest() {
    const std::lock_guard guard(mutex_);
    return lastRequest_;
  }

 private:
  const std::string& textFor(std::string_view wish) {
    const auto known = texts_.find(wish);
    if (known != texts_.end()) {
      return known->second;
    }
    std::istringstream words{std::string(wish)};
    std::string shape;
    std::size_t size = 0;
    std::uint32_t seed = 0;
    words >> shape >> size >> seed;
    return texts_.emplace(wish, responseText(shapeNamed(shape), size, seed).json).first->second;
  }

  std::mutex mutex_;
  std::map<std::string, std::string, std::less<>> texts_;
  std::string lastRequest_;
};

// Reads the line with the name of the other side's own pipe.
std::wstring readName(PipeEnd& server) {
  std::string line;
  std::array<char, PipeEnd::kReadBytes> buffer;
  while (!line.ends_with('\n')) {
    const std::size_t count = server.read(buffer.data());
    if (count == 0) {
      failWith("a host left before it had told its pipe");
    }
    line.append(buffer.data(), count);
  }
  line.pop_back();
  return wide(line);
}

void answerAll(PipeEnd& connection, Answers& answers) {
  std::array<char, PipeEnd::kReadBytes> buffer;
  std::string request;
  for (std::size_t count = 0; (count = connection.read(buffer.data())) != 0;) {
    request.append(buffer.data(), count);
    if (!request.ends_with(kRequestEnd)) {
      continue;
    }
    if (request == kAskForSize) {
      std::array<char, kSizeBytes + 1> size{};
      std::snprintf(size.data(), size.size(), "%016zu", answers.lastRequest().size());
      connection.write(size.data(), kSizeBytes);
    } else if (request == kAskForText) {
      const std::string text = answers.lastRequest();
      connection.write(text.data(), text.size());
    } else {
      const std::string& answer = answers.to(request);
      answers.keep(request);
      connection.write(answer.data(), answer.size());
    }
    request.clear();
  }
}

// One host after the other.
void serve(PipeEnd& server, const std::wstring& pipe, Answers& answers) {
  for (;;) {
    server.accept();
    PipeEnd connection;
    const std::wstring name = readName(server);
    server.close();
    connection.open(name);
    answerAll(connection, answers);
    server.create(pipe);
  }
}

void run(const std::string& pipeName, int threads, const std::string& readyEvent) {
  pinToOneProcessor();
  const std::wstring pipe = wide(pipeName);
  Answers answers;
  std::vector<PipeEnd> servers(static_cast<std::size_t>(threads));
  std::vector<std::thread> running;
  for (PipeEnd& server : servers) {
    server.create(pipe);
    running.emplace_back([&] {
      try {
        serve(server, pipe, answers);
      } catch (const std::exception& e) {
        std::fprintf(stderr, "kx_bench_peer: %s\n", e.what());
        ::ExitProcess(1);
      }
    });
  }
  const HANDLE ready = ::OpenEventW(EVENT_MODIFY_STATE, FALSE, wide(readyEvent).c_str());
  if (ready == nullptr || ::SetEvent(ready) == FALSE) {
    failWith("nobody waits for the peer");
  }
  for (std::thread& thread : running) {
    thread.join();
  }
}

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count != 4) {
      throw std::runtime_error("usage: kx_bench_peer PIPE THREADS READY-EVENT");
    }
    run(arguments[1], std::stoi(arguments[2]), arguments[3]);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "kx_bench_peer: %s\n", e.what());
    return 1;
  }
  return 0;
}
