#include "uKwImageCodec.h"

#include <cairo.h>
#include <jpeglib.h>

#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr int64_t kMaxPixels = 40'000'000;

// ---------------------------------------------------------------- data: URIs

int Base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+' || c == '-') return 62;
  if (c == '/' || c == '_') return 63;
  return -1;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// ---------------------------------------------------------------- decoding

struct TPngReader {
  std::string_view Bytes;
  size_t Position = 0;
};

cairo_status_t ReadPng(void* closure, unsigned char* data, unsigned int length) {
  auto* reader = static_cast<TPngReader*>(closure);
  if (reader->Bytes.size() - reader->Position < length) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(data, reader->Bytes.data() + reader->Position, length);
  reader->Position += length;
  return CAIRO_STATUS_SUCCESS;
}

struct TJpegError {
  jpeg_error_mgr Manager;
  std::jmp_buf Jump;
};

void JpegFail(j_common_ptr info) { std::longjmp(reinterpret_cast<TJpegError*>(info->err)->Jump, 1); }
void JpegQuiet(j_common_ptr, int) {}

cairo_surface_t* DecodeJpeg(std::string_view bytes) {
  jpeg_decompress_struct info{};
  TJpegError error{};
  info.err = jpeg_std_error(&error.Manager);
  error.Manager.error_exit = JpegFail;
  error.Manager.emit_message = JpegQuiet;
  cairo_surface_t* volatile surface = nullptr;
  if (setjmp(error.Jump)) {
    jpeg_destroy_decompress(&info);
    if (surface) cairo_surface_destroy(surface);
    return nullptr;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned long>(bytes.size()));
  jpeg_read_header(&info, TRUE);
  info.out_color_space = JCS_RGB;
  jpeg_start_decompress(&info);
  if (static_cast<int64_t>(info.output_width) * info.output_height > kMaxPixels || info.output_components != 3) {
    jpeg_destroy_decompress(&info);
    return nullptr;
  }
  surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(info.output_width),
                                       static_cast<int>(info.output_height));
  unsigned char* data = cairo_image_surface_get_data(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  std::vector<unsigned char> row(info.output_width * 3);
  while (info.output_scanline < info.output_height) {
    unsigned char* rows[1] = {row.data()};
    const unsigned y = info.output_scanline;
    jpeg_read_scanlines(&info, rows, 1);
    auto* out = reinterpret_cast<uint32_t*>(data + static_cast<size_t>(y) * stride);
    for (unsigned x = 0; x < info.output_width; ++x)
      out[x] = 0xFF000000u | (uint32_t{row[3 * x]} << 16) | (uint32_t{row[3 * x + 1]} << 8) | row[3 * x + 2];
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  cairo_surface_mark_dirty(surface);
  return surface;
}

// ---------------------------------------------------------------- encoding

// Pixels as RGB bytes, top row first, alpha flattened on white.
std::vector<unsigned char> RgbRows(cairo_surface_t* surface, int& width, int& height) {
  cairo_surface_flush(surface);
  width = cairo_image_surface_get_width(surface);
  height = cairo_image_surface_get_height(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  const bool hasAlpha = cairo_image_surface_get_format(surface) == CAIRO_FORMAT_ARGB32;
  const unsigned char* data = cairo_image_surface_get_data(surface);
  std::vector<unsigned char> rgb(static_cast<size_t>(width) * height * 3);
  for (int y = 0; y < height; ++y) {
    const auto* row = reinterpret_cast<const uint32_t*>(data + static_cast<size_t>(y) * stride);
    for (int x = 0; x < width; ++x) {
      const uint32_t p = row[x];
      const unsigned alpha = hasAlpha ? p >> 24 : 255;  // premultiplied: add white behind
      unsigned char* out = &rgb[(static_cast<size_t>(y) * width + x) * 3];
      out[0] = static_cast<unsigned char>(((p >> 16) & 0xFF) + 255 - alpha);
      out[1] = static_cast<unsigned char>(((p >> 8) & 0xFF) + 255 - alpha);
      out[2] = static_cast<unsigned char>((p & 0xFF) + 255 - alpha);
    }
  }
  return rgb;
}

void PutLe(std::string& out, uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

cairo_status_t WritePng(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

bool EncodeJpeg(const std::vector<unsigned char>& rgb, int width, int height, int dpi, std::string& bytes) {
  jpeg_compress_struct info{};
  TJpegError error{};
  info.err = jpeg_std_error(&error.Manager);
  error.Manager.error_exit = JpegFail;
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  if (setjmp(error.Jump)) {
    jpeg_destroy_compress(&info);
    free(buffer);
    return false;
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = static_cast<JDIMENSION>(width);
  info.image_height = static_cast<JDIMENSION>(height);
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 88, TRUE);
  info.density_unit = 1;
  info.X_density = info.Y_density = static_cast<UINT16>(dpi);
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    unsigned char* row[1] = {const_cast<unsigned char*>(&rgb[static_cast<size_t>(info.next_scanline) * width * 3])};
    jpeg_write_scanlines(&info, row, 1);
  }
  jpeg_finish_compress(&info);
  bytes.assign(reinterpret_cast<char*>(buffer), size);
  jpeg_destroy_compress(&info);
  free(buffer);
  return true;
}

std::string EncodeBmp(const std::vector<unsigned char>& rgb, int width, int height, int dpi) {
  const uint32_t rowSize = (static_cast<uint32_t>(width) * 3 + 3) & ~3u;
  const uint32_t imageSize = rowSize * static_cast<uint32_t>(height);
  const auto pixelsPerMetre = static_cast<uint32_t>(dpi / 0.0254 + 0.5);
  std::string out = "BM";
  PutLe(out, 54 + imageSize, 4);
  PutLe(out, 0, 4);
  PutLe(out, 54, 4);
  PutLe(out, 40, 4);
  PutLe(out, static_cast<uint32_t>(width), 4);
  PutLe(out, static_cast<uint32_t>(height), 4);  // positive: bottom row first
  PutLe(out, 1, 2);
  PutLe(out, 24, 2);
  PutLe(out, 0, 4);
  PutLe(out, imageSize, 4);
  PutLe(out, pixelsPerMetre, 4);
  PutLe(out, pixelsPerMetre, 4);
  PutLe(out, 0, 4);
  PutLe(out, 0, 4);
  for (int y = height - 1; y >= 0; --y) {
    const unsigned char* row = &rgb[static_cast<size_t>(y) * width * 3];
    for (int x = 0; x < width; ++x) {
      out.push_back(static_cast<char>(row[3 * x + 2]));
      out.push_back(static_cast<char>(row[3 * x + 1]));
      out.push_back(static_cast<char>(row[3 * x]));
    }
    out.append(rowSize - static_cast<uint32_t>(width) * 3, '\0');
  }
  return out;
}

// Baseline TIFF: one strip of uncompressed 8-bit RGB, little-endian.
std::string EncodeTiff(const std::vector<unsigned char>& rgb, int width, int height, int dpi) {
  struct TEntry {
    uint16_t Tag, Type;
    uint32_t Count, Value;
  };
  const uint32_t pixels = static_cast<uint32_t>(rgb.size());
  const uint16_t kShort = 3, kLong = 4, kRational = 5;
  const uint32_t entries = 12;
  const uint32_t ifdOffset = 8;
  const uint32_t ifdSize = 2 + entries * 12 + 4;
  const uint32_t bitsOffset = ifdOffset + ifdSize;
  const uint32_t resolutionOffset = bitsOffset + 6;
  const uint32_t dataOffset = resolutionOffset + 16;
  const TEntry table[entries] = {
      {256, kLong, 1, static_cast<uint32_t>(width)}, {257, kLong, 1, static_cast<uint32_t>(height)},
      {258, kShort, 3, bitsOffset},                  {259, kShort, 1, 1},
      {262, kShort, 1, 2},                           {273, kLong, 1, dataOffset},
      {277, kShort, 1, 3},                           {278, kLong, 1, static_cast<uint32_t>(height)},
      {279, kLong, 1, pixels},                       {282, kRational, 1, resolutionOffset},
      {283, kRational, 1, resolutionOffset + 8},     {296, kShort, 1, 2}};
  std::string out = "II";
  PutLe(out, 42, 2);
  PutLe(out, ifdOffset, 4);
  PutLe(out, entries, 2);
  for (const TEntry& e : table) {
    PutLe(out, e.Tag, 2);
    PutLe(out, e.Type, 2);
    PutLe(out, e.Count, 4);
    PutLe(out, e.Value, e.Type == kShort && e.Count == 1 ? 2 : 4);
    if (e.Type == kShort && e.Count == 1) PutLe(out, 0, 2);
  }
  PutLe(out, 0, 4);
  for (int i = 0; i < 3; ++i) PutLe(out, 8, 2);
  for (int i = 0; i < 2; ++i) {
    PutLe(out, static_cast<uint32_t>(dpi), 4);
    PutLe(out, 1, 4);
  }
  out.append(reinterpret_cast<const char*>(rgb.data()), rgb.size());
  return out;
}

// GIF: each pixel mapped to a 6x7x6 colour cube (252 colours) and LZW-coded with 9-bit
// codes, a clear code before the table would grow: simple, valid, and lossless for the
// cube's colours.
std::string EncodeGif(const std::vector<unsigned char>& rgb, int width, int height) {
  std::string out = "GIF89a";
  PutLe(out, static_cast<uint32_t>(width), 2);
  PutLe(out, static_cast<uint32_t>(height), 2);
  out.push_back(static_cast<char>(0xF7));  // global table of 256 entries
  out.push_back(0);
  out.push_back(0);
  for (int i = 0; i < 256; ++i) {
    const int r = i / 42 % 6, g = i / 6 % 7, b = i % 6;
    out.push_back(static_cast<char>(i < 252 ? r * 51 : 255));
    out.push_back(static_cast<char>(i < 252 ? g * 255 / 6 : 255));
    out.push_back(static_cast<char>(i < 252 ? b * 51 : 255));
  }
  out += ',';
  PutLe(out, 0, 4);
  PutLe(out, static_cast<uint32_t>(width), 2);
  PutLe(out, static_cast<uint32_t>(height), 2);
  out.push_back(0);
  out.push_back(8);  // minimum code size
  std::string data;
  uint32_t bitBuffer = 0;
  int bitCount = 0;
  const auto emit = [&](uint32_t code) {
    bitBuffer |= code << bitCount;
    bitCount += 9;
    while (bitCount >= 8) {
      data.push_back(static_cast<char>(bitBuffer & 0xFF));
      bitBuffer >>= 8;
      bitCount -= 8;
    }
  };
  constexpr uint32_t kClear = 256, kEnd = 257;
  int sinceClear = 0;
  emit(kClear);
  for (size_t i = 0; i < rgb.size(); i += 3) {
    if (sinceClear == 254) {  // the decoder's table would reach 512 entries next
      emit(kClear);
      sinceClear = 0;
    }
    const int r = (rgb[i] * 5 + 127) / 255, g = (rgb[i + 1] * 6 + 127) / 255, b = (rgb[i + 2] * 5 + 127) / 255;
    emit(static_cast<uint32_t>(r * 42 + g * 6 + b));
    ++sinceClear;
  }
  emit(kEnd);
  if (bitCount > 0) data.push_back(static_cast<char>(bitBuffer & 0xFF));
  for (size_t pos = 0; pos < data.size(); pos += 255) {
    const size_t size = std::min<size_t>(255, data.size() - pos);
    out.push_back(static_cast<char>(size));
    out.append(data, pos, size);
  }
  out.push_back(0);
  out.push_back(';');
  return out;
}

}  // namespace

bool DecodeDataUri(std::string_view uri, std::string& bytes) {
  bytes.clear();
  if (uri.substr(0, 5) != "data:") return false;
  const size_t comma = uri.find(',');
  if (comma == std::string_view::npos) return false;
  const std::string_view meta = uri.substr(5, comma - 5);
  const std::string_view payload = uri.substr(comma + 1);
  if (meta.size() >= 7 && meta.substr(meta.size() - 7) == ";base64") {
    uint32_t buffer = 0;
    int bits = 0;
    for (char c : payload) {
      const int value = Base64Value(c);
      if (value < 0) continue;  // blanks, line breaks and padding
      buffer = (buffer << 6) | static_cast<uint32_t>(value);
      bits += 6;
      if (bits >= 8) {
        bits -= 8;
        bytes.push_back(static_cast<char>((buffer >> bits) & 0xFF));
      }
    }
    return !bytes.empty();
  }
  for (size_t i = 0; i < payload.size(); ++i) {
    if (payload[i] == '%' && i + 2 < payload.size() && HexValue(payload[i + 1]) >= 0 && HexValue(payload[i + 2]) >= 0) {
      bytes.push_back(static_cast<char>(HexValue(payload[i + 1]) * 16 + HexValue(payload[i + 2])));
      i += 2;
    } else {
      bytes.push_back(payload[i]);
    }
  }
  return true;
}

cairo_surface_t* DecodeImageToSurface(std::string_view bytes) {
  if (bytes.size() > 8 && bytes.substr(0, 8) == std::string_view("\x89PNG\r\n\x1a\n", 8)) {
    TPngReader reader{bytes};
    cairo_surface_t* surface = cairo_image_surface_create_from_png_stream(ReadPng, &reader);
    if (cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS &&
        static_cast<int64_t>(cairo_image_surface_get_width(surface)) * cairo_image_surface_get_height(surface) <=
            kMaxPixels)
      return surface;
    cairo_surface_destroy(surface);
    return nullptr;
  }
  if (bytes.size() > 3 && static_cast<unsigned char>(bytes[0]) == 0xFF && static_cast<unsigned char>(bytes[1]) == 0xD8)
    return DecodeJpeg(bytes);
  return nullptr;
}

bool EncodeSurface(cairo_surface_t* surface, TKwImageFormat format, int dpi, std::string& bytes, std::string& error) {
  bytes.clear();
  if (format == ifPng) {
    if (cairo_surface_write_to_png_stream(surface, WritePng, &bytes) == CAIRO_STATUS_SUCCESS) return true;
    error = "Cannot encode the PNG image";
    return false;
  }
  int width = 0, height = 0;
  const std::vector<unsigned char> rgb = RgbRows(surface, width, height);
  switch (format) {
    case ifJpeg:
      if (EncodeJpeg(rgb, width, height, dpi, bytes)) return true;
      error = "Cannot encode the JPEG image";
      return false;
    case ifBmp: bytes = EncodeBmp(rgb, width, height, dpi); return true;
    case ifTiff: bytes = EncodeTiff(rgb, width, height, dpi); return true;
    case ifGif: bytes = EncodeGif(rgb, width, height); return true;
    default: error = "Unknown image format"; return false;
  }
}
