#include "uikit/drawing/UIImage.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/extension/NSBundle.h"
#include "uikit/headless/Headless.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;

/// A square PNG of one colour (opaque red, green or blue by its side), as any encoder writes it.
std::string squarePNG(int side);

class UIImageTest : public testing::Test {
 protected:
  UIImageTest() {
    headless::reset();
    fs::create_directories(folder_ / "Resources");
    NSBundle::setMainBundle(NSBundle::bundleWithPath(folder_));
  }
  ~UIImageTest() override {
    headless::reset();
    NSBundle::setMainBundle(nullptr);
  }
  void write(const std::string& name, const std::string& bytes) const {
    std::ofstream(folder_ / "Resources" / name, std::ios::binary) << bytes;
  }

  const ScratchFolder scratch_;
  const fs::path& folder_ = scratch_.path();
};

void appendNumber(std::string& bytes, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<char>(number >> shift));
}

std::uint32_t checksum(const std::string& bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int i = 0; i < 8; ++i) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
  }
  return ~crc;
}

void appendChunk(std::string& png, const std::string& kind, const std::string& contents) {
  appendNumber(png, static_cast<std::uint32_t>(contents.size()));
  png += kind + contents;
  appendNumber(png, checksum(kind + contents));
}

std::string squarePNG(int side) {
  std::string rows;
  for (int y = 0; y < side; ++y) {
    rows.push_back(0);
    for (int x = 0; x < side; ++x) rows += std::string("\xFF\x00\x00\x80", 4);  // half-clear red
  }
  std::uint32_t a = 1, b = 0;
  for (const char c : rows) {
    a = (a + static_cast<unsigned char>(c)) % 65521;
    b = (b + a) % 65521;
  }
  const auto length = static_cast<std::uint16_t>(rows.size());
  std::string data("\x78\x01\x01", 3);  // stored, not compressed
  for (const int value : {length & 0xFF, length >> 8, ~length & 0xFF, ~length >> 8 & 0xFF}) {
    data.push_back(static_cast<char>(value));
  }
  data += rows;
  appendNumber(data, b << 16 | a);

  std::string header;
  appendNumber(header, static_cast<std::uint32_t>(side));
  appendNumber(header, static_cast<std::uint32_t>(side));
  header += std::string("\x08\x06\x00\x00\x00", 5);
  std::string png("\x89PNG\r\n\x1a\n", 8);
  appendChunk(png, "IHDR", header);
  appendChunk(png, "IDAT", data);
  appendChunk(png, "IEND", "");
  return png;
}

TEST_F(UIImageTest, NamedImageComesInTheVariantForTheScreen) {
  for (const auto& [name, side] : std::vector<std::pair<const char*, int>>{{"flag.png", 4},
                                                                           {"flag@2x.png", 8},
                                                                           {"flag@3x.png", 12},
                                                                           {"large@2x.png", 8},
                                                                           {"plain.png", 4}}) {
    write(name, squarePNG(side));
  }
  struct Case {
    const char* name;
    CGFloat screenScale;
    int width;
    CGFloat scale;
  };
  for (const auto& c : {
           Case{"flag", 1, 4, 1},
           Case{"flag.png", 2, 8, 2},
           Case{"flag", 1.5, 8, 2},
           Case{"flag", 3, 12, 3},
           Case{"flag", 4, 12, 3},
           Case{"large", 1, 8, 2},
           Case{"plain", 2, 4, 1},
       }) {
    headless::setScreen({100, 100}, c.screenScale);
    const auto image = UIImage::imageNamed(c.name);
    ASSERT_TRUE(image) << c.name;
    EXPECT_EQ(image->pixels()->width, c.width) << c.name << " at " << c.screenScale;
    EXPECT_EQ(image->scale(), c.scale) << c.name << " at " << c.screenScale;
    EXPECT_EQ(image->size().width, 4);
  }
  EXPECT_EQ(UIImage::imageNamed("flag"), UIImage::imageNamed("flag.png")) << "cached";
  EXPECT_EQ(UIImage::imageNamed("flag")->pixels()->argb.front(), 0x80800000u) << "premultiplied";
}

TEST_F(UIImageTest, MissingOrDamagedImageIsNone) {
  write("broken.png", squarePNG(4).substr(0, 40));
  write("text.png", "not a picture");
  for (const char* name : {"missing", "broken", "text"}) {
    EXPECT_EQ(UIImage::imageNamed(name), nullptr) << name;
  }
}

}  // namespace
}  // namespace tasklane
