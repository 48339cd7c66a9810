// SPDX-License-Identifier: Apache-2.0
#include <glib.h>

#include <map>
#include <optional>

#include "UIKit/Controllers/UIViewController.h"
#include "oqsdk/gtk/GtkHost.h"

namespace oq::gtk {

namespace {

/// The page class with that name. nullptr if the name is empty, or belongs to another class: that class's methods would
/// treat our objects as their own.
Class* classNamed(const std::string& name) {
  static auto& made = *new std::map<std::string, Class*>;
  if (const auto found = made.find(name); found != made.end()) return found->second;
  if (name.empty() || NSClassFromString(name)) return nullptr;
  return made[name] = registerClass(name, UIViewController::staticClass());
}

/// Reports the visible page of a container while the container is on screen. Owned by the container's signal handlers.
class PageWatch {
 public:
  explicit PageWatch(PageNames names) : _names(std::move(names)) {}

  void show(const std::string& name) {
    if (_shown && name == _name) return;
    hide();
    _name = name;
    _shown.emplace(_names ? _names(name) : pageClassName(name));
  }
  void hide() { _shown.reset(); }

 private:
  const PageNames _names;
  std::string _name;
  std::optional<ShownPage> _shown;
};

std::string nameOf(Gtk::Stack& stack) {
  if (auto name = stack.get_visible_child_name(); !name.empty()) return name;
  auto* child = stack.get_visible_child();
  return child ? std::string(stack.get_page(*child)->get_title()) : "";
}

std::string nameOf(Gtk::Notebook& notebook) {
  auto* child = notebook.get_nth_page(notebook.get_current_page());
  if (!child) return "";
  // For a widget without a name, get_name() returns the name of its type.
  const std::string name = child->get_name();
  return name != G_OBJECT_TYPE_NAME(child->gobj()) ? name : std::string(notebook.get_tab_label_text(*child));
}

/// `changed` connects a function that is called when another page comes to the front.
template <class Container, class Changed>
void watch(Container& container, PageNames names, Changed changed) {
  auto pages = std::make_shared<PageWatch>(std::move(names));
  auto update = [pages, &container] { container.get_mapped() ? pages->show(nameOf(container)) : pages->hide(); };
  container.signal_map().connect(update);
  container.signal_unmap().connect([pages] { pages->hide(); });
  changed(update);
  update();
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

void collectPages(Gtk::Stack& stack, PageNames names) {
  watch(stack, std::move(names), [&](auto update) { stack.property_visible_child().signal_changed().connect(update); });
}

void collectPages(Gtk::Notebook& notebook, PageNames names) {
  watch(notebook, std::move(names),
        [&](auto update) { notebook.signal_switch_page().connect([update](Gtk::Widget*, guint) { update(); }); });
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

}  // namespace oq::gtk
