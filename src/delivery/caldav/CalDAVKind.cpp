#include <charconv>
#include <optional>

#include "delivery/DestinationKinds.h"
#include "delivery/caldav/CalDAVDestination.h"
#include "delivery/caldav/PasswordSource.h"

namespace tasklane {

namespace {

using Options = DestinationKind::Options;

NSError wrong(const std::string& what) { return {NSError::Kind::Unsupported, what}; }

Result<std::optional<std::chrono::seconds>> secondsOf(const Options& options, const char* name) {
  const std::string text = optionNamed(name, options);
  if (text.empty()) return std::optional<std::chrono::seconds>();
  unsigned seconds = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size() || seconds == 0 ||
      seconds > 86400)
    return wrong(std::string(name) + " must be a number of seconds, 1 to 86400");
  return std::optional(std::chrono::seconds(seconds));
}

/// A mail address or domain, or a whole address of http or https without a password in it.
Result<void> checkAddress(const std::string& address) {
  const auto scheme = address.find("://");
  if (address.find_first_of(" \t\r\n") != std::string::npos)
    return wrong("the server's address must not contain blanks");
  if (scheme == std::string::npos) {
    const std::string domain = address.substr(address.rfind('@') + 1);
    if (domain.find('.') == std::string::npos || domain.find('/') != std::string::npos)
      return wrong("the server's address must be one as https://example.org/, or a mail address");
    return {};
  }
  const std::string protocol = address.substr(0, scheme);
  if (protocol != "https" && protocol != "http")
    return wrong("the server's address must begin with https://");
  const std::string host = address.substr(scheme + 3, address.find('/', scheme + 3) - scheme - 3);
  if (host.find('@') != std::string::npos)
    return wrong(
        "the server's address must name nobody; give the name with --user, and say where "
        "the password comes from with --password-command or --password-file");
  return {};
}

Result<void> readLogin(const Options& options, CalDAVDestination::Settings& settings) {
  auto& client = settings.account.client;
  client.user = optionNamed("user", options);
  const std::string command = optionNamed("password-command", options);
  const std::string file = optionNamed("password-file", options);
  if (client.user.empty() && settings.account.address.find("://") == std::string::npos &&
      settings.account.address.find('@') != std::string::npos)
    client.user = settings.account.address;
  if (!command.empty() && !file.empty())
    return wrong("the password comes from a command or from a file, not from both");
  if (!client.user.empty() && command.empty() && file.empty())
    return wrong("say where the password of " + client.user +
                 " comes from: --password-command or --password-file");
  if (client.user.empty() && !(command.empty() && file.empty()))
    return wrong("name with --user whose password it is");
  if (!file.empty() && !file.starts_with("/"))
    return wrong("the password file must be named by its whole path");
  if (!command.empty()) {
    client.password = [command] { return passwordOfCommand(command); };
  } else {
    client.password = [file] { return passwordInFile(file); };
  }
  return {};
}

Result<std::unique_ptr<Destination>> makeCalDAV(const Options& options) {
  CalDAVDestination::Settings settings;
  settings.account.address = optionNamed("address", options);
  if (const auto checked = checkAddress(settings.account.address); !checked) return checked.error();
  if (const auto read = readLogin(options, settings); !read) return read.error();
  settings.list = optionNamed("list", options);
  settings.account.client.authoritiesFile = optionNamed("ca-file", options);
  const auto pause = secondsOf(options, "every");
  if (!pause) return pause.error();
  settings.pause = pause.value().value_or(settings.pause);
  const auto patience = secondsOf(options, "patience");
  if (!patience) return patience.error();
  settings.account.client.patience = patience.value().value_or(settings.account.client.patience);
  return std::unique_ptr<Destination>(std::make_unique<CalDAVDestination>(std::move(settings)));
}

}  // namespace

DestinationKind calDAVKind() {
  return {
      .name = "caldav",
      .description = "A calendar server's task lists",
      .place = "address",
      .placeIsRequired = true,
      .otherOptions =
          {{"user", "Who logs in; of a mail address, that"},
           {"password-command", "Prints the password, for example \"secret-tool lookup …\""},
           {"password-file", "Begins with the password; nobody else may read it"},
           {"list", "The list for new tasks, by its title or address"},
           {"ca-file", "PEM certificates of the authorities to trust, for a server of one's own"},
           {"every", "Seconds between two looks of the agent at the server; otherwise 120"},
           {"patience", "Seconds to wait for an answer; otherwise 60"}},
      .make = makeCalDAV};
}

}  // namespace tasklane
