// SPDX-License-Identifier: Apache-2.0
#include "Hooks/OQSwizzler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Hooks/OQSwizzleSlots.h"
#include "Hooks/Object+OQSwizzle.h"
#include "UIKit/Controllers/UIViewController.h"
#include "Utils/OQLogger.h"
#include "oqsdk/Exception.h"
#include "src/TemporaryFolder.h"
#include "support/Threads.h"

namespace oq {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Selector<void(Object*, std::int64_t, const std::optional<Error>&)> mailDidFinish{
    "mailComposeController:didFinishWithResult:error:"};
const Selector<void()> exchanged{"swizzlerTestExchanged"};

/// An object with a class created by the test, and a record of its calls.
class SwizzledReceiver : public Object {
 public:
  explicit SwizzledReceiver(Class* cls) : _class(cls) {}
  Class* class_() const override { return _class; }

  void save(const std::string& event = "e") { send(*this, saveUploadInfo, Value(1), event, nullptr); }
  void appear(bool animated = false) { send(*this, viewDidAppearSelector, animated); }

  void _save(const Value&, const std::string& event, const UploadHandler&) { calls.push_back("original " + event); }
  void _saveAndSuper(const Value& info, const std::string& event, const UploadHandler& handler) {
    calls.push_back("override " + event);
    sendSuper(_class, *this, saveUploadInfo, info, event, handler);
  }
  void _appear(bool animated) { calls.push_back(animated ? "original animated" : "original"); }
  void _saveWithOtherTypes(bool) { calls.push_back("other types"); }
  void _finish(Object*, std::int64_t, const std::optional<Error>&) { calls.push_back("original finish"); }
  void _exchangedOne() { calls.push_back("one"); }
  void _exchangedTwo() { calls.push_back("two"); }

  std::vector<std::string> calls;

 private:
  Class* const _class;
};

const detail::MethodDefinition saving = method<&SwizzledReceiver::_save>(saveUploadInfo);
const detail::MethodDefinition savingAndSuper = method<&SwizzledReceiver::_saveAndSuper>(saveUploadInfo);

/// Every test starts without hooks and uses new classes.
class Swizzler : public testing::Test {
 protected:
  Swizzler() {
    for (const char* name : kHookable) _former.push_back(getSwizzleByName(name)->exchange(nullptr));
    OQLogger::getInstance().flush();
    _logStart = test::textOfFile(OQLogger::getInstance().logFilePath()).size();
  }
  ~Swizzler() override {
    for (std::size_t i = 0; i < _former.size(); ++i) getSwizzleByName(kHookable[i])->exchange(_former[i]);
  }

  static Class* makeClass(std::initializer_list<detail::MethodDefinition> methods,
                          Class* superclass = Object::staticClass()) {
    static int number = 0;
    return registerClass("SwizzlerTest" + std::to_string(++number), superclass, methods);
  }

  /// A block that records its name in the receiver.
  static OQUploadHookBlock noting(const std::string& name) {
    return [name](Object& receiver, SEL, const Value&, const std::string&, const UploadHandler&) {
      static_cast<SwizzledReceiver&>(receiver).calls.push_back(name);
    };
  }
  static void hook(Class* cls, const std::string& name) {
    OQSwizzler::swizzleSelector(saveUploadInfo, cls, noting(name), name);
  }

  std::string logged() const {
    OQLogger::getInstance().flush();
    return test::textOfFile(OQLogger::getInstance().logFilePath()).substr(_logStart);
  }

