#include "uKwHtmlRenderer.h"

#include <cairo-pdf.h>
#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "uKwDateTime.h"
#include "uKwMasterStyleSheet.h"

namespace {

constexpr double kPointsPerPixel = 72.0 / 96.0;

struct TPaper {
  double Width, Height;  // points, portrait
};

TPaper PaperOf(TSFPaperSize paper) {
  switch (paper) {
    case psLegal: return {612, 1008};
    case psStatement: return {396, 612};
    case psTabloid: return {792, 1224};
    case psLedger: return {1224, 792};
    case psExecutive: return {522, 756};
    case psFolio: return {612, 936};
    case psA3: return {842, 1191};
    case psA4: return {595, 842};
    case psA5: return {420, 595};
    case psB4: return {729, 1032};
    case psB5: return {516, 729};
    default: return {612, 792};
  }
}

struct TCairoFree {
  void operator()(cairo_t* cr) const noexcept { cairo_destroy(cr); }
  void operator()(cairo_surface_t* surface) const noexcept { cairo_surface_destroy(surface); }
};
using TCairoPtr = std::unique_ptr<cairo_t, TCairoFree>;
using TSurfacePtr = std::unique_ptr<cairo_surface_t, TCairoFree>;

// "YYYY-MM-DDThh:mm:ssZ", what cairo takes for the PDF's creation date.
std::string IsoDate(TDateTime gmt) {
  const TKwDateParts parts = DecodeDateTime(gmt);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", parts.Year, parts.Month, parts.Day, parts.Hour,
                parts.Minute, parts.Second);
  return text;
}

}  // namespace

TKwPageSetup MakePageSetup(TSFPaperSize paper, TPrinterOrientation orientation, double left, double top,
                           double right, double bottom) {
  const TPaper size = PaperOf(paper);
  TKwPageSetup page;
  const bool landscape = orientation == poLandscape;
  page.Width = landscape ? size.Height : size.Width;
  page.Height = landscape ? size.Width : size.Height;
  // Margins that leave less than an inch of paper are cut back to a quarter of it each.
  const auto margin = [](double inches, double room) { return std::clamp(inches * 72.0, 0.0, room / 4); };
  page.Left = margin(left, page.Width);
  page.Right = margin(right, page.Width);
  page.Top = margin(top, page.Height);
  page.Bottom = margin(bottom, page.Height);
  return page;
}

TKwHtmlRenderer::TKwHtmlRenderer(const TKwPageSetup& page, TKwImageSource images) : FPage(page) {
  FContentWidth = std::max(50, static_cast<int>((page.Width - page.Left - page.Right) / kPointsPerPixel));
  FContentHeight = std::max(50, static_cast<int>((page.Height - page.Top - page.Bottom) / kPointsPerPixel));
  FContainer = std::make_unique<TKwHtmlContainer>(FContentWidth, FContentHeight, std::move(images));
}

// The master style sheet parsed once per thread; documents keep a pointer to it.
litehtml::context& TKwHtmlRenderer::MasterContext() {
  thread_local std::unique_ptr<litehtml::context> context;
  if (!context) {
    context = std::make_unique<litehtml::context>();
    context->load_master_stylesheet(kMasterStyleSheet);
  }
  return *context;
}

TKwHtmlRenderer::~TKwHtmlRenderer() {
  FDocument.reset();  // its fonts go back to the container first
}

void TKwHtmlRenderer::Layout(const std::string& html) {
  FDocument = litehtml::document::createFromUTF8(html.c_str(), FContainer.get(), &MasterContext());
  FDocument->render(FContentWidth);
  ComputeBreaks();
}

// Draws the whole document once without a surface to learn where its lines of text are,
// then cuts pages at the lowest line boundary that fits.
void TKwHtmlRenderer::ComputeBreaks() {
  FBreaks.assign(1, 0);
  const int height = FDocument->height();
  FContainer->SetRecordText(true);
  litehtml::position everything(0, 0, std::max(FDocument->width(), FContentWidth), height);
  FDocument->draw(0, 0, 0, &everything);
  FContainer->SetRecordText(false);
  const std::vector<TKwTextBand> bands = FContainer->TakeTextBands();
  for (int top = 0; top + FContentHeight < height;) {
    int cut = top + FContentHeight;
    // A line that straddles the cut moves to the next page, with every line above it that
    // reaches below its top, so long as the page keeps something.
    for (bool moved = true; moved;) {
      moved = false;
      for (const TKwTextBand& band : bands) {
        if (band.Top >= cut) break;
        if (band.Bottom > cut && band.Top > top) {
          cut = band.Top;
          moved = true;
        }
      }
    }
    if (cut <= top) cut = top + FContentHeight;
    FBreaks.push_back(cut);
    top = cut;
  }
}

