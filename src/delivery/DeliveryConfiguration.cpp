#include "delivery/DeliveryConfiguration.h"

#include <toml++/toml.h>
#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>
#include <utility>

#include "delivery/ContendedFile.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/UserFolder.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {

namespace {

using Category = TLXExternalItemTodayContentCategory;

constexpr std::array<std::pair<std::string_view, std::uint64_t>, 6> kCategories{{
    {"overdue", Category::Overdue},
    {"due today", Category::DueToday},
    {"deferred until today", Category::DeferredUntilToday},
    {"flagged", Category::Flagged},
    {"inbox", Category::Inbox},
    {"due soon", Category::DueSoon},
}};

constexpr const char* kNewFile =
    R"(# What Tasklane does with what is saved. `tasklane connect` writes the first part.

# What the today list shows. These are the defaults:
# [today]
# due-soon-hours = 48
# shows = ["overdue", "due today", "deferred until today", "flagged", "inbox", "due soon"]
# everything = false
)";

NSError wrong(const std::string& what) {
  return {NSError::Kind::Corrupt, DeliveryConfiguration::path() + ": " + what};
}

NSError wrongType(const std::string& key, const char* wanted) {
  return wrong(key + " must be " + wanted);
}

Result<void> readDestination(const toml::table& table, DeliveryConfiguration& configuration) {
  for (const auto& [key, node] : table) {
    const auto text = node.value_exact<std::string>();
    if (!text) return wrongType("destination." + std::string(key.str()), "a text in quotes");
    if (key == "kind") {
      configuration.kind = *text;
    } else {
      configuration.options.emplace(key.str(), *text);
    }
  }
  return {};
}

Result<void> readCategories(const toml::array& names, DeliveryConfiguration& configuration) {
  configuration.todayContentCategories = 0;
  for (const auto& node : names) {
    const auto name = node.value<std::string>();
    const auto* const found =
        std::find_if(kCategories.begin(), kCategories.end(),
                     [&](const auto& category) { return name && category.first == *name; });
    if (found == kCategories.end()) {
      std::string all;
      for (const auto& category : kCategories)
        all += (all.empty() ? "\"" : ", \"") + std::string(category.first) + "\"";
      return wrongType("each of today.shows", ("one of " + all).c_str());
    }
    configuration.todayContentCategories |= found->second;
  }
  return {};
}

Result<void> readToday(const toml::table& table, DeliveryConfiguration& configuration) {
  for (const auto& [key, node] : table) {
    if (key == "due-soon-hours") {
      const auto hours = node.value<double>();
      if (!hours || !(*hours >= 0 && *hours <= 1e6))
        return wrongType("today.due-soon-hours", "a number of hours");
      configuration.dueSoonInterval = *hours * 3600;
    } else if (key == "everything") {
      const auto everything = node.value_exact<bool>();
      if (!everything) return wrongType("today.everything", "true or false");
      configuration.todayUsesCustomPerspective = *everything;
    } else if (key == "shows") {
      if (!node.is_array()) return wrongType("today.shows", "a list of names");
      if (auto read = readCategories(*node.as_array(), configuration); !read) return read;
    } else {
      return wrong("there is no setting today." + std::string(key.str()));
    }
  }
  return {};
}

std::string quoted(const std::string& text) {
  std::ostringstream out;
  out << toml::toml_formatter(
      toml::value<std::string>(text),
      toml::toml_formatter::default_flags & ~toml::format_flags::allow_literal_strings);
  return out.str();
}

/// A file's text with its table "destination" replaced, or with one added in front. Comments stay.
std::string withDestination(const std::string& text, const std::string& table) {
  std::string before;
  std::string after;
  bool isInside = false;
  bool wasFound = false;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t start = std::min(line.find_first_not_of(" \t\r"), line.size());
    const char first = start < line.size() ? line[start] : '#';
    if (first == '[') {
      isInside = line.find("[destination]") == start;
      wasFound |= isInside;
    }
    if (!isInside || first == '#') (wasFound ? after : before) += line + "\n";
  }
  if (!wasFound) return table + "\n" + before;
  return before + table + (after.empty() || after.front() == '\n' ? "" : "\n") + after;
}

}  // namespace

std::string DeliveryConfiguration::path() {
  return pathOfUserFolder(UserFolder::Config) + "/tasklane/config.toml";
}

Result<DeliveryConfiguration> DeliveryConfiguration::load() {
  DeliveryConfiguration configuration;
  const auto& manager = NSFileManager::defaultManager();
  if (!manager.fileExistsAtPath(path())) return configuration;
  const auto text = manager.contentsAtPath(path());
  if (!text) return text.error();
  try {
    const toml::table file = toml::parse(text.value());
    for (const auto& [key, node] : file) {
      if (key != "destination" && key != "today")
        return wrong("there is no setting " + std::string(key.str()));
      if (!node.is_table()) return wrongType(std::string(key.str()), "a table");
      const auto read = key == "destination" ? readDestination(*node.as_table(), configuration)
                                             : readToday(*node.as_table(), configuration);
      if (!read) return read.error();
    }
  } catch (const toml::parse_error& error) {
    const auto& place = error.source().begin;
    return wrong("line " + std::to_string(place.line) + ", column " + std::to_string(place.column) +
                 ": " + std::string(error.description()));
  }
  return configuration;
}

Result<void> DeliveryConfiguration::saveDestination() const {
  std::string table = "[destination]\nkind = " + quoted(kind) + "\n";
  for (const auto& [name, value] : options) table += name + " = " + quoted(value) + "\n";
  return ContendedFile(path()).change([&](const std::string& text) {
    return std::optional(withDestination(text.empty() ? kNewFile : text, table));
  });
}

}  // namespace tasklane
