// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQDispatchQueueManager.h"

#include <memory>
#include <utility>

#include "Utils/OQSDKBundleIdentifier.h"

namespace oq {

const void* const QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD =
    &QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD;
const void* const QUEUE_TAG_HANDLE_RECEIVED_EVENT_DATA_IN_MAIN_THREAD =
    &QUEUE_TAG_HANDLE_RECEIVED_EVENT_DATA_IN_MAIN_THREAD;
const char* const QUEUE_NAME_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD = OQSDK_BUNDLE_IDENTIFIER ".asyncTask";
const char* const QUEUE_NAME_HANDLE_RECEIVED_EVENT_DATA_IN_MAIN_THREAD = OQSDK_BUNDLE_IDENTIFIER ".receivedEventData";

namespace {

const char* labelFor(const void* tag) {
  if (tag == QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD) {
    return QUEUE_NAME_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD;
  }
  if (tag == QUEUE_TAG_HANDLE_RECEIVED_EVENT_DATA_IN_MAIN_THREAD) {
    return QUEUE_NAME_HANDLE_RECEIVED_EVENT_DATA_IN_MAIN_THREAD;
  }
  return nullptr;
}

std::shared_ptr<DispatchQueue> makeSerialQueue(const void* tag) {
  const char* label = labelFor(tag);
  if (!label) return nullptr;
  auto queue = DispatchQueue::serial(label);
  // The value is the first tag's address for both tags; only its presence matters.
  queue->setSpecific(tag,
                     const_cast<void*>(static_cast<const void*>(&QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD)));
  return queue;
}

/// Returns the one queue for both tags. The tag of the first call permanently determines the label and the tag of the
/// queue.
const std::shared_ptr<DispatchQueue>& getSerialQueue(const void* tag) {
  static const auto& serialQueue = *new std::shared_ptr(makeSerialQueue(tag));
  return serialQueue;
}

}  // namespace

void OQDispatchQueueManager::dispatchInMainThread(const Block& block, bool async) {
  if (!block) return;
  DispatchQueue& main = DispatchQueue::main();
  // The labels' addresses are compared, not the threads: while the main thread runs a block of another queue, it is not
  // on the main queue.
  if (DispatchQueue::currentLabel() == main.label()) return block();
  if (async) {
    main.async(block);
  } else {
    main.sync(block);
  }
}

void OQDispatchQueueManager::dispatchInSerialQueue(const void* tag, Block block) {
  if (!block) return;
  if (DispatchQueue::currentSpecific(tag)) return block();
  if (const auto& queue = getSerialQueue(tag)) queue->async(std::move(block));
}

}  // namespace oq
