#pragma once

#include <memory>
#include <optional>

#include "Foundation/Networking/URL.h"
#include "Requests/OQNetwork.h"
#include "UIKit/Views/UIImageView.h"

namespace oq {

/// Shows the picture of the address in the view once it is there; it comes from the image cache or from the
/// network. Nothing happens to the view when that fails, when it is gone by then, or when there is no address
/// (which is kept all the same). Main queue only. Without a network it is fetched by one of its own.
void oq_setImageWithURL(const std::shared_ptr<UIImageView>& view, const std::optional<URL>& url,
                        const std::shared_ptr<OQNetwork>& network = nullptr);
/// The address that was set last.
std::optional<URL> oq_imageURL(const UIImageView& view);

}  // namespace oq
