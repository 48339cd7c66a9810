// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "Hooks/OQSwizzleSlots.h"
#include "Hooks/OQSwizzler.h"
#include "oqsdk/AnalyticsHook.h"

/// Our hook on a method that other libraries replace, exchange and restore as well.
namespace oq {
namespace {

using testing::ElementsAre;
using Upload = decltype(saveUploadInfo);
using Calls = std::vector<std::string>;

struct EndlessLoop {};

/// Records the calls. For the event "nested" the original sends another message, to the child if there is one.
class Receiver : public Object {
 public:
  explicit Receiver(Class* cls) : _class(cls) {}
  Class* class_() const override { return _class; }
  void save(const std::string& event) { send(*this, saveUploadInfo, Value(1), event, nullptr); }
  void note(const std::string& call) { calls.push_back(call); }
  /// Called first by each library's hook: an endless loop ends the test's message, not the process.
  void enter() {
    if (++_entered > 40) throw EndlessLoop();
  }

  void _save(const Value&, const std::string& event, const UploadHandler&) {
    note("original");
    if (event == "nested") (child ? *child : *this).save("e");
  }
  Calls calls;
  Receiver* child = nullptr;

 private:
  Class* const _class;
  int _entered = 0;
};

Receiver& receiverOf(Object& self) {
  return static_cast<Receiver&>(self);
}

Method* methodOf(Class* cls) {
  return class_getInstanceMethod(cls, saveUploadInfo);
}

/// Another library: its hook calls the former implementation, and then records its letter while it is installed.
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

/// Stores the implementation that it finds, and restores it later.
template <char letter>
Library replacing() {
  using Own = State<letter>;
  constexpr Upload::Function hook = [](Object& self, SEL selector, const Value& info, const std::string& event,
                                       const UploadHandler& handler) {
    receiverOf(self).enter();
    Upload::typed(Own::former)(self, selector, info, event, handler);
    Own::note(self);
  };
  auto arrive = [](Class* cls) {
    Own::isActive = true;
    Own::former = method_setImplementation(methodOf(cls), Upload::erase(hook));
  };
  auto leave = [](Class* cls) {
    Own::isActive = false;
    method_setImplementation(methodOf(cls), Own::former);
  };
  return {arrive, leave};
}

/// Exchanges the method with its own, whose selector then reaches the former implementation.
template <char letter>
Library exchanging() {
  using Own = State<letter>;
  static const Upload others{letter == 'A' ? "aSaveUploadInfo:event:handler:" : "bSaveUploadInfo:event:handler:"};
  constexpr Upload::Function hook = [](Object& self, SEL, const Value& info, const std::string& event,
                                       const UploadHandler& handler) {
    receiverOf(self).enter();
    send(self, others, info, event, handler);
    Own::note(self);
  };
  auto exchange = [](Class* cls) {
    class_addMethod(cls, others, Upload::erase(hook), typeEncodingOf<Upload::Signature>());
    method_exchangeImplementations(methodOf(cls), class_getInstanceMethod(cls, others));
    Own::isActive = !Own::isActive;
  };
  auto arrive = [exchange](Class* cls) {
    Own::isActive = false;
    exchange(cls);
  };
  return {arrive, exchange};
}

class HookHistory : public testing::Test {
 protected:
  HookHistory() : _former(slot().exchange(nullptr)) {}
  ~HookHistory() override { slot().exchange(_former); }

  static OQSwizzleSlot& slot() { return *getSwizzleByName("saveUploadInfo:event:handler:"); }

  static Class* makeClass() {
    static int number = 0;
    slot().exchange(nullptr);
    return registerClass("HookHistoryTest" + std::to_string(++number), Object::staticClass(),
                         {method<&Receiver::_save>(saveUploadInfo)});
  }

  /// A block that records its call. For the event "again" it sends another message.
  static void hook(Class* cls) {
    OQUploadHookBlock block = [](Object& self, SEL, const Value&, const std::string& event, const UploadHandler&) {
      receiverOf(self).note("block");
      if (event == "again") receiverOf(self).save("e");
    };
    OQSwizzler::swizzleSelector(saveUploadInfo, cls, std::move(block), "block");
  }

  static Calls callsOf(Class* cls, const std::string& event = "e") {
    Receiver receiver(cls);
    receiver.save(event);
    return receiver.calls;
  }

