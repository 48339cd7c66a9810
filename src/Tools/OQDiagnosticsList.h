#pragma once

#include <memory>
#include <string>

#include "CoreGraphics/Color.h"
#include "Foundation/Values/JSONValue.h"
#include "UIKit/Views/UIView.h"

namespace oq {

/// What the engine tells of itself, as a column of that width: groups of rows under headings. Main thread
/// only.
std::shared_ptr<UIView> makeDiagnosticsList(const JSONValue& diagnostics, double width);

}  // namespace oq
