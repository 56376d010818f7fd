#include "delivery/caldav/webdav/CalendarService.h"

#include <arpa/nameser.h>
#include <netinet/in.h>
#include <resolv.h>

#include <array>
#include <cstdint>
#include <tuple>

#include "delivery/caldav/webdav/WebAddress.h"

namespace tasklane {

namespace {

constexpr int kSecondsToAnswer = 3;
constexpr const char* kWellKnown = "/.well-known/caldav";

/// One question to the DNS; empty when there is no answer.
std::string answerOfDNS(const std::string& name, ns_type type) {
  struct __res_state resolver {};
  if (::res_ninit(&resolver) != 0) return {};
  resolver.retrans = kSecondsToAnswer;
  resolver.retry = 1;
  std::array<unsigned char, NS_MAXMSG> answer{};
  const int size = ::res_nquery(&resolver, name.c_str(), ns_c_in, type, answer.data(),
                                static_cast<int>(answer.size()));
  ::res_nclose(&resolver);
  if (size <= 0 || size > static_cast<int>(answer.size())) return {};
  return {reinterpret_cast<const char*>(answer.data()), static_cast<std::size_t>(size)};
}

/// Calls the function with each record of a type in an answer; a malformed answer has none.
template <class Use>
void forEachRecord(std::string_view answer, ns_type type, const Use& use) {
  ns_msg message;
  if (::ns_initparse(reinterpret_cast<const unsigned char*>(answer.data()),
                     static_cast<int>(answer.size()), &message) != 0)
    return;
  for (int i = 0; i < ns_msg_count(message, ns_s_an); ++i) {
    ns_rr record;
    if (::ns_parserr(&message, ns_s_an, i, &record) == 0 && ns_rr_type(record) == type)
      use(message, record);
  }
}

struct Server {
  unsigned priority = 0;
  unsigned weight = 0;
  unsigned port = 0;
  std::string host;
};

/// The one of the lowest priority; of those the heaviest: a person has one server, seldom two.
std::optional<Server> serverIn(std::string_view answer) {
  constexpr int kFixedPart = 6;
  std::optional<Server> best;
  forEachRecord(answer, ns_t_srv, [&](const ns_msg& message, const ns_rr& record) {
    if (ns_rr_rdlen(record) <= kFixedPart) return;
    const unsigned char* data = ns_rr_rdata(record);
    char host[NS_MAXDNAME];
    if (::ns_name_uncompress(ns_msg_base(message), ns_msg_end(message), data + kFixedPart, host,
                             sizeof host) < 0)
      return;
    const Server server{ns_get16(data), ns_get16(data + 2), ns_get16(data + 4), host};
    if (!best ||
        std::tuple(server.priority, best->weight) < std::tuple(best->priority, server.weight))
      best = server;
  });
  return best;
}

/// Of the record "path=/dav/"; empty for none.
std::string pathIn(std::string_view answer) {
  constexpr std::string_view kPath = "path=";
  std::string path;
  forEachRecord(answer, ns_t_txt, [&](const ns_msg&, const ns_rr& record) {
    std::string_view rest(reinterpret_cast<const char*>(ns_rr_rdata(record)), ns_rr_rdlen(record));
    while (!rest.empty()) {
      const std::size_t length = static_cast<unsigned char>(rest.front());
      if (length >= rest.size()) return;
      const auto text = rest.substr(1, length);
      if (text.starts_with(kPath) && text.size() > kPath.size() && text[kPath.size()] == '/')
        path = text.substr(kPath.size());
      rest.remove_prefix(length + 1);
    }
  });
  return path;
}

}  // namespace

Result<std::string> addressOfMailDomain(const std::string& domain, std::string_view srvAnswer,
                                        std::string_view txtAnswer) {
  const auto server = serverIn(srvAnswer);
  if (!server) return "https://" + domain + kWellKnown;
  if (server->host.empty() || server->host == ".")
    return NSError{NSError::Kind::Unsupported, domain + " says that it has no calendar server"};
  std::string path = pathIn(txtAnswer);
  if (path.empty()) path = kWellKnown;
  const std::string address = "https://" + server->host +
                              (server->port == 443 ? "" : ":" + std::to_string(server->port)) +
                              path;
  const std::string host = inLowerCase(server->host);
  if (host != inLowerCase(domain) && !host.ends_with("." + inLowerCase(domain)))
    return NSError{NSError::Kind::NotPermitted,
                   domain +
                       " names a server of another domain; if that is right, connect it by its "
                       "own address, " +
                       address};
  return address;
}

extern "C" __attribute__((visibility("default"))) void tasklane_address_of_mail_domain(
    const std::string& domain, Result<std::string>& address) {
  const std::string service = "_caldavs._tcp." + domain;
  const std::string servers = answerOfDNS(service, ns_t_srv);
  address =
      addressOfMailDomain(domain, servers, servers.empty() ? "" : answerOfDNS(service, ns_t_txt));
}

}  // namespace tasklane
