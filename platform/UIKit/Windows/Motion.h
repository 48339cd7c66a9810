// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq {

class UIView;

/// Whether the view or a view in it moves. A dialog in motion ignores all input. Main thread only.
bool isInMotion(const UIView& view);

}  // namespace oq
