// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "Hooks/OQSwizzle.h"

namespace oq {

/// Holds the record of one selector that can be hooked, and the function that replaces a hooked method. Never
/// destroyed, so that methods may be called during process exit. Thread-safe.
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
  /// The function that messages to a hooked method call (see Runtime/Hook.h).
  IMP entry() const { return _entry; }
  const char* typeEncoding() const { return _typeEncoding; }
  /// Whether the block has the selector's kind.
  bool accepts(const OQSwizzleBlock& block) const { return block.index() == _blockKind; }

  /// nullptr before the selector is hooked.
  std::shared_ptr<OQSwizzle> load() const;
  /// Like load(), but without a lock, for every call of a hooked method.
  OQSwizzle* current() const { return _current.load(std::memory_order_acquire); }
  /// Returns the former record. The slot also keeps it alive, for calls that may still use it; the caller must release
  /// its blocks.
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

/// The slot for the selector's name (exact match); nullptr for a selector that cannot be hooked.
OQSwizzleSlot* getSwizzleByName(std::string_view selectorName);
/// The function that replaces a method of that name; nullptr if it cannot be hooked.
IMP getSwizzleIMPBySELName(std::string_view selectorName);

}  // namespace oq
