// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Text/TextLayout.h"

#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace oq {
namespace {

constexpr double kWidest = 100'000;             // points; text at a larger width is not broken into lines
constexpr double kLargestFont = 1000;           // points
constexpr double kSmallestFont = 0.01;          // points; Pango's minimum
constexpr double kTallestLayout = 1'500'000;    // points; Pango counts 1/1024 points in 32 bits
constexpr std::size_t kShortText = 1000;        // bytes
constexpr int kLongWord = 200, kTextPiece = 8;  // characters
constexpr double kHalfPoint = 0.5;
/// Messages are written in simplified Chinese.
constexpr const char* kLanguage = "zh-cn";

/// Pango's objects may be used from any thread, but only from one at the same time.
std::mutex& pangoMutex() {
  static std::mutex mutex;
  return mutex;
}

/// The process-wide context with one font map, so that fonts are loaded once.
PangoContext* textContext() {
  static PangoContext* context = [] {
    PangoContext* made = pango_font_map_create_context(pango_cairo_font_map_new());
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
    // Text widths must not depend on the screen's density.
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(made, options);
    cairo_font_options_destroy(options);
    pango_context_set_round_glyph_positions(made, FALSE);
    // Without a language, Han characters get their Japanese shapes. Other scripts are not affected.
    pango_context_set_language(made, pango_language_from_string(kLanguage));
    return made;
  }();
  return context;
}

const FcChar8* fcString(const std::string& text) {
  return reinterpret_cast<const FcChar8*>(text.c_str());
}

std::string familyOf(FcPattern* pattern) {
  FcChar8* family = nullptr;
  if (!pattern || FcPatternGetString(pattern, FC_FAMILY, 0, &family) != FcResultMatch) return "";
  return reinterpret_cast<const char*>(family);
}

/// The family of the font with that PostScript name; "" if there is none.
std::string familyNamed(const std::string& name) {
  FcPattern* asked = FcPatternBuild(nullptr, FC_POSTSCRIPT_NAME, FcTypeString, fcString(name), nullptr);
  FcObjectSet* wanted = FcObjectSetBuild(FC_FAMILY, nullptr);
  FcFontSet* found = FcFontList(nullptr, asked, wanted);
  std::string family = found && found->nfont > 0 ? familyOf(found->fonts[0]) : "";
  if (found) FcFontSetDestroy(found);
  FcObjectSetDestroy(wanted);
  FcPatternDestroy(asked);
  return family;
}

/// The family that fontconfig substitutes for that name, for Chinese text.
std::string familyInsteadOf(const std::string& name) {
  FcPattern* asked = FcPatternBuild(nullptr, FC_FAMILY, FcTypeString, fcString(name), FC_LANG, FcTypeString,
                                    fcString(kLanguage), nullptr);
  FcConfigSubstitute(nullptr, asked, FcMatchPattern);
  FcDefaultSubstitute(asked);
  FcResult result = FcResultNoMatch;
  FcPattern* found = FcFontMatch(nullptr, asked, &result);
  std::string family = familyOf(found);
  if (found) FcPatternDestroy(found);
  FcPatternDestroy(asked);
  return family;
}

/// The font families to request: the name itself, then the family that is used instead of it. With the name alone,
/// Pango would use different fonts for Chinese and Latin characters in one line.
const std::string& familiesFor(const std::string& name) {
  static auto& known = *new std::map<std::string, std::string>;
  auto [entry, isNew] = known.try_emplace(name, name);
  if (isNew) {
    std::string family = familyNamed(name);
    if (family.empty()) family = familyInsteadOf(name);
    if (!family.empty()) entry->second += "," + family;
  }
  return entry->second;
}

/// Makes the text valid UTF-8. Cuts it, so that even with a line break at every byte it would fit into Pango's
/// coordinates.
std::string displayable(const std::string& text, double lineHeight) {
  std::string cut = text.substr(0, static_cast<std::size_t>(kTallestLayout / std::max(lineHeight, 10.0)));
  if (cut.size() < text.size()) {
    // Removes the rest of a character that the cut has split.
    for (int i = 0; i < 3 && (cut.back() & 0xc0) == 0x80; ++i) cut.pop_back();
    if (cut.back() & 0x80) cut.pop_back();
  }
  std::unique_ptr<char, void (*)(void*)> valid(g_utf8_make_valid(cut.data(), static_cast<gssize>(cut.size())), g_free);
  return valid.get();
}

/// Pango's time to wrap a word grows with the square of its length: a hostile server could cause delays of seconds. A
/// word that would fill many lines gets invisible break opportunities.
std::string withBreakableWords(const std::string& text) {
  if (text.size() <= kShortText) return text;
  auto length = static_cast<std::size_t>(g_utf8_strlen(text.data(), static_cast<gssize>(text.size())));
  std::vector<PangoLogAttr> places(length + 1);
  pango_get_log_attrs(text.data(), static_cast<int>(text.size()), -1, pango_language_from_string(kLanguage),
                      places.data(), static_cast<int>(places.size()));
  std::string broken;
  const char* from = text.data();
  int unbroken = 0;
  for (std::size_t i = 0; i < length; ++i) {
    unbroken = places[i].is_line_break ? 0 : unbroken + 1;
    if (unbroken > kLongWord && unbroken % kTextPiece == 0 && places[i].is_cursor_position) broken += "\u200b";
    const char* to = g_utf8_next_char(from);
    broken.append(from, to);
    from = to;
  }
  return broken;
}

PangoAlignment alignmentFor(NSTextAlignment alignment, PangoDirection direction) {
  // In Pango, left means the start of the line. So left and right are exchanged for text from right to left.
  bool rightToLeft = direction == PANGO_DIRECTION_RTL;
  switch (alignment) {
    case NSTextAlignment::Center:
      return PANGO_ALIGN_CENTER;
    case NSTextAlignment::Left:
      return rightToLeft ? PANGO_ALIGN_RIGHT : PANGO_ALIGN_LEFT;
    case NSTextAlignment::Right:
      return rightToLeft ? PANGO_ALIGN_LEFT : PANGO_ALIGN_RIGHT;
    default:
      return PANGO_ALIGN_LEFT;
  }
}

double points(int pangoUnits) {
  return static_cast<double>(pangoUnits) / PANGO_SCALE;
}

struct IterDeleter {
  void operator()(PangoLayoutIter* iter) const { pango_layout_iter_free(iter); }
};
using Iter = std::unique_ptr<PangoLayoutIter, IterDeleter>;

PangoRectangle lineExtents(PangoLayoutIter* iter) {
  PangoRectangle extents;
  pango_layout_iter_get_line_extents(iter, nullptr, &extents);
  return extents;
}

/// Fallback fonts differ in height. All lines get the height of the tallest, so that line distances are even.
void evenLines(PangoLayout* layout) {
  int lowest = INT_MAX, tallest = 0;
  Iter iter(pango_layout_get_iter(layout));
  do {
    int height = lineExtents(iter.get()).height;
    lowest = std::min(lowest, height);
    tallest = std::max(tallest, height);
  } while (pango_layout_iter_next_line(iter.get()));
  if (lowest == tallest) return;
  PangoAttrList* attributes = pango_attr_list_new();
  pango_attr_list_insert(attributes, pango_attr_line_height_new_absolute(tallest));
  pango_layout_set_attributes(layout, attributes);
  pango_attr_list_unref(attributes);
}

/// Punctuation that belongs to the character before it, such as a full stop.
bool closes(gunichar character) {
  switch (g_unichar_type(character)) {
    case G_UNICODE_CLOSE_PUNCTUATION:
    case G_UNICODE_FINAL_PUNCTUATION:
    case G_UNICODE_OTHER_PUNCTUATION:
      return true;
    default:
      return false;
  }
}

/// The glyphs after which a line may be stretched: each space, and in text from left to right each wide character, such
/// as an ideograph, that is not followed by punctuation for which closes() is true. The last glyph of the line is left
/// out.
std::vector<PangoGlyphInfo*> gapsIn(const PangoLayoutLine& line, const char* text) {
  std::vector<PangoGlyphInfo*> gaps;
  PangoGlyphInfo* last = nullptr;
  for (const GSList* node = line.runs; node; node = node->next) {
    const auto* run = static_cast<const PangoLayoutRun*>(node->data);
    const PangoGlyphString& glyphs = *run->glyphs;
    bool leftToRight = run->item->analysis.level % 2 == 0;
    for (int i = 0; i < glyphs.num_glyphs; ++i) {
      bool endsCluster = i + 1 == glyphs.num_glyphs || glyphs.log_clusters[i + 1] != glyphs.log_clusters[i];
      if (!endsCluster || glyphs.glyphs[i].geometry.width == 0) continue;
      last = &glyphs.glyphs[i];
      const char* at = text + run->item->offset + glyphs.log_clusters[i];
      gunichar character = g_utf8_get_char(at);
      bool beforeMark = *at && closes(g_utf8_get_char(g_utf8_next_char(at)));
      if (character == ' ' || (leftToRight && g_unichar_iswide(character) && !beforeMark)) gaps.push_back(last);
    }
  }
  if (!gaps.empty() && gaps.back() == last) gaps.pop_back();
  return gaps;
}

/// Stretches every line except the last of each paragraph to the width. Pango's own justification stretches only spaces
/// if a line has any, which leaves large gaps in lines of mixed scripts.
void justify(PangoLayout* layout) {
  for (GSList* node = pango_layout_get_lines(layout); node && node->next; node = node->next) {
    if (static_cast<PangoLayoutLine*>(node->next->data)->is_paragraph_start) continue;
    auto* line = static_cast<PangoLayoutLine*>(node->data);
    PangoRectangle extents;
    pango_layout_line_get_extents(line, nullptr, &extents);
    int slack = pango_layout_get_width(layout) - extents.width;
    auto gaps = gapsIn(*line, pango_layout_get_text(layout));
    for (std::size_t left = gaps.size(); left > 0 && slack > 0; --left) {
      int share = slack / static_cast<int>(left);
      gaps[left - 1]->geometry.width += share;
      slack -= share;
    }
  }
}

}  // namespace

