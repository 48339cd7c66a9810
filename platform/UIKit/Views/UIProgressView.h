// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "UIKit/Views/UIView.h"

namespace oq {

/// A bar that shows progress. Main thread only.
class UIProgressView : public UIView {
  OQ_CLASS(UIProgressView)

 public:
  explicit UIProgressView(CGRect frame);
  float progress() const { return _progress; }
  /// Clamped to 0 to 1; not-a-number is ignored.
  void setProgress(float progress);
  UIColor tintColor() const { return _tint; }
  void setTintColor(UIColor color);

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override;

 private:
  float _progress = 0;
  UIColor _tint{0, 0.48, 1, 1};
};

}  // namespace oq
