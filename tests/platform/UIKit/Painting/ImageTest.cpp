// SPDX-License-Identifier: Apache-2.0
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <string>

#include "Canvas.h"
#include "UIKit/Painting/UIImage.h"
#include "UIKit/Views/UIButton.h"
#include "UIKit/Views/UIImageView.h"
#include "oqsdk/headless/HeadlessHost.h"

namespace oq {
namespace {

using namespace test;

/// Encodes the pixels and takes ownership of them.
Data savedAs(const char* format, GdkPixbuf* pixels) {
  gchar* bytes = nullptr;
  gsize length = 0;
  gdk_pixbuf_save_to_buffer(pixels, &bytes, &length, format, nullptr, nullptr);
  g_object_unref(pixels);
  Data data(bytes, bytes + length);
  g_free(bytes);
  return data;
}

/// A picture with a red left half and a right half of the given red, green, blue and alpha.
Data pictureOf(const char* format, int width, int height, guint32 right) {
  GdkPixbuf* pixels = gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, width, height);
  gdk_pixbuf_fill(pixels, 0xff0000ff);
  GdkPixbuf* half = gdk_pixbuf_new_subpixbuf(pixels, width / 2, 0, width - width / 2, height);
  gdk_pixbuf_fill(half, right);
  g_object_unref(half);
  return savedAs(format, pixels);
}

Data pngOf(int width, int height) {
  return pictureOf("png", width, height, 0x0000ff80);
}

Data jpegOf(int width, int height, std::uint8_t orientation) {
  Data jpeg = pictureOf("jpeg", width, height, 0x00ff00ff);
  const Data exif = {0xff, 0xe1, 0,    34,   'E', 'x', 'i', 'f', 0, 0, 'I',         'I', 42, 0, 8, 0, 0, 0,
                     1,    0,    0x12, 0x01, 3,   0,   1,   0,   0, 0, orientation, 0,   0,  0, 0, 0, 0, 0};
  jpeg.insert(jpeg.begin() + 2, exif.begin(), exif.end());
  return jpeg;
}

std::shared_ptr<UIWindow> windowWith(const std::shared_ptr<UIView>& view) {
  auto window = std::make_shared<UIWindow>(CGRectMake(0, 0, 100, 100));
  window->addSubview(view);
  return window;
}

TEST(Image, RejectsInvalidPictures) {
  Data whole = pngOf(20, 10);
  const Data cases[] = {{},
                        dataFromString("not a picture"),
                        Data(whole.begin(), whole.begin() + 8),
                        Data(whole.begin(), whole.begin() + 50),
                        pngOf(8193, 1),
                        pngOf(1, 8193)};
  for (const Data& data : cases) EXPECT_FALSE(UIImage::imageWithData(data)) << data.size() << " bytes";
  EXPECT_FALSE(UIImage::imageWithContentsOfFile("/nowhere/at/all.png"));
  EXPECT_FALSE(UIImage::imageWithContentsOfFile("/"));
  EXPECT_TRUE(UIImage::imageWithData(pngOf(8192, 1))) << "the maximum size";
}

/// Files of one megabyte whose headers announce 20,000 by 20,000 pixels: one for each format that has the size in its
/// header.
std::vector<std::pair<std::string, Data>> bombs() {
  auto bytes = [](std::initializer_list<int> list) { return Data(list.begin(), list.end()); };
  Data png = pngOf(20, 10), jpeg = jpegOf(32, 16, 1);
  const std::uint8_t side[] = {0, 0, 0x4e, 0x20};
  for (int at : {16, 20}) std::copy_n(side, 4, png.begin() + at);
  for (std::size_t i = 0; i + 8 < jpeg.size(); ++i) {
    if (jpeg[i] != 0xff || jpeg[i + 1] != 0xc0) continue;
    for (std::size_t at : {i + 5, i + 7}) std::copy_n(side + 2, 2, jpeg.begin() + static_cast<std::ptrdiff_t>(at));
  }
  std::vector<std::pair<std::string, Data>> all = {
      {"png", png},
      {"jpeg", jpeg},
      {"gif", bytes({'G',  'I', 'F', '8', '9', 'a',  0x20, 0x4e, 0x20, 0x4e, 0, 0,  0,
                     0x2c, 0,   0,   0,   0,   0x20, 0x4e, 0x20, 0x4e, 0,    2, 255})},
      {"bmp",
       bytes({'B', 'M', 0, 0, 16, 0, 0, 0, 0, 0, 54, 0, 0, 0, 40, 0, 0, 0, 0x20, 0x4e, 0, 0, 0x20, 0x4e, 0, 0, 1,
              0,   24,  0, 0, 0,  0, 0, 0, 0, 0, 0,  0, 0, 0, 0,  0, 0, 0, 0,    0,    0, 0, 0,    0,    0, 0, 0})},
      {"ppm", dataFromString("P6\n20000 20000\n255\n")},
      {"svg", dataFromString("<svg xmlns='http://www.w3.org/2000/svg' width='20000' height='20000'></svg>")}};
  for (auto& [name, data] : all) data.resize(1'000'000, ' ');
  return all;
}

long peakKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(Image, RejectsHugePicturesByTheirHeader) {
  const auto pictures = bombs();
  // The decoders allocate some memory once. Doing so here excludes it from the measurement.
  EXPECT_TRUE(UIImage::imageWithData(pngOf(8, 8)) && UIImage::imageWithData(jpegOf(32, 16, 1)));
  const long before = peakKilobytes();
  for (const auto& [name, data] : pictures) EXPECT_FALSE(UIImage::imageWithData(data)) << name;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // the sanitizers keep freed memory
  EXPECT_LE(peakKilobytes() - before, 16 * 1024);
#else
  (void)before;
#endif
}

/// Two frames of one pixel: red, then blue.
const Data kGif = {'G',  'I',  'F', '8', '9', 'a', 1, 0, 1,    0, 0x80, 0, 0, 255, 0, 0, 0, 0, 255,                 //
                   0x21, 0xf9, 4,   0,   10,  0,   0, 0, 0x2c, 0, 0,    0, 0, 1,   0, 1, 0, 0, 2,   2, 0x44, 1, 0,  //
                   0x21, 0xf9, 4,   0,   10,  0,   0, 0, 0x2c, 0, 0,    0, 0, 1,   0, 1, 0, 0, 2,   2, 0x4c, 1, 0,
                   0x3b};

/// A picture that hardly compresses, in the given format.
Data noisy(const char* format) {
  GdkPixbuf* pixels = gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, 100, 90);
  guint length = 0;
  guchar* bytes = gdk_pixbuf_get_pixels_with_length(pixels, &length);
  std::uint32_t seed = 1;
  for (guint i = 0; i < length; ++i) bytes[i] = static_cast<guchar>((seed = seed * 1664525 + 1013904223) >> 24);
  return savedAs(format, pixels);
}

