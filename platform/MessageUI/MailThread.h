// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include "Dispatch/DispatchQueue.h"
#include "MessageUI/MailMessage.h"

using GMainContext = struct _GMainContext;

namespace oq {

/// A thread with a main context of GLib of its own, so that mail works whatever loop the host runs. It lives as long as
/// the process. Thread-safe.
class MailThread {
 public:
  /// nullptr if the system cannot create a thread now.
  static MailThread* shared();
  /// Runs the block on the thread, whose context is the default one of the blocks' GLib calls.
  void async(Block block);

 private:
  explicit MailThread(GMainContext* context) : _context(context) {}

  GMainContext* const _context;
};

/// The completion of a composition; empty after it was called or cancelled. Its value is used on the main thread only;
/// the pointer may be released on any thread.
using MailReport = std::shared_ptr<MailCompletion>;

/// Calls the completion on the main queue, unless the composition is cancelled until then.
void deliver(MailReport report, MailOutcome outcome, std::optional<Error> error = std::nullopt);

}  // namespace oq
