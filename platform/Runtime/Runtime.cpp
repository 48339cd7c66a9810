#include "oqsdk/Runtime.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "Runtime/Hook.h"
#include "oqsdk/Exception.h"

namespace oq {

struct SelectorName {
  explicit SelectorName(std::string name) : text(std::move(name)) {}
  std::string text;
  std::atomic<std::size_t> counter{0};  ///< which of a thread's counters its messages raise; 0: none
};

struct Method {
  Method(SEL of, const char* encoding, IMP first)
      : selector(of), typeEncoding(encoding), implementation(first), layers{first} {}

  SEL selector;
  const char* typeEncoding;  ///< nullptr: whoever added it vouches for its type
  std::atomic<IMP> implementation;
  Method* next = nullptr;
  /// What was put into the method and not taken out again, oldest first. Guarded by the mutex of hooks().
  std::vector<IMP> layers;
};

/// The methods form a list that only ever grows at its head, so that a reader needs no lock.
struct Class {
  std::string name;
  Class* superclass;
  std::atomic<Method*> methods{nullptr};

  Method* ownMethod(SEL selector) const {
    for (Method* method = methods.load(std::memory_order_acquire); method; method = method->next) {
      if (method->selector == selector) return method;
    }
    return nullptr;
  }

  Method* findMethod(SEL selector) const {
    for (const Class* cls = this; cls; cls = cls->superclass) {
      if (Method* method = cls->ownMethod(selector)) return method;
    }
    return nullptr;
  }
};

namespace {

/// Selectors and classes by name. Classes register themselves before main() and are used while the process
/// ends, so the tables are made at first use and never destroyed.
template <class T>
struct NameTable {
  std::mutex mutex;
  std::map<std::string, std::unique_ptr<T>, std::less<>> entries;
};

NameTable<SelectorName>& selectorTable() {
  static auto* table = new NameTable<SelectorName>;
  return *table;
}

NameTable<Class>& classTable() {
  static auto* table = new NameTable<Class>;
  return *table;
}

bool isSameEncoding(const char* first, const char* second) {
  return first == second || std::strcmp(first, second) == 0;
}

/// The hooks of the library, and a lock for them and for every method's layers.
struct Hooks {
  std::mutex mutex;
  std::map<IMP, detail::HookMoved> moved;
  std::size_t counters = 0;
};

Hooks& hooks() {
  static auto* hooks = new Hooks;
  return *hooks;
}

/// How many messages this thread has sent, for each selector that is counted.
constexpr std::size_t mostCounters = 8;
thread_local std::array<std::uint64_t, mostCounters + 1> sends;

/// A change to a method's layers, which hooks are told of once no lock is held.
class Relaying {
 public:
  explicit Relaying(Method& method) : _method(method), _before(method.layers) {}

  /// What an exchange hands to the other method: the top, or what a hook there stands on.
  IMP topBelowHook() const { return _before[_before.size() - (hasHookToLift() ? 2 : 1)]; }

  void put(IMP implementation, bool belowHook) {
    auto& layers = _method.layers;
    auto known = std::find(layers.begin(), layers.end(), implementation);
    if (known != layers.end()) {
      // Whoever puts back what was there before takes its own layers out, and not the library's hook.
      auto isTakenOut = [](IMP layer) { return hooks().moved.count(layer) == 0; };
      layers.erase(std::remove_if(known + 1, layers.end(), isTakenOut), layers.end());
    } else {
      layers.insert(layers.end() - (belowHook && hasHookToLift() ? 1 : 0), implementation);
    }
    _method.implementation.store(layers.back(), std::memory_order_release);
    for (IMP layer : layers) noteIfMoved(layer);
  }

  void tellHooks() const {
    for (const auto& call : _calls) call();
  }

 private:
  bool hasHookToLift() const { return _before.size() > 1 && hooks().moved.count(_before.back()) > 0; }

  static IMP below(const std::vector<IMP>& layers, IMP layer) {
    auto found = std::find(layers.begin(), layers.end(), layer);
    return found == layers.begin() || found == layers.end() ? nullptr : *(found - 1);
  }

  void noteIfMoved(IMP layer) {
    auto hook = hooks().moved.find(layer);
    if (hook == hooks().moved.end()) return;
    IMP was = below(_before, layer), is = below(_method.layers, layer);
    if (was && is && was != is)
      _calls.push_back([moved = hook->second, layer, was, is] { moved(layer, was, is); });
  }

