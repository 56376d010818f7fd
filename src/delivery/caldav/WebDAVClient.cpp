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
  return reinterpret_cast<Result<std::string> (*)(const std::string&)>(ask.value())(domain);
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
