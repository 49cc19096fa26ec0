#include "support/win32/call_counter.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwctype>
#include <stdexcept>

namespace {

constexpr std::size_t kCodeBytes = 32;

// rax carries no argument, and the flags carry none either.
constexpr unsigned char kMoveToRax[] = {0x48, 0xB8};          // mov rax, the next eight bytes
constexpr unsigned char kCount[] = {0xF0, 0x48, 0xFF, 0x00};  // lock inc qword [rax]
constexpr unsigned char kJump[] = {0xFF, 0xE0};               // jmp rax

bool isOfTheRunTime(const void* function) {
  HMODULE module = nullptr;
  std::wstring path(1024, L'\0');
  if (::GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          static_cast<LPCWSTR>(function), &module) == FALSE) {
    return false;
  }
  path.resize(::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  std::transform(path.begin(), path.end(), path.begin(), std::towlower);
  return path.ends_with(L"\\msvcrt.dll") || path.ends_with(L"\\ucrtbase.dll");
}

}  // namespace

struct CallCounter::Thunk {
  unsigned char code[kCodeBytes];
  std::uint64_t count;
};

CallCounter::CallCounter(HMODULE module) : imports_(module) {
  names_ = imports_.names();
  thunks_.reset(static_cast<Thunk*>(::VirtualAlloc(nullptr, names_.size() * sizeof(Thunk),
                                                   MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE)));
  if (!thunks_) {
    throw std::runtime_error("no memory for code");
  }
  for (std::size_t i = 0; i < names_.size(); ++i) {
    Thunk& thunk = thunks_[i];
    using Code = void();
    Code* const real = imports_.replace(names_[i], reinterpret_cast<Code*>(thunk.code));
    if (isOfTheRunTime(reinterpret_cast<const void*>(real))) {
      imports_.replace(names_[i], real);
      continue;
    }
    unsigned char* end = thunk.code;
    const auto add = [&end](const void* bytes, std::size_t size) {
      std::memcpy(end, bytes, size);
      end += size;
    };
    const std::uint64_t* const count = &thunk.count;
    add(kMoveToRax, sizeof kMoveToRax);
    add(&count, sizeof count);
    add(kCount, sizeof kCount);
    add(kMoveToRax, sizeof kMoveToRax);
    add(&real, sizeof real);
    add(kJump, sizeof kJump);
  }
}

void CallCounter::restart() {
  for (std::size_t i = 0; i < names_.size(); ++i) {
    std::atomic_ref(thunks_[i].count).store(0);
  }
}

std::map<std::string, int> CallCounter::counts() const {
  std::map<std::string, int> counts;
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (const std::uint64_t count = std::atomic_ref(thunks_[i].count).load(); count != 0) {
      counts[names_[i]] = static_cast<int>(count);
    }
  }
  return counts;
}
