// SPDX-License-Identifier: Apache-2.0
#include "Hooks/OQSwizzler.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <vector>

#include "Hooks/OQSwizzle.h"
#include "UIKit/Controllers/UIViewController.h"
#include "oqsdk/Exception.h"
#include "support/EngineTest.h"
#include "support/Threads.h"

namespace oq {
namespace {

using testing::ElementsAre;
using Upload = decltype(saveUploadInfo);
using Calls = std::vector<std::string>;

const Selector<void()> exchanged{"swizzlerTestExchanged"};

struct EndlessLoop {};

/// An object with a class created by the test, and a record of its calls. For the event "nested" the original method
/// sends another message, to the child if there is one.
class Receiver : public Object {
 public:
  explicit Receiver(Class* cls) : _class(cls) {}
  Class* class_() const override { return _class; }
  void save(const std::string& event = "e") { send(*this, saveUploadInfo, Value(1), event, nullptr); }
  void note(const std::string& call) { calls.push_back(call); }
  /// Each hook of another library calls this first. If hooks call each other without end, the exception ends the test's
  /// message before the stack overflows.
  void enter() {
    if (++_entered > 40) throw EndlessLoop();
  }

  void _save(const Value&, const std::string& event, const UploadHandler&) {
    note("original");
    if (event == "nested") (child ? *child : *this).save();
  }
  void _saveAndSuper(const Value& info, const std::string& event, const UploadHandler& handler) {
    note("override");
    sendSuper(_class, *this, saveUploadInfo, info, event, handler);
  }
  void _appear(bool animated) { note(animated ? "original animated" : "original"); }
  void _saveWithOtherTypes(bool) { note("other types"); }
  void _exchangedOne() { note("one"); }
  void _exchangedTwo() { note("two"); }

  Calls calls;
  Receiver* child = nullptr;

 private:
  Class* const _class;
  int _entered = 0;
};

const detail::MethodDefinition saving = method<&Receiver::_save>(saveUploadInfo);

Receiver& receiverOf(Object& self) {
  return static_cast<Receiver&>(self);
}

Method* methodOf(Class* cls) {
  return class_getInstanceMethod(cls, saveUploadInfo);
}

/// Every test starts without hooks and uses new classes.
class Swizzler : public test::WorldTest {
 protected:
  Swizzler() {
    for (const char* name : kHookable) _former.push_back(getSwizzleByName(name)->exchange(nullptr));
  }
  ~Swizzler() override {
    for (std::size_t i = 0; i < _former.size(); ++i) getSwizzleByName(kHookable[i])->exchange(_former[i]);
  }

  /// A class whose methods are not hooked yet.
  static Class* makeClass(std::initializer_list<detail::MethodDefinition> methods,
                          Class* superclass = Object::staticClass()) {
    static int number = 0;
    return registerClass("SwizzlerTest" + std::to_string(++number), superclass, methods);
  }
  static void removeRecord() { getSwizzleByName(kHookable[0])->exchange(nullptr); }
  static std::shared_ptr<OQSwizzle> record() { return OQSwizzler::swizzleForSelector(saveUploadInfo); }

  /// A block that records its name. For the event "again" it sends another message.
  static OQUploadHookBlock noting(const std::string& name) {
    return [name](Object& self, SEL, const Value&, const std::string& event, const UploadHandler&) {
      receiverOf(self).note(name);
      if (event == "again") receiverOf(self).save();
    };
  }
  static void hook(Class* cls, const std::string& name) {
    OQSwizzler::swizzleSelector(saveUploadInfo, cls, noting(name), name);
  }
  static Calls callsOf(Class* cls, const std::string& event = "e") {
    Receiver receiver(cls);
    receiver.save(event);
    return receiver.calls;
  }

