// How often a loaded module calls each function that it imports, counted without knowing their signatures: in
// the import table every function is replaced by a few instructions that add 1 to its count and jump on to
// it. Calls of all threads count, and only the module's own. What it imports from the C run-time is left out:
// that makes Windows calls of its own only when it needs memory or a file.
#pragma once

#include "support/win32/import_table.h"

#include <windows.h>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

class CallCounter {
 public:
  explicit CallCounter(HMODULE module);
  ~CallCounter() = default;
  CallCounter(const CallCounter&) = delete;
  CallCounter& operator=(const CallCounter&) = delete;

  void restart();
  // The functions that were called since then, by name.
  std::map<std::string, int> counts() const;

 private:
  struct Thunk;

  struct CodeDeleter {
    void operator()(Thunk* thunks) const { ::VirtualFree(thunks, 0, MEM_RELEASE); }
  };

  std::vector<std::string> names_;
  std::unique_ptr<Thunk[], CodeDeleter> thunks_;  // as many as there are names
  ImportTable imports_;                           // behind the thunks, so that it lets go of them first
};
