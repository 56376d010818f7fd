#include "CommandDescription.h"

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace tasklane {

namespace {

using nlohmann::json;

constexpr const char* kHeading = "Examples:";

/// A command, and one of its examples; several of one command follow each other.
constexpr struct {
  std::string_view command;
  const char* example;
} kExamples[] = {
    {"tasklane", "tasklane share --title \"Buy milk\""},
    {"tasklane", "tasklane connect todo.txt ~/todo.txt"},
    {"tasklane", "tasklane status"},
    {"tasklane share", "tasklane share --title \"Buy milk\" --text \"two litres\""},
    {"tasklane share", "tasklane share report.pdf photo.jpg https://example.org/"},
    {"tasklane share", "tasklane share --page https://example.org/ --selection \"quoted\""},
    {"tasklane share", "tasklane share --url https://example.org/ --post --project Home"},
    {"tasklane share", "tasklane share 'tasklane:add?title=Buy%20milk'"},
    {"tasklane share", "tasklane share --title \"Buy milk\" --snapshot sheet.png --scale 2"},
    {"tasklane share", "tasklane share --clipboard"},
    {"tasklane share", "tasklane share --batch list.txt --post --project Home"},
    {"tasklane share", "produce-request | tasklane share --request -"},
    {"tasklane queue", "tasklane queue --json"},
    {"tasklane queue", "tasklane queue take > actions.json"},
    {"tasklane queue clear", "tasklane queue clear"},
    {"tasklane queue take", "tasklane queue take > actions.json"},
    {"tasklane catalogue", "tasklane catalogue projects"},
    {"tasklane today", "tasklane today --json"},
    {"tasklane paths", "tasklane paths"},
    {"tasklane watch", "tasklane watch actions --count 1"},
    {"tasklane publish", "tasklane publish containers projects.plist"},
    {"tasklane complete", "tasklane complete 5B1B3F0E-7C4D-4A31-9C62-0F4E4B3B5C55"},
    {"tasklane uncomplete", "tasklane uncomplete 5B1B3F0E-7C4D-4A31-9C62-0F4E4B3B5C55"},
    {"tasklane flag", "tasklane flag 5B1B3F0E-7C4D-4A31-9C62-0F4E4B3B5C55"},
    {"tasklane unflag", "tasklane unflag 5B1B3F0E-7C4D-4A31-9C62-0F4E4B3B5C55"},
    {"tasklane palette", "tasklane palette check mine.plist"},
    {"tasklane palette check", "tasklane palette check mine.plist"},
    {"tasklane check", "tasklane check --repair"},
    {"tasklane connect", "tasklane connect todo.txt"},
    {"tasklane connect todo.txt", "tasklane connect todo.txt ~/todo.txt"},
    {"tasklane connect folder", "tasklane connect folder ~/.calendars --list errands"},
    {"tasklane connect taskwarrior", "tasklane connect taskwarrior"},
    {"tasklane connect caldav",
     "tasklane connect caldav https://example.org --user ana "
     "--password-command \"secret-tool lookup dav ana\""},
    {"tasklane deliver", "tasklane deliver --dry-run"},
    {"tasklane agent", "tasklane agent"},
    {"tasklane agent", "systemctl --user enable --now tasklane-agent"},
    {"tasklane status", "tasklane status --json"},
    {"tasklane receipts", "tasklane receipts"},
    {"tasklane retry", "tasklane retry"},
    {"tasklane undo", "tasklane undo"},
    {"tasklane integrate", "tasklane integrate --list"},
    {"tasklane integrate", "tasklane integrate --install"},
    {"tasklane doctor", "tasklane doctor"},
};

std::string fullName(const CLI::App& command) {
  const CLI::App* const above = command.get_parent();
  return (above ? fullName(*above) + " " : "") + command.get_name();
}

bool isShown(const CLI::App* command) { return !command->get_group().empty(); }

/// What its help calls what an option takes, and the values there are, where they are few:
/// "TEXT:{one,other}".
void describeValue(const CLI::Option& option, json& described) {
  const std::string type = option.get_type_name();
  const std::string name = type.substr(0, type.find(':'));
  described["value"] = option.get_positional() ? option.get_single_name() : name;
  const auto open = type.find('{');
  const auto close = type.find('}', open);
  if (close == std::string::npos) return;
  std::istringstream choices(type.substr(open + 1, close - open - 1));
  for (std::string choice; std::getline(choices, choice, ',');)
    described["choices"].push_back(choice);
}

json describeOption(const CLI::Option& option) {
  json described{
      {"description", option.get_description()},
      {"names", json::array()},
      {"required", option.get_required()},
      {"repeats", option.get_items_expected_max() > 1 ||
                      option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll}};
  for (const auto& name : option.get_snames()) described["names"].push_back("-" + name);
  for (const auto& name : option.get_lnames()) described["names"].push_back("--" + name);
  if (option.get_items_expected_max() > 0) describeValue(option, described);
  return described;
}

}  // namespace

void addExamples(CLI::App& command) {
  const std::string name = fullName(command);
  std::string text;
  for (const auto& entry : kExamples)
    if (entry.command == name) text += std::string("\n  ") + entry.example;
  if (!text.empty()) command.footer(kHeading + text);
  for (CLI::App* const below : command.get_subcommands(isShown)) addExamples(*below);
}

json describe(const CLI::App& command) {
  json described{{"name", command.get_name()},
                 {"description", command.get_description()},
                 {"examples", json::array()},
                 {"options", json::array()},
                 {"commands", json::array()}};
  const std::string name = fullName(command);
  for (const auto& entry : kExamples)
    if (entry.command == name) described["examples"].push_back(entry.example);
  for (const CLI::Option* const option : command.get_options())
    if (!option->get_group().empty()) described["options"].push_back(describeOption(*option));
  for (const CLI::App* const below :
       command.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); }))
    described["commands"].push_back(describe(*below));
  return described;
}

}  // namespace tasklane