/// The part of the lines that is drawn.
struct TextLayout::Shown {
  int lines = 0;
  double height = 0;
  bool shortened = false;  ///< there are more lines than are drawn
};

TextLayout::TextLayout(const NSAttributedString& text, const UIFont& font, double width) {
  double size = std::min(font.pointSize(), kLargestFont);
  if (text.string.empty() || !(size >= kSmallestFont)) return;
  double spacing = std::clamp(text.paragraphStyle.lineSpacing, 0.0, kLargestFont);

  std::lock_guard lock(pangoMutex());
  std::string valid = withBreakableWords(displayable(text.string, 1.5 * size + spacing));
  _layout = pango_layout_new(textContext());
  PangoFontDescription* description = pango_font_description_new();
  pango_font_description_set_family(description, familiesFor(font.fontName()).c_str());
  if (font.isBold()) pango_font_description_set_weight(description, PANGO_WEIGHT_BOLD);
  pango_font_description_set_absolute_size(description, size * PANGO_SCALE);
  pango_layout_set_font_description(_layout, description);
  pango_font_description_free(description);

  bool bounded = width > 0 && width < kWidest;
  if (bounded) pango_layout_set_width(_layout, static_cast<int>(std::ceil(width * PANGO_SCALE)));
  pango_layout_set_wrap(_layout, PANGO_WRAP_WORD_CHAR);
  pango_layout_set_spacing(_layout, static_cast<int>(std::lround(spacing * PANGO_SCALE)));
  pango_layout_set_text(_layout, valid.data(), static_cast<int>(valid.size()));
  PangoDirection direction = pango_layout_get_direction(_layout, 0);
  pango_layout_set_alignment(_layout, alignmentFor(text.paragraphStyle.alignment, direction));
  evenLines(_layout);
  if (bounded && text.paragraphStyle.alignment == NSTextAlignment::Justified) justify(_layout);
  PangoRectangle logical;
  pango_layout_get_extents(_layout, nullptr, &logical);
  _size = {points(logical.width), points(logical.height)};
}

