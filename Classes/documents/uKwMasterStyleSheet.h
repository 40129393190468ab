#pragma once
// The master style sheet under every message the HTML renderer lays out: the default
// look of each HTML element (litehtml ships none), plus what mail needs on paper: long
// words and URLs broken rather than cut off, images and tables kept within the page
// width, preformatted text wrapped, hidden elements of mail clients left hidden.

extern const char* const kMasterStyleSheet;
