// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq {

class UIView;

/// Whether the view or a view inside it has an animation during which it ignores touches. A dialog in motion ignores
/// all input. Main thread only.
bool isInMotion(const UIView& view);

}  // namespace oq
