#pragma once

namespace oq::gallery {

/// Puts something on the screen that a message can come up over: a page of a small shop.
void addBackdrop();

}  // namespace oq::gallery
