// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "CoreGraphics/Color.h"
#include "Foundation/Values/JSONValue.h"
#include "UIKit/Views/UIView.h"

namespace oq {

/// Shows the result of OQSDKManager::diagnostics() as a column of groups of rows, each group with a heading. The width
/// is in points. Main thread only.
std::shared_ptr<UIView> makeDiagnosticsList(const JSONValue& diagnostics, double width);

}  // namespace oq