TEST(Image, RejectsTruncatedPictures) {
  const std::pair<const char*, Data> cases[] = {
      {"png", noisy("png")}, {"jpeg", noisy("jpeg")}, {"tiff", noisy("tiff")}, {"gif", kGif}};
  for (const auto& [name, whole] : cases) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(UIImage::isBroken(whole));
    Data more = whole;
    more.resize(whole.size() + 500, 'x');
    const auto image = UIImage::imageWithData(more);
    EXPECT_TRUE(image && image->surface()) << "bytes after a complete picture are ignored";
    for (const double part : {0.3, 0.5, 0.9, 0.95}) {
      Data cut = whole;
      cut.resize(static_cast<std::size_t>(part * static_cast<double>(whole.size())));
      EXPECT_TRUE(UIImage::isBroken(cut)) << part;
    }
  }
  for (const auto& [name, whole] : {cases[0], cases[1]}) {
    SCOPED_TRACE(name);
    Data endless = whole;
    endless.resize(whole.size() - 1);
    EXPECT_TRUE(UIImage::isBroken(endless)) << "the last bytes only mark the end";
    const auto middle = whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2);
    Data holed(whole.begin(), middle);
    holed.insert(holed.end(), middle + 1000, whole.end());
    EXPECT_TRUE(UIImage::isBroken(holed)) << "a part in the middle is missing";
  }
  EXPECT_FALSE(UIImage::isBroken(dataFromString("not a picture")));
}

TEST(Image, AppliesTheExifOrientationAndShowsTheFirstFrame) {
  auto turned = UIImage::imageWithData(jpegOf(32, 16, 6)), animation = UIImage::imageWithData(kGif);
  ASSERT_TRUE(turned && animation);
  EXPECT_EQ(turned->size(), (CGSize{16, 32}));
  Canvas canvas(16, 32);
  drawImage(canvas.cr(), *turned, CGRectMake(0, 0, 16, 32));
  EXPECT_GT(canvas.at(8, 4).red, 200);  // the left half is at the top now
  EXPECT_GT(canvas.at(8, 28).green, 200);
  drawImage(canvas.cr(), *animation, CGRectMake(0, 0, 16, 32));
  EXPECT_EQ(canvas.at(8, 28), kRed);
}

TEST(ImageView, ContentModePlacesThePicture) {
  HeadlessHost host;
  auto view = std::make_shared<UIImageView>();
  view->setFrame(CGRectMake(10, 10, 40, 40));
  view->setImage(UIImage::imageWithData(pngOf(20, 10)));
  const CGRect bounds = view->bounds();
  auto rectIn = [&](UIViewContentMode mode) {
    view->setContentMode(mode);
    EXPECT_TRUE(host.runUntil([&] { return view->isImageReady(); }, 10));
    return view->contentRect(bounds);
  };
  EXPECT_EQ(rectIn(UIViewContentMode::ScaleToFill), bounds);
  EXPECT_EQ(rectIn(UIViewContentMode::ScaleAspectFill), CGRectMake(-20, 0, 80, 40));
  EXPECT_EQ(rectIn(UIViewContentMode::ScaleAspectFit), CGRectMake(0, 10, 40, 20));

  auto window = windowWith(view);
  Canvas canvas(*window);
  auto ink = canvas.ink();
  EXPECT_EQ((std::vector{ink.left, ink.top, ink.right, ink.bottom}), (std::vector{10, 20, 50, 40}));
  EXPECT_EQ(canvas.at(15, 30), kRed);
  EXPECT_TRUE(canvas.at(45, 30).isNear({127, 127, 255}));
  const auto image = view->image();
  view->setImage(nullptr);
  Canvas blank(*window);
  EXPECT_EQ(blank.ink().pixels, 0);
  view->setImage(image);
  EXPECT_TRUE(host.runUntil([&] { return view->isImageReady(); }, 10));
  EXPECT_EQ(Canvas(*window).ink().pixels, ink.pixels) << "the same picture again";
}

