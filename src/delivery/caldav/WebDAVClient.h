#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "delivery/caldav/Multistatus.h"
#include "foundation/base/NSError.h"

namespace tasklane {

struct WebDAVRequest {
  std::string method;
  std::string address;
  std::vector<std::string> headers;  ///< "Depth: 1"
  std::string body;
};

struct WebDAVResponse {
  /// What the server answered; 0 when no answer came, and the error then says why in a sentence for
  /// a person.
  long status = 0;
  std::string error;
  /// Where the answer came from, after redirections.
  std::string address;
  std::string body;
  std::string etag;
  std::optional<std::chrono::seconds> retryAfter;

  bool isSuccess() const { return status >= 200 && status < 300; }
};

/// Speaks with one WebDAV server over at most eight connections, which it keeps. TLS certificates
/// are always verified. The user's name and password go to the host of the settings' address
/// alone, by Digest where the server offers it, and never over a connection that others can listen
/// to. Redirections are followed with the same method and body, never to an unencrypted address
/// from an encrypted one. One thread.
///
/// Made of libcurl and pugixml, in a module that is loaded when it is first needed.
class WebDAVClient {
 public:
  static constexpr std::size_t kMostConnections = 8;

  struct Settings {
    /// Of the server that may know the password.
    std::string address;
    /// None: nobody logs in.
    std::string user;
    /// Asked when it is first needed, and again when the server does not accept it any more.
    std::function<Result<std::string>()> password;
    /// PEM certificates of the authorities to trust in place of the system's; empty for those.
    std::string authoritiesFile;
    /// How long a server may say nothing.
    std::chrono::seconds patience{60};
    /// Once it is readable, all waits end; -1 for none.
    int interruption = -1;
  };
  static Result<std::unique_ptr<WebDAVClient>> make(Settings settings);

  /// The calendar server that a mail domain names in the DNS (RFC 6764): its host and port from the
  /// record SRV of _caldavs._tcp, the path from TXT, "/.well-known/caldav" without one. Where the
  /// domain names none, it is taken to be the server itself. An error when the domain says that it
  /// has none, and when it names a host outside of itself: then a person has to confirm it, since
  /// the DNS can be forged. Asks the DNS for some seconds at most.
  static Result<std::string> addressOfMailDomain(const std::string& domain);

  virtual ~WebDAVClient() = default;

  /// Sends many at once, in their order as connections are free: each is made when its turn comes.
  /// The function is given each answer as it comes, in any order, with the request's place. Once it
  /// says Stop, no further request is begun; those under way are waited for and told.
  enum class Next { GoOn, Stop };
  using MakeRequest = std::function<WebDAVRequest(std::size_t index)>;
  using OnResponse = std::function<Next(std::size_t index, WebDAVResponse response)>;
  virtual void sendAll(std::size_t count, const MakeRequest& makeRequest,
                       const OnResponse& onResponse) = 0;
  WebDAVResponse send(const WebDAVRequest& request);

  /// What an answer to PROPFIND or REPORT says; an error when it is nothing of the kind.
  virtual Result<Multistatus> multistatus(const WebDAVResponse& response) const = 0;

  /// Whether the body of an error names this condition ("no-uid-conflict").
  virtual bool namesCondition(const WebDAVResponse& response,
                              const std::string& condition) const = 0;

  /// What a reference means at an address, as a whole address; none when it is none of http or
  /// https.
  virtual std::optional<std::string> resolved(const std::string& address,
                                              const std::string& reference) const = 0;
};

}  // namespace tasklane
