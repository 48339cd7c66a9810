#pragma once

#include <memory>

#include "UIKit/UIImage.h"
#include "UIKit/UIView.h"

namespace oq {

enum class UIViewContentMode : int { ScaleToFill = 0, ScaleAspectFit = 1, ScaleAspectFill = 2 };

/// A picture in its bounds. Takes no touches until they are switched on. Main thread only.
class UIImageView : public UIView {
  OQ_CLASS(UIImageView)

 public:
  UIImageView();
  const std::shared_ptr<const UIImage>& image() const { return _image; }
  void setImage(std::shared_ptr<const UIImage> image);
  UIViewContentMode contentMode() const { return _contentMode; }
  void setContentMode(UIViewContentMode mode);
  CGRect contentRect(CGRect bounds) const override;

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override;

 private:
  std::shared_ptr<const UIImage> _image;
  UIViewContentMode _contentMode = UIViewContentMode::ScaleToFill;
};

}  // namespace oq
