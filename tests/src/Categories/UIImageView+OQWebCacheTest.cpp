#include "Categories/UIImageView+OQWebCache.h"

#include <gtest/gtest.h>

#include "Foundation/Base64.h"
#include "Storage/OQImageDiskCache.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

/// A picture of one pixel.
const char* kPixel =
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg==";

class WebImage : public testing::Test {
 protected:
  HeadlessHost::Options options() {
    HeadlessHost::Options options;
    options.dataDirectory = folder.path();
    return options;
  }
  test::TemporaryFolder folder;
  HeadlessHost host{options()};
  std::shared_ptr<UIImageView> view = std::make_shared<UIImageView>();
  const std::optional<URL> url = URL::withString("https://localhost:1/picture.png");
};

TEST_F(WebImage, ShowsThePictureOfItsAddress) {
  OQImageDiskCache::cache().setImageData(*dataWithBase64(kPixel), url->absoluteString());
  oq_setImageWithURL(view, url);
  EXPECT_EQ(oq_imageURL(*view), url);
  ASSERT_TRUE(host.runUntil([&] { return view->image() != nullptr; }, 10));
  EXPECT_EQ(view->image()->size(), (CGSize{1, 1}));

  auto shown = view->image();
  oq_setImageWithURL(view, std::nullopt);
  EXPECT_EQ(oq_imageURL(*view), std::nullopt);
  EXPECT_EQ(view->image(), shown);
}

TEST_F(WebImage, DoesNotKeepTheViewWhileItLoads) {
  std::weak_ptr<UIImageView> weak = view;
  oq_setImageWithURL(view, URL::withString("https://localhost:1/never.png"));
  view.reset();
  EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace oq
