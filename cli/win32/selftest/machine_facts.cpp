#include "cli/win32/selftest/machine_facts.h"

#include "cli/text.h"
#include "cli/win32/dll.h"
#include "cli/win32/processes.h"
#include "cli/win32/selftest/room.h"
#include "cli/win32/simulator_program.h"
#include "cli/win32/this_machine.h"
#include "common/platform.h"

#include <windows.h>
#include <array>
#include <cstdio>
#include <optional>
#include <wincrypt.h>

namespace kx::cli {
namespace {

class Sha256 {
 public:
  Sha256() {
    isGood_ =
        ::CryptAcquireContextW(&provider_, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT) != FALSE &&
        ::CryptCreateHash(provider_, CALG_SHA_256, 0, 0, &hash_) != FALSE;
  }
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;
  ~Sha256() {
    ::CryptDestroyHash(hash_);
    ::CryptReleaseContext(provider_, 0);
  }

  std::string of(const std::string& bytes) {
    std::array<BYTE, 32> digest{};
    DWORD size = digest.size();
    isGood_ = isGood_ &&
              ::CryptHashData(hash_, reinterpret_cast<const BYTE*>(bytes.data()),
                              static_cast<DWORD>(bytes.size()), 0) != FALSE &&
              ::CryptGetHashParam(hash_, HP_HASHVAL, digest.data(), &size, 0) != FALSE;
    std::string text;
    for (std::size_t i = 0; isGood_ && i < size; ++i) {
      std::array<char, 3> digits{};
      std::snprintf(digits.data(), digits.size(), "%02x", digest[i]);
      text += digits.data();
    }
    return text;
  }

 private:
  HCRYPTPROV provider_ = 0;
  HCRYPTHASH hash_ = 0;
  bool isGood_ = false;
};

Fact fileFact(const std::string& name, const std::string& path) {
  const std::string version = fileVersion(path);
  const std::string digest = sha256OfFile(path);
  return {name,
          (version.empty() ? std::string() : version + ", ") +
              (digest.empty() ? "cannot be read" : "SHA-256 " + digest),
          path};
}

}  // namespace

std::string sha256OfFile(const std::string& path) {
  const std::optional<std::string> bytes = bytesOf(path);
  return bytes ? Sha256().of(*bytes) : std::string();
}

std::vector<Fact> machineFacts(bool isElevated) {
  SYSTEM_INFO system{};
  ::GetNativeSystemInfo(&system);
  return {
      {"system", systemText(), {}},
      {"processors",
       std::to_string(system.dwNumberOfProcessors) + ", " +
           platform::environmentVariable("PROCESSOR_IDENTIFIER").value_or(""),
       {}},
      {"code page", std::to_string(::GetACP()), {}},
      {"elevated", isElevated ? "yes" : "no", {}},
      {"kx.exe", KX_VERSION_TEXT ", SHA-256 " + sha256OfFile(ownPath()), ownPath()},
      fileFact("KXTCP64.dll", libraryPath()),
      fileFact("kxsim.exe", simulatorPath()),
  };
}

}  // namespace kx::cli