TextLayout::~TextLayout() {
  std::lock_guard lock(pangoMutex());
  if (_layout) g_object_unref(_layout);
}

TextLayout::Shown TextLayout::linesThatFit(double height, int numberOfLines) const {
  int all = pango_layout_get_line_count(_layout);
  bool everything = (numberOfLines <= 0 || all <= numberOfLines) && _size.height <= height + kHalfPoint;
  if (everything) return {all, _size.height, false};
  Shown shown;
  Iter iter(pango_layout_get_iter(_layout));
  do {
    PangoRectangle extents = lineExtents(iter.get());
    double bottom = points(extents.y + extents.height);
    // One line is always drawn, even if it does not fit.
    bool fits =
        shown.lines == 0 || (bottom <= height + kHalfPoint && (numberOfLines <= 0 || shown.lines < numberOfLines));
    if (!fits) break;
    ++shown.lines;
    shown.height = bottom;
  } while (pango_layout_iter_next_line(iter.get()));
  shown.shortened = shown.lines < all;
  return shown;
}

/// The last drawn line, laid out again from its start so that it ends in an ellipsis.
PangoLayout* TextLayout::shortenedLine(const Shown& shown) const {
  PangoLayoutLine* line = pango_layout_get_line_readonly(_layout, shown.lines - 1);
  const char* text = pango_layout_get_text(_layout);
  std::string rest(text + line->start_index);
  std::string paragraph = rest.substr(0, rest.find_first_of("\r\n"));
  bool lineEndsParagraph = paragraph.size() <= static_cast<std::size_t>(line->length);
  if (lineEndsParagraph) paragraph += "\u2026";
  PangoLayout* shortened = pango_layout_copy(_layout);
  pango_layout_set_text(shortened, paragraph.data(), static_cast<int>(paragraph.size()));
  pango_layout_set_ellipsize(shortened, PANGO_ELLIPSIZE_END);
  return shortened;
}

