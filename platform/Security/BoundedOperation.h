// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gio/gio.h>

#include <chrono>
#include <functional>

#include "Security/SecItem.h"

namespace oq {

/// Runs the operation on a thread of its own. If it has not ended after `patience`, it is cancelled; an operation that
/// then ends within `afterCancelling` still determines the result. Otherwise, or if no thread could be started, the
/// result is errSecNotAvailable. The operation must own what it uses, since it may outlive the call.
OSStatus runBounded(std::function<OSStatus(GCancellable*)> operation, std::chrono::milliseconds patience,
                    std::chrono::milliseconds afterCancelling);

}  // namespace oq
