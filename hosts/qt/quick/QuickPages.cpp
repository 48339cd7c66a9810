// SPDX-License-Identifier: Apache-2.0
#include <QtCore/QMetaProperty>
#include <QtCore/QPointer>
#include <QtCore/QThread>
#include <QtQuick/QQuickItem>
#include <optional>
#include <utility>

#include "oqsdk/qt/QuickHost.h"

namespace oq::qt {

namespace {

/// The item's `objectName`, or the name of its QML file; "" if it has neither.
QString nameOf(const QQuickItem& item) {
  if (!item.objectName().isEmpty()) return item.objectName();
  // For the type of a file, the QML engine makes a class such as "CartPage_QMLTYPE_7".
  const QString type = QString::fromUtf8(item.metaObject()->className());
  const auto end = type.indexOf("_QMLTYPE_");
  return end > 0 ? type.left(end) : QString();
}

/// Reports the current item of a view while the view is visible. The view owns it.
class QuickPageWatch : public QObject {
  Q_OBJECT

 public:
  QuickPageWatch(QQuickItem& view, const QMetaProperty& current, PageNames names)
      : QObject(&view), _view(view), _current(current), _names(std::move(names)) {
    const QMetaObject* own = metaObject();
    connect(&view, current.notifySignal(), this, own->method(own->indexOfSlot("update()")));
    connect(&view, &QQuickItem::visibleChanged, this, &QuickPageWatch::update);
    update();
  }

 private:
  Q_SLOT void update() {
    const auto* page = _view.isVisible() ? _current.read(&_view).value<QQuickItem*>() : nullptr;
    if (!page) return hide();
    const std::string name = nameOf(*page).toStdString();
    if (_shown && page == _page && name == _name) return;  // another page may have the same name
    hide();
    _page = page;
    _name = name;
    _shown.emplace(_names ? _names(name) : pageClassName(name));
  }
  void hide() { _shown.reset(); }

  QQuickItem& _view;
  const QMetaProperty _current;
  const PageNames _names;
  const QQuickItem* _page = nullptr;
  std::string _name;
  std::optional<ShownPage> _shown;
};

}  // namespace

bool collectPages(QQuickItem* view, PageNames names) {
  if (!view) {
    qWarning("oq::qt::collectPages(): the view is nullptr");
    return false;
  }
  if (QThread::currentThread() != view->thread()) {
    qWarning("oq::qt::collectPages(): call this function on the application's main thread");
    return false;
  }
  const QMetaObject* type = view->metaObject();
  const QMetaProperty current = type->property(type->indexOfProperty("currentItem"));
  if (!current.hasNotifySignal()) {
    qWarning("oq::qt::collectPages(): the view has no current item; pass a StackView or a SwipeView");
    return false;
  }
  new QuickPageWatch(*view, current, std::move(names));  // owned by the view
  return true;
}

}  // namespace oq::qt

#include "QuickPages.moc"
