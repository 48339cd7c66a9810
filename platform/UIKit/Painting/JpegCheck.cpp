// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Painting/JpegCheck.h"

#include <csetjmp>
#include <cstdio>
// Must be included after <cstdio>.
#include <jpeglib.h>
// Must be included after <jpeglib.h>.
#include <jerror.h>

namespace oq {
namespace {

/// What libjpeg reports about one picture.
struct Report {
  jpeg_error_mgr manager{};
  std::jmp_buf leave{};
  bool hasLostPixels = false;
};

Report& reportOf(j_common_ptr jpeg) {
  return *static_cast<Report*>(jpeg->client_data);
}

/// Called by libjpeg after a fatal error. libjpeg requires that this function does not return.
[[noreturn]] void failed(j_common_ptr jpeg) {
  std::longjmp(reportOf(jpeg).leave, 1);
}

/// Called by libjpeg for warnings, with a negative level, and for trace messages. Only warnings about missing pixels
/// matter. Others report, for example, extra bytes between segments or an unknown version.
void noted(j_common_ptr jpeg, int level) {
  if (level >= 0) return;
  switch (jpeg->err->msg_code) {
    case JWRN_JPEG_EOF:
    case JWRN_HIT_MARKER:
    case JWRN_HUFF_BAD_CODE:
    case JWRN_ARITH_BAD_CODE:
    case JWRN_MUST_RESYNC:
      reportOf(jpeg).hasLostPixels = true;
      break;
    default:
      break;
  }
}

/// Decodes at an eighth of the size and without colour conversion: the only purpose is to read all data.
void readAll(jpeg_decompress_struct& jpeg, const Data& data) {
  jpeg_mem_src(&jpeg, data.data(), data.size());
  jpeg_read_header(&jpeg, TRUE);
  jpeg.scale_num = 1;
  jpeg.scale_denom = 8;
  jpeg.out_color_space = jpeg.jpeg_color_space;
  jpeg_start_decompress(&jpeg);
  const auto rowLength = jpeg.output_width * static_cast<JDIMENSION>(jpeg.output_components);
  JSAMPARRAY row = (*jpeg.mem->alloc_sarray)(reinterpret_cast<j_common_ptr>(&jpeg), JPOOL_IMAGE, rowLength, 1);
  while (jpeg.output_scanline < jpeg.output_height) jpeg_read_scanlines(&jpeg, row, 1);
  jpeg_finish_decompress(&jpeg);
}

}  // namespace

bool isWholeJpeg(const Data& data) {
  jpeg_decompress_struct jpeg{};
  Report report;
  jpeg.err = jpeg_std_error(&report.manager);
  jpeg.client_data = &report;
  report.manager.error_exit = failed;
  report.manager.emit_message = noted;
  // No object between this frame and libjpeg has a destructor, so longjmp is safe.
  if (setjmp(report.leave) != 0) {
    jpeg_destroy_decompress(&jpeg);
    return false;
  }
  jpeg_create_decompress(&jpeg);
  readAll(jpeg, data);
  jpeg_destroy_decompress(&jpeg);
  return !report.hasLostPixels;
}

}  // namespace oq