TEST(ImageView, DecodesOnAnotherThreadAndKeepsItsPictureWhenTheNextIsBroken) {
  HeadlessHost host;
  const Data large = pngOf(2000, 1500);
  auto view = std::make_shared<UIImageView>();
  view->setFrame(CGRectMake(0, 0, 390, 292.5));
  auto window = windowWith(view);
  view->setImage(UIImage::imageWithData(large));
  EXPECT_EQ(Canvas(*window).at(90, 90), kWhite) << "not ready yet, and painting does not wait";
  ASSERT_TRUE(host.runUntil([&] { return view->isImageReady(); }, 60));
  const auto content = view->content();
  for (int frame = 0; frame < 3; ++frame) EXPECT_EQ(Canvas(*window).at(90, 90), kRed);
  EXPECT_EQ(view->content(), content) << "recorded once";

  view->setImage(UIImage::imageWithData(Data(large.begin(), large.end() - 500)));
  ASSERT_TRUE(view->image()) << "the header is valid";
  EXPECT_TRUE(host.runUntil([&] { return view->isImageReady(); }, 60));
  EXPECT_EQ(Canvas(*window).at(90, 90), kRed);
}

class Button : public testing::Test {
 protected:
  Color colorAt(int x, int y) { return Canvas(*window).at(x, y); }
  void hold() { window->touchBegan(0, {50, 50}, 0); }

  std::shared_ptr<UIButton> button = std::make_shared<UIButton>();
  std::shared_ptr<UIWindow> window = windowWith(button);
  void SetUp() override { button->setFrame(CGRectMake(0, 0, 100, 100)); }
};

TEST_F(Button, DarkensWhilePressedButNotWhereItIsTransparent) {
  button->setBackgroundColor(UIColor::redColor());
  button->setImage(UIImage::imageWithData(pngOf(20, 20)), UIControlStateNormal);
  const Color before = colorAt(75, 50);
  hold();
  EXPECT_TRUE(colorAt(5, 5).red < 230 && colorAt(5, 5).red > 150);
  EXPECT_LT(colorAt(75, 50).blue, before.blue);
  button->setBackgroundColor(UIColor::clearColor());
  button->setImage(nullptr, UIControlStateNormal);
  EXPECT_EQ(colorAt(5, 5), kWhite);
}

TEST_F(Button, HoveringShadesItLessThanPressing) {
  for (const UIColor background : {UIColor::redColor(), UIColor::blackColor()}) {
    button->setBackgroundColor(background);
    const Color before = colorAt(50, 50);
    EXPECT_TRUE(window->pointerMoved(CGPoint{50, 50}));
    const int little = std::abs(colorAt(50, 50).red - before.red);
    EXPECT_GT(little, 8);
    hold();
    EXPECT_GT(std::abs(colorAt(50, 50).red - before.red), 2 * little) << "pressed";
    window->touchEnded(0, {50, 50}, 0);
    EXPECT_EQ(std::abs(colorAt(50, 50).red - before.red), little);
    EXPECT_FALSE(window->pointerMoved(std::nullopt));
    EXPECT_EQ(colorAt(50, 50), before);
  }
  const Color before = colorAt(50, 50);
  button->setEnabled(false);
  EXPECT_FALSE(window->pointerMoved(CGPoint{50, 50}));
  EXPECT_EQ(colorAt(50, 50), before);
  // A button that was removed under the pointer has its normal appearance when it is added again.
  button->setEnabled(true);
  window->pointerMoved(CGPoint{50, 50});
  button->removeFromSuperview();
  window->addSubview(button);
  EXPECT_EQ(colorAt(50, 50), before);
}

TEST_F(Button, CentersItsTitle) {
  button->setTitle("ok", UIControlStateNormal);
  button->setTitleColor(UIColor::blackColor(), UIControlStateNormal);
  auto ink = [&] { return Canvas(*window).ink(); };
  auto small = ink();
  EXPECT_NEAR(small.left, 100 - small.right, 4);
  EXPECT_NEAR(small.top, 100 - small.bottom, 8);
  button->titleLabel().setFont(UIFont::systemFontOfSize(40));
  EXPECT_GT(ink().pixels, small.pixels);
  button->setTitle("a title that is far too long for it", UIControlStateNormal);
  button->setTitlePadding(20);
  EXPECT_LE(ink().bottom - ink().top, 55) << "one line";
  EXPECT_GE(ink().left, 19);
  EXPECT_LE(ink().right, 81);
  EXPECT_GT(ink().pixels, 50);
}

}  // namespace
}  // namespace oq
