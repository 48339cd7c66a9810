#pragma once

#include "Dispatch/DispatchQueue.h"

namespace oq {

/// Tags of work for the serial queue: keys whose value is their own address.
extern const void* const QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD;
extern const void* const QUEUE_TAG_HANDLE_RECEIVED_EVENT_DATA_IN_MAIN_THREAD;
/// The labels that go with them.
extern const char* const QUEUE_NAME_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD;
extern const char* const QUEUE_NAME_HANDLE_RECEIVED_EVENT_DATA_IN_MAIN_THREAD;

/// Runs work on the main queue or on the library's one serial queue, at once where the caller is there
/// already. Any thread; empty blocks are ignored.
class OQDispatchQueueManager {
 public:
  /// At once when the running queue is the main one; else queued there, and waited for unless `async`.
  static void dispatchInMainThread(const Block& block, bool async);
  /// At once when the running queue bears the tag, else queued. The tag of the very first call of the process
  /// names the queue, which then serves every tag; a first call with a foreign tag leaves all later ones
  /// without a queue, and their work undone. Both meant.
  static void dispatchInSerialQueue(const void* tag, Block block);
};

}  // namespace oq
