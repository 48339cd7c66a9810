#pragma once

#include <filesystem>
#include <memory>
#include <mutex>

#include "CoreGraphics/Geometry.h"
#include "Foundation/Values/Data.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace oq {

/// A picture. Immutable; any thread may make, look at and drop it. On the main queue only its header is read
/// when it is made: the pixels are decoded by whoever asks for them first, which on the main queue nobody
/// does who can wait. On other queues they are decoded at once.
class UIImage {
 public:
  /// nullptr for bytes that are no picture or break off, and for a picture of more than 8192 pixels a side or
  /// 32 million in all, which is refused before memory is taken for it. Of an animated picture the first frame.
  static std::shared_ptr<const UIImage> imageWithData(const Data& data);
  /// The bytes begin as an acceptable picture and then break off or are corrupt. Decodes, so it takes long: off the
  /// main queue.
  static bool isBroken(const Data& data);
  /// A file name that ends in "@2x" or "@3x" before its extension gives that many pixels a point.
  static std::shared_ptr<const UIImage> imageWithContentsOfFile(const std::filesystem::path& file);
  ~UIImage();
  UIImage(const UIImage&) = delete;
  UIImage& operator=(const UIImage&) = delete;

  /// Points; decodes. Zero for a picture that turns out to be broken behind its header.
  CGSize size() const;
  double scale() const { return _scale; }
  /// 32-bit premultiplied pixels, owned by the image; decodes. nullptr for a broken picture.
  cairo_surface_t* surface() const;

 private:
  UIImage(Data data, double scale) : _data(std::move(data)), _scale(scale) {}
  static std::shared_ptr<const UIImage> make(Data data, double scale);

  mutable std::once_flag _decoded;
  mutable Data _data;  ///< until it is decoded
  mutable cairo_surface_t* _surface = nullptr;
  const double _scale;
};

/// Draws the image over the rectangle.
void drawImage(cairo_t* cr, const UIImage& image, CGRect rect);

}  // namespace oq
