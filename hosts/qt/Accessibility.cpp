// SPDX-License-Identifier: Apache-2.0
#include "Accessibility.h"

#include <QtGui/QAccessibleActionInterface>
#include <QtGui/QAccessibleObject>
#include <QtGui/QWindow>
#include <algorithm>
#include <cmath>

#include "Surface.h"

namespace oq::qt {

namespace {

QAccessible::Role roleOf(AccessibleRole role) {
  switch (role) {
    case AccessibleRole::Dialog:
      return QAccessible::Dialog;
    case AccessibleRole::Button:
      return QAccessible::Button;
    case AccessibleRole::Link:
      return QAccessible::Link;
    case AccessibleRole::Heading:
      return QAccessible::Heading;
    case AccessibleRole::Image:
      return QAccessible::Graphic;
    case AccessibleRole::Text:
      break;
  }
  return QAccessible::StaticText;
}

QRect onScreen(const Surface& surface, const QRectF& inWindow) {
  const QWindow* window = surface.window();
  const QPoint origin = window ? window->mapToGlobal(QPoint()) : QPoint();
  return inWindow.translated(origin).toAlignedRect();
}

/// What the objects of the layer and of an element have in common: children by their elements.
class Container {
 public:
  Container(Surface& surface, AccessibleElementObjects& objects) : _surface(&surface), _objects(&objects) {}

 protected:
  const AccessibleTree& tree() const { return _surface->surface().accessibleTree(); }
  QAccessibleInterface* objectAt(int index) const {
    const auto& elements = tree().elements;
    if (index < 0 || index >= static_cast<int>(elements.size())) return nullptr;
    return _objects->objectFor(elements[static_cast<std::size_t>(index)].id);
  }
  int indexOf(const QAccessibleInterface* object) const {
    const auto& elements = tree().elements;
    const auto found = std::find_if(elements.begin(), elements.end(), [&](const AccessibleElement& element) {
      return _objects->objectFor(element.id) == object;
    });
    return found == elements.end() ? -1 : static_cast<int>(found - elements.begin());
  }

  const QPointer<Surface> _surface;
  AccessibleElementObjects* const _objects;  ///< owned by the surface
};

class ElementObject : public QAccessibleInterface, public QAccessibleActionInterface, private Container {
 public:
  ElementObject(Surface& surface, AccessibleElementObjects& objects, std::uint64_t id)
      : Container(surface, objects), _id(id) {}

  bool isValid() const override { return element(); }
  QObject* object() const override { return nullptr; }
  QWindow* window() const override { return _surface ? _surface->window() : nullptr; }
  QAccessible::Role role() const override {
    const auto* known = element();
    return known ? roleOf(known->role) : QAccessible::NoRole;
  }
  QString text(QAccessible::Text kind) const override {
    const auto* known = element();
    if (known && kind == QAccessible::Name) return QString::fromStdString(known->name);
    if (known && kind == QAccessible::Description) return QString::fromStdString(known->description);
    return {};
  }
  void setText(QAccessible::Text, const QString&) override {}
  QRect rect() const override {
    const auto* known = element();
    if (!known) return {};
    const CGRect& frame = known->frame;
    return onScreen(*_surface, {frame.minX(), frame.minY(), frame.size.width, frame.size.height});
  }
  QAccessible::State state() const override {
    QAccessible::State result;
    const auto* known = element();
    if (!known) {
      result.invalid = true;
      return result;
    }
    result.modal = isDialog();
    result.active = isDialog();
    result.disabled = !known->isEnabled;
    result.focusable = known->takesInput && known->isEnabled;
    result.focused = known->isFocused;
    return result;
  }

  QAccessibleInterface* parent() const override {
    if (!element()) return nullptr;
    if (!isDialog() && tree().dialog) return _objects->objectFor(tree().dialog->id);
    return QAccessible::queryAccessibleInterface(&_surface->layer().accessibleObject());
  }
  int childCount() const override { return isDialog() ? static_cast<int>(tree().elements.size()) : 0; }
  QAccessibleInterface* child(int index) const override { return isDialog() ? objectAt(index) : nullptr; }
  int indexOfChild(const QAccessibleInterface* object) const override { return isDialog() ? indexOf(object) : -1; }
  QAccessibleInterface* focusChild() const override {
    if (!isDialog()) return nullptr;
    const auto& elements = tree().elements;
    const auto found = std::find_if(elements.begin(), elements.end(), [](const auto& each) { return each.isFocused; });
    return found == elements.end() ? nullptr : _objects->objectFor(found->id);
  }
  QAccessibleInterface* childAt(int x, int y) const override {
    for (int index = childCount() - 1; index >= 0; --index) {
      QAccessibleInterface* each = child(index);
      if (each && each->rect().contains(x, y)) return each;
    }
    return nullptr;
  }

