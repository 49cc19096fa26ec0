// MD5 in 32 lower-case hexadecimal digits, by Windows itself: a second opinion on the names that the library
// derives.
#pragma once

#include <windows.h>
#include <array>
#include <string>
#include <wincrypt.h>

inline std::string md5Digest(const std::string& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  HCRYPTPROV provider = 0;
  HCRYPTHASH hash = 0;
  std::array<BYTE, 16> digest{};
  DWORD size = digest.size();
  ::CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT);
  ::CryptCreateHash(provider, CALG_MD5, 0, 0, &hash);
  ::CryptHashData(hash, reinterpret_cast<const BYTE*>(text.data()), static_cast<DWORD>(text.size()), 0);
  ::CryptGetHashParam(hash, HP_HASHVAL, digest.data(), &size, 0);
  ::CryptDestroyHash(hash);
  ::CryptReleaseContext(provider, 0);
  std::string result;
  for (const BYTE value : digest) {
    result += kDigits[value / 16];
    result += kDigits[value % 16];
  }
  return result;
}
