#include "foundation/text/NSString+PluralFormat.h"

#include "foundation/text/UnicodeLibrary.h"

namespace tasklane {

std::string stringWithPluralFormat(const std::string& pattern, const std::string& language,
                                   std::int64_t number) {
  std::u16string text;
  const UnicodeLibrary* const unicode = UnicodeLibrary::shared();
  if (unicode) {
    const std::u16string wide = unicode->utf16(pattern);
    UErrorCode fault = U_ZERO_ERROR;
    UMessageFormat* const format = unicode->umsg_open(
        wide.data(), static_cast<int32_t>(wide.size()), language.c_str(), nullptr, &fault);
    if (U_SUCCESS(fault))
      text = unicodeText([&](UChar* buffer, int32_t capacity, UErrorCode* status) {
        // A number in a plural form is passed as a double.
        return unicode->umsg_format(format, buffer, capacity, status, static_cast<double>(number));
      });
    unicode->umsg_close(format);
  }
  return text.empty() ? std::to_string(number) : unicode->utf8(text);
}

}  // namespace tasklane