  void* interface_cast(QAccessible::InterfaceType type) override {
    const auto* known = element();
    const bool acts = type == QAccessible::ActionInterface && known && known->takesInput;
    return acts ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
  }
  QStringList actionNames() const override { return {pressAction(), setFocusAction()}; }
  QStringList keyBindingsForAction(const QString&) const override { return {}; }
  void doAction(const QString& name) override {
    if (!element()) return;
    if (name == pressAction()) _surface->surface().activate(_id);
    if (name == setFocusAction()) _surface->surface().setElementFocused(_id, true);
  }

 private:
  const AccessibleElement* element() const { return _surface ? tree().find(_id) : nullptr; }
  bool isDialog() const { return element() && tree().dialog && tree().dialog->id == _id; }

  const std::uint64_t _id;
};

class LayerObject : public QAccessibleObject, private Container {
 public:
  LayerObject(QObject& layer, Surface& surface, AccessibleElementObjects& objects)
      : QAccessibleObject(&layer), Container(surface, objects) {}

  bool isValid() const override { return _surface && QAccessibleObject::isValid(); }
  QWindow* window() const override { return _surface ? _surface->window() : nullptr; }
  QAccessible::Role role() const override { return QAccessible::LayeredPane; }
  QString text(QAccessible::Text) const override { return {}; }
  QAccessible::State state() const override {
    QAccessible::State result;
    result.invisible = childCount() == 0;
    return result;
  }
  QRect rect() const override {
    if (!_surface || !_surface->window()) return {};
    return onScreen(*_surface, {{}, QSizeF(_surface->window()->size())});
  }
  QAccessibleInterface* parent() const override {
    for (QObject* each = object() ? object()->parent() : nullptr; each; each = each->parent()) {
      if (auto* found = QAccessible::queryAccessibleInterface(each)) return found;
    }
    return nullptr;
  }
  int childCount() const override {
    if (!_surface) return 0;
    return tree().dialog ? 1 : static_cast<int>(tree().elements.size());
  }
  QAccessibleInterface* child(int index) const override {
    if (!_surface) return nullptr;
    if (!tree().dialog) return objectAt(index);
    return index == 0 ? _objects->objectFor(tree().dialog->id) : nullptr;
  }
  int indexOfChild(const QAccessibleInterface* object) const override {
    if (!_surface) return -1;
    if (!tree().dialog) return indexOf(object);
    return _objects->objectFor(tree().dialog->id) == object ? 0 : -1;
  }
};

QAccessibleInterface* makeAccessible(const QString&, QObject* object) {
  return Surface::accessibleFor(object);
}

void report(QAccessibleInterface* object, QAccessible::Event type) {
  if (!object) return;
  QAccessibleEvent event(object, type);
  QAccessible::updateAccessibility(&event);
}

}  // namespace

AccessibleElementObjects::AccessibleElementObjects(Surface& surface) : _surface(surface) {
  static const bool isInstalled = [] {
    QAccessible::installFactory(makeAccessible);
    return true;
  }();
  static_cast<void>(isInstalled);
}

AccessibleElementObjects::~AccessibleElementObjects() {
  while (!_objects.empty()) remove(_objects.begin()->first);
}

QAccessibleInterface* AccessibleElementObjects::makeLayer(QObject& layer) const {
  return new LayerObject(layer, _surface, const_cast<AccessibleElementObjects&>(*this));
}

QAccessibleInterface* AccessibleElementObjects::objectFor(std::uint64_t element) {
  if (const auto found = _objects.find(element); found != _objects.end())
    return QAccessible::accessibleInterface(found->second);
  if (!_surface.surface().accessibleTree().find(element)) return nullptr;
  auto* object = new ElementObject(_surface, *this, element);
  _objects[element] = QAccessible::registerAccessibleInterface(object);
  return object;
}

void AccessibleElementObjects::remove(std::uint64_t element) {
  if (const auto object = _objects.extract(element)) QAccessible::deleteAccessibleInterface(object.mapped());
}

void AccessibleElementObjects::update(const AccessibleTree& tree) {
  for (const auto id : tree.removed) {
    if (id == _focused) _focused = 0;
    const auto found = _objects.find(id);
    if (found == _objects.end()) continue;
    report(QAccessible::accessibleInterface(found->second), QAccessible::ObjectDestroyed);
    remove(id);
  }
  for (const auto id : tree.added) report(objectFor(id), QAccessible::ObjectCreated);
  for (const auto id : tree.changed) report(objectFor(id), QAccessible::NameChanged);
  const bool isNewDialog =
      tree.dialog && std::find(tree.added.begin(), tree.added.end(), tree.dialog->id) != tree.added.end();
  if (isNewDialog) report(objectFor(tree.dialog->id), QAccessible::DialogStart);
  for (const AccessibleElement& element : tree.elements) {
    if (!element.isFocused || element.id == _focused) continue;
    _focused = element.id;
    report(objectFor(element.id), QAccessible::Focus);
  }
}

}  // namespace oq::qt