  Method& _method;
  const std::vector<IMP> _before;
  std::vector<std::function<void()>> _calls;
};

[[noreturn]] [[gnu::cold]] void throwInvalidArgument(const Class* cls, SEL selector, const char* what) {
  std::string name = "-[" + class_getName(cls) + " " + sel_getName(selector) + "]";
  throw Exception("NSInvalidArgumentException", name + ": " + what);
}

}  // namespace

SEL sel_registerName(std::string_view name) {
  auto& table = selectorTable();
  std::lock_guard lock(table.mutex);
  auto found = table.entries.find(name);
  if (found == table.entries.end()) {
    std::string text(name);
    found = table.entries.emplace(text, new SelectorName(text)).first;
  }
  return found->second.get();
}

const std::string& sel_getName(SEL selector) {
  static const auto* none = new std::string("(null)");
  return selector ? selector->text : *none;
}

Class* NSClassFromString(std::string_view name) {
  auto& table = classTable();
  std::lock_guard lock(table.mutex);
  auto found = table.entries.find(name);
  return found == table.entries.end() ? nullptr : found->second.get();
}

const std::string& class_getName(const Class* cls) {
  static const auto* none = new std::string("(null)");
  return cls ? cls->name : *none;
}

Class* class_getSuperclass(const Class* cls) {
  return cls ? cls->superclass : nullptr;
}

Method* class_getInstanceMethod(const Class* cls, SEL selector) {
  return cls && selector ? cls->findMethod(selector) : nullptr;
}

std::vector<Method*> class_copyMethodList(const Class* cls) {
  std::vector<Method*> list;
  if (!cls) return list;
  for (Method* method = cls->methods.load(std::memory_order_acquire); method; method = method->next) {
    list.push_back(method);
  }
  return list;
}

bool class_addMethod(Class* cls, SEL selector, IMP implementation, const char* typeEncoding) {
  if (!cls || !selector || !implementation) return false;
  std::unique_ptr<Method> added(new Method(selector, typeEncoding, implementation));
  // The head is read before the list is searched, so that no other thread's addition can come in between.
  added->next = cls->methods.load(std::memory_order_acquire);
  do {
    if (cls->ownMethod(selector)) return false;
  } while (!cls->methods.compare_exchange_weak(added->next, added.get(), std::memory_order_acq_rel));
  added.release();  // the class keeps it for ever
  return true;
}

IMP method_getImplementation(const Method* method) {
  return method ? method->implementation.load(std::memory_order_acquire) : nullptr;
}

IMP method_setImplementation(Method* method, IMP implementation) {
  if (!method || !implementation) return nullptr;
  std::unique_lock lock(hooks().mutex);
  IMP replaced = method->implementation.load(std::memory_order_acquire);
  Relaying relaying(*method);
  relaying.put(implementation, false);
  lock.unlock();
  relaying.tellHooks();
  return replaced;
}

const char* method_getTypeEncoding(const Method* method) {
  return method ? method->typeEncoding : nullptr;
}

void method_exchangeImplementations(Method* first, Method* second) {
  if (!first || !second || first == second) return;
  std::unique_lock lock(hooks().mutex);
  Relaying ofFirst(*first), ofSecond(*second);
  ofFirst.put(ofSecond.topBelowHook(), true);
  ofSecond.put(ofFirst.topBelowHook(), true);
  lock.unlock();
  ofFirst.tellHooks();
  ofSecond.tellHooks();
}

Class* registerClass(std::string_view name, Class* superclass,
                     std::initializer_list<detail::MethodDefinition> methods) {
  auto& table = classTable();
  std::lock_guard lock(table.mutex);
  auto found = table.entries.find(name);
  if (found != table.entries.end()) return found->second.get();
  // Its methods are in place before anybody can find the class.
  auto cls = std::make_unique<Class>();
  cls->name = name;
  cls->superclass = superclass;
  for (const auto& definition : methods) {
    class_addMethod(cls.get(), definition.selector, definition.implementation, definition.typeEncoding);
  }
  return table.entries.emplace(cls->name, std::move(cls)).first->second.get();
}

IMP detail::implementationFor(const Class* cls, SEL selector, const char* typeEncoding) {
  Method* method = cls ? cls->findMethod(selector) : nullptr;
  if (!method) [[unlikely]]
    throwInvalidArgument(cls, selector, "unrecognized selector sent to instance");
  if (method->typeEncoding && !isSameEncoding(method->typeEncoding, typeEncoding)) [[unlikely]] {
    throwInvalidArgument(cls, selector, "the method has another signature than the message");
  }
  if (auto counter = selector->counter.load(std::memory_order_relaxed)) ++sends[counter];
  return method->implementation.load(std::memory_order_acquire);
}

void detail::registerHook(SEL selector, IMP hook, HookMoved moved) {
  std::lock_guard lock(hooks().mutex);
  if (!hooks().moved.emplace(hook, moved).second || hooks().counters == mostCounters) return;
  const_cast<SelectorName*>(selector)->counter.store(++hooks().counters, std::memory_order_relaxed);
}

std::uint64_t detail::sendCount(SEL selector) {
  return sends[selector->counter.load(std::memory_order_relaxed)];
}

IMP detail::firstImplementation(const Method* method) {
  if (!method) return nullptr;
  std::lock_guard lock(hooks().mutex);
  return method->layers.front();
}

Object::~Object() = default;

Class* Object::staticClass() {
  static Class* registered = registerClass("Object", nullptr);
  return registered;
}

bool Object::isKindOfClass(const Class* cls) const {
  for (const Class* own = class_(); own; own = own->superclass) {
    if (own == cls) return true;
  }
  return false;
}

std::string Object::description() const {
  return "<" + class_getName(class_()) + ">";
}

}  // namespace oq
