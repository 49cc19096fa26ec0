#include "e2e/site.h"

#include "support/win32/environment_variable.h"
#include "support/win32/text.h"

#include <windows.h>
#include <array>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <winhttp.h>

namespace {

class InternetHandle {
 public:
  explicit InternetHandle(HINTERNET handle) : handle_(handle) {
    if (handle == nullptr) {
      throw std::runtime_error("the site cannot be asked, error " + std::to_string(::GetLastError()));
    }
  }
  InternetHandle(const InternetHandle&) = delete;
  InternetHandle& operator=(const InternetHandle&) = delete;
  ~InternetHandle() { ::WinHttpCloseHandle(handle_); }
  HINTERNET get() const { return handle_; }

 private:
  HINTERNET handle_;
};

// "http://HOST:PORT" in its two parts.
std::pair<std::string, INTERNET_PORT> hostAndPort() {
  const std::string address = site::address();
  const std::size_t host = address.find("//") + 2;
  const std::size_t colon = address.find(':', host);
  return {address.substr(host, colon - host),
          static_cast<INTERNET_PORT>(std::stoi(address.substr(colon + 1)))};
}

// The code points of a UTF-8 text.
std::vector<std::uint32_t> codePoints(const std::string& text) {
  const std::wstring units = wide(text);
  std::vector<std::uint32_t> points;
  for (std::size_t i = 0; i < units.size(); ++i) {
    std::uint32_t point = units[i];
    if (IS_HIGH_SURROGATE(units[i]) && i + 1 < units.size()) {
      point = 0x10000 + ((point - 0xD800) << 10) + (static_cast<std::uint32_t>(units[++i]) - 0xDC00);
    }
    points.push_back(point);
  }
  return points;
}

}  // namespace

std::string site::address() {
  const std::string address = EnvironmentVariable::valueOf("KX_E2E_SITE").value_or("");
  if (address.empty()) {
    throw std::runtime_error("KX_E2E_SITE names no site; run_e2e.sh starts one");
  }
  return address;
}

std::string site::fetch(const std::string& path) {
  const auto [host, port] = hostAndPort();
  const InternetHandle session(::WinHttpOpen(L"tests", WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, 0));
  const InternetHandle connection(::WinHttpConnect(session.get(), wide(host).c_str(), port, 0));
  const InternetHandle request(
      ::WinHttpOpenRequest(connection.get(), L"GET", wide(path).c_str(), nullptr, nullptr, nullptr, 0));
  if (::WinHttpSendRequest(request.get(), nullptr, 0, nullptr, 0, 0, 0) == FALSE ||
      ::WinHttpReceiveResponse(request.get(), nullptr) == FALSE) {
    throw std::runtime_error("the site does not answer, error " + std::to_string(::GetLastError()));
  }
  std::string body;
  std::array<char, 16384> piece{};
  DWORD count = 0;
  while (::WinHttpReadData(request.get(), piece.data(), static_cast<DWORD>(piece.size()), &count) != FALSE &&
         count > 0) {
    body.append(piece.data(), count);
  }
  return body;
}

std::vector<std::string> site::tableRows() {
  std::vector<std::string> rows;
  std::istringstream lines(fetch("/table.txt"));
  for (std::string line; std::getline(lines, line);) {
    rows.push_back(line);
  }
  return rows;
}

std::string site::orderChecksum(const std::string& customer, const std::string& city, const std::string& size,
                                const std::string& count) {
  constexpr std::uint32_t kStart = 7;
  constexpr std::uint32_t kFactor = 31;
  constexpr std::uint32_t kModulus = 1000003;
  std::uint32_t sum = kStart;
  for (const std::uint32_t point : codePoints(customer + "|" + city + "|" + size + "|" + count)) {
    sum = (sum * kFactor + point) % kModulus;
  }
  return std::to_string(sum);
}
