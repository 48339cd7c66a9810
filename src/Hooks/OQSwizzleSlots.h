#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "Hooks/OQSwizzle.h"

namespace oq {

/// The place of the one record of a selector that can be hooked, with the function that takes the place of a
/// hooked method. Never destroyed, so that methods may be called while the process ends. Any thread.
class OQSwizzleSlot {
 public:
  OQSwizzleSlot(std::string_view selectorName, IMP replacement, IMP sent, const char* typeEncoding,
                std::size_t blockKind)
      : _selectorName(selectorName),
        _trampoline(replacement),
        _entry(sent),
        _typeEncoding(typeEncoding),
        _blockKind(blockKind) {}

  std::string_view selectorName() const { return _selectorName; }
  IMP trampoline() const { return _trampoline; }
  /// What messages to a hooked method call (see Runtime/Hook.h).
  IMP entry() const { return _entry; }
  const char* typeEncoding() const { return _typeEncoding; }
  /// Whether the block is of the selector's kind.
  bool accepts(const OQSwizzleBlock& block) const { return block.index() == _blockKind; }

  /// nullptr before the selector is hooked.
  std::shared_ptr<OQSwizzle> load() const;
  /// The same without a lock, for every call of a hooked method.
  OQSwizzle* current() const { return _current.load(std::memory_order_acquire); }
  /// Returns the former record. It is kept for calls that may still be using it; what its blocks own is for
  /// the caller to release.
  std::shared_ptr<OQSwizzle> exchange(std::shared_ptr<OQSwizzle> swizzle);

 private:
  const std::string_view _selectorName;
  const IMP _trampoline;
  const IMP _entry;
  const char* const _typeEncoding;
  const std::size_t _blockKind;
  mutable std::mutex _mutex;
  std::shared_ptr<OQSwizzle> _swizzle;
  std::vector<std::shared_ptr<OQSwizzle>> _former;
  std::atomic<OQSwizzle*> _current{nullptr};
};

/// The slot of the selector's name, compared exactly; nullptr for a selector that cannot be hooked.
OQSwizzleSlot* getSwizzleByName(std::string_view selectorName);
/// The function that takes the place of a method of that name; nullptr likewise.
IMP getSwizzleIMPBySELName(std::string_view selectorName);

}  // namespace oq
