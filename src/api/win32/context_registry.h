// The process-wide table of contexts. A context is a number that hosts use and a record that holds the
// browser instance, or none, and the last error of a time without one. The registry owns the records; it is
// made when the library is loaded and closed when it is unloaded.
#pragma once

#include "browser/browser_instance.h"
#include "common/win32/critical_section.h"

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kx {

struct ContextRecord {
  ContextRecord() = default;
  ContextRecord(const ContextRecord&) = delete;
  ContextRecord& operator=(const ContextRecord&) = delete;
  ~ContextRecord();

  std::unique_ptr<BrowserInstance> instance;
  int lastErrorNumber = 0;
  std::string lastErrorText;
};

// The error that hosts are told: the instance's while there is one, otherwise the kept one.
int errorNumber(const ContextRecord& record);
const std::string& errorText(const ContextRecord& record);

// Keeps an error in the record: both parts, or neither when there is no memory.
void keepError(ContextRecord& record, int number, std::string text);

// Keeps the instance's error, so that it stays readable once the instance is gone.
void keepInstanceError(ContextRecord& record);

// A start under way: puts a new instance into the record and takes it out again, destroyed, unless the start
// succeeds. An instance that is there already is left alone, with its browser: hosts exit a context before
// they initialise it again, and those that do not must not have a browser closed under them.
class InstanceStart {
 public:
  InstanceStart(ContextRecord& record, std::unique_ptr<BrowserInstance> instance);
  InstanceStart(const InstanceStart&) = delete;
  InstanceStart& operator=(const InstanceStart&) = delete;
  ~InstanceStart();

  BrowserInstance& browser() { return *record_.instance; }
  void succeed() { hasSucceeded_ = true; }

 private:
  ContextRecord& record_;
  bool hasSucceeded_ = false;
};

class ContextRegistry {
 public:
  ContextRegistry();
  ContextRegistry(const ContextRegistry&) = delete;
  ContextRegistry& operator=(const ContextRegistry&) = delete;
  ~ContextRegistry();

  // Creates a context and gives its number: the lowest that is free. Any thread may call it.
  int create();

  // Frees a context; an instance in it is left alone, with its browser. A number without a context is
  // ignored.
  void destroy(int context);

  // The record of a number, or null. Takes no lock, and may run while other threads create and destroy other
  // contexts.
  ContextRecord* lookup(int context) const;

  // Slots lie in segments of growing size that never move, so that a reader without the lock may look at one
  // at any time. The first has 256, each other twice as many as the one before.
  struct Place {
    std::size_t segment;
    std::size_t offset;
    bool operator==(const Place&) const = default;
  };
  static Place placeOf(int context);

 private:
  using Slot = std::atomic<ContextRecord*>;
  static constexpr int kFirstSegmentSlots = 256;
  static constexpr int kSegments = 24;  // together more slots than there are numbers

  Slot* findSlot(int context) const;
  Slot& slotFor(int context);

  CriticalSection lock_;
  std::array<std::unique_ptr<Slot[]>, kSegments> ownedSegments_;
  std::array<std::atomic<Slot*>, kSegments> segments_{};
  // A heap, the lowest number first. It always has room for all numbers: destroying a context needs no
  // memory.
  std::vector<int> freeNumbers_;
  int nextNumber_ = 0;
};

// The contexts of this process. The library's entry point opens and closes their registry. Code of the
// library can still be called after that, by a library that is detached later: there are no contexts then.
ContextRecord* lookupContext(int context);
std::optional<int> createContext();  // nothing while the registry is closed
void destroyContext(int context);

void openContextRegistry();
// When the process ends, its other threads have been stopped wherever they were, perhaps with the lock held:
// nothing is freed.
void closeContextRegistry(bool processEnds);

}  // namespace kx
