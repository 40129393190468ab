#include "uKwHtmlContainer.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "uKwImageCodec.h"

namespace {

constexpr size_t kLongWordBytes = 28;  // longer words get break points (URLs, hashes)

struct TLayoutFree {
  void operator()(PangoLayout* layout) const noexcept { g_object_unref(layout); }
};
using TLayoutPtr = std::unique_ptr<PangoLayout, TLayoutFree>;

void SetColor(cairo_t* cr, const litehtml::web_color& color) {
  cairo_set_source_rgba(cr, color.red / 255.0, color.green / 255.0, color.blue / 255.0, color.alpha / 255.0);
}

void FillRect(cairo_t* cr, double x, double y, double w, double h, const litehtml::web_color& color) {
  if (w <= 0 || h <= 0 || color.alpha == 0) return;
  SetColor(cr, color);
  cairo_rectangle(cr, x, y, w, h);
  cairo_fill(cr);
}

bool IsVisible(const litehtml::border& border) {
  return border.width > 0 && border.style != litehtml::border_style_none &&
         border.style != litehtml::border_style_hidden && border.color.alpha > 0;
}

// Characters after which a long word may break.
bool IsBreakAfter(char c) { return c == '/' || c == '.' || c == '?' || c == '&' || c == '=' || c == '-' || c == '_'; }

// A character of a script written without spaces, where a line may break anywhere.
bool IsIdeographic(gunichar c) {
  return (c >= 0x2E80 && c <= 0x9FFF) || (c >= 0xAC00 && c <= 0xD7AF) || (c >= 0xF900 && c <= 0xFAFF) ||
         (c >= 0xFF00 && c <= 0xFFEF) || (c >= 0x20000 && c <= 0x2FFFF);
}

std::string Roman(int value, bool upper) {
  static const std::pair<int, const char*> kTable[] = {{1000, "m"}, {900, "cm"}, {500, "d"}, {400, "cd"},
                                                       {100, "c"},  {90, "xc"},  {50, "l"},  {40, "xl"},
                                                       {10, "x"},   {9, "ix"},   {5, "v"},   {4, "iv"}, {1, "i"}};
  std::string out;
  for (const auto& [number, text] : kTable)
    while (value >= number && out.size() < 20) {
      out += text;
      value -= number;
    }
  if (upper)
    for (char& c : out) c = static_cast<char>(c - 32);
  return out;
}

std::string MarkerText(const litehtml::list_marker& marker) {
  const int index = std::max(marker.index, 1);
  switch (marker.marker_type) {
    case litehtml::list_style_type_lower_alpha:
    case litehtml::list_style_type_lower_latin: return std::string(1, static_cast<char>('a' + (index - 1) % 26)) + ".";
    case litehtml::list_style_type_upper_alpha:
    case litehtml::list_style_type_upper_latin: return std::string(1, static_cast<char>('A' + (index - 1) % 26)) + ".";
    case litehtml::list_style_type_lower_roman: return Roman(index, false) + ".";
    case litehtml::list_style_type_upper_roman: return Roman(index, true) + ".";
    default: return std::to_string(index) + ".";
  }
}

// Measured widths of words by font, kept across documents of one thread: mail repeats
// its words, and shaping is the renderer's largest cost.
class TWidthCache {
 public:
  const int* Find(const std::string& key) const {
    const auto found = FWidths.find(key);
    return found == FWidths.end() ? nullptr : &found->second;
  }
  void Add(std::string key, int width) {
    if (FWidths.size() >= kMaxEntries) FWidths.clear();
    FWidths.emplace(std::move(key), width);
  }

 private:
  static constexpr size_t kMaxEntries = 200000;
  std::unordered_map<std::string, int> FWidths;
};

thread_local TWidthCache widthCache;

}  // namespace

struct TKwHtmlContainer::TFont {
  std::string Key;  // the description as text: the prefix of its width-cache keys
  PangoFontDescription* Description = nullptr;
  int Ascent = 0, Descent = 0;
  bool Underline = false, Strike = false;
  ~TFont() {
    if (Description) pango_font_description_free(Description);
  }
};

void TKwHtmlContainer::TSurfaceFree::operator()(cairo_surface_t* surface) const noexcept {
  if (surface) cairo_surface_destroy(surface);
}

