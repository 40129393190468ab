#pragma once
// Images in and out of the renderer's cairo surfaces: PNG and JPEG pictures of a message
// decoded for drawing, and rendered pages encoded as PNG, JPEG (libjpeg), BMP, TIFF and
// GIF. BMP, TIFF (baseline, uncompressed RGB) and GIF (a fixed 6x7x6 colour cube, LZW)
// are written here directly: simple formats that need no library. Pure functions; any
// thread. Decoding refuses pictures over 40 megapixels.

#include <string>
#include <string_view>

typedef struct _cairo_surface cairo_surface_t;

// The bytes of a "data:" URI (base64 or percent-encoded); false when it is malformed.
bool DecodeDataUri(std::string_view uri, std::string& bytes);
// A new ARGB32 image surface (the caller destroys it), or null for bytes that are no
// PNG or JPEG picture.
cairo_surface_t* DecodeImageToSurface(std::string_view bytes);

enum TKwImageFormat { ifPng, ifJpeg, ifBmp, ifTiff, ifGif };
// Encodes an ARGB32/RGB24 image surface (alpha flattened on white) into bytes; resolution
// in dots per inch where the format records one. False with error.
bool EncodeSurface(cairo_surface_t* surface, TKwImageFormat format, int dpi, std::string& bytes, std::string& error);
