#pragma once

#include <memory>
#include <string>

#include "CoreGraphics/Color.h"
#include "UIKit/Views/UIView.h"
#include "oqsdk/Value.h"

namespace oq {

/// What the engine tells of itself, as a column of that width: groups of rows under headings. Main thread
/// only.
std::shared_ptr<UIView> makeDiagnosticsList(const Value& diagnostics, double width);

}  // namespace oq
