// SPDX-License-Identifier: Apache-2.0
#include "UI/UIImageView+OQWebCache.h"

#include <any>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "UIKit/Windows/MainObject.h"

namespace oq {
namespace {

const char kImageURLKey = 0;

// Intentional: the picture of an earlier, slower download may replace that of a later one.
void show(const std::weak_ptr<UIImageView>& view, std::shared_ptr<const UIImage> image) {
  if (auto strong = view.lock()) strong->setImage(std::move(image));
}

}  // namespace

void oq_setImageWithURL(const std::shared_ptr<UIImageView>& view, const std::optional<URL>& url,
                        const std::shared_ptr<OQNetwork>& network, std::function<void()> failed) {
  if (!view) return;
  view->setAssociatedObject(&kImageURLKey, url);
  if (!url) {
    if (failed) failed();
    return;
  }
  auto completion = [weak = std::weak_ptr(view), failed = std::move(failed)](
                        std::shared_ptr<const UIImage> image, const Data&, const std::optional<Error>&, bool) {
    // On the main queue the picture comes from the cache, which contains no truncated pictures. It is not decoded here,
    // because that would block the main queue.
    const bool isBroken = !image || (!isOnMainQueue() && !image->surface());
    if (isBroken) {
      if (failed) DispatchQueue::main().async(failed);
      return;
    }
    if (isOnMainQueue()) return show(weak, std::move(image));
    DispatchQueue::main().async([weak, image = std::move(image)] { show(weak, image); });
  };
  (network ? network : OQNetwork::randomNetwork())->downloadImageWithURL(url, std::move(completion));
}

std::optional<URL> oq_imageURL(const UIImageView& view) {
  const std::any* url = view.associatedObject(&kImageURLKey);
  return url ? std::any_cast<std::optional<URL>>(*url) : std::nullopt;
}

}  // namespace oq
