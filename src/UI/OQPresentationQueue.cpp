// SPDX-License-Identifier: Apache-2.0
#include "UI/OQPresentationQueue.h"

#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Pages/OQNavigation.h"
#include "UIKit/Windows/UIApplication.h"
#include "Utils/OQGuard.h"

namespace oq {

// Never destroyed: windows may still close while the process exits.
OQPresentationQueue& OQPresentationQueue::shared() {
  static auto& queue = *new OQPresentationQueue;
  return queue;
}

OQPresentationQueue::OQPresentationQueue() {
  UIApplication::sharedApplication().setScenesObserver([this] { runLater(); });
}

bool OQPresentationQueue::isOpen() {
  const auto window = OQNavigation::keyWindow();
  return window && UIApplication::sharedApplication().isOnScreen(*window);
}

void OQPresentationQueue::add(std::function<void()> present) {
  const bool hasWindows = !UIApplication::sharedApplication().connectedScenes().empty();
  if (!hasWindows || (_waiting.empty() && isOpen())) return present();
  _waiting.push_back(std::move(present));
  runLater();
}

/// Queued, because the host reports changes of its windows while it is making them.
void OQPresentationQueue::runLater() {
  if (_waiting.empty() || std::exchange(_running, true)) return;
  DispatchQueue::main().async([this] { run(); });
}

void OQPresentationQueue::run() {
  _running = false;
  while (!_waiting.empty() && isOpen()) {
    const auto present = std::move(_waiting.front());
    _waiting.pop_front();
    guarded(present);
  }
}

}  // namespace oq
