// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "oqsdk/Export.h"

namespace oq {

/// A page for whoever integrates the library: the environment, the user, the current page, both lists with
/// what was shown of them, and why windows were shown or not, the latest first. What it shows is what
/// OQObserverListener::diagnostics() tells at that moment.
class OQSDK_EXPORT OQDiagnosticsPanel {
 public:
  /// Slides the panel in over everything; its buttons read everything anew and close it. Nothing happens
  /// while it is open, or where no window is attached. Any thread.
  static void show();
};

}  // namespace oq
