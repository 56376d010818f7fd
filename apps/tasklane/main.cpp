#include <fcntl.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "CheckCommand.h"
#include "Command.h"
#include "CommandDescription.h"
#include "DeliveryCommands.h"
#include "DoctorCommand.h"
#include "IntegrateCommand.h"
#include "ListCommands.h"
#include "PaletteCommand.h"
#include "PublishCommand.h"
#include "PurposeCommand.h"
#include "QueueCommands.h"
#include "ShareArguments.h"
#include "TakeCommand.h"
#include "common/OutOfMemory.h"
#include "foundation/base/NSLog.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {

namespace {

/// The arguments, last one first, as the parser takes them. "--name=" is made two, because the
/// parser would take the next argument for the missing value.
std::vector<std::string> reversedArguments(int argc, char** argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    const bool emptyValue = argument.starts_with("--") && argument.find('=') == argument.size() - 1;
    if (emptyValue) argument.pop_back();
    arguments.push_back(std::move(argument));
    if (emptyValue) arguments.emplace_back();
  }
  std::reverse(arguments.begin(), arguments.end());
  return arguments;
}

/// The command line's shape: every command with its options and what it does. Setting them all up
/// takes longer than most commands do: when the first argument names one, only that one is.
class CommandLine {
 public:
  ExitCode run(int argc, char** argv) {
    try {
      addCommands(argc > 1 ? argv[1] : "");
      parse(argc, argv);
      finishOutput();
      return ExitCode::Done;
    } catch (const CLI::ParseError& error) {
      NSLog(std::string("tasklane: ") + error.what() + "; `tasklane --help` shows what there is.");
      return ExitCode::Usage;
    } catch (const Failure& failure) {
      std::fflush(stdout);
      NSLog("tasklane: " + failure.sentence);
      return failure.code;
    } catch (const std::system_error& error) {
      return OutOfMemory::codeAfter("tasklane", error);
    }
  }

 private:
  void parse(int argc, char** argv) {
    try {
      app_.parse(reversedArguments(argc, argv));
    } catch (const CLI::Success& helpOrVersion) {
      std::ostringstream text;
      app_.exit(helpOrVersion, text, text);
      print(text.str());
      return;
    }
    if (app_.get_subcommands().empty())
      throw Failure{ExitCode::Usage, "Say what to do; `tasklane --help` shows what there is."};
  }

  void addCommands(std::string_view wanted) {
    app_.require_subcommand(0, 1);
    app_.set_version_flag("--version", "tasklane " TASKLANE_VERSION)
        ->description("Print the version and exit");
    static constexpr struct {
      std::string_view name;
      void (CommandLine::*add)();
    } kCommands[] = {
        {"share", &CommandLine::addShare},           {"queue", &CommandLine::addQueue},
        {"catalogue", &CommandLine::addCatalogue},   {"today", &CommandLine::addToday},
        {"paths", &CommandLine::addPaths},           {"watch", &CommandLine::addWatch},
        {"publish", &CommandLine::addPublish},       {"complete", &CommandLine::addComplete},
        {"uncomplete", &CommandLine::addUncomplete}, {"flag", &CommandLine::addFlag},
        {"unflag", &CommandLine::addUnflag},         {"palette", &CommandLine::addPalette},
        {"check", &CommandLine::addCheck},           {"connect", &CommandLine::addConnect},
        {"deliver", &CommandLine::addDeliver},       {"agent", &CommandLine::addAgent},
        {"status", &CommandLine::addStatus},         {"receipts", &CommandLine::addReceipts},
        {"retry", &CommandLine::addRetry},           {"undo", &CommandLine::addUndo},
        {"integrate", &CommandLine::addIntegrate},   {"doctor", &CommandLine::addDoctor},
        {"purpose", &CommandLine::addPurpose},       {"describe", &CommandLine::addDescribe}};
    const bool isOne = std::any_of(std::begin(kCommands), std::end(kCommands),
                                   [&](const auto& command) { return command.name == wanted; });
    for (const auto& command : kCommands)
      if (!isOne || command.name == wanted) (this->*command.add)();
    addExamples(app_);
  }

  OutputFormat format() const { return json_ ? OutputFormat::JSON : OutputFormat::Text; }

  CLI::App* add(const std::string& name, const std::string& description,
                std::function<void()> run) {
    auto* command = app_.add_subcommand(name, description);
    command->callback(std::move(run));
    return command;
  }

  void addJSONFlag(CLI::App* command) {
    command->add_flag("--json", json_, "Print JSON for another program");
  }

