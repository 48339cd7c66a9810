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

/// Reports the visible page of a container while the container is visible. The container owns it.
class PageWatch : public QObject {
 public:
  PageWatch(QWidget& container, PageNames names, std::function<QString()> current)
      : QObject(&container), _container(container), _names(std::move(names)), _current(std::move(current)) {
    container.installEventFilter(this);
  }

  void update() {
    if (!_container.isVisible()) return _shown.reset();
    const std::string name = _current().toStdString();
    if (_shown && name == _name) return;
    _shown.reset();
    _name = name;
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
  const std::function<QString()> _current;
  std::string _name;
  std::optional<ShownPage> _shown;
};

template <class Container>
bool watch(Container* container, PageNames names, std::function<QString(const Container&)> current) {
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
    if (!page) return QString();
    return page->objectName().isEmpty() ? page->windowTitle() : page->objectName();
  });
}

bool collectPages(QTabWidget* tabs, PageNames names) {
  return watch<QTabWidget>(tabs, std::move(names), [](const QTabWidget& container) {
    const QWidget* page = container.currentWidget();
    if (!page) return QString();
    if (!page->objectName().isEmpty()) return page->objectName();
    return container.tabText(container.currentIndex()).remove('&');
  });
}

}  // namespace oq::qt
