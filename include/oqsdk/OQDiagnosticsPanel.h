// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "oqsdk/Export.h"

namespace oq {

/// A page for developers who integrate the library. It shows the environment, the user, the current page, both campaign
/// lists with how often each window was shown, and why windows were shown or not, the latest decision first. Its
/// content is OQObserverListener::diagnostics() at the moment when it opens.
class OQSDK_EXPORT OQDiagnosticsPanel {
 public:
  /// Slides the panel in above all other views. One of its buttons reads the state again, another one closes the panel.
  /// Has no effect while the panel is open or if no window is attached. Any thread.
  static void show();
};

}  // namespace oq
