#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "Foundation/Values/Date.h"
#include "Model/OQWindowData.h"
#include "Model/OQWindowEvent.h"

namespace oq {

/// What became of a window when an event came, or of the event itself.
enum class OQDecision : std::uint8_t {
  NoMatch,
  AnotherWindowFirst,
  PreConditionNotMet,
  NoRecord,
  CountUsedUp,
  BeforeStart,
  AfterEnd,
  AlreadyShown,
  ClosedByUser,
  RecordsBusy,
  Shown,
  Waiting,
  Dropped,
};

/// The last decisions, in memory, in a ring. Recording allocates nothing; texts are made for who asks. Any
/// thread.
class OQDecisionLog {
 public:
  static constexpr std::size_t defaultCapacity = 256;

  explicit OQDecisionLog(std::size_t capacity = defaultCapacity) : _ring(capacity) {}

  /// The window is kept alive as long as the entry is; of the event only the name is kept.
  void record(OQDecision decision, const OQWindowEvent* event, std::shared_ptr<const OQWindowData> window = nullptr);
  /// Oldest first, as recentDecisions() in OQObserverListener.h describes them.
  JSONValue entries() const;
  /// Forgets what is at hand.
  void setCapacity(std::size_t capacity);

 private:
  struct Entry {
    Date time;
    std::shared_ptr<const OQWindowData> window;
    OQDecision decision = OQDecision::NoMatch;
    std::uint8_t nameLength = 0;
    bool hasName = false;
    std::array<char, 95> name{};
  };

  static JSONValue valueOf(const Entry& entry);

  mutable std::mutex _mutex;
  std::vector<Entry> _ring;
  std::uint64_t _recorded = 0;
};

}  // namespace oq
