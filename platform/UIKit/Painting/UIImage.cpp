// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Painting/UIImage.h"

#include <cairo.h>
#include <gdk-pixbuf/gdk-pixbuf.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "UIKit/Painting/JpegCheck.h"
#include "UIKit/Windows/MainObject.h"

namespace oq {
namespace {

constexpr int kLargestImageSide = 8192;                 // pixels
constexpr std::int64_t kLargestImageArea = 32'000'000;  // pixels
constexpr std::size_t kPiece = 4096;                    // bytes

template <class T>
using Object_ = std::unique_ptr<T, void (*)(void*)>;

bool isTooLarge(int width, int height) {
  return width > kLargestImageSide || height > kLargestImageSide || std::int64_t{width} * height > kLargestImageArea;
}

/// The result of reading a picture's header.
struct Header {
  bool isRead = false;
  bool isAcceptable = false;
  /// The first bytes belong to a bitmap format, not to a vector format.
  bool isOfPixels = false;
};

/// Makes the loader fail: every decoder refuses a picture of size 0 before it allocates memory.
void refuse(GdkPixbufLoader* loader) {
  gdk_pixbuf_loader_set_size(loader, 0, 0);
}

void readHeader(GdkPixbufLoader* loader, int width, int height, void* header) {
  *static_cast<Header*>(header) = {true, width > 0 && height > 0 && !isTooLarge(width, height), false};
  refuse(loader);
}

void refuseBombs(GdkPixbufLoader* loader, int width, int height, void*) {
  if (isTooLarge(width, height)) refuse(loader);
}

Object_<GdkPixbufLoader> makeLoader(GCallback sizePrepared, void* data) {
  Object_<GdkPixbufLoader> loader(gdk_pixbuf_loader_new(), g_object_unref);
  g_signal_connect(loader.get(), "size-prepared", sizePrepared, data);
  return loader;
}

/// Stops after the header, so it takes almost no time and memory.
Header headerOf(const Data& data) {
  Header header;
  auto loader = makeLoader(G_CALLBACK(readHeader), &header);
  for (std::size_t at = 0; at < data.size() && !header.isRead; at += kPiece) {
    std::size_t piece = std::min(kPiece, data.size() - at);
    if (!gdk_pixbuf_loader_write(loader.get(), data.data() + at, piece, nullptr)) break;
  }
  // A loader must always be closed; some formats are only parsed then.
  gdk_pixbuf_loader_close(loader.get(), nullptr);
  GdkPixbufFormat* format = gdk_pixbuf_loader_get_format(loader.get());
  header.isOfPixels = format && !gdk_pixbuf_format_is_scalable(format);
  return header;
}

bool looksLikeAPicture(const Data& data) {
  return headerOf(data).isAcceptable;
}

std::string formatOf(GdkPixbufLoader* loader) {
  GdkPixbufFormat* format = gdk_pixbuf_loader_get_format(loader);
  std::unique_ptr<char, void (*)(void*)> name(format ? gdk_pixbuf_format_get_name(format) : nullptr, g_free);
  return name ? name.get() : "";
}

/// Whether the PNG has its final chunk. Complete rows are no proof, because an interlaced PNG has data for every row
/// long before its end.
bool hasEndOfPng(const Data& data) {
  constexpr std::size_t signature = 8, frame = 12;  // bytes; the frame is a chunk's length, type and checksum
  for (std::size_t at = signature; data.size() >= at + frame;) {
    const std::uint8_t* chunk = data.data() + at;
    const std::size_t length = std::size_t{chunk[0]} << 24 | chunk[1] << 16 | chunk[2] << 8 | chunk[3];
    if (std::equal(chunk + 4, chunk + 8, "IEND")) return true;
    at += frame + length;
  }
  return false;
}

/// Whether the data has all pixels of the picture. The decoders of PNG and JPEG do not check this. They accept
/// truncated pictures and leave the missing pixels grey or transparent.
bool isComplete(const Data& data, const std::string& format) {
  if (format == "png") return hasEndOfPng(data);
  return format != "jpeg" || isWholeJpeg(data);
}

Object_<GdkPixbuf> decodedPixels(const Data& data) {
  Object_<GdkPixbuf> none(nullptr, g_object_unref);
  auto loader = makeLoader(G_CALLBACK(refuseBombs), nullptr);
  bool written = gdk_pixbuf_loader_write(loader.get(), data.data(), data.size(), nullptr);
  bool closed = gdk_pixbuf_loader_close(loader.get(), nullptr);
  GdkPixbuf* pixels = written && closed ? gdk_pixbuf_loader_get_pixbuf(loader.get()) : nullptr;
  if (!pixels || !isComplete(data, formatOf(loader.get()))) return none;
  Object_<GdkPixbuf> upright(gdk_pixbuf_apply_embedded_orientation(pixels), g_object_unref);
  bool tooLarge = isTooLarge(gdk_pixbuf_get_width(upright.get()), gdk_pixbuf_get_height(upright.get()));
  return tooLarge ? std::move(none) : std::move(upright);
}

std::uint32_t premultiplied(const std::uint8_t* p, bool hasAlpha) {
  std::uint32_t alpha = hasAlpha ? p[3] : 255;
  auto times = [alpha](std::uint32_t component) { return (component * alpha + 127) / 255; };
  return alpha << 24 | times(p[0]) << 16 | times(p[1]) << 8 | times(p[2]);
}

cairo_surface_t* surfaceFrom(GdkPixbuf* pixels) {
  bool hasAlpha = gdk_pixbuf_get_has_alpha(pixels);
  int width = gdk_pixbuf_get_width(pixels), height = gdk_pixbuf_get_height(pixels);
  cairo_surface_t* surface =
      cairo_image_surface_create(hasAlpha ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24, width, height);
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
    cairo_surface_destroy(surface);
    return nullptr;
  }
  const std::uint8_t* source = gdk_pixbuf_read_pixels(pixels);
  int sourceStride = gdk_pixbuf_get_rowstride(pixels), channels = gdk_pixbuf_get_n_channels(pixels);
  unsigned char* target = cairo_image_surface_get_data(surface);
  int targetStride = cairo_image_surface_get_stride(surface);
  for (int y = 0; y < height; ++y) {
    auto* row = static_cast<std::uint32_t*>(static_cast<void*>(target + static_cast<std::size_t>(y) * targetStride));
    const std::uint8_t* from = source + static_cast<std::size_t>(y) * sourceStride;
    for (int x = 0; x < width; ++x) row[x] = premultiplied(from + static_cast<std::size_t>(x) * channels, hasAlpha);
  }
  cairo_surface_mark_dirty(surface);
  return surface;
}

double scaleInName(const std::filesystem::path& file) {
  std::string stem = file.stem().string();
  if (stem.ends_with("@2x")) return 2;
  return stem.ends_with("@3x") ? 3 : 1;
}

}  // namespace

