#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "Utils/OQSwizzleSlots.h"
#include "Utils/OQSwizzler.h"
#include "oqsdk/AnalyticsHook.h"

/// Our hooks beside another library's that replaces the same method.
namespace oq {
namespace {

constexpr const char* hookedName = "saveUploadInfo:event:handler:";
const Selector<void(const Value&, const std::string&, const UploadHandler&)> others{
    "othersSaveUploadInfo:event:handler:"};
using Upload = decltype(others);

/// Notes what runs. The original sends the message once more while it handles the event "nested".
class Receiver : public Object {
 public:
  explicit Receiver(Class* cls) : _class(cls) {}
  Class* class_() const override { return _class; }
  void save(const std::string& event) { send(*this, saveUploadInfo, Value(1), event, nullptr); }

  void _save(const Value&, const std::string& event, const UploadHandler&) {
    calls.push_back("original");
    if (event == "nested") save("inner");
  }
  std::vector<std::string> calls;

 private:
  Class* const _class;
};

/// Another library, by the way in which it puts its hook in and takes it out.
class Other {
 public:
  virtual ~Other() = default;
  virtual void install(Class* cls) = 0;
  virtual void remove(Class* cls) = 0;
};

/// Keeps what was there, and puts it back.
class Replacing : public Other {
 public:
  void install(Class* cls) override {
    Method* method = class_getInstanceMethod(cls, saveUploadInfo);
    former() = method_getImplementation(method);
    method_setImplementation(method, Upload::erase(&hook));
  }
  void remove(Class* cls) override {
    method_setImplementation(class_getInstanceMethod(cls, saveUploadInfo), former());
  }

 private:
  static IMP& former() {
    static IMP kept = nullptr;
    return kept;
  }
  static void hook(Object& self, SEL selector, const Value& info, const std::string& event,
                   const UploadHandler& handler) {
    static_cast<Receiver&>(self).calls.push_back("other");
    Upload::typed(former())(self, selector, info, event, handler);
  }
};

/// Exchanges the method with one of its own, which then sends its own selector for the original.
class Exchanging : public Other {
 public:
  void install(Class* cls) override {
    class_addMethod(cls, others, Upload::erase(&hook), typeEncodingOf<Upload::Signature>());
    exchange(cls);
  }
  void remove(Class* cls) override { exchange(cls); }

 private:
  static void exchange(Class* cls) {
    method_exchangeImplementations(class_getInstanceMethod(cls, saveUploadInfo),
                                   class_getInstanceMethod(cls, others));
  }
  static void hook(Object& self, SEL, const Value& info, const std::string& event,
                   const UploadHandler& handler) {
    static_cast<Receiver&>(self).calls.push_back("other");
    send(self, others, info, event, handler);
  }
};

class HookChain : public testing::Test {
 protected:
  HookChain() : _former(getSwizzleByName(hookedName)->exchange(nullptr)) {}
  ~HookChain() override { getSwizzleByName(hookedName)->exchange(_former); }

  static Class* makeClass() {
    static int number = 0;
    getSwizzleByName(hookedName)->exchange(nullptr);
    return registerClass("HookChainTest" + std::to_string(++number), Object::staticClass(),
                         {method<&Receiver::_save>(saveUploadInfo)});
  }
  static void hook(Class* cls, const std::string& name) {
    OQUploadHookBlock noting = [name](Object& receiver, SEL, const Value&, const std::string&,
                                      const UploadHandler&) {
      static_cast<Receiver&>(receiver).calls.push_back(name);
    };
    OQSwizzler::swizzleSelector(saveUploadInfo, cls, std::move(noting), name);
  }
  static std::vector<std::string> callsOf(Class* cls, const std::string& event) {
    Receiver receiver(cls);
    receiver.save(event);
    return receiver.calls;
  }

  /// Each letter puts a hook in or takes it out: "o" the other library's, "a" and "b" blocks of ours.
  static std::set<std::string> follow(const std::string& steps, Class* cls, Other& other) {
    std::set<std::string> installed;
    for (char step : steps) {
      const std::string name = step == 'o' ? "other" : std::string(1, step);
      const bool isIn = installed.erase(name) > 0;
      if (!isIn) installed.insert(name);
      if (step == 'o') {
        isIn ? other.remove(cls) : other.install(cls);
      } else {
        isIn ? OQSwizzler::unswizzleSelector(saveUploadInfo, cls, name) : hook(cls, name);
      }
    }
    return installed;
  }

  static void expectEachOnce(const std::vector<std::string>& calls, std::set<std::string> installed,
                             const std::string& steps) {
    installed.insert("original");
    EXPECT_THAT(calls, testing::UnorderedElementsAreArray(installed)) << steps;
    auto original = std::find(calls.begin(), calls.end(), "original");
    auto firstBlock =
        std::find_if(calls.begin(), calls.end(), [](const auto& call) { return call.size() == 1; });
    EXPECT_LT(original, firstBlock) << steps;
  }

