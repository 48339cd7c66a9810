#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Foundation/Values/JSONValue.h"
#include "Model/OQWindowData.h"
#include "Pages/OQWebController.h"
#include "UI/OQButton.h"
#include "UI/OQLabel.h"
#include "UIKit/Views/UIImageView.h"
#include "UIKit/Views/UIScrollView.h"
#include "UIKit/Views/UIView.h"

namespace oq {

/// One message on screen: a card over a dimmed background. Made with makeMainObject() for one showing.
///
/// Threads: the two show methods that take data may be called from any thread and go to the main queue by
/// themselves; everything else belongs to the main queue. Ownership: while it is shown its superview owns the
/// window; an animation that is under way keeps it until its completion has run, also where there is no
/// window to be shown in. A caller that only needs the outcome does not keep it. Failure: without any window
/// attached, or a picture, nothing is reported: the animations still end, and the callback still comes.
///
/// While no attached window can be seen, it waits to be opened (OQPresentationQueue). If its window is hidden during
/// the opening, it waits again, and its opening is repeated. "Shown" is reported after an opening whose end could be
/// seen.
///
/// Sizes follow the main screen's bounds at the moment when they are asked for. Nothing is laid out again
/// later.
class OQPopWindow : public UIView {
  OQ_CLASS(OQPopWindow)

 public:
  /// What happened: 1 shown (-1 as a tool window), 2 picture, 3 closed, 4 left, 5 right, 6 middle button;
  /// with the link of what was tapped, or null.
  using EventAction = std::function<void(std::int64_t code, const JSONValue& link)>;

  /// As large as the main screen, whatever the frame.
  OQPopWindow();
  explicit OQPopWindow(CGRect frame);

  // Show and close.
  void popWithData(std::shared_ptr<OQWindowData> data, EventAction eventAction);
  /// A prompt with the buttons "取消" and "确定". Any thread.
  void popWithTitle(std::optional<std::string> title, std::optional<std::string> message, EventAction eventAction);
  void _popWithImageWithCompletion(EventAction completion);
  void _popWithTextAndImageWithCompletion(EventAction completion);
  void _popWithTextWithCompletion(EventAction completion);
  void _popWithHTMLWithCompletion(EventAction completion);
  void _popWithImage() { _popWithImageWithCompletion(nullptr); }
  void _popWithTextAndImage() { _popWithTextAndImageWithCompletion(nullptr); }
  void _popWithText() { _popWithTextWithCompletion(nullptr); }
  void _popWithHTML() { _popWithHTMLWithCompletion(nullptr); }
  /// Fades out, removes the window, then calls back with (3, null).
  void closeWithCompletion(EventAction completion);
  void _close();
  void imageClicked();
  void jumpOut(const std::shared_ptr<OQButton>& button);

  // Layout.
  void layoutImage();
  void layoutTitleAndTextWithData(const OQWindowData& data);
  void layoutButtonWithData(const OQWindowData& data);
  void reframeContentView();

  const std::shared_ptr<OQWindowData>& data() const { return _data; }
  void setData(std::shared_ptr<OQWindowData> data) { _data = std::move(data); }
  const EventAction& eventAction() const { return _eventAction; }
  void setEventAction(EventAction action) { _eventAction = std::move(action); }
  /// Any thread.
  bool isShowing() const { return _isShowing; }

  // The parts, each built when it is first asked for.
  const std::shared_ptr<UIView>& backgroundView();
  const std::shared_ptr<UIView>& contentView();
  const std::shared_ptr<UIImageView>& imgView();
  /// Shows the one page that is the same for every window.
  const std::shared_ptr<OQWebController>& webController();
  const std::shared_ptr<OQLabel>& titleLbl();
  const std::shared_ptr<UIScrollView>& textScrollView();
  const std::shared_ptr<OQLabel>& textLbl();
  const std::shared_ptr<OQButton>& leftBtn();
  const std::shared_ptr<OQButton>& middleBtn();
  const std::shared_ptr<OQButton>& rightBtn();
  const std::shared_ptr<UIButton>& closeBtn();

  /// The title, else the text, else what every window is.
  std::string accessibilityLabel() const override;
  /// As the close button, where that is on screen.
  bool accessibilityPerformEscape() override;

 private:
  std::shared_ptr<OQPopWindow> self();
  std::weak_ptr<OQPopWindow> weakSelf() { return self(); }
  std::shared_ptr<OQButton> actionButton(std::int64_t eventType);
  std::shared_ptr<OQLabel> textLabel(double fontSize, std::shared_ptr<OQTextAttribute> attribute);

  void showData(std::shared_ptr<OQWindowData> data, EventAction eventAction);
  using Opening = void (OQPopWindow::*)(const EventAction& completion);
  /// Opens when it can be seen.
  void present(Opening open, EventAction completion);
  void openImage(const EventAction& completion);
  void openTextAndImage(const EventAction& completion);
  void openText(const EventAction& completion);
  void openPage(const EventAction& completion);
  void addToKeyWindow(const std::shared_ptr<UIView>& card);
  void setCardHeight(UIView& card, double height);
  void setPageHeight(double height);
  /// `grow` gives the card its height; afterwards the close button is placed, and the code reported. If the window was
  /// hidden before that, all begins again with `open` once it can be seen.
  void openCard(const std::function<void()>& grow, std::function<void()> placeCloseButton, Opening open,
                EventAction completion);
  bool isOutOfSight() const;
  void placeCloseButton(CGPoint centre);
  void placeCloseButtonBelow(const UIView& card);
  void fadeOut(std::function<void()> completion);
  void report(std::int64_t code, const JSONValue& link);
  void loadPicture();

  std::shared_ptr<OQWindowData> _data;
  EventAction _eventAction;
  std::shared_ptr<UIView> _backgroundView, _contentView;
  std::shared_ptr<UIImageView> _imgView;
  std::shared_ptr<OQWebController> _webController;
  std::shared_ptr<OQLabel> _titleLbl, _textLbl;
  std::shared_ptr<UIScrollView> _textScrollView;
  std::shared_ptr<OQButton> _leftBtn, _middleBtn, _rightBtn;
  std::shared_ptr<UIButton> _closeBtn;
  std::atomic<bool> _isShowing{false};
  bool _isToolWindow = false;
  bool _isClosing = false;
  double _imageAndTextWindowHeight = 0;
  double _textWindowHeight = 0;
};

}  // namespace oq