UIImage::~UIImage() {
  if (_surface) cairo_surface_destroy(_surface);
}

std::shared_ptr<const UIImage> UIImage::imageWithData(const Data& data) {
  // Checks the header first, so that data which is not a picture is not copied.
  return looksLikeAPicture(data) ? make(data, 1) : nullptr;
}

bool UIImage::isBroken(const Data& data) {
  const Header header = headerOf(data);
  // Some formats have their header at the end, where it is lost if the data is truncated. Then only the format is
  // known.
  const bool isPicture = header.isRead ? header.isAcceptable : header.isOfPixels;
  return isPicture && !decodedPixels(data);
}

std::shared_ptr<const UIImage> UIImage::imageWithContentsOfFile(const std::filesystem::path& file) {
  gchar* bytes = nullptr;
  gsize length = 0;
  if (!g_file_get_contents(file.c_str(), &bytes, &length, nullptr)) return nullptr;
  Data data(bytes, bytes + length);
  g_free(bytes);
  return looksLikeAPicture(data) ? make(std::move(data), scaleInName(file)) : nullptr;
}

std::shared_ptr<const UIImage> UIImage::make(Data data, double scale) {
  std::shared_ptr<const UIImage> image(new UIImage(std::move(data), scale));
  return isOnMainQueue() || image->surface() ? image : nullptr;
}

cairo_surface_t* UIImage::surface() const {
  std::call_once(_decoded, [this] {
    auto pixels = decodedPixels(_data);
    if (pixels) _surface = surfaceFrom(pixels.get());
    Data().swap(_data);
  });
  return _surface;
}

CGSize UIImage::size() const {
  cairo_surface_t* pixels = surface();
  if (!pixels) return {};
  return {cairo_image_surface_get_width(pixels) / _scale, cairo_image_surface_get_height(pixels) / _scale};
}

void drawImage(cairo_t* cr, const UIImage& image, CGRect rect) {
  cairo_surface_t* surface = rect.isEmpty() ? nullptr : image.surface();
  if (!surface) return;
  cairo_save(cr);
  cairo_rectangle(cr, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
  cairo_clip(cr);
  cairo_translate(cr, rect.origin.x, rect.origin.y);
  cairo_scale(cr, rect.size.width / cairo_image_surface_get_width(surface),
              rect.size.height / cairo_image_surface_get_height(surface));
  cairo_set_source_surface(cr, surface, 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
  // Without this the edges of an enlarged picture would fade out.
  cairo_pattern_set_extend(cairo_get_source(cr), CAIRO_EXTEND_PAD);
  cairo_paint(cr);
  cairo_restore(cr);
}

}  // namespace oq
