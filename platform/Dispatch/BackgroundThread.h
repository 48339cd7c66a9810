// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace oq {

/// Runs the function on a new detached thread. The thread blocks all signals but those of faults, so that the host's
/// handlers run on the host's threads. It never delays the exit of the process, so what the function uses, and the name
/// (at most 15 bytes), must live as long as the process. Returns false if the system cannot create a thread.
bool startBackgroundThread(const char* name, std::function<void()> function);

}  // namespace oq
