// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Foundation/Values/Error.h"
#include "Foundation/Values/Snapshot.h"
#include "oqsdk/AnalyticsHook.h"
#include "oqsdk/Runtime.h"
#include "oqsdk/Value.h"

namespace oq {

/// A block that runs after a hooked method, one type per kind of method. It gets the receiver, the selector and the
/// method's arguments, with numbers and booleans as Values.
using OQUploadHookBlock = std::function<void(Object& receiver, SEL selector, const Value& info,
                                             const std::string& event, const UploadHandler& handler)>;
using OQAppearanceHookBlock = std::function<void(Object& receiver, SEL selector, const Value& animated)>;
using OQMailHookBlock = std::function<void(Object& receiver, SEL selector, Object* controller, const Value& result,
                                           const std::optional<Error>& error)>;
using OQSwizzleBlock = std::variant<OQUploadHookBlock, OQAppearanceHookBlock, OQMailHookBlock>;

/// The record of one hooked selector. Blocks may be added and removed while other threads run them; everything else is
/// fixed after the hook was installed.
class OQSwizzle : public Object {
  OQ_CLASS(OQSwizzle)

 public:
  using Blocks = std::map<std::string, OQSwizzleBlock>;

  OQSwizzle() = default;
  /// `originalClass` is the class that `original` was written for; `original` may only be called for instances of this
  /// class and its subclasses. `first` is the implementation that the method was created with, before any library
  /// replaced it.
  OQSwizzle(OQSwizzleBlock block, const std::string& name, Class* swizzledClass, SEL selector, IMP original,
            const Class* originalClass, IMP first = nullptr);

  /// The class on which the hook was installed.
  Class* swizzledClass() const { return _class; }
  SEL selector() const { return _selector; }
  /// The method's implementation before the hook; nullptr if there was no method.
  IMP originalMethod() const { return _originalMethod.load(std::memory_order_acquire); }
  void setOriginalMethod(IMP original) { _originalMethod.store(original, std::memory_order_release); }
  IMP firstMethod() const { return _firstMethod; }
  const Class* originalClass() const { return _originalClass; }
  /// Whether there is an original method that may be called for this receiver.
  bool canCallOriginal(const Object& receiver) const;
  /// Always 0; nothing sets it.
  std::uint32_t numArgs() const { return _numArgs; }

  /// The current blocks by name.
  std::shared_ptr<const Blocks> blocks() const { return _blocks.load(); }
  /// Adds the block, in place of an earlier block of that name. The caller must serialize changes to one record.
  /// Returns the former blocks, so that the caller destroys them after it has released its locks.
  std::shared_ptr<const Blocks> setBlock(const std::string& name, OQSwizzleBlock block);
  std::shared_ptr<const Blocks> removeBlock(const std::string& name);
  std::shared_ptr<const Blocks> removeAllBlocks() { return _blocks.exchange(std::make_shared<Blocks>()); }

  std::string description() const override;

 private:
  Class* _class = nullptr;
  SEL _selector = nullptr;
  std::atomic<IMP> _originalMethod{nullptr};
  const Class* _originalClass = nullptr;
  IMP _firstMethod = nullptr;
  std::uint32_t _numArgs = 0;
  Snapshot<Blocks> _blocks;
};

/// Holds the record of one selector that can be hooked, and the function that replaces a hooked method (the
/// trampoline). Never destroyed, so that methods may be called while the process exits. Thread-safe.
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
  /// The function that each message to a hooked method calls in place of the method's implementation, which it gets as
  /// an argument (see setMessageEntry() in Runtime/Hook.h).
  IMP entry() const { return _entry; }
  const char* typeEncoding() const { return _typeEncoding; }
  /// Whether the block has the type that the selector requires.
  bool accepts(const OQSwizzleBlock& block) const { return block.index() == _blockKind; }

  /// nullptr before the selector is hooked.
  std::shared_ptr<OQSwizzle> load() const;
  /// Like load(), but without a lock, because it is used at every call of a hooked method.
  OQSwizzle* current() const { return _current.load(std::memory_order_acquire); }
  /// Sets the record and returns the former one. The slot keeps the former record alive, because running calls may
  /// still use it; the caller must remove the blocks of that record.
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
