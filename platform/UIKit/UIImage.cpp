#include "UIKit/UIImage.h"

#include <cairo.h>
#include <gdk-pixbuf/gdk-pixbuf.h>

#include <cstdint>
#include <string>
#include <utility>

namespace oq {
namespace {

constexpr int kLargestSide = 8192;  // pixels

template <class T>
using Object_ = std::unique_ptr<T, void (*)(void*)>;

/// A picture of nothing is refused by every decoder, before it asks for memory.
void refuseBombs(GdkPixbufLoader* loader, int width, int height, void*) {
  if (width > kLargestSide || height > kLargestSide) gdk_pixbuf_loader_set_size(loader, 0, 0);
}

Object_<GdkPixbuf> decodedPixels(const Data& data) {
  Object_<GdkPixbuf> none(nullptr, g_object_unref);
  Object_<GdkPixbufLoader> loader(gdk_pixbuf_loader_new(), g_object_unref);
  g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(refuseBombs), nullptr);
  bool written = gdk_pixbuf_loader_write(loader.get(), data.data(), data.size(), nullptr);
  // A loader must be closed whatever happened before.
  bool closed = gdk_pixbuf_loader_close(loader.get(), nullptr);
  GdkPixbuf* pixels = written && closed ? gdk_pixbuf_loader_get_pixbuf(loader.get()) : nullptr;
  if (!pixels) return none;
  Object_<GdkPixbuf> upright(gdk_pixbuf_apply_embedded_orientation(pixels), g_object_unref);
  int width = gdk_pixbuf_get_width(upright.get()), height = gdk_pixbuf_get_height(upright.get());
  return width > kLargestSide || height > kLargestSide ? std::move(none) : std::move(upright);
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
    auto* row =
        static_cast<std::uint32_t*>(static_cast<void*>(target + static_cast<std::size_t>(y) * targetStride));
    const std::uint8_t* from = source + static_cast<std::size_t>(y) * sourceStride;
    for (int x = 0; x < width; ++x)
      row[x] = premultiplied(from + static_cast<std::size_t>(x) * channels, hasAlpha);
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
  cairo_surface_destroy(_surface);
}

std::shared_ptr<const UIImage> UIImage::imageWithData(const Data& data) {
  return decode(data, 1);
}

std::shared_ptr<const UIImage> UIImage::imageWithContentsOfFile(const std::filesystem::path& file) {
  gchar* bytes = nullptr;
  gsize length = 0;
  if (!g_file_get_contents(file.c_str(), &bytes, &length, nullptr)) return nullptr;
  Data data(bytes, bytes + length);
  g_free(bytes);
  return decode(data, scaleInName(file));
}

std::shared_ptr<const UIImage> UIImage::decode(const Data& data, double scale) {
  if (data.empty()) return nullptr;
  auto pixels = decodedPixels(data);
  cairo_surface_t* surface = pixels ? surfaceFrom(pixels.get()) : nullptr;
  if (!surface) return nullptr;
  CGSize size{cairo_image_surface_get_width(surface) / scale,
              cairo_image_surface_get_height(surface) / scale};
  return std::shared_ptr<const UIImage>(new UIImage(surface, size, scale));
}

void drawImage(cairo_t* cr, const UIImage& image, CGRect rect) {
  if (rect.isEmpty()) return;
  cairo_surface_t* surface = image.surface();
  cairo_save(cr);
  cairo_rectangle(cr, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
  cairo_clip(cr);
  cairo_translate(cr, rect.origin.x, rect.origin.y);
  cairo_scale(cr, rect.size.width / cairo_image_surface_get_width(surface),
              rect.size.height / cairo_image_surface_get_height(surface));
  cairo_set_source_surface(cr, surface, 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
  // Without this the edges of an enlarged picture would fade into nothing.
  cairo_pattern_set_extend(cairo_get_source(cr), CAIRO_EXTEND_PAD);
  cairo_paint(cr);
  cairo_restore(cr);
}

}  // namespace oq
