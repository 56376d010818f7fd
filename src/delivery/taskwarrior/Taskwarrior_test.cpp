#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "delivery/DeliveryTesting.h"
#include "delivery/taskwarrior/TaskwarriorDestination.h"
#include "delivery/taskwarrior/TaskwarriorTasks.h"

namespace tasklane {
namespace {

using taskwarrior::Task;

const std::string kUUID = "0F2A1B3C-1111-4222-8333-00000000000";

/// With the real program, in a home of its own.
class TaskwarriorTest : public DeliveryTesting {
 protected:
  TaskwarriorTest() {
    for (const char* name : {"HOME", "XDG_DATA_HOME"}) set(name, folder_);
    for (const char* name : {"TASKRC", "TASKDATA"}) ::unsetenv(name);
    set("TZ", "UTC");
    if (std::system("command -v task >/dev/null") != 0) return;
    isThere_ = true;
    // A person's own settings, none of which may have a say.
    write(".taskrc",
          "data.location=~/data\ndefault.project=Inbox\ndefault.due=tomorrow\n"
          "context.work=+work\ncontext=work\nuda.size.type=numeric\n");
    EXPECT_TRUE(taskwarrior_.lists());
  }
  void SetUp() override {
    if (!isThere_) GTEST_SKIP() << "taskwarrior is not installed";
  }
  static void set(const char* name, const std::string& value) { ::setenv(name, value.c_str(), 1); }

  std::vector<DeliveryOutcome> carryOut(const std::vector<DeliveryAction>& actions) {
    return taskwarrior_.carryOut(actions, [](std::size_t) {});
  }
  void import(const std::string& json) const {
    write("tasks.json", json);
    const auto command = "task rc.context= rc.default.project= rc.default.due= import " + folder_ +
                         "/tasks.json >/dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
  }
  std::string bytesOfList() const { return contents("data/pending.data"); }
  std::vector<Task> tasks() const {
    auto text = TaskProgram({}, {}).exportTasks({});
    return taskwarrior::tasksOfExport(text.value()).value().tasks;
  }