  void addShare() {
    auto* command = add("share", "Share something into Tasklane", [this] { share_->run(); });
    share_ = std::make_unique<ShareArguments>(*command);
  }

  void addQueue() {
    auto* queue = add("queue", "Show the pending actions, oldest first", [this] {
      if (!app_.got_subcommand("queue") || !app_.get_subcommand("queue")->get_subcommands().empty())
        return;
      printQueue(format());
    });
    addJSONFlag(queue);
    queue->require_subcommand(0, 1);
    queue->add_subcommand("clear", "Empty the queue")->callback(clearQueue);
    queue
        ->add_subcommand("take",
                         "Hand the actions over, as JSON on standard output, and empty the queue, "
                         "in one step; with any exit code but 0 they are still in it")
        ->callback(takeQueue);
  }

  void addCatalogue() {
    auto* catalogue = add("catalogue", "Show the published projects or contexts", [this] {
      printCatalogue(name_ == "projects" ? Catalogue::Projects : Catalogue::Contexts, format());
    });
    addName(catalogue, {"projects", "contexts"});
    addJSONFlag(catalogue);
  }

  void addToday() {
    auto* today = add("today", "Show the published items that are for today", [this] {
      printToday(all_ ? TodaySelection::All : TodaySelection::Shown, format());
    });
    today->add_flag("--all", all_, "Show all published items");
    addJSONFlag(today);
  }

  void addPaths() {
    addJSONFlag(add("paths", "Show where everything lies", [this] { printPaths(format()); }));
  }

  void addWatch() {
    auto* watched = add("watch", "Print a line for each announced change",
                        [this] { watch(name_, hasCount_ ? std::optional(count_) : std::nullopt); });
    addName(watched, {"actions", "containers", "items"});
    watched->add_option("--count", count_, "End after so many changes")
        ->each([this](const std::string&) { hasCount_ = true; });
  }

  void addPublish() {
    auto* command = add("publish", "Publish projects and contexts, or items", [this] {
      publish(name_ == "items" ? Publication::Items : Publication::Containers, file_);
    });
    addName(command, {"containers", "items"});
    command->add_option("FILE", file_, "A property list in any format; - is standard input")
        ->required();
  }

  void addComplete() {
    addItemAction("complete", "Complete a published item", TLXExternalAction::completeItem);
  }
  void addUncomplete() {
    addItemAction("uncomplete", "Make it incomplete again", TLXExternalAction::uncompleteItem);
  }
  void addFlag() { addItemAction("flag", "Flag a published item", TLXExternalAction::flagItem); }
  void addUnflag() { addItemAction("unflag", "Remove its flag", TLXExternalAction::unflagItem); }

  void addPalette() {
    auto* palette = app_.add_subcommand("palette", "Work on the palettes of the appearance");
    palette->require_subcommand(1);
    auto* check = palette->add_subcommand("check", "Say everything that is wrong with a palette");
    check->add_option("FILE", file_, "A palette's property list")->required();
    check->callback([this] { checkPalette(file_); });
  }

  void addCheck() {
    auto* command = add("check", "Say what is wrong with the shared files",
                        [this] { check(repair_ ? Repair::Yes : Repair::No, format()); });
    command->add_flag("--repair", repair_, "Mend what can be mended");
    addJSONFlag(command);
  }

  void addConnect() {
    auto* connecting = app_.add_subcommand("connect", "Say where saved items go");
    connecting->require_subcommand(1);
    for (const auto& kind : destinationKinds()) addDestination(*connecting, kind);
  }

  void addDeliver() {
    auto* delivering = add("deliver", "Carry out what is queued, and publish the list", [this] {
      if (background_) return runAgent(Stay::Briefly);
      deliver(dryRun_ ? DeliverMode::DryRun : DeliverMode::Tell, format());
    });
    delivering->add_flag("--dry-run", dryRun_, "Only say what would be lost");
    delivering->add_flag("--background", background_,
                         "Stay some seconds and say nothing; for other programs");
    addJSONFlag(delivering);
  }

  void addAgent() {
    add("agent", "Stay, and deliver and publish whenever something changes",
        [] { runAgent(Stay::ForGood); });
  }

  void addStatus() {
    addJSONFlag(add("status", "Say what waits and why, and where items go",
                    [this] { printStatus(format()); }));
  }

  void addReceipts() {
    addJSONFlag(
        add("receipts", "Show what was delivered where", [this] { printReceipts(format()); }));
  }

