// SPDX-License-Identifier: Apache-2.0
#include "Tools/OQDiagnosticsController.h"

#include <algorithm>
#include <utility>

#include "Engine/OQSDKManager.h"
#include "Tools/OQDiagnosticsList.h"
#include "UIKit/Controllers/DialogPage.h"
#include "UIKit/Views/UIButton.h"
#include "UIKit/Views/UILabel.h"
#include "UIKit/Windows/MainObject.h"
#include "oqsdk/OQSDKConstants.h"

namespace oq {
namespace {

// In points.
constexpr double kInset = 10, kHeader = 52, kButton = 84, kRadius = 16, kHairline = 0.5;
constexpr UIColor kPaper = UIColor::colorWithRed(0.945, 0.95, 0.96, 1);
constexpr UIColor kBlue = UIColor::colorWithRed(0, 0.44, 0.92, 1);

std::shared_ptr<UIButton> makeHeaderButton(const char* title, CGRect frame, std::function<void()> action) {
  auto button = makeMainObject<UIButton>();
  button->setFrame(frame);
  button->setTitle(title, UIControlStateNormal);
  button->setTitleColor(kBlue, UIControlStateNormal);
  button->titleLabel().setFont(UIFont::systemFontOfSize(16));
  button->addTarget([action = std::move(action)](UIControl&) { action(); }, UIControlEventTouchUpInside);
  return button;
}

}  // namespace

/// The part of the page that contains everything. It lets the controller lay out again when the size of the page
/// changes.
class OQDiagnosticsController::Sheet : public UIView {
 public:
  explicit Sheet(std::weak_ptr<UIViewController> controller) : _controller(std::move(controller)) {}
  void superviewDidResize() override {
    if (const auto controller = _controller.lock())
      std::static_pointer_cast<OQDiagnosticsController>(controller)->layOut();
  }

 private:
  const std::weak_ptr<UIViewController> _controller;
};

OQDiagnosticsController::OQDiagnosticsController() {
  setTitle("OQSDK " + OQSDKVersion);
  setModalPresentationStyle(UIModalPresentationStyle::OverFullScreen);
}

std::shared_ptr<UIView> OQDiagnosticsController::loadView() {
  const auto escape = [weak = weak_from_this()] {
    if (const auto controller = weak.lock()) controller->dismissViewControllerAnimated(true);
    return true;
  };
  auto page = makeMainObject<DialogPage>("Diagnostics", escape);
  _sheet = makeMainObject<Sheet>(weak_from_this());
  _sheet->setBackgroundColor(kPaper);
  _sheet->layer().setCornerRadius(kRadius);
  _sheet->setClipsToBounds(true);
  page->addSubview(_sheet);
  layOut();
  return page;
}

void OQDiagnosticsController::layOut() {
  const auto page = _sheet->superview();
  if (!page) return;
  const CGSize room = page->bounds().size;
  const double width = room.width - 2 * kInset, height = room.height - 2 * kInset;
  if (width <= 0 || height <= kHeader) return;
  _sheet->setFrame(CGRectMake(kInset, kInset, width, height));
  const auto before = _sheet->subviews();
  for (const auto& part : before) part->removeFromSuperview();
  _scroller = makeMainObject<UIScrollView>();
  _scroller->setFrame(CGRectMake(0, kHeader, width, height - kHeader));
  _sheet->addSubview(_scroller);
  _sheet->addSubview(makeHeader(width));
  refresh();
}

std::shared_ptr<UIView> OQDiagnosticsController::makeHeader(double width) {
  auto header = makeMainObject<UIView>(CGRectMake(0, 0, width, kHeader));
  header->setBackgroundColor(UIColor::whiteColor());
  auto label = makeMainObject<UILabel>();
  label->setFrame(CGRectMake(kButton, 0, std::max(0.0, width - 2 * kButton), kHeader));
  label->setFont(UIFont::boldSystemFontOfSize(17));
  label->setText(title());
  label->setTextAlignment(NSTextAlignment::Center);
  label->setAccessibilityTraits(UIAccessibilityTraitHeader);
  header->addSubview(label);
  const auto doing = [weak = weak_from_this()](void (OQDiagnosticsController::*action)()) {
    return [weak, action] {
      if (auto controller = std::static_pointer_cast<OQDiagnosticsController>(weak.lock())) (*controller.*action)();
    };
  };
  header->addSubview(
      makeHeaderButton("Refresh", CGRectMake(0, 0, kButton, kHeader), doing(&OQDiagnosticsController::refresh)));
  header->addSubview(makeHeaderButton("Close", CGRectMake(width - kButton, 0, kButton, kHeader),
                                      doing(&OQDiagnosticsController::close)));
  auto line = makeMainObject<UIView>(CGRectMake(0, kHeader - kHairline, width, kHairline));
  line->setBackgroundColor(UIColor::colorWithRed(0.80, 0.81, 0.83, 1));
  header->addSubview(line);
  return header;
}

void OQDiagnosticsController::refresh() {
  const auto before = _scroller->subviews();
  for (const auto& part : before) part->removeFromSuperview();
  auto list = makeDiagnosticsList(jsonIn(OQSDKManager::sharedManager().diagnostics()), _scroller->bounds().size.width);
  _scroller->setContentSize(list->bounds().size);
  _scroller->setContentOffset({});
  _scroller->addSubview(list);
}

void OQDiagnosticsController::close() {
  dismissViewControllerAnimated(true);
}

}  // namespace oq
