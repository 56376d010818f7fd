#pragma once

#include <string>
#include <vector>

namespace tasklane {

/// The person's languages, the most wanted first, as gettext reads LANGUAGE, LC_ALL, LC_MESSAGES
/// and LANG, written as "pt-BR", "zh-Hans", "sr-Latn-RS". The "C" locale has none. Read anew at
/// each call.
std::vector<std::string> preferredLanguages();

/// Of the languages that there are translations for ("pt-BR", also "pt_BR"), those that serve the
/// preferred ones, best first: the very language; the language without its region; the language of
/// another region, but not in another script. English comes last where it is not wanted sooner.
std::vector<std::string> matchingLanguages(const std::vector<std::string>& available,
                                           const std::vector<std::string>& preferred);

}  // namespace tasklane
