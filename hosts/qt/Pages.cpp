// SPDX-License-Identifier: Apache-2.0
#include <QtCore/QEvent>
#include <QtCore/QThread>
#include <QtWidgets/QApplication>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QTabWidget>
#include <optional>
#include <utility>

#include "oqsdk/qt/QtHost.h"

namespace oq::qt {

namespace {

/// The visible page of a container; nullptr and "" if there is none.
struct Page {
  const QWidget* widget = nullptr;
  QString name;
};

/// Reports the visible page of a container while the container is visible. The container owns it.
class PageWatch : public QObject {
 public:
  PageWatch(QWidget& container, PageNames names, std::function<Page()> current)
      : QObject(&container), _container(container), _names(std::move(names)), _current(std::move(current)) {
    container.installEventFilter(this);
  }

  void update() {
    if (!_container.isVisible()) return _shown.reset();
    const Page page = _current();
    // Another page may have the same name.
    if (_shown && page.widget == _widget && page.name == _name) return;
    _shown.reset();
    _widget = page.widget;
    _name = page.name;
    const std::string name = page.name.toStdString();
    _shown.emplace(_names ? _names(name) : pageClassName(name));
  }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Show) update();
    // A window that is minimised is hidden by the system; its page stays.
    if (event->type() == QEvent::Hide && !event->spontaneous()) _shown.reset();
    return false;
  }

 private:
  QWidget& _container;
  const PageNames _names;
  const std::function<Page()> _current;
  const QWidget* _widget = nullptr;
  QString _name;
  std::optional<ShownPage> _shown;
};

template <class Container>
bool watch(Container* container, PageNames names, std::function<Page(const Container&)> current) {
  if (!container) {
    qWarning("oq::qt::collectPages(): the widget is nullptr");
    return false;
  }
  if (QThread::currentThread() != container->thread()) {
    qWarning("oq::qt::collectPages(): call this function on the application's main thread");
    return false;
  }
  auto* pages = new PageWatch(*container, std::move(names), [container, current] { return current(*container); });
  QObject::connect(container, &Container::currentChanged, pages, [pages] { pages->update(); });
  pages->update();
  return true;
}

}  // namespace

bool collectPages(QStackedWidget* stack, PageNames names) {
  return watch<QStackedWidget>(stack, std::move(names), [](const QStackedWidget& container) {
    const QWidget* page = container.currentWidget();
    if (!page) return Page();
    return Page{page, page->objectName().isEmpty() ? page->windowTitle() : page->objectName()};
  });
}

bool collectPages(QTabWidget* tabs, PageNames names) {
  return watch<QTabWidget>(tabs, std::move(names), [](const QTabWidget& container) {
    const QWidget* page = container.currentWidget();
    if (!page) return Page();
    if (!page->objectName().isEmpty()) return Page{page, page->objectName()};
    return Page{page, container.tabText(container.currentIndex()).remove('&')};
  });
}

}  // namespace oq::qt
