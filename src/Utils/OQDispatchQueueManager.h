// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Dispatch/DispatchQueue.h"

namespace oq {

/// Each kind of work on the library's serial queue has a tag. Despite the names, this work does not run on the main
/// thread. The value of a tag is its own address, which makes it unique.
extern const void* const QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD;
extern const void* const QUEUE_TAG_HANDLE_RECEIVED_EVENT_DATA_IN_MAIN_THREAD;
/// The labels of the queue that belong to these tags.
extern const char* const QUEUE_NAME_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD;
extern const char* const QUEUE_NAME_HANDLE_RECEIVED_EVENT_DATA_IN_MAIN_THREAD;

/// Runs work on the main queue or on the library's serial queue; immediately if the caller is already there.
/// Thread-safe; empty blocks are ignored.
class OQDispatchQueueManager {
 public:
  /// If the caller is on the main queue, runs the block immediately. Otherwise queues it there, and waits until it has
  /// ended unless `async`.
  static void dispatchInMainThread(const Block& block, bool async);
  /// Runs the block immediately if the current queue has the tag, otherwise queues it. The tag of the first call in the
  /// process determines the queue's label and tag, but the queue then serves every tag. If the first call has an
  /// unknown tag, there is never a queue, and all queued work is dropped. Both are intentional.
  static void dispatchInSerialQueue(const void* tag, Block block);
};

}  // namespace oq
