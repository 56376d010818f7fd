#include "delivery/caldav/WebDAVClient.h"

#include <utility>

#include "delivery/Framework.h"

namespace tasklane {

Result<std::unique_ptr<WebDAVClient>> WebDAVClient::make(Settings settings) {
  static const auto make = frameworkFunction("webdav", "tasklane_make_webdav_client");
  if (!make) return make.error();
  const auto makeClient = reinterpret_cast<WebDAVClient* (*)(Settings)>(make.value());
  return std::unique_ptr<WebDAVClient>(makeClient(std::move(settings)));
}

Result<std::string> WebDAVClient::addressOfMailDomain(const std::string& domain) {
  const auto ask = frameworkFunction("webdav", "tasklane_address_of_mail_domain");
  if (!ask) return ask.error();
  Result<std::string> address{std::string()};
  reinterpret_cast<void (*)(const std::string&, Result<std::string>&)>(ask.value())(domain,
                                                                                    address);
  return address;
}

WebDAVResponse WebDAVClient::send(const WebDAVRequest& request) {
  WebDAVResponse answer;
  sendAll(
      1, [&](std::size_t) { return request; },
      [&](std::size_t, WebDAVResponse response) {
        answer = std::move(response);
        return Next::GoOn;
      });
  return answer;
}

}  // namespace tasklane
