// SPDX-License-Identifier: Apache-2.0
#include "UI/OQPresentationQueue.h"

#include <algorithm>
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

void OQPresentationQueue::add(Kind kind, std::function<void()> present) {
  const bool hasWindows = !UIApplication::sharedApplication().connectedScenes().empty();
  Entry entry{kind, hasWindows, std::move(present)};
  const bool isFirst = !hasWindows || _waiting.empty();
  if (isFirst && mayRun(entry)) return entry.present();
  _waiting.push_back(std::move(entry));
  runLater();
}

bool OQPresentationQueue::mayRun(const Entry& entry) const {
  if (entry.kind == Kind::Campaign && _isHeld) return false;
  const auto& application = UIApplication::sharedApplication();
  if (!entry.waitsForWindow && application.connectedScenes().empty()) return true;
  const auto window = OQNavigation::keyWindow();
  return window && application.isOnScreen(*window);
}

void OQPresentationQueue::presentSoon() {
  DispatchQueue::main().async([] { shared().runLater(); });
}

void OQPresentationQueue::removeCampaigns() {
  std::deque<Entry> removed;  // destroyed last, when the queue is consistent again
  removed.swap(_waiting);
  for (Entry& entry : removed) {
    if (entry.kind == Kind::Tool) _waiting.push_back(std::move(entry));
  }
}

/// Queues run() instead of calling it, because the host reports changes of its windows while it is making them.
void OQPresentationQueue::runLater() {
  if (_waiting.empty() || std::exchange(_running, true)) return;
  DispatchQueue::main().async([this] { run(); });
}

void OQPresentationQueue::run() {
  _running = false;
  const auto next = [this] {
    return std::ranges::find_if(_waiting, [this](const Entry& entry) { return mayRun(entry); });
  };
  for (auto entry = next(); entry != _waiting.end(); entry = next()) {
    const auto present = std::move(entry->present);
    _waiting.erase(entry);
    guarded(present);
  }
}

}  // namespace oq
