// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/Runtime.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "oqsdk/Exception.h"

namespace oq {
namespace {

const Selector<int(int)> addSelector{"add:"};
const Selector<std::string(const std::string&)> greetSelector{"greet:"};
const Selector<int(double)> addDoubleSelector{"add:"};

class Animal : public Object {
  OQ_CLASS(Animal)

 public:
  int sum = 0;

 private:
  int _add(int value) { return sum += value; }
  std::string _greet(const std::string& name) { return name; }
};

Class* Animal::staticClass() {
  static Class* registered = registerClass(
      "Animal", Object::staticClass(), {method<&Animal::_add>(addSelector), method<&Animal::_greet>(greetSelector)});
  return registered;
}

class Dog : public Animal {
  OQ_CLASS(Dog)
  std::string _greet(const std::string& name) { return name + ", woof"; }
};

Class* Dog::staticClass() {
  static Class* registered = registerClass("Dog", Animal::staticClass(), {method<&Dog::_greet>(greetSelector)});
  return registered;
}

class UnregisteredDog : public Dog {};

std::string reasonOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Exception& exception) {
    EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
    return exception.reason();
  }
  return "nothing was thrown";
}

// A class must be registered during the initialization of static objects, before main() starts.
const bool wasFoundBeforeMain = NSClassFromString("Dog") != nullptr;

TEST(Runtime, ClassesAreRegisteredByNameBeforeMain) {
  EXPECT_TRUE(wasFoundBeforeMain);
  EXPECT_EQ(NSClassFromString("Dog"), Dog::staticClass());
  EXPECT_EQ(NSClassFromString("Cat"), nullptr);
  EXPECT_EQ(registerClass("Dog", nullptr, {}), Dog::staticClass());
  EXPECT_EQ(class_getSuperclass(Dog::staticClass()), Animal::staticClass());
  EXPECT_EQ(class_copyMethodList(Dog::staticClass()).size(), 1u);
  UnregisteredDog dog;
  EXPECT_EQ(dog.description(), "<Dog>");
  EXPECT_TRUE(dog.isKindOfClass(Animal::staticClass()));
  EXPECT_FALSE(Animal().isKindOfClass(Dog::staticClass()));
}

// The names are part of the interface: a host may look up a class by its name.
TEST(Runtime, PlatformClassesCanBeLookedUpByName) {
  for (const char* name :
       {"Object", "UIView", "UIWindow", "UILabel", "UIImageView", "UIControl", "UIButton", "UIScrollView",
        "UIProgressView", "UIRefreshControl", "UIViewController", "UINavigationController", "UINavigationBar",
        "UITabBarController", "UIAlertController", "UIAlertAction", "WKWebView", "MFMailComposeViewController"}) {
    EXPECT_EQ(class_getName(NSClassFromString(name)), name);
  }
}

TEST(Runtime, TypeEncodingsDescribeResultAndParameters) {
  EXPECT_STREQ(method_getTypeEncoding(class_getInstanceMethod(Dog::staticClass(), greetSelector)),
               "{string}Rr{string}");
  EXPECT_STREQ((typeEncodingOf<void(const Value&, const std::string&, const std::function<void()>&)>()),
               "vRr{Value}Rr{string}Rr@?");
  EXPECT_STREQ((typeEncodingOf<unsigned long long(Object*, const char*, SEL, Class*)>()), "Q^@^rc^r:^#");
}

TEST(Runtime, MissingMethodThrows) {
  Dog dog;
  Object object;
  const Selector<void()> missing{"fly"};
  EXPECT_EQ(reasonOf([&] { send(dog, missing); }), "-[Dog fly]: unrecognized selector sent to instance");
  EXPECT_EQ(reasonOf([&] { send(object, addSelector, 1); }), "-[Object add:]: unrecognized selector sent to instance");
  EXPECT_EQ(reasonOf([&] { sendSuper(Object::staticClass(), object, addSelector, 1); }),
            "-[(null) add:]: unrecognized selector sent to instance");
  auto reason = reasonOf([&] { send(dog, addDoubleSelector, 1.5); });
  EXPECT_NE(reason.find("-[Dog add:]: "), std::string::npos);
  EXPECT_EQ(reason.find("unrecognized selector"), std::string::npos) << reason;
}

int addTwice(Object& self, SEL, int value) {
  return static_cast<Animal&>(self).sum += 2 * value;
}

TEST(Runtime, FunctionsReturnNilOrDoNothingForNilArguments) {
  IMP twice = Selector<int(int)>::erase(&addTwice);
  Method* method = class_getInstanceMethod(Animal::staticClass(), addSelector);
  IMP original = method_getImplementation(method);
  EXPECT_EQ(class_getInstanceMethod(nullptr, addSelector), nullptr);
  EXPECT_EQ(class_getInstanceMethod(Animal::staticClass(), nullptr), nullptr);
  EXPECT_FALSE(class_addMethod(nullptr, greetSelector, twice, nullptr));
  EXPECT_FALSE(class_addMethod(Dog::staticClass(), nullptr, twice, nullptr));
  EXPECT_FALSE(class_addMethod(Dog::staticClass(), sel_registerName("nothing"), nullptr, nullptr));
  EXPECT_EQ(method_setImplementation(method, nullptr), nullptr);
  method_exchangeImplementations(method, nullptr);
  method_exchangeImplementations(nullptr, method);
  EXPECT_EQ(method_getImplementation(method), original);
  EXPECT_EQ(method_getImplementation(nullptr), nullptr);
  EXPECT_EQ(method_setImplementation(nullptr, twice), nullptr);
  EXPECT_EQ(class_getSuperclass(nullptr), nullptr);
  EXPECT_TRUE(class_copyMethodList(nullptr).empty());
  EXPECT_EQ(class_getName(nullptr) + sel_getName(nullptr), "(null)(null)");
}

}  // namespace
}  // namespace oq