  bool isThere_ = false;
  TaskwarriorDestination taskwarrior_{{}, {}};
};

TEST_F(TaskwarriorTest, KeepsEveryTitleAndSaysWhatItCannotKeep) {
  struct Case {
    std::string title, kept;
    std::size_t losses;
  };
  const std::string longTitle(10000, 'a');
  std::vector<Case> cases{
      {"a\r\nb\x1b[1m" + std::string(1, '\0') + "c", "a \nb [1m c", 1},
      {"&open;x&close;", "[x]", 1},
      {"", "(no title)", 1},
  };
  for (const std::string same :
       {"x Buy milk", "(A) Buy milk", "2020-01-01", "+milk @home project:Home due:tomorrow",
        "rc.gc=on 1 delete", "a\nb\n", "tab\t", "q\"q \\", "\\u0041 \\n &dquot;", "[x] {y}",
        "ελ 日本 עברית ไทย 👩‍👩‍👧", " lead", "%s"})
    cases.push_back({same, same, 0});
  cases.push_back({longTitle, longTitle, 0});
  std::vector<DeliveryAction> actions;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    actions.push_back(
        action(Type::New, kUUID.substr(0, 33) + std::to_string(100 + i), cases[i].title));
    actions[i].notes = cases[i].title;
    actions[i].project = ListContainer{"id", "Home. sweet_home", {}};
    actions[i].context = ListContainer{"id", "At, home", {}};
    EXPECT_EQ(taskwarrior_.losses(actions[i]).size(), cases[i].losses + 1) << cases[i].title;
  }
  for (const auto& outcome : carryOut(actions))
    EXPECT_EQ(outcome.kind, Kind::Delivered) << outcome.text;
  const auto kept = tasks();
  ASSERT_EQ(kept.size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(kept[i]["description"], cases[i].kept);
    EXPECT_EQ(kept[i]["project"], "Home. sweet_home");
    EXPECT_EQ(kept[i]["tags"], Task({"At__home"}));
    EXPECT_EQ(kept[i].contains("due"), false) << "the person's default";
    if (cases[i].title.empty()) continue;
    EXPECT_EQ(kept[i]["annotations"][0]["description"], cases[i].kept);
    EXPECT_EQ(taskwarrior_.takeBack(actions[i]).kind, Kind::Delivered) << cases[i].title;
  }
}

TEST_F(TaskwarriorTest, ChangesOnlyWhatAnActionSays) {
  const std::string other = R"({"uuid":"9f2a1b3c-1111-4222-8333-000000000001","status":"pending",)"
                            R"("description":"theirs","entry":"20260101T080000Z"})";
  const std::string mine =
      R"("description":"a\u0001\nb","entry":"20260101T080000Z","size":5,"foreign":"x\"y",)"
      R"("wait":"20990101T000000Z","depends":"9f2a1b3c-1111-4222-8333-000000000001",)"
      R"("annotations":[{"entry":"20260101T080000Z","description":"n"}],)"
      R"("uuid":"0f2a1b3c-1111-4222-8333-000000000001",)";
  struct Case {
    const char* before;
    std::vector<Type> types;
    const char* after;
  };
  const std::vector<Case> cases{
      {R"("status":"pending"})",
       {Type::Completed},
       R"("status":"completed","end":"20261123T080000Z"})"},
      {R"("status":"completed","end":"20261101T000000Z"})",
       {Type::Completed},
       R"("status":"completed","end":"20261101T000000Z"})"},
      {R"("status":"completed","end":"20261101T000000Z"})",
       {Type::Uncompleted},
       R"("status":"pending"})"},
      {R"("status":"pending","priority":"L"})",
       {Type::Flagged},
       R"("status":"pending","priority":"L","tags":["next"]})"},
      {R"("status":"pending","priority":"H"})",
       {Type::Flagged},
       R"("status":"pending","priority":"H"})"},
      {R"("status":"pending","priority":"H","tags":["a","next"]})",
       {Type::Unflagged},
       R"("status":"pending","tags":["a"]})"},
      {R"("status":"pending","tags":["a"]})",
       {Type::Flagged, Type::Unflagged, Type::Completed},
       R"("status":"completed","end":"20261123T080000Z","tags":["a"]})"},
  };
  for (const auto& expected : cases) {
    std::filesystem::remove_all(folder_ + "/data");
    import("[" + other + ",{" + mine + expected.before + "]");
    const std::string before = bytesOfList();
    std::vector<DeliveryAction> actions;
    for (const auto type : expected.types) actions.push_back(action(type, kUUID + "1"));
    for (const auto& outcome : carryOut(actions))
      EXPECT_EQ(outcome.kind, Kind::Delivered) << outcome.text;
    const auto after = tasks();
    ASSERT_EQ(after.size(), 2u);
    EXPECT_EQ(bytesOfList().find('\n'), before.find('\n')) << "the first line is not ours";
    auto wanted = Task::parse("{" + mine + expected.after);
    auto task = after[1];
    for (const char* computed : {"id", "urgency", "modified"}) task.erase(computed);
    wanted["depends"] = task["depends"];
    wanted["status"] = wanted["status"] == "pending" ? task["status"] : wanted["status"];
    EXPECT_EQ(task, wanted);
  }
}

TEST_F(TaskwarriorTest, DeliversAnIdentifierOnceInWhateverState) {
  const auto task = action(Type::New, kUUID + "1", "Buy milk");
  EXPECT_FALSE(carryOut({task, task})[0].isRepetition);
  for (const char* change : {"modify Buy cheese", "done", "delete", "rc.gc=on list"}) {
    const std::string command = "task rc.confirmation=off rc.context= rc.gc=off " +
                                std::string("0f2a1b3c-1111-4222-8333-000000000001 ") + change +
                                " >/dev/null 2>&1";
    EXPECT_NE(std::system(command.c_str()), -1);
    EXPECT_TRUE(carryOut({task})[0].isRepetition) << change;
    EXPECT_EQ(tasks().size(), 1u);
  }
  EXPECT_EQ(taskwarrior_.takeBack(task).kind, Kind::Refused);
  struct Case {
    Type type;
    std::string uuid;
  };
  for (const auto& [type, uuid] :
       {Case{Type::New, "U-1"}, Case{Type::New, "../" + kUUID}, Case{Type::Completed, kUUID + "1"},
        Case{Type::Flagged, kUUID + "9"}})
    EXPECT_EQ(carryOut({action(type, uuid, "t")})[0].kind, Kind::Refused) << uuid;
}