 private:
  static constexpr const char* kHookable[] = {"saveUploadInfo:event:handler:", "viewDidAppear:", "viewWillDisappear:",
                                              "mailComposeController:didFinishWithResult:error:"};
  test::TemporaryFolder _folder;
  std::vector<std::shared_ptr<OQSwizzle>> _former;
  std::size_t _logStart = 0;
};

TEST_F(Swizzler, KeepsOneRecordWithABlockPerName) {
  Class* cls = makeClass({saving});
  hook(cls, "a");
  auto record = OQSwizzler::swizzleForSelector(saveUploadInfo);
  hook(cls, "b");
  hook(cls, "a");
  EXPECT_EQ(OQSwizzler::swizzleForSelector(saveUploadInfo), record);
  EXPECT_THAT(record->description(), testing::MatchesRegex("Swizzle on SwizzlerTest.*::saveUploadInfo:event:handler: "
                                                           "\\[\n\ta : .*\n\tb : .*\n\\]"));
  SwizzledReceiver receiver(cls);
  receiver.save();
  EXPECT_EQ(receiver.calls.front(), "original e");
  EXPECT_THAT(receiver.calls, testing::UnorderedElementsAre("original e", "a", "b"));

  OQSwizzler::unswizzleSelector(saveUploadInfo, nullptr, "absent");
  OQSwizzler::unswizzleSelector(saveUploadInfo, nullptr, "a");
  OQSwizzler::unswizzleSelector(viewDidAppearSelector, cls, "b");
  receiver.calls.clear();
  receiver.save();
  EXPECT_THAT(receiver.calls, ElementsAre("original e", "b"));
  OQSwizzler::unswizzleSelector(saveUploadInfo, cls, "b");
  receiver.calls.clear();
  receiver.save();
  EXPECT_THAT(receiver.calls, ElementsAre("original e"));
  EXPECT_EQ(OQSwizzler::swizzleForSelector(saveUploadInfo), record);
}

TEST_F(Swizzler, GivesAnInheritingClassItsOwnMethod) {
  Class* base = makeClass({saving});
  Class* sub = makeClass({}, base);
  Method* inherited = class_getInstanceMethod(sub, saveUploadInfo);
  IMP original = method_getImplementation(inherited);
  hook(sub, "a");
  Method* own = class_getInstanceMethod(sub, saveUploadInfo);
  EXPECT_NE(own, inherited);
  EXPECT_TRUE(OQSwizzler::isLocallyDefinedMethod(own, sub));
  EXPECT_EQ(method_getImplementation(own), getSwizzleIMPBySELName("saveUploadInfo:event:handler:"));
  EXPECT_EQ(method_getImplementation(inherited), original);
  EXPECT_EQ(OQSwizzler::swizzleForSelector(saveUploadInfo)->originalMethod(), original);
  SwizzledReceiver ofBase(base), ofSub(sub);
  ofBase.save();
  ofSub.save();
  EXPECT_THAT(ofBase.calls, ElementsAre("original e"));
  EXPECT_THAT(ofSub.calls, ElementsAre("original e", "a"));
  EXPECT_EQ(logged(), "");
}

/// The second class gets the record, and with it the first class's original, which is not called for an unrelated
/// receiver.
TEST_F(Swizzler, SecondClassDropsTheBlocksOfTheFormerRecord) {
  for (bool isRelated : {true, false}) {
    getSwizzleByName("saveUploadInfo:event:handler:")->exchange(nullptr);
    Class* first = makeClass({saving});
    Class* second = makeClass({}, isRelated ? first : Object::staticClass());
    hook(first, "a");
    hook(second, "b");
    SwizzledReceiver ofFirst(first), ofSecond(second);
    ofFirst.save();
    ofSecond.save();
    const std::vector<std::string> both{"original e", "b"}, block{"b"};
    EXPECT_EQ(ofFirst.calls, both) << isRelated;
    EXPECT_EQ(ofSecond.calls, isRelated ? both : block);
  }
}

TEST_F(Swizzler, RunsBlocksOnceForAnOverrideThatCallsItsSuperclass) {
  Class* base = makeClass({saving});
  Class* sub = makeClass({savingAndSuper}, base);
  hook(base, "a");
  SwizzledReceiver receiver(sub);
  receiver.save();
  EXPECT_THAT(receiver.calls, ElementsAre("override e", "original e", "a"));
}

TEST_F(Swizzler, WrapsScalarArgumentsInObjects) {
  Class* cls = makeClass(
      {method<&SwizzledReceiver::_appear>(viewDidAppearSelector), method<&SwizzledReceiver::_finish>(mailDidFinish)});
  SwizzledReceiver receiver(cls);
  Value animated, mailResult;
  Object* controller = nullptr;
  SEL selector = nullptr;
  OQSwizzler::swizzleSelector(
      viewDidAppearSelector, cls,
      [&](Object& screen, SEL sent, const Value& given) {
        EXPECT_EQ(&screen, &receiver);
        selector = sent;
        animated = given;
      },
      "a");
  OQSwizzler::swizzleSelector(
      mailDidFinish, cls,
      [&](Object&, SEL, Object* composer, const Value& result, const std::optional<Error>& error) {
        controller = composer;
        mailResult = result;
        EXPECT_EQ(error->code, 5);
      },
      "a");
  receiver.appear(true);
  send(receiver, mailDidFinish, &receiver, std::int64_t{2}, Error{"mail", 5, ""});
  EXPECT_EQ(animated, Value(true));
  EXPECT_EQ(selector, viewDidAppearSelector.sel());
  EXPECT_EQ(mailResult, Value(2));
  EXPECT_EQ(controller, &receiver);
  EXPECT_THAT(receiver.calls, ElementsAre("original animated", "original finish"));
}

TEST_F(Swizzler, AddsAMissingMethod) {
  Class* cls = makeClass({});
  hook(cls, "a");
  EXPECT_THAT(logged(), testing::EndsWith("SwizzleException:Cannot find method for saveUploadInfo:event:handler: on " +
                                          class_getName(cls) + "\n"));
  SwizzledReceiver receiver(cls);
  receiver.save();
  EXPECT_THAT(receiver.calls, ElementsAre("a"));
  EXPECT_EQ(OQSwizzler::swizzleForSelector(saveUploadInfo)->originalMethod(), nullptr);
}

/// Another thread may add the method between the search and the addition.
TEST_F(Swizzler, KeepsTheFormerRecordIfAnotherThreadAddsTheMethod) {
  for (int attempt = 0; attempt < 20000; ++attempt) {
    getSwizzleByName("saveUploadInfo:event:handler:")->exchange(nullptr);
    Class *first = makeClass({saving}), *cls = makeClass({});
    hook(first, "kept");
    auto former = OQSwizzler::swizzleForSelector(saveUploadInfo);
    std::atomic<bool> go = false;
    std::thread adding([&] {
      while (!go) {
      }
      class_addMethod(cls, saving.selector, saving.implementation, saving.typeEncoding);
    });
    go = true;
    hook(cls, "late");
    adding.join();
    // The other thread was too early (the class already had the method) or too late (the hook was already installed).
    if (former->blocks()->size() != 1) continue;
    EXPECT_EQ(OQSwizzler::swizzleForSelector(saveUploadInfo), former);
    SwizzledReceiver ofFirst(first), ofClass(cls);
    ofFirst.save();
    ofClass.save();
    EXPECT_THAT(ofFirst.calls, ElementsAre("original e", "kept"));
    EXPECT_THAT(ofClass.calls, ElementsAre("original e"));
    EXPECT_THAT(logged(), testing::EndsWith("SwizzleException:Could not add swizzle for " + class_getName(cls) +
                                            "::saveUploadInfo:event:handler:, even though it didn't already "
                                            "exist locally\n"));
    return;
  }
  FAIL() << "the other thread never won the race";
}

TEST_F(Swizzler, ScreenWithoutTheMethodFailsBeforeAnyBlockRuns) {
  Class* cls = makeClass({});
  int blocks = 0;
  OQSwizzler::swizzleSelector(
      viewDidAppearSelector, cls, [&](Object&, SEL, const Value&) { ++blocks; }, "a");
  SwizzledReceiver receiver(cls);
  EXPECT_THROW(receiver.appear(), Exception);
  EXPECT_EQ(blocks, 0);
}

TEST_F(Swizzler, SilentlyIgnoresWhatItCannotHook) {
  Class* cls = makeClass({saving, method<&SwizzledReceiver::_exchangedOne>(exchanged)});
  const Selector<void(bool)> sameName{"saveUploadInfo:event:handler:"};
  Class* otherTypes = makeClass({method<&SwizzledReceiver::_saveWithOtherTypes>(sameName)});
  Method* unknown = class_getInstanceMethod(cls, exchanged);
  IMP before = method_getImplementation(unknown);
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
  EXPECT_EQ(method_getImplementation(unknown), before);
  EXPECT_EQ(OQSwizzler::swizzleForSelector(saveUploadInfo), nullptr);
  EXPECT_EQ(OQSwizzler::swizzleForSelector(exchanged), nullptr);
  EXPECT_EQ(logged(), "");
  SwizzledReceiver receiver(cls);
  receiver.save();
  EXPECT_THAT(receiver.calls, ElementsAre("original e"));
  SwizzledReceiver ofOtherTypes(otherTypes);
  send(ofOtherTypes, sameName, true);
  EXPECT_THAT(ofOtherTypes.calls, ElementsAre("other types"));
}

TEST_F(Swizzler, BlocksMayChangeHooksAndCallTheMethodAgain) {
  Class* cls = makeClass({saving});
  OQSwizzler::swizzleSelector(
      saveUploadInfo, cls,
      [cls, guard = std::make_shared<int>(7)](Object& receiver, SEL, const Value&, const std::string& event,
                                              const UploadHandler&) {
        OQSwizzler::unswizzleSelector(saveUploadInfo, cls, "once");
        hook(cls, "added");
        static_cast<SwizzledReceiver&>(receiver).save("nested");
        // The block's captures must live until it has ended.
        static_cast<SwizzledReceiver&>(receiver).calls.push_back("after " + event + std::to_string(*guard));
      },
      "once");
  SwizzledReceiver receiver(cls);
  receiver.save();
  EXPECT_THAT(receiver.calls, ElementsAre("original e", "original nested", "added", "after e7"));
}

TEST_F(Swizzler, CallsStayCompleteWhileHooksChange) {
  Class* cls = makeClass({saving});
  Method* method = class_getInstanceMethod(cls, saveUploadInfo);
  using SavedUpload = decltype(saveUploadInfo);
  static std::atomic<IMP> below;
  below = method_getImplementation(method);
  const SavedUpload::Function other = [](Object& self, SEL selector, const Value& info, const std::string& event,
                                         const UploadHandler& handler) {
    SavedUpload::typed(below)(self, selector, info, event, handler);
    static_cast<SwizzledReceiver&>(self).calls.push_back("other");
  };
  std::atomic<bool> installed = false, ended = false;
  std::atomic<int> wrong = 0, calls = 0;
  auto callers = test::inThreads(8, [&](int) {
    for (int call = 0; call < 300 || !ended; ++call) {
      const bool isInstalled = installed;
      SwizzledReceiver receiver(cls);
      receiver.save();
      auto times = [&](const char* name) { return std::count(receiver.calls.begin(), receiver.calls.end(), name); };
      wrong += receiver.calls.front() != "original e" || times("original e") != 1;
      wrong += times("kept") > 1 || (isInstalled && times("kept") != 1);
      wrong += times("other") > 1 || times("passing") > 1;
      ++calls;
    }
  });
  hook(cls, "kept");
  installed = true;
  for (int i = 0; i < 100; ++i) {
    below = method_setImplementation(method, SavedUpload::erase(other));
    hook(cls, "passing");
    method_setImplementation(method, below);
    OQSwizzler::unswizzleSelector(saveUploadInfo, cls, "passing");
  }
  ended = true;
  callers.clear();
  EXPECT_EQ(wrong, 0);
  EXPECT_GE(calls, 8 * 300);
}

TEST_F(Swizzler, ExchangesTwoMethodsAndReachesTheSuperclassOfAnInheritedOne) {
  const Selector<void()> other{"swizzlerTestOther"};
  const auto one = method<&SwizzledReceiver::_exchangedOne>(exchanged);
  const auto two = method<&SwizzledReceiver::_exchangedTwo>(other);
  auto calls = [&](Class* cls) {
    SwizzledReceiver receiver(cls);
    send(receiver, exchanged);
    if (class_getInstanceMethod(cls, other)) send(receiver, other);
    return receiver.calls;
  };
  Class* own = makeClass({one, two});
  oq_exchangeOriginalSel(own, exchanged, other);
  EXPECT_THAT(calls(own), ElementsAre("two", "one"));
  oq_exchangeOriginalSel(own, exchanged, sel_registerName("swizzlerTestAbsent"));
  EXPECT_THAT(calls(own), ElementsAre("two", "one"));

  Class* base = makeClass({one});
  Class* sub = makeClass({two}, base);
  oq_exchangeOriginalSel(sub, exchanged, other);
  EXPECT_THAT(calls(sub), ElementsAre("two", "one"));
  EXPECT_THAT(calls(base), ElementsAre("two"));
}

}  // namespace
}  // namespace oq