void TextLayout::draw(cairo_t* cr, UIColor color, CGRect rect, int numberOfLines, bool centeredVertically) const {
  if (!_layout) return;
  std::lock_guard lock(pangoMutex());
  Shown shown = linesThatFit(rect.size.height, numberOfLines);
  double left = rect.minX(), top = rect.minY();
  if (centeredVertically) top += (rect.size.height - shown.height) / 2;
  cairo_set_source_rgba(cr, color.red, color.green, color.blue, color.alpha);

  double clipLeft, clipTop, clipRight, clipBottom;
  cairo_clip_extents(cr, &clipLeft, &clipTop, &clipRight, &clipBottom);
  Iter iter(pango_layout_get_iter(_layout));
  for (int i = 0; i < shown.lines; ++i) {
    PangoRectangle extents = lineExtents(iter.get());
    double baseline = top + points(pango_layout_iter_get_baseline(iter.get()));
    bool last = shown.shortened && i == shown.lines - 1;
    double lineTop = top + points(extents.y), height = points(extents.height);
    // Ink may extend beyond the line's height, but hardly by more than that height.
    bool seen = lineTop - height < clipBottom && lineTop + 2 * height > clipTop;
    if (last && seen) {
      PangoLayout* shortened = shortenedLine(shown);
      cairo_move_to(cr, left, baseline - points(pango_layout_get_baseline(shortened)));
      pango_cairo_show_layout(cr, shortened);
      g_object_unref(shortened);
    } else if (seen) {
      cairo_move_to(cr, left + points(extents.x), baseline);
      pango_cairo_show_layout_line(cr, pango_layout_iter_get_line_readonly(iter.get()));
    }
    pango_layout_iter_next_line(iter.get());
  }
  cairo_new_path(cr);
}

CGSize boundingSizeOfText(const NSAttributedString& text, const UIFont& font, double width) {
  return TextLayout(text, font, width).size();
}

void drawText(cairo_t* cr, const NSAttributedString& text, const UIFont& font, UIColor color, CGRect rect,
              int numberOfLines, bool centeredVertically) {
  TextLayout(text, font, rect.size.width).draw(cr, color, rect, numberOfLines, centeredVertically);
}

}  // namespace oq