 private:
  std::shared_ptr<OQSwizzle> _former;
};

/// 'A' and 'B' arrive, 'a' and 'b' leave, '*' is our hook.
void follow(const std::string& history, Class* cls, const Library& a, const Library& b,
            const std::function<void(Class*)>& hook) {
  for (char step : history) {
    if (step == '*') hook(cls);
    if (step == 'A') a.arrive(cls);
    if (step == 'a') a.leave(cls);
    if (step == 'B') b.arrive(cls);
    if (step == 'b') b.leave(cls);
  }
}

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
    Class* cls = makeClass();
    follow(history, cls, pair.first, pair.second, hook);
    try {
      return callsOf(cls, event);
    } catch (const EndlessLoop&) {
      return {"loop"};
    }
  };
  int compared = 0;
  for (const auto& pair : pairs) {
    for (const std::string& history : historiesOfOthers(7)) {
      const Calls without = callsAfter(history, pair, "e");
      if (std::count(without.begin(), without.end(), "original") != 1)
        continue;  // they loop or lose calls by themselves
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
  Class* cls = makeClass();
  follow("A*A", cls, a, {}, hook);
  EXPECT_THAT(callsOf(cls), ElementsAre("original", "A", "block"));
  EXPECT_THAT(callsOf(cls, "nested"), ElementsAre("original", "original", "A", "block", "A", "block"));
  // With another library above it, the cycle is detected one round later.
  cls = makeClass();
  follow("A*AB", cls, a, exchanging<'B'>(), hook);
  EXPECT_THAT(callsOf(cls), ElementsAre("original", "A", "A", "B", "block"));
}

/// Libraries may call the former implementation several times, or later.
TEST_F(HookHistory, LibraryAboveMayPassAMessageOnTwiceOrLater) {
  static std::vector<std::function<void()>> kept;
  static IMP former;
  const Library below = replacing<'A'>();
  Class* cls = makeClass();
  follow("A*", cls, below, {}, hook);
  Upload::Function twice = [](Object& self, SEL selector, const Value& info, const std::string& event,
                              const UploadHandler& handler) {
    for (int call = 0; call < 2; ++call) Upload::typed(former)(self, selector, info, event, handler);
  };
  former = method_setImplementation(methodOf(cls), Upload::erase(twice));
  EXPECT_THAT(callsOf(cls), ElementsAre("original", "A", "original", "A", "block"));

  Upload::Function later = [](Object& self, SEL selector, const Value& info, const std::string& event,
                              const UploadHandler& handler) {
    kept.push_back([=, &self] { Upload::typed(former)(self, selector, info, event, handler); });
  };
  method_setImplementation(methodOf(cls), Upload::erase(later));
  Receiver receiver(cls);
  receiver.save("e");
  kept.at(0)();
  EXPECT_THAT(receiver.calls, ElementsAre("block", "original", "A"));
}

/// The override's messages do not enter through the hook, which is on the superclass; the trampoline then runs the
/// blocks.
TEST_F(HookHistory, OverrideReachesTheHookThroughItsSuperclass) {
  static IMP inherited;
  Class* base = makeClass();
  hook(base);
  inherited = method_getImplementation(methodOf(base));
  Class* sub = registerClass(class_getName(base) + "Sub", base);
  Upload::Function override = [](Object& self, SEL selector, const Value& info, const std::string& event,
                                 const UploadHandler& handler) {
    Upload::typed(inherited)(self, selector, info, event, handler);
  };
  class_addMethod(sub, saveUploadInfo, Upload::erase(override), typeEncodingOf<Upload::Signature>());
  EXPECT_THAT(callsOf(sub), ElementsAre("original", "block"));
  EXPECT_THAT(callsOf(sub, "nested"), ElementsAre("original", "original", "block", "block"));
  Receiver parent(base), child(sub);
  parent.child = &child;
  parent.save("nested");
  EXPECT_THAT(child.calls, ElementsAre("original", "block"));
}

TEST_F(HookHistory, OriginalThatThrowsLeavesNoState) {
  static bool fails;
  fails = true;
  Class* cls = makeClass();
  Upload::Function failing = [](Object& self, SEL, const Value&, const std::string&, const UploadHandler&) {
    receiverOf(self).note("original");
    if (fails) throw std::runtime_error("original");
  };
  method_setImplementation(methodOf(cls), Upload::erase(failing));
  hook(cls);
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
