// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "Foundation/Networking/URL.h"
#include "Requests/OQNetwork.h"
#include "UIKit/Views/UIImageView.h"

namespace oq {

/// Shows the picture at the address as soon as it is loaded from the image cache or the network. The view is not
/// changed if that fails, if the view was destroyed meanwhile, or if there is no address. The address, even nullopt, is
/// stored for oq_imageURL(). Main queue only. If `network` is nullptr, a new client is used. `failed` is called on the
/// main queue if there is no picture to show.
void oq_setImageWithURL(const std::shared_ptr<UIImageView>& view, const std::optional<URL>& url,
                        const std::shared_ptr<OQNetwork>& network = nullptr, std::function<void()> failed = nullptr);
/// The last address that was set.
std::optional<URL> oq_imageURL(const UIImageView& view);

}  // namespace oq
