#include "UIKit/UIImageView.h"

#include <algorithm>
#include <utility>

namespace oq {

Class* UIImageView::staticClass() {
  static Class* registered = registerClass("UIImageView", UIView::staticClass());
  return registered;
}

UIImageView::UIImageView() {
  setUserInteractionEnabled(false);
}

void UIImageView::setImage(std::shared_ptr<const UIImage> image) {
  if (image == _image) return;
  _image = std::move(image);
  setNeedsDisplay();
}

void UIImageView::setContentMode(UIViewContentMode mode) {
  if (mode == _contentMode) return;
  _contentMode = mode;
  setNeedsDisplay();
}

CGRect UIImageView::contentRect(CGRect bounds) const {
  if (!_image || _contentMode == UIViewContentMode::ScaleToFill) return bounds;
  double across = bounds.size.width / _image->size().width, down = bounds.size.height / _image->size().height;
  double scale =
      _contentMode == UIViewContentMode::ScaleAspectFit ? std::min(across, down) : std::max(across, down);
  CGSize size{_image->size().width * scale, _image->size().height * scale};
  CGPoint centre = bounds.centre();
  return {{centre.x - size.width / 2, centre.y - size.height / 2}, size};
}

std::shared_ptr<LayerContent> UIImageView::makeContent(CGSize size) {
  if (!_image) return nullptr;
  CGSize drawn = contentRect({{0, 0}, size}).size;
  return std::make_shared<LayerContent>(drawn, [image = _image, drawn](cairo_t* cr) {
    drawImage(cr, *image, {{0, 0}, drawn});
  });
}

}  // namespace oq
