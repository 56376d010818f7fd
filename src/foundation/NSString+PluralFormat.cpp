#include "foundation/NSString+PluralFormat.h"

#include <unicode/locid.h>
#include <unicode/msgfmt.h>

namespace tasklane {

std::string stringWithPluralFormat(const std::string& pattern, const std::string& language,
                                   std::int64_t number) {
  UErrorCode status = U_ZERO_ERROR;
  const auto locale = icu::Locale::forLanguageTag(language, status);
  const icu::MessageFormat format(icu::UnicodeString::fromUTF8(pattern), locale, status);
  const icu::Formattable argument(number);
  icu::UnicodeString text;
  icu::FieldPosition ignored(icu::FieldPosition::DONT_CARE);
  if (U_SUCCESS(status)) format.format(&argument, 1, text, ignored, status);
  if (U_FAILURE(status)) return std::to_string(number);
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

}  // namespace tasklane
