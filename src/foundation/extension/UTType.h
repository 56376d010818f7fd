#pragma once

#include <optional>
#include <string>

namespace tasklane {

/// Uniform type identifiers: names of kinds of content with a tree of conformance ("public.jpeg" is
/// a "public.image" is "public.data"). Any thread.
inline constexpr const char* kUTTypePropertyList = "public.property-list";
inline constexpr const char* kUTTypeURL = "public.url";
inline constexpr const char* kUTTypeFileURL = "public.file-url";
inline constexpr const char* kUTTypeImage = "public.image";
inline constexpr const char* kUTTypeText = "public.text";
inline constexpr const char* kUTTypeData = "public.data";

inline constexpr const char* kUTTagClassFilenameExtension = "public.filename-extension";
inline constexpr const char* kUTTagClassMIMEType = "public.mime-type";

/// Whether a type is, or is a kind of, another. An unknown type conforms to itself alone.
bool UTTypeConformsTo(const std::string& type, const std::string& to);
bool UTTypeIsDeclared(const std::string& type);

/// The preferred file-name extension or MIME type of a type, or none.
std::optional<std::string> UTTypeCopyPreferredTagWithClass(const std::string& type,
                                                           const std::string& tagClass);

/// The type of a file-name extension (without the dot, any case) or MIME type, or none.
std::optional<std::string> UTTypeCreatePreferredIdentifierForTag(const std::string& tagClass,
                                                                 const std::string& tag);

}  // namespace tasklane
