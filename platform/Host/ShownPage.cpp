// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/ShownPage.h"

#include <glib.h>

#include <map>

#include "UIKit/Controllers/UIViewController.h"

namespace oq {

namespace {

/// The page class with this name, registered at the first call. nullptr if the name is empty, or belongs to a class
/// that this function has not registered: its methods would treat our controller as an object of another C++ class.
Class* classNamed(const std::string& name) {
  static auto& made = *new std::map<std::string, Class*>;
  if (const auto found = made.find(name); found != made.end()) return found->second;
  if (name.empty() || NSClassFromString(name)) return nullptr;
  return made[name] = registerClass(name, UIViewController::staticClass());
}

}  // namespace

std::string pageClassName(const std::string& name) {
  std::string result;
  bool wordBegins = true;
  // ASCII only, so that a page has the same name in every locale.
  for (const char letter : name) {
    if (static_cast<unsigned char>(letter) < 0x80 && !g_ascii_isalnum(letter)) {
      wordBegins = true;
      continue;
    }
    result += wordBegins ? g_ascii_toupper(letter) : letter;
    wordBegins = false;
  }
  const bool isPage = result.size() >= 4 && result.compare(result.size() - 4, 4, "Page") == 0;
  return result.empty() || isPage ? result : result + "Page";
}

// The enclosing class is exported; without this attribute the nested class would be, too.
class __attribute__((visibility("hidden"))) ShownPage::Controller : public UIViewController {
 public:
  explicit Controller(Class* cls) : _class(cls) {}
  Class* class_() const override { return _class; }

 private:
  Class* const _class;
};

ShownPage::ShownPage(const std::string& className) {
  Class* cls = classNamed(className);
  if (!cls) return;
  _controller = makeMainObject<Controller>(cls);
  _controller->viewWillAppear(false);
  _controller->viewDidAppear(false);
}

ShownPage::~ShownPage() {
  if (!_controller) return;
  _controller->viewWillDisappear(false);
  _controller->viewDidDisappear(false);
}

}  // namespace oq
