// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Values/JSONValue.h"
#include "Model/OQWindowData.h"
#include "Pages/OQWebController.h"
#include "Requests/OQNetwork.h"
#include "UI/OQButton.h"
#include "UI/OQLabel.h"
#include "UIKit/Views/UIImageView.h"
#include "UIKit/Views/UIScrollView.h"
#include "UIKit/Views/UIView.h"

namespace oq {

/// What happened to a message window, as reported to the server.
enum OQWindowAction : std::int64_t {
  OQWindowActionShownAsTool = -1,  ///< shown as a tool for developers, which is not reported
  OQWindowActionShown = 1,
  OQWindowActionPicture = 2,
  OQWindowActionClosed = 3,
  OQWindowActionLeftButton = 4,
  OQWindowActionRightButton = 5,
  OQWindowActionMiddleButton = 6,
};

/// One message on screen: a card above a dimmed background. Create it with makeMainObject() and show it once.
///
/// Threads: popWithData() and popWithTitle() may be called on any thread and switch to the main queue; everything else
/// is main queue only. Ownership: while the window is shown, its superview owns it. A running animation keeps it alive
/// until the animation's completion has run, even if there is no host window to show it in. A caller that only needs
/// the result need not keep a reference. Failure: without a host window or a picture, the animations still end, and the
/// callback is still called. A missing picture is reported only to the notice handler.
///
/// If host windows are attached but the key window is not visible, the message waits in OQPresentationQueue. If its
/// host window is hidden during the opening, the message waits again and then repeats the opening. "Shown" is reported
/// only if the host window is visible at the end of an opening, or if no host window is attached at all.
///
/// Sizes use the main screen's bounds at the time of use. A later change of the bounds has no effect on a message that
/// is already laid out.
class OQPopWindow : public UIView {
  OQ_CLASS(OQPopWindow)

 public:
  /// Called with an OQWindowAction and the link of the tapped part, or null.
  using EventAction = std::function<void(std::int64_t code, const JSONValue& link)>;
  /// What happens without an action of the user. It is not reported to the server.
  enum class Notice {
    ShownWithoutPicture,  ///< The message is on screen, but its picture could not be loaded.
    Removed,              ///< dismissNewest() or removeAll() has removed it. No action follows.
  };

  /// As large as the main screen; the frame is ignored.
  OQPopWindow();
  explicit OQPopWindow(CGRect frame);
  ~OQPopWindow() override;

  /// Sets the client that loads the picture. Without one, the picture is loaded with a new client.
  void setNetwork(std::shared_ptr<OQNetwork> network) { _network = std::move(network); }

  /// Sets the function that is called with each notice, on the main queue.
  void setNoticeHandler(std::function<void(Notice)> handler) { _noticeHandler = std::move(handler); }

  // Show and close.
  void popWithData(std::shared_ptr<OQWindowData> data, EventAction eventAction);
  /// The same as popWithData(), but the caller must be on the main queue.
  void popOnMainQueue(std::shared_ptr<OQWindowData> data, EventAction eventAction);
  /// Shows a prompt with the buttons "取消" and "确定". Thread-safe.
  void popWithTitle(std::optional<std::string> title, std::optional<std::string> message, EventAction eventAction);
  void _popWithImageWithCompletion(EventAction completion);
  void _popWithTextAndImageWithCompletion(EventAction completion);
  void _popWithTextWithCompletion(EventAction completion);
  void _popWithHTMLWithCompletion(EventAction completion);
  void _popWithImage() { _popWithImageWithCompletion(nullptr); }
  void _popWithTextAndImage() { _popWithTextAndImageWithCompletion(nullptr); }
  void _popWithText() { _popWithTextWithCompletion(nullptr); }
  void _popWithHTML() { _popWithHTMLWithCompletion(nullptr); }
  /// Fades out, removes the window, then calls `completion` with OQWindowActionClosed and null.
  void closeWithCompletion(EventAction completion);
  void _close();
  /// Fades out the newest message of a campaign on screen. Has no effect if the user is already closing this message.
  static void dismissNewest();
  /// Removes all messages of campaigns from the screen immediately, without fading out.
  static void removeAll();
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
  /// Thread-safe.
  bool isShowing() const { return _isShowing; }

  // The parts, each created on first use.
  const std::shared_ptr<UIView>& backgroundView();
  const std::shared_ptr<UIView>& contentView();
  const std::shared_ptr<UIImageView>& imgView();
  /// Shows one fixed page, which is the same for every window.
  const std::shared_ptr<OQWebController>& webController();
  const std::shared_ptr<OQLabel>& titleLbl();
  const std::shared_ptr<UIScrollView>& textScrollView();
  const std::shared_ptr<OQLabel>& textLbl();
  const std::shared_ptr<OQButton>& leftBtn();
  const std::shared_ptr<OQButton>& middleBtn();
  const std::shared_ptr<OQButton>& rightBtn();
  const std::shared_ptr<UIButton>& closeBtn();

  /// The title, or else the text, or else a generic name.
  std::string accessibilityLabel() const override;
  /// Does the same as the close button. Returns false without effect if the close button is not shown.
  bool accessibilityPerformEscape() override;

 private:
  std::shared_ptr<OQPopWindow> self();
  std::weak_ptr<OQPopWindow> weakSelf() { return self(); }
  std::shared_ptr<OQButton> actionButton(std::int64_t eventType);
  std::shared_ptr<OQLabel> textLabel(double fontSize, std::shared_ptr<OQTextAttribute> attribute);

  void showData(std::shared_ptr<OQWindowData> data, EventAction eventAction);
  using Opening = void (OQPopWindow::*)(const EventAction& completion);
  /// Opens the message as soon as the user can see it.
  void present(Opening open, EventAction completion);
  void openImage(const EventAction& completion);
  void openTextAndImage(const EventAction& completion);
  void openText(const EventAction& completion);
  void openPage(const EventAction& completion);
  void addToKeyWindow(const std::shared_ptr<UIView>& card);
  void setCardHeight(UIView& card, double height);
  void setPageHeight(double height);
  /// Animates the opening: `grow` sets the final height of the card. After the animation, places the close button and
  /// calls `completion` with OQWindowActionShown. If the host window was hidden during the animation, the message is
  /// instead presented again with `open`.
  void openCard(const std::function<void()>& grow, std::function<void()> placeCloseButton, Opening open,
                EventAction completion);
  bool isOutOfSight() const;
  void placeCloseButton(CGPoint center);
  void placeCloseButtonBelow(const UIView& card);
  void fadeOut(std::function<void()> completion);
  void report(std::int64_t code, const JSONValue& link);
  void loadPicture();
  void pictureFailed();
  void notify(Notice notice);
  /// The messages of campaigns on screen, from the beginning of their opening until they are gone, oldest first.
  static std::vector<OQPopWindow*>& onScreen();
  void remove();

  std::shared_ptr<OQNetwork> _network;
  std::shared_ptr<OQWindowData> _data;
  EventAction _eventAction;
  std::function<void(Notice)> _noticeHandler;
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
  bool _isRemoved = false;         ///< by dismissNewest() or removeAll()
  bool _isPictureMissing = false;  ///< its download has failed
  double _imageAndTextWindowHeight = 0;
  double _textWindowHeight = 0;
};

}  // namespace oq
