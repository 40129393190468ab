#pragma once
// litehtml's drawing container on pango and cairo: fonts through fontconfig (Debian's
// DejaVu and Noto CJK faces fill in for the faces mail asks for), text shaped by pango
// (so Arabic, Hebrew and CJK come out right), backgrounds, borders, list markers and
// images. Lengths are CSS pixels (96 per inch); the caller scales cairo for points.
//
// Images come only from the message: "cid:" links to its parts and "data:" URIs. Nothing
// is ever fetched from the network; other sources are left out. While it draws, the
// container records the vertical extent of every line of text, so that pages can be
// broken between lines. Not thread-safe: one container per rendering thread.

#include <litehtml/litehtml.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

typedef struct _cairo_surface cairo_surface_t;
typedef struct _PangoContext PangoContext;

// Gives the bytes of an image the HTML names by "cid:" (without the prefix); false when
// the message has no such part.
using TKwImageSource = std::function<bool(const std::string& contentId, std::string& bytes)>;

struct TKwTextBand {
  int Top = 0, Bottom = 0;
};

class TKwHtmlContainer : public litehtml::document_container {
 public:
  // viewWidth, viewHeight: the page's content box in CSS pixels.
  TKwHtmlContainer(int viewWidth, int viewHeight, TKwImageSource images);
  virtual ~TKwHtmlContainer();  // the base has no virtual destructor

  // The text lines met by the draws since the last call, sorted by top.
  std::vector<TKwTextBand> TakeTextBands();
  void SetRecordText(bool record) { FRecordText = record; }

  litehtml::uint_ptr create_font(const litehtml::tchar_t* faceName, int size, int weight,
                                 litehtml::font_style italic, unsigned int decoration,
                                 litehtml::font_metrics* fm) override;
  void delete_font(litehtml::uint_ptr hFont) override;
  int text_width(const litehtml::tchar_t* text, litehtml::uint_ptr hFont) override;
  void draw_text(litehtml::uint_ptr hdc, const litehtml::tchar_t* text, litehtml::uint_ptr hFont,
                 litehtml::web_color color, const litehtml::position& pos) override;
  int pt_to_px(int pt) const override { return pt * 96 / 72; }
  int get_default_font_size() const override { return 13; }
  const litehtml::tchar_t* get_default_font_name() const override { return "DejaVu Sans"; }
  void draw_list_marker(litehtml::uint_ptr hdc, const litehtml::list_marker& marker) override;
  void load_image(const litehtml::tchar_t* src, const litehtml::tchar_t* baseurl, bool redraw_on_ready) override;
  void get_image_size(const litehtml::tchar_t* src, const litehtml::tchar_t* baseurl, litehtml::size& sz) override;
  void draw_background(litehtml::uint_ptr hdc, const litehtml::background_paint& bg) override;
  void draw_borders(litehtml::uint_ptr hdc, const litehtml::borders& borders, const litehtml::position& draw_pos,
                    bool root) override;
  void set_caption(const litehtml::tchar_t*) override {}
  void set_base_url(const litehtml::tchar_t*) override {}
  void link(const std::shared_ptr<litehtml::document>&, const litehtml::element::ptr&) override {}
  void on_anchor_click(const litehtml::tchar_t*, const litehtml::element::ptr&) override {}
  void set_cursor(const litehtml::tchar_t*) override {}
  void transform_text(litehtml::tstring& text, litehtml::text_transform tt) override;
  void import_css(litehtml::tstring&, const litehtml::tstring&, litehtml::tstring&) override {}
  void set_clip(const litehtml::position&, const litehtml::border_radiuses&, bool, bool) override {}
  void del_clip() override {}
  void get_client_rect(litehtml::position& client) const override;
  std::shared_ptr<litehtml::element> create_element(const litehtml::tchar_t*, const litehtml::string_map&,
                                                    const std::shared_ptr<litehtml::document>&) override {
    return nullptr;
  }
  void get_media_features(litehtml::media_features& media) const override;
  void get_language(litehtml::tstring& language, litehtml::tstring& culture) const override;
  void split_text(const char* text, const std::function<void(const litehtml::tchar_t*)>& on_word,
                  const std::function<void(const litehtml::tchar_t*)>& on_space) override;

 private:
  struct TFont;
  struct TSurfaceFree {
    void operator()(cairo_surface_t* surface) const noexcept;
  };
  using TSurfacePtr = std::unique_ptr<cairo_surface_t, TSurfaceFree>;

  cairo_surface_t* FindImage(const std::string& src);

  int FViewWidth, FViewHeight;
  TKwImageSource FImages;
  PangoContext* FContext;  // the thread's, not owned
  std::map<std::string, TSurfacePtr> FImageCache;  // null: could not be loaded
  std::vector<TKwTextBand> FBands;
  bool FRecordText = false;
};