namespace {

// One pango context per thread, shared by its documents: pango caches the fonts it
// matched per context, and matching is slow.
PangoContext* ThreadPangoContext() {
  struct TContext {
    PangoContext* Context = nullptr;
    ~TContext() {
      if (Context) g_object_unref(Context);
    }
  };
  thread_local TContext holder;
  if (!holder.Context) {
    holder.Context = pango_font_map_create_context(pango_cairo_font_map_get_default());
    // Unhinted metrics: the same layout on a PDF page and on a raster image.
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    pango_cairo_context_set_font_options(holder.Context, options);
    cairo_font_options_destroy(options);
    pango_cairo_context_set_resolution(holder.Context, 72.0);  // sizes are given in pixels
  }
  return holder.Context;
}

}  // namespace

TKwHtmlContainer::TKwHtmlContainer(int viewWidth, int viewHeight, TKwImageSource images)
    : FViewWidth(viewWidth), FViewHeight(viewHeight), FImages(std::move(images)), FContext(ThreadPangoContext()) {}

TKwHtmlContainer::~TKwHtmlContainer() { FImageCache.clear(); }

std::vector<TKwTextBand> TKwHtmlContainer::TakeTextBands() {
  std::vector<TKwTextBand> bands = std::move(FBands);
  FBands.clear();
  std::sort(bands.begin(), bands.end(), [](const TKwTextBand& a, const TKwTextBand& b) { return a.Top < b.Top; });
  return bands;
}

