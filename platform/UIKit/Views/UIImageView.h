#pragma once

#include <any>
#include <map>
#include <memory>
#include <utility>

#include "UIKit/Painting/UIImage.h"
#include "UIKit/Views/UIView.h"

namespace oq {

enum class UIViewContentMode : int { ScaleToFill = 0, ScaleAspectFit = 1, ScaleAspectFill = 2 };

/// A picture in its bounds. Takes no touches until they are switched on. Main thread only.
///
/// Decoding and scaling a picture takes longer than a frame, so both are done beside the main queue, once for
/// each size; the view shows the picture as soon as that is ready, and meanwhile what it showed before.
class UIImageView : public UIView {
  OQ_CLASS(UIImageView)

 public:
  UIImageView();
  const std::shared_ptr<const UIImage>& image() const { return _image; }
  void setImage(std::shared_ptr<const UIImage> image);
  /// Nothing is being decoded or scaled: what can be shown of the image is there to be painted.
  bool isImageReady();
  UIViewContentMode contentMode() const { return _contentMode; }
  void setContentMode(UIViewContentMode mode);
  CGRect contentRect(CGRect bounds) const override;
  void didMoveToWindow() override;

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
  double contentScale() const;
  /// What pixels are made from.
  struct Request {
    std::shared_ptr<const UIImage> image;
    CGSize size;
    UIViewContentMode mode = UIViewContentMode::ScaleToFill;
    double scale = 1;
    bool operator==(const Request&) const = default;
  };
  struct Pixels;
  static std::shared_ptr<const Pixels> makePixels(const Request& request);
  void prepare(const Request& request);
  void prepared(const Request& request, std::shared_ptr<const Pixels> pixels);

  std::shared_ptr<const UIImage> _image;
  UIViewContentMode _contentMode = UIViewContentMode::ScaleToFill;
  Request _wanted;                        ///< the latest that was asked for
  bool _preparing = false;                ///< the latest is not there yet
  std::shared_ptr<const Pixels> _pixels;  ///< what is shown
  std::map<const void*, std::any> _associatedObjects;
};

}  // namespace oq
