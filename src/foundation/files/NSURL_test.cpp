#include "foundation/files/NSURL.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace tasklane {
namespace {

TEST(NSURL, EncodesFilePathsAndGivesThemBack) {
  const struct {
    const char *path, *address, *back;
  } cases[] = {
      {"/", "file:///", "/"},
      {"/a//b/./c/../d/", "file:///a/b/d", "/a/b/d"},
      {"/../..", "file:///", "/"},
      {"/tmp/Foto 100%.jpg", "file:///tmp/Foto%20100%25.jpg", "/tmp/Foto 100%.jpg"},
      {"/ä/日/#?;", "file:///%C3%A4/%E6%97%A5/%23%3F%3B", "/ä/日/#?;"},
      {"/a%20b", "file:///a%2520b", "/a%20b"},
      {"/bad \xFF name", "file:///bad%20%FF%20name", "/bad \xFF name"},
  };
  for (const auto& c : cases) {
    const NSURL url = NSURL::fileURLWithPath(c.path);
    EXPECT_EQ(url.absoluteString(), c.address);
    EXPECT_EQ(url.path(), c.back);
    EXPECT_TRUE(url.isFileURL());
    EXPECT_EQ(NSURL::URLWithString(url.absoluteString()), url);
  }
  char folder[4096];
  ASSERT_TRUE(getcwd(folder, sizeof folder));
  EXPECT_EQ(NSURL::fileURLWithPath("x/y").path(), std::string(folder) + "/x/y");
}

TEST(NSURL, TakesAddressesAsPagesWriteThem) {
  const struct {
    const char *text, *address;  // no address: not one
  } cases[] = {
      {"https://example.com/a?b=c&d=%20#e", "https://example.com/a?b=c&d=%20#e"},
      {"HTTP://Example.com", "HTTP://Example.com"},
      {"mailto:ana@example.com", "mailto:ana@example.com"},
      {"https://example.com/日本?q=é|{x}",
       "https://example.com/%E6%97%A5%E6%9C%AC?q=%C3%A9%7C%7Bx%7D"},
      {"https://example.com/100%", "https://example.com/100%25"},
      {"http://[::1]:80/", "http://[::1]:80/"},
      {"", nullptr},
      {"example.com/a", nullptr},
      {"/a:b", nullptr},
      {"1a:b", nullptr},
      {"note:", nullptr},
      {"note: buy milk", nullptr},
      {"https://a/b\nc", nullptr},
  };
  for (const auto& [text, address] : cases) {
    const auto url = NSURL::URLWithString(text);
    EXPECT_EQ(url ? url->absoluteString() : "none", address ? address : "none") << text;
  }
  EXPECT_EQ(NSURL::URLWithString("HTTP://x")->scheme(), "http");
}

TEST(NSURL, TakesPathsApartAndPutsThemTogether) {
  const auto url = *NSURL::URLWithString("https://example.com/a%20b/c.tar.GZ?q=/x.y#z");
  EXPECT_EQ(url.path(), "/a b/c.tar.GZ");
  EXPECT_EQ(url.lastPathComponent(), "c.tar.GZ");
  EXPECT_EQ(url.pathExtension(), "GZ");
  EXPECT_EQ(url.URLByDeletingLastPathComponent().absoluteString(),
            "https://example.com/a%20b?q=/x.y#z");
  const NSURL folder = NSURL::fileURLWithPath("/tmp/a b");
  const NSURL file = folder.URLByAppendingPathComponent("ü#1.png");
  EXPECT_EQ(file, NSURL::fileURLWithPath("/tmp/a b/ü#1.png"));
  EXPECT_EQ(file.URLByDeletingLastPathComponent(), folder);
  EXPECT_EQ(NSURL::fileURLWithPath("/x").URLByDeletingLastPathComponent().path(), "/");
  EXPECT_EQ(NSURL::fileURLWithPath("/").URLByAppendingPathComponent("x").path(), "/x");
  EXPECT_EQ(NSURL::fileURLWithPath("/a/.hidden").pathExtension(), "");
}

}  // namespace
}  // namespace tasklane
