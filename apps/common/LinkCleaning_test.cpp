#include "common/LinkCleaning.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/extension/UTType.h"

namespace tasklane {
namespace {

TEST(LinkCleaning, RemovesKnownKeysAloneAndKeepsAllElseByteForByte) {
  const struct {
    const char *address, *cleaned;
  } cases[] = {
      {"https://a.example/?utm_source=x&utm_campaign=y", "https://a.example/"},
      {"https://a.example/p?id=1&utm_source=x&b=%2f+%C3%A4#top",
       "https://a.example/p?id=1&b=%2f+%C3%A4#top"},
      {"https://a.example/?fbclid=x&id=1", "https://a.example/?id=1"},
      {"http://a.example/?a&&gclid&=&b=", "http://a.example/?a&&=&b="},
      {"https://a.example/?UTM_source=1&utmx=2&source=3&ref=4&xfbclid=5", nullptr},
      {"https://a.example/utm_source=1?#?utm_source=2", nullptr},
      {"https://a.example/?", nullptr},
      {"https://a.example/?&", nullptr},
      {"https://a.example/#?utm_source=2", nullptr},
      {"mailto:a@a.example?utm_source=1", nullptr},
      {"utm_source=1", nullptr},
  };
  for (const auto& [address, cleaned] : cases) {
    std::vector<std::string> removed;
    EXPECT_EQ(addressWithoutTracking(address, removed), cleaned ? cleaned : address);
    EXPECT_EQ(removed.empty(), !cleaned) << address;
  }
}

TEST(LinkCleaning, FindsTheAddressesOfARequestAndNamesEachKeyOnce) {
  ShareRequest request{{{"see https://a.example/?gclid=1.",
                         "(http://b.example/?x=1&gclid=2) httpx \"https://c.example/?gclid\"",
                         {{{kUTTypeURL, "https://d.example/?msclkid=3", {}, {}, {}}},
                          {{kUTTypePropertyList,
                            {},
                            {},
                            {},
                            PropertyListDictionary{{"url", "https://e.example/?pk_x=4"},
                                                   {"selection", "https://f.example/?pk_x=5"}}}}}}},
                       {},
                       false};
  EXPECT_THAT(removeTracking(request), ::testing::EndsWith(": gclid, msclkid, pk_x"));
  const auto& item = request.items[0];
  EXPECT_EQ(item.title, "see https://a.example/.");
  EXPECT_EQ(item.text, "(http://b.example/?x=1) httpx \"https://c.example/\"");
  EXPECT_EQ(item.attachments[0][0].url, "https://d.example/");
  const auto& page = *item.attachments[1][0].results;
  EXPECT_EQ(*page.valueForKey("url")->string(), "https://e.example/");
  EXPECT_EQ(*page.valueForKey("selection")->string(), "https://f.example/?pk_x=5");
  EXPECT_EQ(removeTracking(request), "");
}

TEST(LinkCleaning, AnAddressAloneAtTheEndOfATextBecomesTheLink) {
  using Text = std::optional<std::string>;
  const struct {
    Text title, text, sortedTitle, sortedText;
    std::string link;
  } cases[] = {
      {{}, "A page\n\nhttps://a.example/?q=1#x", "A page", {}, "https://a.example/?q=1#x"},
      {{}, "A page\r\nhttp://a.example/ \r\n", "A page", {}, "http://a.example/"},
      {{},
       "A page\n\nquoted\nmore\n\nhttps://a.example/",
       "A page",
       "quoted\nmore\n\n",
       "https://a.example/"},
      {"Title", "https://a.example/", "Title", {}, "https://a.example/"},
      {"Title", "quoted\nhttps://a.example/", "Title", "quoted\n", "https://a.example/"},
      // Something would be lost.
      {{}, "https://a.example/", {}, "https://a.example/", {}},
      {{}, "see https://a.example/", {}, "see https://a.example/", {}},
      {{}, "A page\n\nhttps://a.example/\nmore", {}, "A page\n\nhttps://a.example/\nmore", {}},
      {{}, "A page\n\nwww.example.org", {}, "A page\n\nwww.example.org", {}},
      {{}, "A page\n\nfile:///etc/passwd", {}, "A page\n\nfile:///etc/passwd", {}},
      {{}, " \n ", {}, " \n ", {}},
      {"Title", {}, "Title", {}, {}},
  };
  for (const auto& each : cases) {
    ShareRequest::Item item{each.title, each.text, {}};
    sortOutLink(item);
    const auto name = each.text.value_or("(no text)");
    EXPECT_EQ(item.title, each.sortedTitle) << name;
    EXPECT_EQ(item.text, each.sortedText) << name;
    ASSERT_EQ(item.attachments.size(), each.link.empty() ? 0U : 1U) << name;
    if (each.link.empty()) continue;
    EXPECT_EQ(item.attachments[0][0].url, each.link);
  }
}

}  // namespace
}  // namespace tasklane
