#include "uKwMasterStyleSheet.h"

const char* const kMasterStyleSheet = R"css(
html { display: block; position: relative; }
head, style, script, title, meta, link, base, template, noscript, [hidden] { display: none; }
body { display: block; margin: 0; font-family: "DejaVu Sans", "Noto Sans CJK SC", sans-serif;
       font-size: 13px; line-height: 1.35; color: #111; word-wrap: break-word; }
p { display: block; margin-top: 0.6em; margin-bottom: 0.6em; }
div, address, center, section, article, header, footer, nav, aside, main, figure, figcaption,
form, fieldset, details, summary, dl, dt, dd, legend { display: block; }
dd { margin-left: 32px; }
blockquote { display: block; margin: 0.6em 0 0.6em 12px; padding-left: 10px;
             border-left: 2px solid #b8b8c8; color: #333; }
h1, h2, h3, h4, h5, h6 { display: block; font-weight: bold; margin-top: 0.8em; margin-bottom: 0.5em; }
h1 { font-size: 2em; } h2 { font-size: 1.5em; } h3 { font-size: 1.25em; }
h4 { font-size: 1em; } h5 { font-size: 0.85em; } h6 { font-size: 0.75em; }
b, strong, th { font-weight: bold; }
i, em, cite, var, dfn, address { font-style: italic; }
u, ins { text-decoration: underline; }
s, strike, del { text-decoration: line-through; }
big { font-size: 1.2em; } small { font-size: 0.85em; }
sub { vertical-align: sub; font-size: 0.8em; } sup { vertical-align: super; font-size: 0.8em; }
a { color: #1a4fa0; text-decoration: underline; }
code, kbd, samp, tt { font-family: "DejaVu Sans Mono", monospace; }
pre, xmp, listing, plaintext { display: block; font-family: "DejaVu Sans Mono", monospace;
       white-space: pre-wrap; margin: 0.5em 0; font-size: 12px; }
hr { display: block; height: 0; border: 0; border-top: 1px solid #999; margin: 8px 0; }
br { display: block; }
ul, ol, menu, dir { display: block; margin: 0.5em 0; padding-left: 28px; }
ul { list-style-type: disc; } ol { list-style-type: decimal; }
ul ul { list-style-type: circle; }
li { display: list-item; }
img { display: inline-block; max-width: 100%; }
table { display: table; border-collapse: separate; border-spacing: 1px; max-width: 100%; }
thead { display: table-header-group; } tbody { display: table-row-group; }
tfoot { display: table-footer-group; }
tr { display: table-row; } td, th { display: table-cell; padding: 1px 3px; vertical-align: inherit; }
table[border="1"], table[border="2"], table[border="1"] td, table[border="2"] td,
table[border="1"] th, table[border="2"] th { border: 1px solid #888; }
caption { display: table-caption; text-align: center; }
col { display: table-column; } colgroup { display: table-column-group; }
center { text-align: center; }
input, select, textarea, button { display: inline-block; }
font { display: inline; }
span, label, abbr, acronym, q { display: inline; }
)css";
