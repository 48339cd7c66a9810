// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "oqsdk/Export.h"

namespace oq {

class UIView;
class UIWindow;

/// How assistive technology presents a view: a bit mask of roles and states.
using UIAccessibilityTraits = std::uint64_t;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitNone = 0;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitButton = 1;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitLink = 2;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitImage = 4;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitStaticText = 64;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitNotEnabled = 256;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitHeader = 65536;

/// The front-most dialog of a window (a view that is modal for assistive technology); nullptr if there is none. Call
/// this and the functions below on the main thread only.
OQSDK_EXPORT std::shared_ptr<UIView> frontmostDialog(const UIWindow& window);
/// The elements inside the view that are reported to assistive technology, in reading order. Hidden elements, and
/// elements without a name that cannot be pressed, are left out.
OQSDK_EXPORT std::vector<std::shared_ptr<UIView>> accessibilityElements(const std::shared_ptr<UIView>& root);
/// Whether the view itself is visible: not hidden, and not transparent (alpha below 0.01) unless it is animated.
/// Superviews are not considered.
OQSDK_EXPORT bool isShown(const UIView& view);
/// Whether the element can get the keyboard focus. True for enabled elements that can be pressed.
OQSDK_EXPORT bool canBecomeFocused(const UIView& element);

}  // namespace oq
