#pragma once
// Lays an HTML document out on pages (litehtml through TKwHtmlContainer, our master
// style sheet) and draws the pages into a PDF (cairo: selectable text, embedded font
// subsets, document information) or into raster images, one per page. Pages break
// between lines of text, never through one, unless a single line is taller than a page.
// One renderer per document; not thread-safe.

#include <memory>
#include <string>
#include <vector>

#include "uKwHtmlContainer.h"
#include "uKwImageCodec.h"
#include "uKwTypes.h"

// Page geometry in points (1/72 inch).
struct TKwPageSetup {
  double Width = 612, Height = 792;  // Letter
  double Left = 72, Top = 36, Right = 36, Bottom = 36;
};

// The page of a paper size and orientation, margins in inches.
TKwPageSetup MakePageSetup(TSFPaperSize paper, TPrinterOrientation orientation, double left, double top,
                           double right, double bottom);

// PDF document information; empty values are left out.
struct TKwPdfInfo {
  std::string Title, Author, Subject, Keywords, Creator;
  TDateTime CreationDateGmt = 0;
};

class TKwHtmlRenderer {
 public:
  TKwHtmlRenderer(const TKwPageSetup& page, TKwImageSource images);
  ~TKwHtmlRenderer();

  // Parses and lays out html (UTF-8) to the page's content width and works out the page
  // breaks. Always succeeds: litehtml reads any text as HTML.
  void Layout(const std::string& html);
  int PageCount() const { return static_cast<int>(FBreaks.size()); }

  bool WritePdf(const std::string& fileName, const TKwPdfInfo& info, std::string& error) const;
  // Page `page` (0-based) as an image at dpi dots per inch.
  bool WriteImage(int page, const std::string& fileName, TKwImageFormat format, int dpi, std::string& error) const;

 private:
  void DrawPage(void* cairoContext, int page) const;  // in CSS pixels
  void ComputeBreaks();
  static litehtml::context& MasterContext();

  TKwPageSetup FPage;
  int FContentWidth = 0, FContentHeight = 0;  // CSS pixels
  std::unique_ptr<TKwHtmlContainer> FContainer;
  litehtml::document::ptr FDocument;
  std::vector<int> FBreaks;  // the top of each page, in CSS pixels of the document
};
