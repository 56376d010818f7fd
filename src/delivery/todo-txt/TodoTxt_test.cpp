#include <gtest/gtest.h>

#include "delivery/DeliveryTesting.h"
#include "delivery/todo-txt/TodoTxtContents.h"
#include "delivery/todo-txt/TodoTxtDestination.h"

namespace tasklane {
namespace {

using WhenMissing = ContendedFile::WhenMissing;

class TodoTxtTest : public DeliveryTesting {
 protected:
  TodoTxtTest() { ::setenv("TZ", "UTC", 1); }

  std::vector<DeliveryOutcome> carryOut(const std::vector<DeliveryAction>& actions) {
    return TodoTxtDestination(folder_ + "/todo.txt", WhenMissing::Begin)
        .carryOut(actions, [](std::size_t) {});
  }
  void write(const std::string& text, const char* name = "todo.txt") const {
    DeliveryTesting::write(name, text);
  }
  std::string contents() const { return DeliveryTesting::contents("todo.txt"); }
};

TEST_F(TodoTxtTest, WritesEveryTitleAsOneOpenTaskAndSaysWhatItCannotKeep) {
  struct Case {
    std::string title, line, readBack;
    std::size_t losses;
  };
  const std::string longTitle(10000, 'a');
  const std::vector<Case> cases{
      {"x Buy milk", "x Buy milk", "x Buy milk", 0},
      {"(A) Buy milk", "(A) Buy milk", "(A) Buy milk", 0},
      {"x (A) 2020-01-01", "x (A) 2020-01-01", "x (A) 2020-01-01", 0},
      {"Buy +milk @home", "Buy +milk @home", "Buy", 2},
      {"2+2 a@b.c + @", "2+2 a@b.c + @", "2+2 a@b.c + @", 0},
      {"see https://a.b/c?d at 12:30", "see https://a.b/c?d at 12:30",
       "see https://a.b/c?d at 12:30", 1},
      {"rec:1d h:1", "rec:1d h:1", "", 2},
      {"uuid:OTHER", "uuid:OTHER", "", 1},
      {"a\nb\r\nc\rd", "a b  c d", "a b c d", 1},
      {std::string("a\0b\x1b[1m", 7), "a b [1m", "a b [1m", 1},
      {"", "", "", 0},
      {longTitle, longTitle, longTitle, 0},
      {"ελ 日本 עברית ไทย 👩‍👩‍👧",
       "ελ 日本 עברית ไทย 👩‍👩‍👧",
       "ελ 日本 עברית ไทย 👩‍👩‍👧", 0},
  };
  for (const auto& expected : cases) {
    write("theirs without an end");
    const auto task = action(Type::New, "U-1", expected.title);
    EXPECT_EQ(carryOut({task})[0].kind, Kind::Delivered);
    const std::string line =
        "2026-11-23 " + expected.line + (expected.line.empty() ? "" : " ") + "uuid:U-1\n";
    EXPECT_EQ(contents(), "theirs without an end\n" + line);
    const TodoTxtContents read(contents());
    const auto index = read.indexOf("U-1");
    ASSERT_EQ(index, 1u) << expected.title;
    EXPECT_EQ(read.lines()[1].line.title(), expected.readBack);
    EXPECT_FALSE(read.lines()[1].line.isCompleted());
    EXPECT_FALSE(read.lines()[1].line.priority());
    EXPECT_EQ(TodoTxtDestination("/t", WhenMissing::Wait).losses(task).size(), expected.losses)
        << expected.title;
  }
}

TEST_F(TodoTxtTest, ChangesOnlyWhatAnActionSays) {
  struct Case {
    const char* before;
    std::vector<Type> types;
    const char* after;
  };
  const std::vector<Case> cases{
      {"2026-11-01 Call uuid:U", {Type::Completed}, "x 2026-11-23 2026-11-01 Call uuid:U"},
      {"(B) Call uuid:U", {Type::Completed}, "x 2026-11-23 Call uuid:U pri:B"},
      {"(B) 2026-11-01 Call uuid:U",
       {Type::Completed, Type::Uncompleted},
       "(B) 2026-11-01 Call uuid:U"},
      {"x 2026-11-20 Call uuid:U", {Type::Completed}, "x 2026-11-20 Call uuid:U"},
      {"x 2026-11-20 2026-11-01 Call uuid:U pri:C",
       {Type::Uncompleted},
       "(C) 2026-11-01 Call uuid:U"},
      {"Call uuid:U", {Type::Flagged}, "(A) Call uuid:U"},
      {"(A) Call uuid:U", {Type::Flagged}, "(A) Call uuid:U"},
      {"(C)  Call  uuid:U", {Type::Flagged}, "(C)  Call  uuid:U star:1"},
      {"(C) Call uuid:U", {Type::Flagged, Type::Unflagged}, "(C) Call uuid:U"},
      {"(A) Call uuid:U", {Type::Unflagged}, "Call uuid:U"},
      {"(A) Call uuid:U", {Type::Completed, Type::Unflagged}, "x 2026-11-23 Call uuid:U"},
      {"Call +p uuid:U\r", {Type::Completed}, "x 2026-11-23 Call +p uuid:U\r"},
      {"(A) Call uuid:U\r", {Type::Completed}, "x 2026-11-23 Call uuid:U pri:A\r"},
      {"X Call uuid:U", {Type::Completed}, "x 2026-11-23 X Call uuid:U"},
      {"xylophone (A) uuid:U", {Type::Flagged}, "(A) xylophone (A) uuid:U"},
      {"(b) Call uuid:U", {Type::Flagged}, "(A) (b) Call uuid:U"},
      {"Call uuid:V uuid:U", {Type::Flagged}, "(A) Call uuid:V uuid:U"},
  };
  for (const auto& expected : cases) {
    const std::string others = "\r\n  \t\nx\n\xff\xfe " + std::string(1, '\0') + "\n(A)x\n";
    write(others + expected.before + "\nlast\n");
    std::vector<DeliveryAction> actions;
    for (const auto type : expected.types) actions.push_back(action(type, "U"));
    for (const auto& outcome : carryOut(actions))
      EXPECT_EQ(outcome.kind, Kind::Delivered) << expected.before;
    EXPECT_EQ(contents(), others + expected.after + "\nlast\n") << expected.before;
  }
}

TEST_F(TodoTxtTest, KnowsLinesWithoutIdentifierByTheirText) {
  const auto identities = [](const char* text) {
    std::vector<std::string> all;
    const TodoTxtContents contents(text);
    for (const auto& line : contents.lines()) all.push_back(line.identity);
    return all;
  };
  const auto plain = identities("Call Ana +home\nCall Ana +home\nother\n");
  EXPECT_NE(plain[0], plain[1]) << "equal lines are two tasks";
  EXPECT_EQ(plain[0], identities("x 2026-11-23 2026-11-01 Call Ana +home pri:A star:1\n")[0]);
  EXPECT_EQ(plain[0], identities("(B) Call Ana +home\r\n")[0]);
  EXPECT_NE(plain[0], identities("Call Anna +home\n")[0]);

  write("Call Ana +home\nCall Ana +home\n");
  const auto done = carryOut({action(Type::Flagged, plain[1]), action(Type::Completed, plain[1])});
  EXPECT_EQ(done[1].kind, Kind::Delivered);
  EXPECT_EQ(contents(), "Call Ana +home\nx 2026-11-23 Call Ana +home pri:A\n");
  EXPECT_EQ(carryOut({action(Type::Completed, plain[2])})[0].kind, Kind::Refused);
}

TEST_F(TodoTxtTest, DeliversAnIdentifierOnce) {
  const auto task = action(Type::New, "U-1", "Buy milk");
  EXPECT_FALSE(carryOut({task})[0].isRepetition);
  EXPECT_TRUE(carryOut({task})[0].isRepetition);
  EXPECT_EQ(contents(), "2026-11-23 Buy milk uuid:U-1\n");
  // Archived by todo.sh.
  write("x 2026-11-23 2026-11-23 Buy milk uuid:U-1\n", "done.txt");
  write("");
  EXPECT_TRUE(carryOut({task})[0].isRepetition);
  EXPECT_EQ(contents(), "");
  EXPECT_EQ(carryOut({action(Type::New, "../U", "t")})[0].kind, Kind::Refused);
}

TEST_F(TodoTxtTest, PublishesWhatTheListKnows) {
  const auto published =
      TodoTxtContents(
          "2026-11-01 Walk +Round_the_lake @out due:2026-11-24 t:2026-11-23 rec:1w id:1\n"
          "Shoes p:1\n"
          "h:1 @town +hidden\n"
          "x 2026-11-22 old\n"
          "x 2026-11-23 new\n"
          "a p:r id:s\nb p:s id:r\n")
          .published("2026-11-23");
  ASSERT_EQ(published.projects.size(), 2u);
  EXPECT_EQ(published.projects[0].title, "Round the lake");
  EXPECT_EQ(published.contexts.size(), 2u);
  ASSERT_EQ(published.items.size(), 4u) << "a ring of parents is no tree";
  const auto& walk = *published.items[0];
  EXPECT_EQ(walk.title(), "Walk");
  EXPECT_EQ(walk.dueDate(), NSDate(NSTimeInterval(kMorning + 39 * 3600 + 3600 - 1)));
  EXPECT_EQ(walk.deferDate(), NSDate(NSTimeInterval(kMorning - 8 * 3600)));
  EXPECT_TRUE(walk.repeats() && !walk.isInboxItem());
  EXPECT_EQ(walk.children()->at(0)->title(), "Shoes");
  EXPECT_TRUE(published.items[1]->isCompleted());
}

}  // namespace
}  // namespace tasklane