 private:
  static constexpr const char* kHookable[] = {"saveUploadInfo:event:handler:", "viewDidAppear:", "viewWillDisappear:",
                                              "mailComposeController:didFinishWithResult:error:"};
  std::vector<std::shared_ptr<OQSwizzle>> _former;
};

TEST_F(Swizzler, KeepsOneRecordWithABlockPerName) {
  Class* cls = makeClass({saving});
  hook(cls, "a");
  const auto first = record();
  hook(cls, "b");
  hook(cls, "a");
  EXPECT_EQ(record(), first);
  EXPECT_THAT(first->description(), testing::MatchesRegex("Swizzle on SwizzlerTest.*::saveUploadInfo:event:handler: "
                                                          "\\[\n\ta : .*\n\tb : .*\n\\]"));
  EXPECT_EQ(callsOf(cls).front(), "original");
  EXPECT_THAT(callsOf(cls), testing::UnorderedElementsAre("original", "a", "b"));

  OQSwizzler::unswizzleSelector(saveUploadInfo, nullptr, "absent");
  OQSwizzler::unswizzleSelector(saveUploadInfo, nullptr, "a");
  OQSwizzler::unswizzleSelector(viewDidAppearSelector, cls, "b");
  EXPECT_THAT(callsOf(cls), ElementsAre("original", "b"));
  OQSwizzler::unswizzleSelector(saveUploadInfo, cls, "b");
  EXPECT_THAT(callsOf(cls), ElementsAre("original"));
  EXPECT_EQ(record(), first);
}

TEST_F(Swizzler, GivesAnInheritingClassItsOwnMethod) {
  Class* base = makeClass({saving});
  Class* sub = makeClass({}, base);
  Method* inherited = methodOf(sub);
  IMP original = method_getImplementation(inherited);
  hook(sub, "a");
  Method* own = methodOf(sub);
  EXPECT_NE(own, inherited);
  EXPECT_TRUE(OQSwizzler::isLocallyDefinedMethod(own, sub));
  EXPECT_EQ(method_getImplementation(own), getSwizzleIMPBySELName("saveUploadInfo:event:handler:"));
  EXPECT_EQ(record()->originalMethod(), original);
  EXPECT_THAT(callsOf(base), ElementsAre("original"));
  EXPECT_THAT(callsOf(sub), ElementsAre("original", "a"));
  EXPECT_TRUE(logEntries().empty());
}

/// The second class takes over the record together with the first class's original implementation. If the classes are
/// unrelated, this implementation is not called.
TEST_F(Swizzler, HookOnASecondClassDropsTheBlocksOfTheFirst) {
  for (bool isRelated : {true, false}) {
    removeRecord();
    Class* first = makeClass({saving});
    Class* second = makeClass({}, isRelated ? first : Object::staticClass());
    hook(first, "a");
    hook(second, "b");
    const Calls both{"original", "b"}, block{"b"};
    EXPECT_EQ(callsOf(first), both) << isRelated;
    EXPECT_EQ(callsOf(second), isRelated ? both : block);
  }
}

TEST_F(Swizzler, BlockGetsAScalarArgumentAsAValue) {
  Class* cls = makeClass({method<&Receiver::_appear>(viewDidAppearSelector)});
  Receiver receiver(cls);
  OQSwizzler::swizzleSelector(
      viewDidAppearSelector, cls,
      [&](Object& screen, SEL sent, const Value& animated) {
        EXPECT_EQ(&screen, &receiver);
        EXPECT_EQ(sent, viewDidAppearSelector.sel());
        EXPECT_EQ(animated, Value(true));
        receiver.note("a");
      },
      "a");
  send(receiver, viewDidAppearSelector, true);
  EXPECT_THAT(receiver.calls, ElementsAre("original animated", "a"));
}

TEST_F(Swizzler, MissingUploadMethodIsAddedButAMissingScreenMethodThrows) {
  Class* cls = makeClass({});
  hook(cls, "a");
  EXPECT_EQ(logEntries().back(),
            "SwizzleException:Cannot find method for saveUploadInfo:event:handler: on " + class_getName(cls));
  EXPECT_THAT(callsOf(cls), ElementsAre("a"));
  EXPECT_EQ(record()->originalMethod(), nullptr);
  OQSwizzler::swizzleSelector(
      viewDidAppearSelector, cls, [](Object&, SEL, const Value&) { FAIL(); }, "a");
  Receiver screen(cls);
  EXPECT_THROW(send(screen, viewDidAppearSelector, false), Exception);
}

TEST_F(Swizzler, SilentlyIgnoresWhatItCannotHook) {
  Class* cls = makeClass({saving, method<&Receiver::_exchangedOne>(exchanged)});
  const Selector<void(bool)> sameName{"saveUploadInfo:event:handler:"};
  Class* otherTypes = makeClass({method<&Receiver::_saveWithOtherTypes>(sameName)});
  auto appearance = [](Object&, SEL, const Value&) { FAIL(); };
  OQSwizzler::swizzleSelector(exchanged, cls, noting("a"), "a");
  OQSwizzler::swizzleSelector(nullptr, cls, noting("a"), "a");
  OQSwizzler::swizzleSelector(saveUploadInfo, nullptr, noting("a"), "a");
  OQSwizzler::swizzleSelector(saveUploadInfo, cls, OQUploadHookBlock(), "a");
  OQSwizzler::swizzleSelector(saveUploadInfo, cls, noting("a"), std::nullopt);
  OQSwizzler::swizzleSelector(saveUploadInfo, cls, appearance, "a");  // a block for another selector
  OQSwizzler::swizzleSelector(saveUploadInfo, otherTypes, noting("a"), "a");
  OQSwizzler::unswizzleSelector(nullptr, cls, "a");
  OQSwizzler::unswizzleSelector(saveUploadInfo, cls, "a");
  EXPECT_EQ(record(), nullptr);
  EXPECT_EQ(OQSwizzler::swizzleForSelector(exchanged), nullptr);
  EXPECT_TRUE(logEntries().empty());
  EXPECT_THAT(callsOf(cls), ElementsAre("original"));
  Receiver ofOtherTypes(otherTypes);
  send(ofOtherTypes, sameName, true);
  EXPECT_THAT(ofOtherTypes.calls, ElementsAre("other types"));
}

TEST_F(Swizzler, BlocksMayChangeHooksAndCallTheMethodAgain) {
  Class* cls = makeClass({saving});
  OQSwizzler::swizzleSelector(
      saveUploadInfo, cls,
      [cls, guard = std::make_shared<std::string>("after")](Object& self, SEL, const Value&, const std::string&,
                                                            const UploadHandler&) {
        OQSwizzler::unswizzleSelector(saveUploadInfo, cls, "once");
        hook(cls, "added");
        receiverOf(self).save();
        receiverOf(self).note(*guard);  // the block's captures live until it has ended
      },
      "once");
  EXPECT_THAT(callsOf(cls), ElementsAre("original", "original", "added", "after"));
}

TEST_F(Swizzler, ConcurrentCallsReachTheOriginalOnceWhileHooksChange) {
  Class* cls = makeClass({saving});
  static std::atomic<IMP> below;
  below = method_getImplementation(methodOf(cls));
  const Upload::Function other = [](Object& self, SEL selector, const Value& info, const std::string& event,
                                    const UploadHandler& handler) {
    Upload::typed(below)(self, selector, info, event, handler);
    receiverOf(self).note("other");
  };
  std::atomic<bool> installed = false, ended = false;
  std::atomic<int> wrong = 0;
  auto callers = test::inThreads(8, [&](int) {
    for (int call = 0; call < 300 || !ended; ++call) {
      const bool isInstalled = installed;
      const Calls calls = callsOf(cls);
      auto times = [&](const char* name) { return std::count(calls.begin(), calls.end(), name); };
      wrong += calls.front() != "original" || times("original") != 1;
      wrong += times("kept") > 1 || (isInstalled && times("kept") != 1);
      wrong += times("other") > 1 || times("passing") > 1;
    }
  });
  hook(cls, "kept");
  installed = true;
  for (int i = 0; i < 100; ++i) {
    below = method_setImplementation(methodOf(cls), Upload::erase(other));
    hook(cls, "passing");
    method_setImplementation(methodOf(cls), below);
    OQSwizzler::unswizzleSelector(saveUploadInfo, cls, "passing");
  }
  ended = true;
  callers.clear();
  EXPECT_EQ(wrong, 0);
}

TEST_F(Swizzler, ExchangesTwoMethodsAndChangesTheSuperclassIfOneIsInherited) {
  const Selector<void()> other{"swizzlerTestOther"};
  const auto one = method<&Receiver::_exchangedOne>(exchanged), two = method<&Receiver::_exchangedTwo>(other);
  auto calls = [&](Class* cls) {
    Receiver receiver(cls);
    send(receiver, exchanged);
    if (class_getInstanceMethod(cls, other)) send(receiver, other);
    return receiver.calls;
  };
  Class* own = makeClass({one, two});
  oq_exchangeOriginalSel(own, exchanged, other);
  oq_exchangeOriginalSel(own, exchanged, sel_registerName("swizzlerTestAbsent"));
  EXPECT_THAT(calls(own), ElementsAre("two", "one"));

  Class* base = makeClass({one});
  Class* sub = makeClass({two}, base);
  oq_exchangeOriginalSel(sub, exchanged, other);
  EXPECT_THAT(calls(sub), ElementsAre("two", "one"));
  EXPECT_THAT(calls(base), ElementsAre("two"));
}

// The rest of this file tests our hook on a method that other libraries also replace, exchange and restore.

/// A message as another library's hook gets it.
struct Message {
  Object& self;
  SEL selector;
  const Value& info;
  const std::string& event;
  const UploadHandler& handler;
  void passTo(IMP former) const { Upload::typed(former)(self, selector, info, event, handler); }
};

/// Returns a method implementation that calls the body with each message. The body must capture nothing.
template <auto body>
IMP implementation() {
  constexpr Upload::Function function = [](Object& self, SEL selector, const Value& info, const std::string& event,
                                           const UploadHandler& handler) {
    body(Message{self, selector, info, event, handler});
  };
  return Upload::erase(function);
}

/// Another library, which can install and remove its hook. The hook calls the former implementation, and then, while it
/// is installed, records the library's letter.
struct Library {
  std::function<void(Class*)> arrive, leave;
};

template <char letter>
struct State {
  static inline IMP former = nullptr;
  static inline bool isActive = false;
  static void note(Object& self) {
    if (isActive) receiverOf(self).note(std::string(1, letter));
  }
};

/// A library that stores the implementation that it finds, and restores this implementation when it leaves.
template <char letter>
Library replacing() {
  using Own = State<letter>;
  constexpr auto hook = [](const Message& message) {
    receiverOf(message.self).enter();
    message.passTo(Own::former);
    Own::note(message.self);
  };
  auto arrive = [](Class* cls) {
    Own::isActive = true;
    Own::former = method_setImplementation(methodOf(cls), implementation<hook>());
  };
  auto leave = [](Class* cls) {
    Own::isActive = false;
    method_setImplementation(methodOf(cls), Own::former);
  };
  return {arrive, leave};
}

/// A library that adds a method of its own and exchanges the implementations of the two methods. The selector of its
/// own method then reaches the former implementation.
template <char letter>
Library exchanging() {
  using Own = State<letter>;
  static const Upload others{letter == 'A' ? "aSaveUploadInfo:event:handler:" : "bSaveUploadInfo:event:handler:"};
  constexpr auto hook = [](const Message& message) {
    receiverOf(message.self).enter();
    send(message.self, others, message.info, message.event, message.handler);
    Own::note(message.self);
  };
  auto exchange = [](Class* cls) {
    class_addMethod(cls, others, implementation<hook>(), typeEncodingOf<Upload::Signature>());
    method_exchangeImplementations(methodOf(cls), class_getInstanceMethod(cls, others));
    Own::isActive = !Own::isActive;
  };
  auto arrive = [exchange](Class* cls) {
    Own::isActive = false;
    exchange(cls);
  };
  return {arrive, exchange};
}

class HookHistory : public Swizzler {
 protected:
  static Class* makeHookableClass() {
    removeRecord();
    return makeClass({saving});
  }
  /// A class with this history: 'A' and 'B' arrive, 'a' and 'b' leave, '*' is our hook.
  static Class* classAfter(const std::string& history, const Library& a, const Library& b = {}) {
    Class* cls = makeHookableClass();
    for (char step : history) {
      if (step == '*') hook(cls, "block");
      if (step == 'A') a.arrive(cls);
      if (step == 'a') a.leave(cls);
      if (step == 'B') b.arrive(cls);
      if (step == 'b') b.leave(cls);
    }
    return cls;
  }
};

/// Every order in which two libraries can arrive, leave and arrive again in up to `most` steps.
std::vector<std::string> historiesOfOthers(std::size_t most) {
  std::vector<std::string> all{""};
  for (std::size_t next = 0; next < all.size(); ++next) {
    const std::string history = all[next];
    if (history.size() == most) continue;
    for (char letter : {'A', 'B'}) {
      const char left = static_cast<char>(letter - 'A' + 'a');
      const auto times = [&](char step) { return std::count(history.begin(), history.end(), step); };
      const bool isHere = times(letter) > times(left);
      all.push_back(history + (isHere ? left : letter));
    }
  }
  return all;
}

TEST_F(HookHistory, OtherLibrariesAreUnaffectedAndOurBlockRunsOncePerMessage) {
  const std::vector<std::pair<Library, Library>> pairs{{replacing<'A'>(), replacing<'B'>()},
                                                       {replacing<'A'>(), exchanging<'B'>()},
                                                       {exchanging<'A'>(), replacing<'B'>()},
                                                       {exchanging<'A'>(), exchanging<'B'>()}};
  auto callsAfter = [&](const std::string& history, const auto& pair, const char* event) -> Calls {
    try {
      return callsOf(classAfter(history, pair.first, pair.second), event);
    } catch (const EndlessLoop&) {
      return {"loop"};
    }
  };
  int compared = 0;
  for (const auto& pair : pairs) {
    for (const std::string& history : historiesOfOthers(7)) {
      const Calls without = callsAfter(history, pair, "e");
      if (std::count(without.begin(), without.end(), "original") != 1)
        continue;  // these libraries loop or lose calls even without our hook
      Calls once = without;
      once.push_back("block");
      Calls again = once;
      again.insert(again.end(), once.begin(), once.end());
      const Calls nestedWithout = callsAfter(history, pair, "nested");
      for (std::size_t at = 0; at <= history.size(); ++at) {
        std::string ours = history;
        ours.insert(at, "*");
        EXPECT_EQ(callsAfter(ours, pair, "e"), once) << ours;
        EXPECT_EQ(callsAfter(ours, pair, "again"), again) << ours;
        Calls nested = callsAfter(ours, pair, "nested");
        EXPECT_EQ(std::erase(nested, "block"), 2) << ours;
        EXPECT_EQ(nested, nestedWithout) << ours;
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 6000);
}

/// A library that is not the outermost hook installs itself again, and so forms a cycle with our hook.
TEST_F(HookHistory, LibraryThatReinstallsItselfAboveOurHookIsCalledOnce) {
  const Library a = replacing<'A'>();
  Class* cls = classAfter("A*A", a);
  EXPECT_THAT(callsOf(cls), ElementsAre("original", "A", "block"));
  EXPECT_THAT(callsOf(cls, "nested"), ElementsAre("original", "original", "A", "block", "A", "block"));
  // With another library above it, the cycle is detected one round later.
  EXPECT_THAT(callsOf(classAfter("A*AB", a, exchanging<'B'>())), ElementsAre("original", "A", "A", "B", "block"));
}

/// Libraries may call the former implementation several times, or later.
TEST_F(HookHistory, BlockRunsOnceEvenIfALibraryForwardsTheCallTwiceOrWithDelay) {
  static std::vector<std::function<void()>> kept;
  static IMP former;
  Class* cls = classAfter("A*", replacing<'A'>());
  constexpr auto twice = [](const Message& message) {
    for (int call = 0; call < 2; ++call) message.passTo(former);
  };
  former = method_setImplementation(methodOf(cls), implementation<twice>());
  EXPECT_THAT(callsOf(cls), ElementsAre("original", "A", "original", "A", "block"));

  constexpr auto later = [](const Message& message) {
    kept.push_back([=, &self = message.self, selector = message.selector, info = message.info, event = message.event,
                    handler = message.handler] {
      Message{self, selector, info, event, handler}.passTo(former);
    });
  };
  method_setImplementation(methodOf(cls), implementation<later>());
  Receiver receiver(cls);
  receiver.save("e");
  kept.at(0)();
  EXPECT_THAT(receiver.calls, ElementsAre("block", "original", "A"));
}

/// The hook is on the superclass, so a message to the subclass reaches the override before the hook.
TEST_F(HookHistory, OverrideReachesTheHookThroughItsSuperclass) {
  static IMP inherited;
  Class* base = classAfter("*", {});
  inherited = method_getImplementation(methodOf(base));
  Class* sub = registerClass(class_getName(base) + "Sub", base);
  constexpr auto override = [](const Message& message) { message.passTo(inherited); };
  class_addMethod(sub, saveUploadInfo, implementation<override>(), typeEncodingOf<Upload::Signature>());
  EXPECT_THAT(callsOf(sub), ElementsAre("original", "block"));
  EXPECT_THAT(callsOf(sub, "nested"), ElementsAre("original", "original", "block", "block"));
  Receiver parent(base), child(sub);
  parent.child = &child;
  parent.save("nested");
  EXPECT_THAT(child.calls, ElementsAre("original", "block"));
  EXPECT_THAT(callsOf(makeClass({method<&Receiver::_saveAndSuper>(saveUploadInfo)}, base)),
              ElementsAre("override", "original", "block"));
}

TEST_F(HookHistory, CallIsForgottenIfTheOriginalMethodThrows) {
  static bool fails;
  fails = true;
  Class* cls = makeHookableClass();
  constexpr auto failing = [](const Message& message) {
    receiverOf(message.self).note("original");
    if (fails) throw std::runtime_error("original");
  };
  method_setImplementation(methodOf(cls), implementation<failing>());
  hook(cls, "block");
  Receiver receiver(cls);
  EXPECT_THROW(receiver.save("e"), std::runtime_error);
  fails = false;
  // Calls the function by its address, without a message. If the failed message were still recorded on this thread, it
  // would be mistaken for the message of this call.
  Upload::typed(method_getImplementation(methodOf(cls)))(receiver, saveUploadInfo, Value(1), "e", nullptr);
  EXPECT_THAT(receiver.calls, ElementsAre("original", "original", "block"));
}

}  // namespace
}  // namespace oq
