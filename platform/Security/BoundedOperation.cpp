// SPDX-License-Identifier: Apache-2.0
#include "Security/BoundedOperation.h"

#include <future>
#include <memory>
#include <utility>

#include "Dispatch/BackgroundThread.h"
#include "Foundation/System/GLibReference.h"

namespace oq {
namespace {

/// Shared by the caller and the operation's thread; lives as long as either needs it.
struct Conversation {
  ObjectRef<GCancellable> cancellable{g_cancellable_new()};
  std::promise<OSStatus> outcome;
};

}  // namespace

OSStatus runBounded(std::function<OSStatus(GCancellable*)> operation, std::chrono::milliseconds patience,
                    std::chrono::milliseconds afterCancelling) {
  auto conversation = std::make_shared<Conversation>();
  std::future<OSStatus> outcome = conversation->outcome.get_future();
  bool started = startBackgroundThread("oq-keychain", [conversation, operation = std::move(operation)] {
    conversation->outcome.set_value(operation(conversation->cancellable.get()));
  });
  if (!started) return errSecNotAvailable;
  if (outcome.wait_for(patience) == std::future_status::ready) return outcome.get();
  g_cancellable_cancel(conversation->cancellable.get());
  bool ended = outcome.wait_for(afterCancelling) == std::future_status::ready;
  return ended ? outcome.get() : errSecNotAvailable;
}

}  // namespace oq
