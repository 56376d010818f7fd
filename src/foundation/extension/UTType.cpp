#include "foundation/extension/UTType.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tasklane {

namespace {

/// One type. Lists hold words separated by one space; the first extension and the first MIME type
/// are the preferred ones, and of several types with a tag the first in the table is answered.
struct Declaration {
  std::string_view type, conformsTo, extensions, mimeTypes;
};

constexpr std::array declarations{
    Declaration{"public.item", "", "", ""},
    Declaration{"public.content", "", "", ""},
    Declaration{"public.data", "public.item", "", "application/octet-stream"},
    Declaration{"public.url", "public.data", "", ""},
    Declaration{"public.file-url", "public.url", "", ""},
    Declaration{"public.image", "public.data public.content", "", ""},
    Declaration{"public.jpeg", "public.image", "jpeg jpg jpe jfif", "image/jpeg image/jpg"},
    Declaration{"public.png", "public.image", "png", "image/png"},
    Declaration{"public.gif", "public.image", "gif", "image/gif"},
    Declaration{"public.tiff", "public.image", "tiff tif", "image/tiff"},
    Declaration{"public.webp", "public.image", "webp", "image/webp"},
    Declaration{"public.heif", "public.image", "heif hif", "image/heif"},
    Declaration{"public.heic", "public.heif", "heic", "image/heic"},
    Declaration{"public.avif", "public.heif", "avif avifs", "image/avif"},
    Declaration{"public.bmp", "public.image", "bmp dib", "image/bmp image/x-ms-bmp"},
    Declaration{"public.text", "public.data public.content", "", ""},
    Declaration{"public.plain-text", "public.text", "txt text", "text/plain"},
    Declaration{"public.utf8-plain-text", "public.plain-text", "txt", "text/plain;charset=utf-8"},
    Declaration{"public.html", "public.text", "html htm", "text/html"},
    Declaration{"public.xml", "public.text", "xml", "application/xml text/xml"},
    Declaration{"public.json", "public.text", "json", "application/json"},
    Declaration{"public.property-list", "public.data", "plist", "application/x-plist"},
    Declaration{"public.xml-property-list", "public.property-list public.xml", "plist", ""},
    Declaration{"public.binary-property-list", "public.property-list", "plist", ""},
};

/// Calls with each word of a list until one call answers true; whether one did.
template <class Predicate>
bool anyWord(std::string_view list, Predicate predicate) {
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(' '), list.size());
    if (predicate(list.substr(0, end))) return true;
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

const Declaration* declarationOf(std::string_view type) {
  const auto found =
      std::find_if(declarations.begin(), declarations.end(),
                   [&](const Declaration& declaration) { return declaration.type == type; });
  return found == declarations.end() ? nullptr : &*found;
}

std::string_view tagsOf(const Declaration& declaration, std::string_view tagClass) {
  if (tagClass == kUTTagClassFilenameExtension) return declaration.extensions;
  return tagClass == kUTTagClassMIMEType ? declaration.mimeTypes : std::string_view();
}

bool conforms(std::string_view type, std::string_view to) {
  if (type == to) return true;
  const Declaration* const declaration = declarationOf(type);
  return declaration && anyWord(declaration->conformsTo,
                                [&](std::string_view parent) { return conforms(parent, to); });
}

std::string lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return text;
}

}  // namespace

bool UTTypeConformsTo(const std::string& type, const std::string& to) { return conforms(type, to); }

bool UTTypeIsDeclared(const std::string& type) { return declarationOf(type) != nullptr; }

std::optional<std::string> UTTypeCopyPreferredTagWithClass(const std::string& type,
                                                           const std::string& tagClass) {
  const Declaration* const declaration = declarationOf(type);
  const std::string_view tags = declaration ? tagsOf(*declaration, tagClass) : std::string_view();
  if (tags.empty()) return std::nullopt;
  return std::string(tags.substr(0, tags.find(' ')));
}

std::optional<std::string> UTTypeCreatePreferredIdentifierForTag(const std::string& tagClass,
                                                                 const std::string& tag) {
  const std::string wanted = lowercase(tag);
  for (const Declaration& declaration : declarations)
    if (anyWord(tagsOf(declaration, tagClass),
                [&](std::string_view known) { return known == wanted; }))
      return std::string(declaration.type);
  return std::nullopt;
}

}  // namespace tasklane
