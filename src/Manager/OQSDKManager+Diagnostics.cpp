#include <utility>

#include "Manager/OQSDKManager.h"

namespace oq {

OQObserverListener::~OQObserverListener() = default;

void OQSDKManager::downloadImageWithURL(const std::optional<URL>& url,
                                        OQNetwork::ImageCompletion completion) {
  network()->downloadImageWithURL(url, std::move(completion));
}

}  // namespace oq
