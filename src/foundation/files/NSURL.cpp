#include "foundation/files/NSURL.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "foundation/property-lists/PropertyListSyntax.h"

namespace tasklane {

namespace {

bool isUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~").find(c) != std::string_view::npos;
}

/// RFC 3986: unreserved characters and sub-delimiters, ":", "@" and the slash stand in a path; a
/// semicolon is encoded, because old servers end the path there.
bool standsInPath(char c) {
  return isUnreserved(c) || std::string_view("!$&'()*+,=:@/").find(c) != std::string_view::npos;
}

std::string percentEncoded(std::string_view text) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    if (standsInPath(c)) {
      out += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    out += {'%', digits[byte >> 4], digits[byte & 0x0F]};
  }
  return out;
}

std::string percentDecoded(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool mayBe = text[i] == '%' && i + 2 < text.size();
    const int high = mayBe ? plist::hexDigit(text[i + 1]) : -1;
    const int low = high >= 0 ? plist::hexDigit(text[i + 2]) : -1;
    const bool encoded = low >= 0;
    out += encoded ? static_cast<char>(high * 16 + low) : text[i];
    if (encoded) i += 2;
  }
  return out;
}

/// Without doubled slashes, "." and ".." and, unless it is all there is, the slash at the end.
std::string normalised(const std::string& path) {
  std::string out;
  for (std::size_t at = 0; at < path.size();) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    const std::string_view segment(path.data() + at, end - at);
    if (segment == "..")
      out.resize(out.empty() ? 0 : out.rfind('/'));
    else if (!segment.empty() && segment != ".")
      out.append(1, '/').append(segment);
    at = end + 1;
  }
  return out.empty() ? "/" : out;
}

bool isSchemeCharacter(char c, bool first) {
  const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  return letter || (!first && ((c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.'));
}

/// The length of the scheme before the colon, or 0.
std::size_t schemeLength(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size() && isSchemeCharacter(text[length], length == 0)) ++length;
  return length < text.size() && text[length] == ':' ? length : 0;
}

/// Where the path component lies in an address: after scheme and authority, before query and
/// fragment.
std::pair<std::size_t, std::size_t> pathRange(std::string_view address) {
  std::size_t start = schemeLength(address) + 1;
  if (address.substr(start).starts_with("//"))
    start = std::min(address.find_first_of("/?#", start + 2), address.size());
  return {start, std::min(address.find_first_of("?#", start), address.size())};
}

/// Whether an address may hold the byte as it stands; a "%" only before two digits.
bool standsInAddress(std::string_view text, std::size_t at) {
  const char c = text[at];
  if (c == '%')
    return at + 2 < text.size() && plist::hexDigit(text[at + 1]) >= 0 &&
           plist::hexDigit(text[at + 2]) >= 0;
  return standsInPath(c) || std::string_view(";?#[]").find(c) != std::string_view::npos;
}

}  // namespace

NSURL NSURL::fileURLWithPath(const std::string& path) {
  std::error_code ignored;
  const std::string absolute =
      path.starts_with('/') ? path : std::filesystem::current_path(ignored).string() + "/" + path;
  return NSURL("file://" + percentEncoded(normalised(absolute)));
}

std::optional<NSURL> NSURL::URLWithString(const std::string& text) {
  const std::size_t colon = schemeLength(text);
  if (colon == 0 || colon + 1 == text.size()) return std::nullopt;
  std::string address;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte <= ' ' || byte == 0x7F) return std::nullopt;
    if (standsInAddress(text, at))
      address += text[at];
    else  // an address as people and pages write it, with letters of any script or a bare "|"
      address += percentEncoded(std::string_view(text).substr(at, 1));
  }
  return NSURL(std::move(address));
}

std::string NSURL::scheme() const {
  std::string scheme = absoluteString_.substr(0, schemeLength(absoluteString_));
  std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return scheme;
}

bool NSURL::isFileURL() const { return scheme() == "file"; }

std::string NSURL::path() const {
  const auto [start, end] = pathRange(absoluteString_);
  std::string decoded = percentDecoded(absoluteString_.substr(start, end - start));
  while (decoded.size() > 1 && decoded.ends_with('/')) decoded.pop_back();
  return decoded;
}

std::string NSURL::lastPathComponent() const {
  const std::string whole = path();
  return whole == "/" ? whole : whole.substr(whole.rfind('/') + 1);
}

std::string NSURL::pathExtension() const {
  const std::string name = lastPathComponent();
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? "" : name.substr(dot + 1);
}

NSURL NSURL::URLByAppendingPathComponent(const std::string& component) const {
  const auto [start, end] = pathRange(absoluteString_);
  std::string address = absoluteString_.substr(0, end);
  if (!address.ends_with('/')) address += '/';
  std::string_view added = component;
  while (added.starts_with('/')) added.remove_prefix(1);
  address += percentEncoded(added);
  return NSURL(address + absoluteString_.substr(end));
}

NSURL NSURL::URLByDeletingLastPathComponent() const {
  const auto [start, end] = pathRange(absoluteString_);
  std::string shortened = absoluteString_.substr(start, end - start);
  while (shortened.size() > 1 && shortened.ends_with('/')) shortened.pop_back();
  const std::size_t slash = shortened.rfind('/');
  // The slash of the folder is kept off, as everywhere here, unless it is the root.
  if (slash != std::string::npos) shortened.resize(slash == 0 ? 1 : slash);
  return NSURL(absoluteString_.substr(0, start) + shortened + absoluteString_.substr(end));
}

}  // namespace tasklane
