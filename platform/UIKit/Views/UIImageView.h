// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <any>
#include <map>
#include <memory>
#include <utility>

#include "UIKit/Painting/UIImage.h"
#include "UIKit/Views/UIView.h"

namespace oq {

enum class UIViewContentMode : int { ScaleToFill = 0, ScaleAspectFit = 1, ScaleAspectFill = 2 };

/// Shows a picture. Ignores touches by default. Main thread only.
///
/// Decoding and scaling a picture takes longer than a frame, so both run on a background queue, once per size. Until
/// the result is ready, the view shows what it showed before.
class UIImageView : public UIView {
  OQ_CLASS(UIImageView)

 public:
  UIImageView();
  const std::shared_ptr<const UIImage>& image() const { return _image; }
  void setImage(std::shared_ptr<const UIImage> image);
  /// False while the image is decoded or scaled in the background, so that the view cannot show it yet. The call starts
  /// that work if necessary.
  bool isImageReady();
  UIViewContentMode contentMode() const { return _contentMode; }
  void setContentMode(UIViewContentMode mode);
  CGRect contentRect(CGRect bounds) const override;
  void didMoveToWindow() override;

  /// Stores a value with the view, for code outside the class. The address `key` identifies the value;
  /// associatedObject() returns nullptr if there is none.
  void setAssociatedObject(const void* key, std::any object) { _associatedObjects[key] = std::move(object); }
  const std::any* associatedObject(const void* key) const {
    auto found = _associatedObjects.find(key);
    return found == _associatedObjects.end() ? nullptr : &found->second;
  }

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override;

 private:
  double contentScale() const;
  /// The input from which pixels are made.
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
  Request _wanted;                        ///< the latest request
  bool _preparing = false;                ///< the latest request is not finished
  std::shared_ptr<const Pixels> _pixels;  ///< what is shown
  std::map<const void*, std::any> _associatedObjects;
};

}  // namespace oq