litehtml::uint_ptr TKwHtmlContainer::create_font(const litehtml::tchar_t* faceName, int size, int weight,
                                                 litehtml::font_style italic, unsigned int decoration,
                                                 litehtml::font_metrics* fm) {
  auto font = std::make_unique<TFont>();
  font->Description = pango_font_description_new();
  // The CSS family list goes to fontconfig as it is, with our faces behind it.
  std::string families = faceName && *faceName ? faceName : "DejaVu Sans";
  families.erase(std::remove(families.begin(), families.end(), '"'), families.end());
  families.erase(std::remove(families.begin(), families.end(), '\''), families.end());
  families += ",DejaVu Sans,Noto Sans CJK SC";
  pango_font_description_set_family(font->Description, families.c_str());
  pango_font_description_set_absolute_size(font->Description, std::max(size, 1) * PANGO_SCALE);
  pango_font_description_set_weight(font->Description, static_cast<PangoWeight>(std::clamp(weight, 100, 1000)));
  pango_font_description_set_style(font->Description,
                                   italic == litehtml::fontStyleItalic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
  char* key = pango_font_description_to_string(font->Description);
  font->Key = key;
  g_free(key);
  font->Underline = (decoration & litehtml::font_decoration_underline) != 0;
  font->Strike = (decoration & litehtml::font_decoration_linethrough) != 0;
  PangoFontMetrics* metrics = pango_context_get_metrics(FContext, font->Description, nullptr);
  font->Ascent = PANGO_PIXELS_CEIL(pango_font_metrics_get_ascent(metrics));
  font->Descent = PANGO_PIXELS_CEIL(pango_font_metrics_get_descent(metrics));
  pango_font_metrics_unref(metrics);
  if (fm) {
    fm->ascent = font->Ascent;
    fm->descent = font->Descent;
    fm->height = font->Ascent + font->Descent;
    fm->x_height = std::max(1, font->Ascent / 2);
    fm->draw_spaces = font->Underline || font->Strike;
  }
  return reinterpret_cast<litehtml::uint_ptr>(font.release());
}

void TKwHtmlContainer::delete_font(litehtml::uint_ptr hFont) { delete reinterpret_cast<TFont*>(hFont); }

int TKwHtmlContainer::text_width(const litehtml::tchar_t* text, litehtml::uint_ptr hFont) {
  const auto* font = reinterpret_cast<const TFont*>(hFont);
  std::string key = font->Key;
  key += '\n';
  key += text;
  if (const int* width = widthCache.Find(key)) return *width;
  TLayoutPtr layout(pango_layout_new(FContext));
  pango_layout_set_font_description(layout.get(), font->Description);
  pango_layout_set_text(layout.get(), text, -1);
  PangoRectangle logical;
  pango_layout_get_extents(layout.get(), nullptr, &logical);
  const int width = PANGO_PIXELS_CEIL(logical.width);
  widthCache.Add(std::move(key), width);
  return width;
}

void TKwHtmlContainer::draw_text(litehtml::uint_ptr hdc, const litehtml::tchar_t* text, litehtml::uint_ptr hFont,
                                 litehtml::web_color color, const litehtml::position& pos) {
  auto* cr = reinterpret_cast<cairo_t*>(hdc);
  const auto* font = reinterpret_cast<const TFont*>(hFont);
  if (FRecordText) FBands.push_back({pos.y, pos.y + font->Ascent + font->Descent});
  if (!cr) return;
  TLayoutPtr layout(pango_layout_new(FContext));
  pango_layout_set_font_description(layout.get(), font->Description);
  pango_layout_set_text(layout.get(), text, -1);
  const int baseline = PANGO_PIXELS(pango_layout_get_baseline(layout.get()));
  const double top = pos.y + font->Ascent - baseline;
  cairo_save(cr);
  SetColor(cr, color);
  cairo_move_to(cr, pos.x, top);
  pango_cairo_show_layout(cr, layout.get());
  const double width = pos.width;
  if (font->Underline) {
    cairo_rectangle(cr, pos.x, pos.y + font->Ascent + 1.5, width, 0.8);
    cairo_fill(cr);
  }
  if (font->Strike) {
    cairo_rectangle(cr, pos.x, pos.y + font->Ascent * 0.65, width, 0.8);
    cairo_fill(cr);
  }
  cairo_restore(cr);
}

void TKwHtmlContainer::draw_list_marker(litehtml::uint_ptr hdc, const litehtml::list_marker& marker) {
  auto* cr = reinterpret_cast<cairo_t*>(hdc);
  if (!cr || marker.marker_type == litehtml::list_style_type_none) return;
  const litehtml::position& p = marker.pos;
  cairo_save(cr);
  SetColor(cr, marker.color);
  switch (marker.marker_type) {
    case litehtml::list_style_type_disc:
    case litehtml::list_style_type_circle:
      cairo_new_path(cr);
      cairo_arc(cr, p.x + p.width / 2.0, p.y + p.height / 2.0, p.width / 2.0 - 0.5, 0, 6.2832);
      if (marker.marker_type == litehtml::list_style_type_disc) {
        cairo_fill(cr);
      } else {
        cairo_set_line_width(cr, 0.8);
        cairo_stroke(cr);
      }
      break;
    case litehtml::list_style_type_square:
      cairo_rectangle(cr, p.x, p.y, p.width, p.height);
      cairo_fill(cr);
      break;
    default:
      if (marker.font) {
        const std::string text = MarkerText(marker);
        const int width = text_width(text.c_str(), marker.font);
        const auto* font = reinterpret_cast<const TFont*>(marker.font);
        const int lineTop = p.y + p.height / 2 - (font->Ascent + font->Descent) / 2;
        cairo_restore(cr);
        draw_text(hdc, text.c_str(), marker.font, marker.color,
                  litehtml::position(p.x + p.width - width, lineTop, width, font->Ascent + font->Descent));
        return;
      }
      break;
  }
  cairo_restore(cr);
}

cairo_surface_t* TKwHtmlContainer::FindImage(const std::string& src) {
  const auto found = FImageCache.find(src);
  if (found != FImageCache.end()) return found->second.get();
  std::string bytes;
  bool have = false;
  if (src.rfind("cid:", 0) == 0 && FImages) have = FImages(src.substr(4), bytes);
  else if (src.rfind("data:", 0) == 0) have = DecodeDataUri(src, bytes);
  // Anything else (http, https, file) would need a fetch, and nothing is fetched here.
  TSurfacePtr surface(have ? DecodeImageToSurface(bytes) : nullptr);
  cairo_surface_t* result = surface.get();
  FImageCache.emplace(src, std::move(surface));
  return result;
}

void TKwHtmlContainer::load_image(const litehtml::tchar_t* src, const litehtml::tchar_t*, bool) {
  if (src) FindImage(src);
}

void TKwHtmlContainer::get_image_size(const litehtml::tchar_t* src, const litehtml::tchar_t*, litehtml::size& sz) {
  cairo_surface_t* surface = src ? FindImage(src) : nullptr;
  sz.width = surface ? cairo_image_surface_get_width(surface) : 0;
  sz.height = surface ? cairo_image_surface_get_height(surface) : 0;
}

void TKwHtmlContainer::draw_background(litehtml::uint_ptr hdc, const litehtml::background_paint& bg) {
  auto* cr = reinterpret_cast<cairo_t*>(hdc);
  if (!cr) return;
  const litehtml::position& box = bg.clip_box;
  if (!bg.is_root) FillRect(cr, box.x, box.y, box.width, box.height, bg.color);
  cairo_surface_t* image = bg.image.empty() ? nullptr : FindImage(bg.image);
  if (!image || bg.image_size.width <= 0 || bg.image_size.height <= 0) return;
  cairo_save(cr);
  cairo_rectangle(cr, box.x, box.y, box.width, box.height);
  cairo_clip(cr);
  cairo_translate(cr, bg.position_x, bg.position_y);
  cairo_scale(cr, static_cast<double>(bg.image_size.width) / cairo_image_surface_get_width(image),
              static_cast<double>(bg.image_size.height) / cairo_image_surface_get_height(image));
  cairo_set_source_surface(cr, image, 0, 0);
  cairo_paint(cr);
  cairo_restore(cr);
}

void TKwHtmlContainer::draw_borders(litehtml::uint_ptr hdc, const litehtml::borders& borders,
                                    const litehtml::position& pos, bool) {
  auto* cr = reinterpret_cast<cairo_t*>(hdc);
  if (!cr) return;
  if (IsVisible(borders.top)) FillRect(cr, pos.x, pos.y, pos.width, borders.top.width, borders.top.color);
  if (IsVisible(borders.bottom))
    FillRect(cr, pos.x, pos.bottom() - borders.bottom.width, pos.width, borders.bottom.width, borders.bottom.color);
  if (IsVisible(borders.left)) FillRect(cr, pos.x, pos.y, borders.left.width, pos.height, borders.left.color);
  if (IsVisible(borders.right))
    FillRect(cr, pos.right() - borders.right.width, pos.y, borders.right.width, pos.height, borders.right.color);
}

void TKwHtmlContainer::transform_text(litehtml::tstring& text, litehtml::text_transform tt) {
  gchar* changed = nullptr;
  if (tt == litehtml::text_transform_uppercase) changed = g_utf8_strup(text.c_str(), -1);
  else if (tt == litehtml::text_transform_lowercase) changed = g_utf8_strdown(text.c_str(), -1);
  if (!changed) return;
  text = changed;
  g_free(changed);
}

void TKwHtmlContainer::get_client_rect(litehtml::position& client) const {
  client = litehtml::position(0, 0, FViewWidth, FViewHeight);
}

void TKwHtmlContainer::get_media_features(litehtml::media_features& media) const {
  media.type = litehtml::media_type_print;
  media.width = media.device_width = FViewWidth;
  media.height = media.device_height = FViewHeight;
  media.color = 8;
  media.monochrome = 0;
  media.color_index = 256;
  media.resolution = 96;
}

void TKwHtmlContainer::get_language(litehtml::tstring& language, litehtml::tstring& culture) const {
  language = "en";
  culture.clear();
}

// Words at blanks, as litehtml would; besides, every ideograph is a word of its own, and
// long words (URLs) break after their punctuation or, failing that, every 28 bytes.
void TKwHtmlContainer::split_text(const char* text, const std::function<void(const litehtml::tchar_t*)>& on_word,
                                  const std::function<void(const litehtml::tchar_t*)>& on_space) {
  std::string word;
  const auto flush = [&] {
    if (!word.empty()) on_word(word.c_str());
    word.clear();
  };
  const char* end = text + std::strlen(text);
  for (const char* p = text; p < end;) {
    const char* next = g_utf8_find_next_char(p, end);
    if (!next) next = end;
    const gunichar c = g_utf8_get_char_validated(p, next - p);
    const std::string character(p, next);
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
      flush();
      on_space(character.c_str());
    } else if (c != static_cast<gunichar>(-1) && c != static_cast<gunichar>(-2) && IsIdeographic(c)) {
      flush();
      on_word(character.c_str());
    } else {
      word += character;
      if (word.size() >= kLongWordBytes && (IsBreakAfter(character[0]) || word.size() >= 2 * kLongWordBytes)) flush();
    }
    p = next;
  }
  flush();
}