void TKwHtmlRenderer::DrawPage(void* cairoContext, int page) const {
  auto* cr = static_cast<cairo_t*>(cairoContext);
  const int top = FBreaks[static_cast<size_t>(page)];
  const int bottom = page + 1 < PageCount() ? FBreaks[static_cast<size_t>(page) + 1] : top + FContentHeight;
  cairo_save(cr);
  cairo_rectangle(cr, 0, 0, FContentWidth, bottom - top);
  cairo_clip(cr);
  litehtml::position clip(0, 0, FContentWidth, bottom - top);  // in drawing coordinates
  FDocument->draw(reinterpret_cast<litehtml::uint_ptr>(cr), 0, -top, &clip);
  cairo_restore(cr);
}

bool TKwHtmlRenderer::WritePdf(const std::string& fileName, const TKwPdfInfo& info, std::string& error) const {
  TSurfacePtr surface(cairo_pdf_surface_create(fileName.c_str(), FPage.Width, FPage.Height));
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) {
    error = "Cannot create file " + fileName;
    return false;
  }
  cairo_pdf_surface_restrict_to_version(surface.get(), CAIRO_PDF_VERSION_1_5);
  const std::pair<cairo_pdf_metadata_t, const std::string*> metadata[] = {
      {CAIRO_PDF_METADATA_TITLE, &info.Title},       {CAIRO_PDF_METADATA_AUTHOR, &info.Author},
      {CAIRO_PDF_METADATA_SUBJECT, &info.Subject},   {CAIRO_PDF_METADATA_KEYWORDS, &info.Keywords},
      {CAIRO_PDF_METADATA_CREATOR, &info.Creator}};
  for (const auto& [key, value] : metadata)
    if (!value->empty()) cairo_pdf_surface_set_metadata(surface.get(), key, value->c_str());
  if (info.CreationDateGmt != 0)
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_CREATE_DATE, IsoDate(info.CreationDateGmt).c_str());
  TCairoPtr cr(cairo_create(surface.get()));
  for (int page = 0; page < PageCount(); ++page) {
    cairo_save(cr.get());
    cairo_translate(cr.get(), FPage.Left, FPage.Top);
    cairo_scale(cr.get(), kPointsPerPixel, kPointsPerPixel);
    DrawPage(cr.get(), page);
    cairo_restore(cr.get());
    cairo_show_page(cr.get());
  }
  cr.reset();
  cairo_surface_finish(surface.get());
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) {
    error = std::string("Cannot write ") + fileName + ": " + cairo_status_to_string(cairo_surface_status(surface.get()));
    return false;
  }
  return true;
}

bool TKwHtmlRenderer::WriteImage(int page, const std::string& fileName, TKwImageFormat format, int dpi,
                                 std::string& error) const {
  const double scale = dpi / 72.0;
  const int width = static_cast<int>(std::lround(FPage.Width * scale));
  const int height = static_cast<int>(std::lround(FPage.Height * scale));
  TSurfacePtr surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) {
    error = "Cannot create an image of the page";
    return false;
  }
  TCairoPtr cr(cairo_create(surface.get()));
  cairo_set_source_rgb(cr.get(), 1, 1, 1);
  cairo_paint(cr.get());
  cairo_scale(cr.get(), scale, scale);
  cairo_translate(cr.get(), FPage.Left, FPage.Top);
  cairo_scale(cr.get(), kPointsPerPixel, kPointsPerPixel);
  DrawPage(cr.get(), page);
  cr.reset();
  std::string bytes;
  if (!EncodeSurface(surface.get(), format, dpi, bytes, error)) return false;
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  if (!out || !out.write(bytes.data(), static_cast<std::streamsize>(bytes.size())) || !out.flush()) {
    error = "Cannot write file " + fileName;
    return false;
  }
  return true;
}
