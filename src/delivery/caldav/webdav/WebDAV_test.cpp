#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "delivery/caldav/webdav/CalendarService.h"
#include "delivery/caldav/webdav/MultistatusReading.h"
#include "delivery/caldav/webdav/WebAddress.h"

namespace tasklane {
namespace {

constexpr const char* kBase = "https://example.org/dav/";

std::string multistatus(const std::string& responses) {
  return "<?xml version=\"1.0\"?><multistatus xmlns=\"DAV:\" "
         "xmlns:C=\"urn:ietf:params:xml:ns:caldav\">" +
         responses + "</multistatus>";
}

std::string response(const std::string& properties, const std::string& href = "a") {
  return multistatus("<response><href>" + href + "</href><propstat><prop>" + properties +
                     "</prop><status>HTTP/1.1 200 OK</status></propstat></response>");
}

TEST(Multistatus, IsReadWhateverItsPrefixes) {
  const auto read = multistatusFromXML(
      "\xEF\xBB\xBF<a:multistatus xmlns:a='DAV:' xmlns:unused='urn:x'>\n <a:response>\n"
      "<a:href>\n /dav/me%40example.org/t%c3%a4sks/ </a:href><a:propstat><a:prop>"
      "<b:calendar-home-set "
      "xmlns:b='urn:ietf:params:xml:ns:caldav'><a:href>../x</a:href></b:calendar-home-set>"
      "<a:displayname>A &amp; <![CDATA[<B>]]></a:displayname><a:resourcetype><a:collection/>"
      "<calendar xmlns='urn:ietf:params:xml:ns:caldav'/></a:resourcetype>"
      "<s xmlns='urn:ietf:params:xml:ns:caldav'/><max-resource-size "
      "xmlns='urn:ietf:params:xml:ns:caldav'>1048576</max-resource-size>"
      "<supported-calendar-component-set xmlns='urn:ietf:params:xml:ns:caldav'><comp name='VTODO'/>"
      "</supported-calendar-component-set><a:current-user-privilege-set><a:privilege><a:read/>"
      "</a:privilege></a:current-user-privilege-set>"
      "</a:prop><a:status>HTTP/1.1 200 "
      "OK</a:status></a:propstat><a:propstat><a:prop><a:getetag>no</a:getetag>"
      "</a:prop><a:status>HTTP/1.1 404 Not Found</a:status></a:propstat></a:response>"
      "<a:response><a:href>gone.ics</a:href><a:status>HTTP/1.1 404 Not "
      "Found</a:status></a:response>"
      "<a:sync-token> token </a:sync-token></a:multistatus>",
      kBase);
  ASSERT_TRUE(read) << read.error().description;
  ASSERT_EQ(read.value().resources.size(), 2u);
  const auto& list = read.value().resources[0];
  EXPECT_EQ(list.address, "https://example.org/dav/me@example.org/t%C3%A4sks/");
  EXPECT_THAT(list.calendarHomes, testing::ElementsAre("https://example.org/x"));
  EXPECT_EQ(list.displayName, "A & <B>");
  EXPECT_TRUE(list.isCalendar);
  EXPECT_EQ(list.maxResourceSize, 1048576u);
  EXPECT_THAT(list.components, testing::Optional(testing::ElementsAre("VTODO")));
  EXPECT_EQ(list.isWritable, false);
  EXPECT_EQ(list.etag, std::nullopt) << "what was not found";
  EXPECT_EQ(read.value().resources[1].address, "https://example.org/dav/gone.ics");
  EXPECT_EQ(read.value().resources[1].status, 404);
  EXPECT_EQ(read.value().syncToken, "token");
}

TEST(Multistatus, OfAHostileServerIsAnErrorOrNothing) {
  for (const std::string& xml :
       {std::string(), std::string("\0\0", 2), std::string("<html><body>Log in</body></html>"),
        std::string("<multistatus/>"), std::string("<multistatus xmlns='DAV'/>"),
        std::string("<D:multistatus/>"), multistatus("<response>"),
        multistatus("<response></href>"), multistatus("").substr(0, 60), std::string(100000, '<')})
    EXPECT_FALSE(multistatusFromXML(xml, kBase)) << xml.substr(0, 100);

  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<response>";
  EXPECT_FALSE(multistatusFromXML(multistatus(deep), kBase));
  for (int i = 0; i < 100000; ++i) deep += "</response>";
  const auto nested = multistatusFromXML(multistatus(deep), kBase);
  EXPECT_TRUE(nested && nested.value().resources.empty());

  // Entities of the document's own, and addresses of elsewhere.
  const auto bomb = multistatusFromXML(
      "<!DOCTYPE a [<!ENTITY x SYSTEM 'file:///etc/passwd'><!ENTITY y '&x;&x;&x;'>]>" +
          response("<displayname>&x;&y;</displayname>").substr(21),
      kBase);
  ASSERT_TRUE(bomb);
  EXPECT_EQ(bomb.value().resources[0].displayName, "&x;&y;");
  for (const char* href : {"file:///etc/passwd", "javascript:1", "", "gopher://x/"}) {
    const auto read = multistatusFromXML(response("", href), kBase);
    ASSERT_TRUE(read);
    for (const auto& resource : read.value().resources)
      EXPECT_TRUE(resource.address.starts_with("https://example.org/")) << href;
  }
  const auto sizes = multistatusFromXML(
      response(
          "<C:max-resource-size>-1</C:max-resource-size><getetag></getetag><C:supported-calendar-"
          "component-set><C:comp/></C:supported-calendar-component-set>"),
      kBase);
  ASSERT_TRUE(sizes);
  EXPECT_EQ(sizes.value().resources[0].maxResourceSize, std::nullopt);
}

TEST(WebAddress, IsResolvedInOneForm) {
  struct Case {
    const char *base, *reference, *result;
  };
  for (const auto& [base, reference, result] :
       std::vector<Case>{{kBase, "/a b/%7eme/%2f%c3%A4", "https://example.org/a%20b/~me/%2F%C3%A4"},
                         {kBase, "//other.example/x#part", "https://other.example/x"},
                         {kBase, "http://ana:secret@h:80/p", "http://h/p"},
                         {"https://example.org:8443", "../../x/", "https://example.org:8443/x/"},
                         {kBase, "ftp://example.org/", ""},
                         {"nothing", "x", ""}})
    EXPECT_EQ(resolvedAddress(base, reference).value_or(""), result) << base << " " << reference;
}

TEST(WebAddress, KeepsSecretsWithItsHost) {
  struct Case {
    const char *trusted, *other;
    bool may;
  };
  for (const auto& [trusted, other, may] :
       std::vector<Case>{{"https://h/a", "https://H:443/b", true},
                         {"https://h/", "https://h:8443/", false},
                         {"https://h/", "http://h/", false},
                         {"https://h/", "https://x.h/", false},
                         {"https://h/", "https://h.x/", false},
                         {"https://h@x/", "https://h/", false},
                         {"http://h:5232/", "https://h/", true},
                         {"http://h/", "http://h:81/", false}})
    EXPECT_EQ(mayShareSecrets(trusted, other), may) << trusted << " " << other;
  for (const char* heard :
       {"http://h/", "http://127.0.0.1.h/", "http://localhost.h/", "http://[::2]/"})
    EXPECT_FALSE(isPrivateAddress(heard)) << heard;
  for (const char* unheard :
       {"https://h/", "http://127.0.0.1:1/", "http://localhost/", "http://[::1]:8/"})
    EXPECT_TRUE(isPrivateAddress(unheard)) << unheard;
}

/// An answer of the DNS with records of one type, all of the name that was asked for.
std::string answer(int type, const std::vector<std::string>& records) {
  const auto number = [](int value) {
    return std::string{static_cast<char>(value >> 8), static_cast<char>(value)};
  };
  std::string message = number(1) + number(0x8180) + number(1) +
                        number(static_cast<int>(records.size())) + number(0) + number(0) +
                        std::string("\1x\7example\0", 11) + number(type) + number(1);
  for (const auto& record : records)
    message += "\xC0\x0C" + number(type) + number(1) + std::string(4, '\0') +
               number(static_cast<int>(record.size())) + record;
  return message;
}

std::string server(int priority, int weight, int port, const std::string& name) {
  std::string record;
  for (const int value : {priority, weight, port})
    record += {static_cast<char>(value >> 8), static_cast<char>(value)};
  return record + name + std::string(1, '\0');
}

TEST(CalendarService, IsWhatTheDNSNames) {
  constexpr int kSRV = 33, kTXT = 16;
  const std::string dav("\3dav\1x\7example"), elsewhere("\3dav\5other\7example");
  struct Case {
    std::string servers, texts, result;
  };
  for (const auto& [servers, texts, result] : std::vector<Case>{
           {"", "", "https://x.example/.well-known/caldav"},
           {"rubbish", "", "https://x.example/.well-known/caldav"},
           {answer(kSRV, {server(0, 0, 443, dav)}), "", "https://dav.x.example/.well-known/caldav"},
           {answer(kSRV, {server(9, 9, 1, elsewhere), server(1, 0, 2, elsewhere),
                          server(1, 5, 8443, dav)}),
            answer(kTXT, {"\7comment\x0Bpath=/dav/u"}), "https://dav.x.example:8443/dav/u"},
           {answer(kSRV, {server(0, 0, 443, dav)}), answer(kTXT, {"\x7Fpath=/cut"}),
            "https://dav.x.example/.well-known/caldav"},
           {answer(kSRV, {server(0, 0, 443, dav)}).substr(0, 50), "",
            "https://x.example/.well-known/caldav"},
           {answer(kSRV, {server(0, 0, 443, "")}), "",
            "x.example says that it has no calendar server"},
           {answer(kSRV, {server(0, 0, 443, elsewhere)}), "",
            "x.example names a server of another domain; if that is right, connect it by its own "
            "address, https://dav.other.example/.well-known/caldav"}}) {
    const auto address = addressOfMailDomain("x.example", servers, texts);
    EXPECT_EQ(address ? address.value() : address.error().description, result);
  }
}

}  // namespace
}  // namespace tasklane
