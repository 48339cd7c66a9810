// SPDX-License-Identifier: Apache-2.0
#include "Pages/OQPageCollection.h"

#include <algorithm>
#include <utility>

#include "Hooks/OQSwizzler.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Controllers/UITabBarController.h"
#include "UIKit/Controllers/UIViewController.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQGuard.h"

namespace oq {

namespace {

/// The classes of system screens, which are never collected. Intentional: their subclasses are not system screens.
constexpr std::string_view _systemBuildInClasses[] = {
    "SFBrowserRemoteViewController",
    "SFSafariViewController",
    "UIAlertController",
    "UIInputWindowController",
    "UITabBarController",
    "UINavigationController",
    "UIKeyboardCandidateGridCollectionViewController",
    "UICompatibilityInputViewController",
    "UIApplicationRotationFollowingController",
    "UIApplicationRotationFollowingControllerNoTouches",
    "AVPlayerViewController",
    "UIActivityGroupViewController",
    "UIReferenceLibraryViewController",
    "UIKeyboardCandidateRowViewController",
    "UIKeyboardHiddenViewController",
    "_UIAlertControllerTextFieldViewController",
    "_UILongDefinitionViewController",
    "_UIResilientRemoteViewContainerViewController",
    "_UIShareExtensionRemoteViewController",
    "_UIDICActivityViewController",
    "_UIRemoteDictionaryViewController",
    "UISystemKeyboardDockController",
    "_UINoDefinitionViewController",
    "UIImagePickerController",
    "_UIActivityGroupListViewController",
    "_UIRemoteViewController",
    "_UIFallbackPresentationViewController",
    "_UIDocumentPickerRemoteViewController",
    "_UIAlertShimPresentingViewController",
    "_UIWaitingForRemoteViewContainerViewController",
    "UIDocumentMenuViewController",
    "UIActivityViewController",
    "_UIActivityUserDefaultsViewController",
    "_UIActivityViewControllerContentController",
    "_UIRemoteInputViewController",
    "UIViewController",
    "UITableViewController",
    "_UIUserDefaultsActivityNavigationController",
    "UISnapshotModalViewController",
    "WKActionSheet",
    "DDSafariViewController",
    "SFAirDropActivityViewController",
    "CKSMSComposeController",
    "DDParsecLoadingViewController",
    "PLUIPrivacyViewController",
    "PLUICameraViewController",
    "SLRemoteComposeViewController",
    "CAMViewfinderViewController",
    "DDParsecNoDataViewController",
    "CAMPreviewViewController",
    "DDParsecCollectionViewController",
    "SLComposeViewController",
    "DDParsecRemoteCollectionViewController",
    "AVFullScreenPlaybackControlsViewController",
    "PLPhotoTileViewController",
    "AVFullScreenViewController",
    "CAMImagePickerCameraViewController",
    "CKSMSComposeRemoteViewController",
    "PUPhotoPickerHostViewController",
    "PUUIAlbumListViewController",
    "PUUIPhotosAlbumViewController",
    "SFAppAutoFillPasswordViewController",
    "PUUIMomentsGridViewController",
    "SFPasswordRemoteViewController",
};

bool isSystemClass(std::string_view name) {
  return std::find(std::begin(_systemBuildInClasses), std::end(_systemBuildInClasses), name) !=
         std::end(_systemBuildInClasses);
}

bool isKindOf(const Class* cls, const Class* ancestor) {
  while (cls && cls != ancestor) cls = class_getSuperclass(cls);
  return cls != nullptr;
}

bool canCollect(const Class* screenClass, const OQPageCollection::Observer& observer) {
  if (!screenClass || (observer.isCollecting && !observer.isCollecting())) return false;
  if (isSystemClass(class_getName(screenClass))) return false;
  return !isKindOf(screenClass, UINavigationController::staticClass()) &&
         !isKindOf(screenClass, UITabBarController::staticClass());
}

}  // namespace

Class* OQPageCollection::staticClass() {
  static Class* registered = registerClass("OQPageCollection", Object::staticClass());
  return registered;
}

OQPageCollection& OQPageCollection::sharedInstance() {
  static OQPageCollection& shared = *new OQPageCollection();
  return shared;
}

void OQPageCollection::collectPage() {
  auto install = [] {
    Class* screens = UIViewController::staticClass();
    OQSwizzler::swizzleSelector(
        viewDidAppearSelector, screens,
        [](Object& screen, SEL, const Value&) { sharedInstance().viewDidAppear(screen); }, "OQViewDidAppear");
    OQSwizzler::swizzleSelector(
        viewWillDisappearSelector, screens,
        [](Object& screen, SEL, const Value&) { sharedInstance().viewWillDisappear(screen); }, "OQViewWillDisappear");
  };
  OQDispatchQueueManager::dispatchInMainThread(install, false);
}

void OQPageCollection::viewDidAppear(const Object& screen) {
  OQDispatchQueueManager::dispatchInSerialQueue(
      QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD,
      [this, screenClass = screen.class_()] { guarded([&] { record(screenClass); }); });
}

void OQPageCollection::viewWillDisappear(const Object&) {
  OQDispatchQueueManager::dispatchInSerialQueue(QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD, [] {});
}

bool OQPageCollection::canCollectViewController(const Object* screen) const {
  return screen && canCollect(screen->class_(), observer());
}

void OQPageCollection::record(const Class* screenClass) {
  const std::string& name = class_getName(screenClass);
  const Observer observer = this->observer();
  if (canCollect(screenClass, observer)) {
    setPageName(name);
    if (observer.pageCollected) observer.pageCollected(name);
  } else if (!isSystemClass(name)) {
    // The page's name also changes while collection is disabled, and for the host's subclasses of the navigation and
    // tab-bar controllers, but is not reported.
    setPageName(name);
  }
}

void OQPageCollection::setObserver(Observer observer) {
  std::lock_guard lock(_mutex);
  std::swap(_observer, observer);
}

OQPageCollection::Observer OQPageCollection::observer() const {
  std::lock_guard lock(_mutex);
  return _observer;
}

std::optional<std::string> OQPageCollection::pageName() const {
  std::lock_guard lock(_mutex);
  return _pageName;
}

void OQPageCollection::setPageName(std::optional<std::string> name) {
  std::lock_guard lock(_mutex);
  _pageName.swap(name);
}

}  // namespace oq
