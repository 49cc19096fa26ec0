#include "api/win32/context_registry.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <utility>

namespace kx {

namespace {

// Null before it is opened and after it is closed.
std::unique_ptr<ContextRegistry> registry;

}  // namespace

ContextRecord::~ContextRecord() {
  // A context that is destroyed without an exit leaves its browser running, and with it the connection.
  static_cast<void>(instance.release());
}

int errorNumber(const ContextRecord& record) {
  return record.instance ? record.instance->errorNumber() : record.lastErrorNumber;
}

const std::string& errorText(const ContextRecord& record) {
  return record.instance ? record.instance->errorText() : record.lastErrorText;
}

void keepError(ContextRecord& record, int number, std::string text) {
  record.lastErrorNumber = number;
  record.lastErrorText = std::move(text);
}

void keepInstanceError(ContextRecord& record) {
  keepError(record, record.instance->errorNumber(), record.instance->errorText());
}

InstanceStart::InstanceStart(ContextRecord& record, std::unique_ptr<BrowserInstance> instance)
    : record_(record) {
  static_cast<void>(record_.instance.release());
  record_.instance = std::move(instance);
}

InstanceStart::~InstanceStart() {
  if (!hasSucceeded_) {
    record_.instance.reset();
  }
}

ContextRegistry::ContextRegistry() {
  slotFor(0);
}

ContextRegistry::~ContextRegistry() {
  const std::lock_guard guard(lock_);
  for (int context = 0; context < nextNumber_; ++context) {
    const std::unique_ptr<ContextRecord> record(findSlot(context)->exchange(nullptr));
  }
}

int ContextRegistry::create() {
  auto record = std::make_unique<ContextRecord>();
  const std::lock_guard guard(lock_);
  const bool isReused = !freeNumbers_.empty();
  const int context = isReused ? freeNumbers_.front() : nextNumber_;
  if (freeNumbers_.capacity() <= static_cast<std::size_t>(context)) {
    freeNumbers_.reserve(2 * (static_cast<std::size_t>(context) + 1));
  }
  slotFor(context).store(record.get(), std::memory_order_release);
  static_cast<void>(record.release());  // the slot owns it now
  if (isReused) {
    std::pop_heap(freeNumbers_.begin(), freeNumbers_.end(), std::greater<>());
    freeNumbers_.pop_back();
  } else {
    ++nextNumber_;
  }
  return context;
}

void ContextRegistry::destroy(int context) {
  const std::lock_guard guard(lock_);
  Slot* slot = findSlot(context);
  if (slot != nullptr && slot->load(std::memory_order_relaxed) != nullptr) {
    freeNumbers_.push_back(context);
    std::push_heap(freeNumbers_.begin(), freeNumbers_.end(), std::greater<>());
    const std::unique_ptr<ContextRecord> record(slot->exchange(nullptr, std::memory_order_acq_rel));
  }
}

ContextRecord* ContextRegistry::lookup(int context) const {
  const Slot* slot = findSlot(context);
  return slot != nullptr ? slot->load(std::memory_order_acquire) : nullptr;
}

ContextRegistry::Place ContextRegistry::placeOf(int context) {
  Place place = {0, static_cast<std::size_t>(context)};
  for (std::size_t slots = kFirstSegmentSlots; place.offset >= slots; slots *= 2) {
    place.offset -= slots;
    ++place.segment;
  }
  return place;
}

ContextRegistry::Slot* ContextRegistry::findSlot(int context) const {
  if (context < 0) {
    return nullptr;
  }
  const Place place = placeOf(context);
  Slot* slots = segments_[place.segment].load(std::memory_order_acquire);
  return slots != nullptr ? &slots[place.offset] : nullptr;
}

ContextRegistry::Slot& ContextRegistry::slotFor(int context) {
  const Place place = placeOf(context);
  if (!ownedSegments_[place.segment]) {
    ownedSegments_[place.segment] =
        std::make_unique<Slot[]>(std::size_t{kFirstSegmentSlots} << place.segment);
    segments_[place.segment].store(ownedSegments_[place.segment].get(), std::memory_order_release);
  }
  return *findSlot(context);
}

ContextRecord* lookupContext(int context) {
  return registry ? registry->lookup(context) : nullptr;
}

std::optional<int> createContext() {
  return registry ? std::optional(registry->create()) : std::nullopt;
}

void destroyContext(int context) {
  if (registry) {
    registry->destroy(context);
  }
}

void openContextRegistry() {
  registry = std::make_unique<ContextRegistry>();
}

void closeContextRegistry(bool processEnds) {
  if (processEnds) {
    static_cast<void>(registry.release());
  } else {
    registry.reset();
  }
}

}  // namespace kx