  void addRetry() {
    auto* retrying =
        add("retry", "Try again what was set aside, or the one named; also one that the list lost",
            [this] { retry(name_.empty() ? std::nullopt : std::optional(name_)); });
    retrying->add_option("UUID", name_, "The item's identifier");
  }

  void addUndo() {
    auto* undoing = add("undo", "Take back the newest saved item, or the one named",
                        [this] { undo(name_.empty() ? std::nullopt : std::optional(name_)); });
    undoing->add_option("UUID", name_, "The item's identifier");
  }

  void addIntegrate() {
    auto* command = add("integrate", "Let other programs share, where no package can", [this] {
      if (remove_) return removeWays(names_);
      install_ ? installWays(names_) : listWays(names_);
    });
    auto* list =
        command->add_flag("--list")->description("Say how each way stands; also without an option");
    auto* install = command->add_flag("--install", install_, "Write what is missing");
    auto* remove = command->add_flag("--remove", remove_, "Remove what --install has written");
    install->excludes(list)->excludes(remove);
    remove->excludes(list);
    command->add_option("WAY", names_, "Only these; by default those that are of use");
  }

  void addDoctor() {
    addJSONFlag(add("doctor", "Try every way by which other programs share, and say what to do",
                    [this] { examine(format()); }));
  }

  void addPurpose() {
    auto* command = add("purpose", "Share what KDE's share menu hands over; for that menu",
                        [this] { shareFromPurpose(file_); });
    command->group("");
    command->add_option("--server", file_, "The menu's socket")->required();
    for (const auto* unused : {"--pluginType", "--pluginPath"}) command->add_option(unused);
  }

  void addDescribe() {
    add("describe", "Print this command line as JSON; for its manual", [] {
      CommandLine whole;
      whole.addCommands("");
      printJSON(describe(whole.app_));
    })->group("");
  }

  void addDestination(CLI::App& connecting, const DestinationKind& kind) {
    auto* command = connecting.add_subcommand(kind.name, kind.description);
    command->callback([this, name = kind.name] { connect(name, options_); });
    const auto add = [this, command](const std::string& flag, const std::string& option,
                                     const std::string& description) {
      return command->add_option_function<std::string>(
          flag, [this, option](const std::string& value) { options_[option] = value; },
          description);
    };
    auto* place = kind.place ? add(kind.place, kind.place, "Where it lies") : nullptr;
    if (place && kind.placeIsPath)
      place->transform([](const std::string& path) {
        return path.empty() ? path : std::filesystem::absolute(path).lexically_normal().string();
      });
    if (place && kind.placeIsRequired) place->required();
    for (const auto& option : kind.otherOptions) {
      auto* added = add(std::string("--") + option.name, option.name, option.description);
      if (option.variable) added->envname(option.variable);
    }
  }

  void addItemAction(const std::string& name, const std::string& description,
                     void (*action)(const std::shared_ptr<TLXExternalItem>&)) {
    auto* command = add(name, description, [this, action] { queueActionForItem(name_, action); });
    command->add_option("UUID", name_, "The item's identifier")->required();
  }

  void addName(CLI::App* command, std::set<std::string> names) {
    command->add_option("NAME", name_)->required()->check(CLI::IsMember(std::move(names)));
  }

  CLI::App app_{"Tasklane: quick entry into the task manager", "tasklane"};
  std::unique_ptr<ShareArguments> share_;
  std::string name_;
  std::string file_;
  unsigned count_ = 0;
  bool hasCount_ = false;
  bool json_ = false;
  bool all_ = false;
  bool repair_ = false;
  bool dryRun_ = false;
  bool background_ = false;
  bool install_ = false, remove_ = false;
  std::vector<std::string> names_;
  DestinationKind::Options options_;
};

/// A descriptor that was closed by the caller stays unusable: a file that took its number would get
/// what is printed.
void occupyStandardDescriptors() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor)
    if (::fcntl(descriptor, F_GETFD) < 0)
      (void)::open("/dev/null", descriptor == 0 ? O_WRONLY : O_RDONLY);
}

}  // namespace

}  // namespace tasklane

int main(int argc, char** argv) {
  tasklane::occupyStandardDescriptors();
  // A file that may not grow is an error of the write, not the end of the program.
  std::signal(SIGXFSZ, SIG_IGN);
  tasklane::OutOfMemory::endPlainly("tasklane: There is not enough memory; nothing was changed.\n");
  return static_cast<int>(tasklane::CommandLine().run(argc, argv));
}