  /// Every way to put hooks in and take them out in up to five steps.
  static void tryEveryOrder(Other& other) {
    for (int number = 0; number < 3 * 3 * 3 * 3 * 3; ++number) {
      std::string steps;
      for (int rest = number; steps.size() < 5; rest /= 3) steps += "oab"[rest % 3];
      for (std::size_t length = 1; length <= steps.size(); ++length) {
        const std::string part = steps.substr(0, length);
        Class* cls = makeClass();
        auto installed = follow(part, cls, other);
        expectEachOnce(callsOf(cls, "e"), installed, part);
        auto nested = callsOf(cls, "nested");
        for (const auto& name : installed)
          EXPECT_EQ(std::count(nested.begin(), nested.end(), name), 2) << part;
        EXPECT_EQ(std::count(nested.begin(), nested.end(), "original"), 2) << part;
      }
    }
  }

 private:
  std::shared_ptr<OQSwizzle> _former;
};

TEST_F(HookChain, HoldsInEveryOrderBesideAReplacingLibrary) {
  Replacing other;
  tryEveryOrder(other);
}

TEST_F(HookChain, HoldsInEveryOrderBesideAnExchangingLibrary) {
  Exchanging other;
  tryEveryOrder(other);
}

/// A library that finds that it is not on top and installs itself anew makes a circle of itself and us.
TEST_F(HookChain, EndsTheCircleOfALibraryThatIsThereTwice) {
  for (const char* order : {"first", "second"}) {
    Replacing other;
    Class* cls = makeClass();
    other.install(cls);
    hook(cls, "a");
    other.install(cls);
    if (order == std::string("second")) hook(cls, "b");
    auto calls = callsOf(cls, "e");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "original"), 1) << order;
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "a"), 1) << order;
    calls = callsOf(cls, "nested");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "original"), 2) << order;
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "a"), 2) << order;
  }
}

TEST_F(HookChain, StaysBetweenTwoLibraries) {
  Class* cls = makeClass();
  Replacing below;
  Exchanging above;
  below.install(cls);
  hook(cls, "a");
  above.install(cls);
  EXPECT_THAT(callsOf(cls, "e"), testing::UnorderedElementsAre("other", "other", "original", "a"));
  above.remove(cls);
  EXPECT_THAT(callsOf(cls, "e"), testing::ElementsAre("other", "original", "a"));
  below.remove(cls);
  EXPECT_THAT(callsOf(cls, "e"), testing::ElementsAre("original", "a"));
}

TEST_F(HookChain, ABlockMayCallTheMethodAgainThroughAnotherLibrary) {
  Replacing replacing;
  Exchanging exchanging;
  for (Other* other : {static_cast<Other*>(&replacing), static_cast<Other*>(&exchanging)}) {
    for (bool before : {true, false}) {
      Class* cls = makeClass();
      if (before) other->install(cls);
      OQUploadHookBlock again = [](Object& receiver, SEL, const Value&, const std::string& event,
                                   const UploadHandler&) {
        if (event != "last") static_cast<Receiver&>(receiver).save(event == "e" ? "again" : "last");
      };
      OQSwizzler::swizzleSelector(saveUploadInfo, cls, again, "again");
      hook(cls, "z");
      if (!before) other->install(cls);
      auto calls = callsOf(cls, "e");
      for (const char* name : {"original", "other", "z"}) {
        EXPECT_EQ(std::count(calls.begin(), calls.end(), name), 3) << name << before;
      }
    }
  }
}

/// An original that throws leaves the thread as it was.
TEST_F(HookChain, AnOriginalThatThrowsIsForgotten) {
  Class* cls = makeClass();
  static bool fails;
  fails = true;
  Method* method = class_getInstanceMethod(cls, saveUploadInfo);
  method_setImplementation(
      method, Upload::erase([](Object& self, SEL, const Value&, const std::string&, const UploadHandler&) {
        static_cast<Receiver&>(self).calls.push_back("original");
        if (fails) throw std::runtime_error("original");
      }));
  hook(cls, "a");
  Receiver receiver(cls);
  EXPECT_THROW(receiver.save("e"), std::runtime_error);
  fails = false;
  // By its address, as another library's hook calls: nothing says that this is a new message.
  Upload::typed(method_getImplementation(method))(receiver, saveUploadInfo, Value(1), "e", nullptr);
  EXPECT_THAT(receiver.calls, testing::ElementsAre("original", "original", "a"));
}

TEST_F(HookChain, ABlockMayEndItsOwner) {
  Class* cls = makeClass();
  // Takes the hook out when it ends.
  std::shared_ptr<void> owner(nullptr, [cls](void*) { OQSwizzler::unswizzleSelector(saveUploadInfo, cls, "a"); });
  OQUploadHookBlock ending = [&owner, word = std::string("a word that lives in the block alone")](
                                 Object& receiver, SEL, const Value&, const std::string&,
                                 const UploadHandler&) {
    owner.reset();
    static_cast<Receiver&>(receiver).calls.push_back(word);
  };
  OQSwizzler::swizzleSelector(saveUploadInfo, cls, ending, "a");
  ending = nullptr;
  hook(cls, "b");
  EXPECT_THAT(callsOf(cls, "e"),
              testing::ElementsAre("original", "a word that lives in the block alone", "b"));
  EXPECT_THAT(callsOf(cls, "e"), testing::ElementsAre("original", "b"));
}

}  // namespace
}  // namespace oq