TEST_F(TaskwarriorTest, PublishesWhatTheListKnows) {
  import(R"([{"uuid":"0f2a1b3c-1111-4222-8333-000000000001","description":"Walk","status":"pending",
    "project":"Out.Lake","tags":["at_home","next"],"due":"20261124T200000Z","wait":"20261123T000000Z"},
    {"uuid":"0f2a1b3c-1111-4222-8333-000000000002","description":"Swim","status":"pending",
    "scheduled":"20261125T000000Z","depends":"0f2a1b3c-1111-4222-8333-000000000001"},
    {"uuid":"0f2a1b3c-1111-4222-8333-000000000003","description":"old","status":"completed",
    "end":"20261122T230000Z","project":"Past"},
    {"uuid":"0f2a1b3c-1111-4222-8333-000000000004","description":"new","status":"completed",
    "end":"20261123T010000Z","depends":"0f2a1b3c-1111-4222-8333-000000000003"},
    {"uuid":"0f2a1b3c-1111-4222-8333-000000000005","description":"gone","status":"deleted",
    "end":"20261123T010000Z"}])");
  const Clock::Fixed now{NSDate(NSTimeInterval(kMorning))};
  const auto published = taskwarrior_.contents().value();
  EXPECT_EQ(published.stamp, *taskwarrior_.stamp().value());
  ASSERT_EQ(published.projects.size(), 1u);
  EXPECT_EQ(published.projects[0].title, "Out.Lake");
  ASSERT_EQ(published.contexts.size(), 1u) << "the flag is none";
  EXPECT_EQ(published.contexts[0].title, "at home");
  ASSERT_EQ(published.items.size(), 3u);
  const auto& walk = *published.items[0];
  EXPECT_EQ(walk.uuid(), kUUID + "1");
  EXPECT_EQ(walk.dueDate(), NSDate(NSTimeInterval(kMorning + 36 * 3600)));
  EXPECT_TRUE(walk.isFlagged() && !walk.isInboxItem() && !walk.isBlocked());
  const auto& swim = *published.items[1];
  EXPECT_TRUE(swim.isBlocked() && !swim.isOnlyBlockedByDeferDate() && swim.isInboxItem());
  EXPECT_TRUE(published.items[2]->isCompleted() && !published.items[2]->isBlocked());
}

TEST_F(TaskwarriorTest, SaysWhyItCannotBeUsed) {
  const std::string path = std::getenv("PATH");
  const std::string bin = folder_ + "/bin";
  std::filesystem::create_directory(bin);
  struct Case {
    const char* program;
    const char* sentence;
  };
  for (const auto& [program, sentence] :
       {Case{nullptr, "install Taskwarrior"}, Case{"echo 2.4.1", "too old"},
        Case{"echo Task version: v3.1", "another one"}, Case{"echo no >&2; exit 2", "says: no"},
        Case{"kill -9 $$", "signal 9"}}) {
    if (program) {
      write("bin/task", std::string("#!/bin/sh\n") + program + "\n");
      std::filesystem::permissions(bin + "/task", std::filesystem::perms::owner_all);
    }
    set("PATH", bin);
    const auto lists = TaskwarriorDestination({}, {}).lists();
    ASSERT_FALSE(lists);
    EXPECT_NE(lists.error().description.find(sentence), std::string::npos)
        << lists.error().description;
    const auto outcome = TaskwarriorDestination({}, {}).carryOut(
        {action(Type::New, kUUID + "1", "t")}, [](std::size_t) {});
    EXPECT_EQ(outcome[0].kind, Kind::Later);
  }
  set("PATH", path);
}

}  // namespace
}  // namespace tasklane
