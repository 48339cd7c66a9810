// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/OQFloatingBall.h"

#include <mutex>
#include <utility>

#include "Tools/OQFloatingBallView.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQGuard.h"

namespace oq {

namespace {

void onMainThread(Block block) {
  guarded([&] { OQDispatchQueueManager::dispatchInMainThread(std::move(block), true); });
}

}  // namespace

void OQFloatingBall::show() {
  showWithMode(0);
}

void OQFloatingBall::showWithMode(std::int64_t mode) {
  onMainThread([mode] {
    static std::once_flag onceToken;
    std::call_once(onceToken, [mode] {
      auto& ball = OQFloatingBallView::floatingBall();
      ball = makeMainObject<OQFloatingBallView>(CGRect{}, mode);
      ball->createFloatingBtn();
    });
    OQFloatingBallView::_showWithMode(mode);
  });
}

void OQFloatingBall::hide() {
  onMainThread([] {
    if (const auto& ball = OQFloatingBallView::floatingBall()) ball->_hide();
  });
}

void OQFloatingBall::setFloatingBtnClickedCallback(Callback callback) {
  onMainThread([callback = std::move(callback)]() mutable {
    if (const auto& ball = OQFloatingBallView::floatingBall()) ball->setBtnClickedCallback(std::move(callback));
  });
}

}  // namespace oq
