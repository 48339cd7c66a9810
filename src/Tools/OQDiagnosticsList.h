// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "CoreGraphics/Color.h"
#include "Foundation/Values/JSONValue.h"
#include "UIKit/Views/UIView.h"

namespace oq {

/// The engine's diagnostics as a column of the given width: groups of rows with headings. Main thread only.
std::shared_ptr<UIView> makeDiagnosticsList(const JSONValue& diagnostics, double width);

}  // namespace oq
