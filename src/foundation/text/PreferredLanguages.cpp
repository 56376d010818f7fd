#include "foundation/text/PreferredLanguages.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

namespace tasklane {

namespace {

/// A language tag in its parts; those that are not said are empty.
struct Language {
  std::string code, script, region;

  std::string tag() const {
    return code + (script.empty() ? "" : "-" + script) + (region.empty() ? "" : "-" + region);
  }
};

/// The script of a language that is written in several and does not say in which.
std::string usualScript(const Language& language) {
  if (language.code == "zh") {
    for (const char* const region : {"TW", "HK", "MO"})
      if (language.region == region) return "Hant";
    return "Hans";
  }
  return language.code == "sr" ? "Cyrl" : "";
}

Language parse(std::string_view name) {
  Language language;
  const std::size_t modifier = name.find('@');
  if (modifier != name.npos && name.substr(modifier) == "@latin") language.script = "Latn";
  if (modifier != name.npos && name.substr(modifier) == "@cyrillic") language.script = "Cyrl";
  name = name.substr(0, std::min(name.find('.'), modifier));  // "@" or "." begins the rest
  for (bool first = true; !name.empty(); first = false) {
    const std::size_t end = std::min(name.find_first_of("-_"), name.size());
    const std::string_view part = name.substr(0, end);
    if (first)
      language.code = part;
    else if (part.size() == 4)
      language.script = part;
    else
      language.region = part;
    name.remove_prefix(std::min(end + 1, name.size()));
  }
  if (language.code == "iw") language.code = "he";
  if (language.code == "no" || language.code == "nn") language.code = "nb";
  if (language.script.empty()) language.script = usualScript(language);
  return language;
}

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

std::vector<std::string> preferredLanguages() {
  std::string locale;
  for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"})
    if (locale.empty()) locale = environment(name);
  const std::string_view plain = std::string_view(locale).substr(0, locale.find_first_of(".@"));
  if (plain.empty() || plain == "C" || plain == "POSIX") return {};

  const std::string list = environment("LANGUAGE") + ":" + locale;
  std::vector<std::string> languages;
  for (std::size_t at = 0; at < list.size();) {
    const std::size_t end = std::min(list.find(':', at), list.size());
    if (end > at) languages.push_back(parse(std::string_view(list).substr(at, end - at)).tag());
    at = end + 1;
  }
  return languages;
}

std::vector<std::string> matchingLanguages(const std::vector<std::string>& available,
                                           const std::vector<std::string>& preferred) {
  std::vector<Language> parsed;
  std::transform(available.begin(), available.end(), std::back_inserter(parsed), parse);
  std::vector<std::string> matching;
  const auto add = [&](auto serves) {
    for (std::size_t i = 0; i < available.size(); ++i)
      if (serves(parsed[i]) &&
          std::find(matching.begin(), matching.end(), available[i]) == matching.end())
        matching.push_back(available[i]);
  };
  std::vector<std::string> wanted = preferred;
  wanted.push_back("en");
  for (const std::string& name : wanted) {
    const Language language = parse(name);
    const auto sameText = [&](const Language& other) {
      return other.code == language.code && other.script == language.script;
    };
    add([&](const Language& other) { return sameText(other) && other.region == language.region; });
    add([&](const Language& other) { return sameText(other) && other.region.empty(); });
    add(sameText);
  }
  return matching;
}

}  // namespace tasklane
