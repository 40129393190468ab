// The small layers under the document writers: compound files (uKwOleStorage), programs
// run without a shell (uKwProcess), and the image codecs (uKwImageCodec).
#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace std::string_literals;

#include "TestSupport.h"
#include "uKwImageCodec.h"
#include "uKwOleStorage.h"
#include "uKwProcess.h"

namespace {

// Every entry of a tree as "path=size:first bytes" lines, sorted (a compound file keeps
// its entries in an order of its own), for comparing trees.
std::string Describe(const TKwOleNode& node, const std::string& path = "");

std::string Sorted(const std::string& lines) {
  std::vector<std::string> list;
  size_t start = 0;
  for (size_t end; (end = lines.find('\n', start)) != std::string::npos; start = end + 1)
    list.push_back(lines.substr(start, end - start));
  std::sort(list.begin(), list.end());
  std::string out;
  for (const std::string& line : list) out += line + "\n";
  return out;
}

std::string Describe(const TKwOleNode& node, const std::string& path) {
  std::string text;
  for (const TKwOleNode& child : node.Children) {
    const std::string name = path + "/" + child.Name;
    text += child.IsStorage ? name + "/\n" + Describe(child, name)
                            : name + "=" + std::to_string(child.Data.size()) + ":" + child.Data.substr(0, 8) + "\n";
  }
  return text;
}

}  // namespace

// ---------------------------------------------------------------- compound files

TEST(TKwDocumentSupportTest, CompoundFilesRoundTripStreamsOfEverySizeAndNestedStorages) {
  TTempDir dir;
  TKwOleNode root{"Root Entry", true, {}, {}};
  root.AddStream("empty", "");
  root.AddStream("small", "tiny bytes");
  root.AddStream("mini-limit", std::string(4095, 'm'));  // the last size of the mini stream
  root.AddStream("big", std::string(70000, 'b'));
  TKwOleNode& level = root.AddStorage("level1");
  level.AddStorage("level2").AddStream("deep", "inside");
  level.AddStream("Ünïcode näme", "named");
  const std::string file = (dir / "tree.ole").string();
  std::string error;
  ASSERT_TRUE(WriteCompoundFile(file, root, {}, error)) << error;
  TKwOleNode read;
  ASSERT_TRUE(ReadCompoundFile(file, read, error)) << error;
  EXPECT_EQ(Sorted(Describe(read)), Sorted(Describe(root)));
  EXPECT_EQ(*read.Child("LEVEL1")->Child("level2")->StreamData("deep"), "inside");  // names match in any case
  EXPECT_EQ(read.StreamData("level1"), nullptr);  // a storage is no stream

  TKwOleReadLimits shallow;
  shallow.MaxDepth = 1;
  EXPECT_FALSE(ReadCompoundFile(file, read, error, shallow));
  TKwOleReadLimits small;
  small.MaxTotalBytes = 1000;
  EXPECT_FALSE(ReadCompoundFile(file, read, error, small));
  EXPECT_FALSE(ReadCompoundBytes("", read, error));
  EXPECT_FALSE(WriteCompoundFile((dir / "missing" / "x.ole").string(), root, {}, error));
}

// ---------------------------------------------------------------- programs

TEST(TKwDocumentSupportTest, ProgramsGetTheirInputOnStdinAndReportTheirExitCode) {
  const TKwProgramResult cat = RunProgram({"cat"}, "secret line\n");
  EXPECT_TRUE(cat.Started);
  EXPECT_EQ(cat.ExitCode, 0);
  EXPECT_EQ(cat.Output, "secret line\n");
  const TKwProgramResult failing = RunProgram({"sh", "-c", "echo oops >&2; exit 3"});
  EXPECT_EQ(failing.ExitCode, 3);
  EXPECT_EQ(failing.Output, "oops\n");
  // A program that leaves before reading a large input must not take us down (SIGPIPE).
  const TKwProgramResult early = RunProgram({"true"}, std::string(4 << 20, 'x'));
  EXPECT_EQ(early.ExitCode, 0);
  const TKwProgramResult missing = RunProgram({"quillon-no-such-program"});
  EXPECT_FALSE(missing.Started);
  EXPECT_NE(missing.Output.find("quillon-no-such-program"), std::string::npos);
  // Arguments are never read by a shell.
  const TKwProgramResult literal = RunProgram({"echo", "$(id); `id` | x"});
  EXPECT_EQ(literal.Output, "$(id); `id` | x\n");
}

// ---------------------------------------------------------------- images

TEST(TKwDocumentSupportTest, DataUrisDecodeBase64AndPercentEncoding) {
  std::string bytes;
  EXPECT_TRUE(DecodeDataUri("data:text/plain;base64,SGVs\nbG8=", bytes));
  EXPECT_EQ(bytes, "Hello");
  EXPECT_TRUE(DecodeDataUri("data:,a%20b%zz", bytes));
  EXPECT_EQ(bytes, "a b%zz");
  EXPECT_FALSE(DecodeDataUri("data:image/png;base64", bytes));  // no comma
  EXPECT_FALSE(DecodeDataUri("http://example.com/x.png", bytes));
  EXPECT_EQ(DecodeImageToSurface("not a picture"), nullptr);
  EXPECT_EQ(DecodeImageToSurface(std::string("\x89PNG\r\n\x1a\n", 8) + "truncated"), nullptr);
  EXPECT_EQ(DecodeImageToSurface("\xFF\xD8\xFF broken jpeg"), nullptr);
}

TEST(TKwDocumentSupportTest, EncodedImagesDecodeBackToTheirPixels) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 37, 11);
  cairo_t* cr = cairo_create(surface);
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_paint(cr);
  cairo_set_source_rgb(cr, 1, 0, 0);
  cairo_rectangle(cr, 0, 0, 10, 11);
  cairo_fill(cr);
  cairo_destroy(cr);
  std::string bytes, error;
  for (const TKwImageFormat format : {ifPng, ifJpeg}) {
    ASSERT_TRUE(EncodeSurface(surface, format, 96, bytes, error)) << error;
    cairo_surface_t* decoded = DecodeImageToSurface(bytes);
    ASSERT_NE(decoded, nullptr);
    EXPECT_EQ(cairo_image_surface_get_width(decoded), 37);
    EXPECT_EQ(cairo_image_surface_get_height(decoded), 11);
    const uint32_t red = reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(decoded))[2];
    EXPECT_GT((red >> 16) & 0xFF, 200u);
    EXPECT_LT((red >> 8) & 0xFF, 60u);
    cairo_surface_destroy(decoded);
  }
  ASSERT_TRUE(EncodeSurface(surface, ifBmp, 96, bytes, error));
  EXPECT_EQ(bytes.size(), 54u + 112u * 11u);  // rows of 37 pixels padded to 112 bytes
  ASSERT_TRUE(EncodeSurface(surface, ifTiff, 96, bytes, error));
  EXPECT_EQ(bytes.substr(bytes.size() - 37 * 11 * 3, 3), "\xFF\x00\x00"s.substr(0, 3));
  ASSERT_TRUE(EncodeSurface(surface, ifGif, 96, bytes, error));
  EXPECT_EQ(bytes.substr(0, 6), "GIF89a");
  EXPECT_EQ(bytes.back(), ';');
  cairo_surface_destroy(surface);
}
