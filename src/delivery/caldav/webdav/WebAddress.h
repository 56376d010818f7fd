#pragma once

#include <optional>
#include <string>

/// Steps on http and https addresses. Any thread.
namespace tasklane {

/// What a reference in an answer of an address means as a whole address, in one form for the ways
/// in which a path can be written, without fragment, name and password; none when it is no address
/// of http or https.
std::optional<std::string> resolvedAddress(const std::string& base, const std::string& reference);

/// A host's name as hosts are compared.
std::string inLowerCase(std::string text);

/// The host's name in lower case; empty when it is no address.
std::string hostOfAddress(const std::string& address);

/// "https://host:port/", lower case, the port only where it is not the usual one.
std::string originOfAddress(const std::string& address);

/// Whether what was meant for one address alone may be sent to the other: the same host, port and
/// protocol, or the same host's usual encrypted port in place of an unencrypted one.
bool mayShareSecrets(const std::string& trusted, const std::string& other);

/// Whether nobody else can listen to what is sent there.
bool isPrivateAddress(const std::string& address);

}  // namespace tasklane
