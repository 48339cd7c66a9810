// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include "oqsdk/gtk/GtkHost.h"

namespace oq::gtk {

namespace {

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

/// `changed` gets a function, and must connect it to the container's signal for a change of the visible page.
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

void collectPages(Gtk::Stack& stack, PageNames names) {
  watch(stack, std::move(names), [&](auto update) { stack.property_visible_child().signal_changed().connect(update); });
}

void collectPages(Gtk::Notebook& notebook, PageNames names) {
  watch(notebook, std::move(names),
        [&](auto update) { notebook.signal_switch_page().connect([update](Gtk::Widget*, guint) { update(); }); });
}

}  // namespace oq::gtk
