// SPDX-License-Identifier: Apache-2.0
#include "Dispatch/DispatchQueue.h"

#include <algorithm>
#include <utility>

#include "Dispatch/DeadlineThread.h"
#include "Dispatch/MainQueue.h"
#include "Dispatch/WorkQueue.h"

namespace oq {

namespace {

/// Longer than any process lives, and far below the limit of 64-bit nanoseconds.
constexpr double kLongestDelay = 100.0 * 365 * 24 * 3600;

thread_local DispatchQueue* runningQueue = nullptr;

DispatchQueue* currentQueue() {
  if (runningQueue) return runningQueue;
  auto& main = MainQueue::shared();
  return main.isMainThread() ? &main : nullptr;
}

}  // namespace

DispatchQueue::DispatchQueue(std::string label) : _label(std::move(label)) {}

DispatchQueue::~DispatchQueue() = default;

DispatchQueue& DispatchQueue::main() {
  return MainQueue::shared();
}

std::shared_ptr<DispatchQueue> DispatchQueue::serial(std::string label) {
  return std::make_shared<SerialQueue>(std::move(label));
}

std::shared_ptr<DispatchQueue> DispatchQueue::concurrent(std::string label) {
  return std::make_shared<ConcurrentQueue>(std::move(label));
}

DispatchQueue& DispatchQueue::background() {
  static auto* queue = new std::shared_ptr<DispatchQueue>(concurrent("oq.background"));
  return **queue;
}

void DispatchQueue::after(double seconds, Block block) {
  if (!(seconds > 0)) return async(std::move(block));
  std::chrono::duration<double> delay(std::min(seconds, kLongestDelay));
  auto deadline = DeadlineThread::after(std::chrono::duration_cast<std::chrono::nanoseconds>(delay));
  DeadlineThread::shared().callAt(
      deadline, [queue = shared_from_this(), block = std::move(block)]() mutable { queue->async(std::move(block)); });
}

const char* DispatchQueue::label() const {
  return _label.c_str();
}

const char* DispatchQueue::currentLabel() {
  static const char noQueue[] = "";
  const DispatchQueue* queue = currentQueue();
  return queue ? queue->label() : noQueue;
}

void DispatchQueue::setSpecific(const void* key, void* value) {
  std::lock_guard lock(_specificsMutex);
  _specifics[key] = value;
}

void* DispatchQueue::currentSpecific(const void* key) {
  DispatchQueue* queue = currentQueue();
  if (!queue) return nullptr;
  std::lock_guard lock(queue->_specificsMutex);
  auto found = queue->_specifics.find(key);
  return found == queue->_specifics.end() ? nullptr : found->second;
}

void DispatchQueue::runAsCurrent(const Block& block) noexcept {
  // The outer queue is restored afterwards, because a block may call sync() on another queue, which runs on the same
  // thread.
  DispatchQueue* outer = std::exchange(runningQueue, this);
  if (block) block();
  runningQueue = outer;
}

void DispatchQueue::installMain(MainLoop loop) {
  MainQueue::shared().install(loop);
}

std::size_t DispatchQueue::drainMain(double seconds) {
  return MainQueue::shared().runWaitingBlocks(seconds);
}

bool DispatchQueue::isMainEmpty() {
  return MainQueue::shared().isEmpty();
}

void DispatchQueue::setMainWake(std::function<void()> wake) {
  MainQueue::shared().setWake(std::move(wake));
}

}  // namespace oq
