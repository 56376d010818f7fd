#include "delivery/caldav/webdav/WebAddress.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <string_view>

namespace tasklane {

namespace {

using ParsedAddress = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

ParsedAddress parsed(const std::string& address) {
  ParsedAddress url(curl_url(), &curl_url_cleanup);
  if (url && curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK) url.reset();
  return url;
}

std::string part(const ParsedAddress& url, CURLUPart which, unsigned flags = 0) {
  char* text = nullptr;
  if (!url || curl_url_get(url.get(), which, &text, flags) != CURLUE_OK) return {};
  std::string result(text);
  curl_free(text);
  return result;
}

bool isUnreserved(unsigned char c) {
  return std::isalnum(c) ||
         std::string_view("-._~@:").find(static_cast<char>(c)) != std::string_view::npos;
}

/// One form for the ways in which servers write one path.
std::string withUniformEscapes(const std::string& address) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string result;
  for (std::size_t i = 0; i < address.size(); ++i) {
    unsigned value = static_cast<unsigned char>(address[i]);
    const bool isEscape = value == '%' && i + 2 < address.size() &&
                          std::isxdigit(static_cast<unsigned char>(address[i + 1])) &&
                          std::isxdigit(static_cast<unsigned char>(address[i + 2]));
    if (isEscape) {
      value = static_cast<unsigned>(std::stoul(address.substr(i + 1, 2), nullptr, 16));
      i += 2;
    }
    if (isEscape ? isUnreserved(static_cast<unsigned char>(value)) : value > ' ' && value < 0x7F) {
      result += static_cast<char>(value);
    } else {
      result += {'%', kDigits[value >> 4], kDigits[value & 15]};
    }
  }
  return result;
}

}  // namespace

std::optional<std::string> resolvedAddress(const std::string& base, const std::string& reference) {
  const auto url = parsed(base);
  if (!url || curl_url_set(url.get(), CURLUPART_URL, reference.c_str(), 0) != CURLUE_OK)
    return std::nullopt;
  const std::string scheme = part(url, CURLUPART_SCHEME);
  if (scheme != "http" && scheme != "https") return std::nullopt;
  // Names and passwords within an address come from whoever wrote it, not from the person.
  for (const auto unwanted : {CURLUPART_FRAGMENT, CURLUPART_USER, CURLUPART_PASSWORD})
    curl_url_set(url.get(), unwanted, nullptr, 0);
  return withUniformEscapes(part(url, CURLUPART_URL, CURLU_NO_DEFAULT_PORT));
}

std::string inLowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::string hostOfAddress(const std::string& address) {
  return inLowerCase(part(parsed(address), CURLUPART_HOST));
}

std::string originOfAddress(const std::string& address) {
  const auto url = parsed(address);
  const std::string port = part(url, CURLUPART_PORT, CURLU_NO_DEFAULT_PORT);
  return part(url, CURLUPART_SCHEME) + "://" + inLowerCase(part(url, CURLUPART_HOST)) +
         (port.empty() ? "" : ":" + port) + "/";
}

bool mayShareSecrets(const std::string& trusted, const std::string& other) {
  const std::string origin = originOfAddress(trusted);
  return origin == originOfAddress(other) ||
         (origin.starts_with("http:") &&
          originOfAddress(other) == "https://" + hostOfAddress(trusted) + "/");
}

bool isPrivateAddress(const std::string& address) {
  const std::string host = hostOfAddress(address);
  return address.starts_with("https://") || host == "localhost" || host == "[::1]" ||
         (host.starts_with("127.") && host.find_first_not_of("0123456789.") == std::string::npos);
}

}  // namespace tasklane
