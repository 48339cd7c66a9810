// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq::gallery {

/// Puts the page of a small shop on the screen, as a background for messages.
void addBackdrop();

}  // namespace oq::gallery
