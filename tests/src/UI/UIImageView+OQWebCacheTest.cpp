// SPDX-License-Identifier: Apache-2.0
#include "UI/UIImageView+OQWebCache.h"

#include <gtest/gtest.h>

#include <future>

#include "Foundation/Networking/URLSession.h"
#include "Foundation/Values/Base64.h"
#include "Storage/OQImageDiskCache.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "src/TemporaryFolder.h"
#include "support/EngineTest.h"

namespace oq {
namespace {

/// A picture of one pixel.
const char* kPixel = "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg==";

class WebImage : public testing::Test {
 protected:
  test::TemporaryFolder folder;
  HeadlessHost host{{.dataDirectory = folder.path()}};
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

/// The network responds locally, in sequence or in parallel.
class DownloadedImage : public test::WorldTest {
 protected:
  DownloadedImage() {
    network = std::make_shared<test::ScriptedTransport>(DispatchQueue::concurrent("test.pictures"));
    setURLTransport(network);
  }
  static std::string picture() { return stringFromData(*dataWithBase64(kPixel)); }
  HeadlessHost host{{.dataDirectory = folder()}};
  std::shared_ptr<UIImageView> view = std::make_shared<UIImageView>();
};

TEST_F(DownloadedImage, LateDownloadReplacesALaterRequest) {
  std::promise<void> released;
  network->script("/slow.png", [&, wait = released.get_future().share()](const auto&) {
    wait.wait();
    return test::ScriptedTransport::Answer{picture()};
  });
  network->answer("/fast.png", picture());
  network->answer("/missing.png", "", 404);
  network->answer("/text.png", "not a picture");
  network->fail("/broken.png", Error{"test", 7, "down"});
  oq_setImageWithURL(view, URL::withString("https://p.example/slow.png"));
  oq_setImageWithURL(view, URL::withString("https://p.example/fast.png"));
  ASSERT_TRUE(host.runUntil([&] { return view->image() != nullptr; }, 20));
  const auto first = view->image();
  for (const char* nothing : {"/missing.png", "/text.png", "/broken.png"})
    oq_setImageWithURL(view, URL::withString(std::string("https://p.example") + nothing));
  released.set_value();
  ASSERT_TRUE(network->settle());
  ASSERT_TRUE(host.runUntil([&] { return view->image() != first; }, 20));
  EXPECT_EQ(oq_imageURL(*view)->absoluteString(), "https://p.example/broken.png");
  EXPECT_TRUE(view->image());
}

TEST_F(DownloadedImage, TruncatedDownloadFailsAndIsTriedAgain) {
  const auto url = URL::withString("https://p.example/cut.png");
  network->answer("/cut.png", picture().substr(0, picture().size() - 4));
  network->answer("/text.png", "not a picture");
  oq_setImageWithURL(view, url);
  OQNetwork client;
  client.downloadImageWithURL(url, nullptr);
  client.downloadImageWithURL(URL::withString("https://p.example/text.png"), nullptr);
  ASSERT_TRUE(network->settle());
  host.runMainQueue();
  EXPECT_FALSE(view->image());
  EXPECT_FALSE(OQImageDiskCache::cache().containsImageDataForKey("https://p.example/cut.png"));
  EXPECT_TRUE(OQImageDiskCache::cache().containsImageDataForKey("https://p.example/text.png"))
      << "bytes that are not a picture at all are cached";

  network->answer("/cut.png", picture());
  oq_setImageWithURL(view, url);
  ASSERT_TRUE(host.runUntil([&] { return view->image() != nullptr; }, 20));
}

TEST_F(WebImage, DoesNotKeepTheViewAliveWhileLoading) {
  std::weak_ptr<UIImageView> weak = view;
  oq_setImageWithURL(view, URL::withString("https://localhost:1/never.png"));
  view.reset();
  EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace oq
