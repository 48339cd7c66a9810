#pragma once

#include <any>
#include <map>
#include <memory>
#include <utility>

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

  /// Whatever an extension of the class keeps with a view, by the address of a key; nullptr when it keeps
  /// nothing.
  void setAssociatedObject(const void* key, std::any object) { _associatedObjects[key] = std::move(object); }
  const std::any* associatedObject(const void* key) const {
    auto found = _associatedObjects.find(key);
    return found == _associatedObjects.end() ? nullptr : &found->second;
  }

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override;

 private:
  std::shared_ptr<const UIImage> _image;
  UIViewContentMode _contentMode = UIViewContentMode::ScaleToFill;
  std::map<const void*, std::any> _associatedObjects;
};

}  // namespace oq
