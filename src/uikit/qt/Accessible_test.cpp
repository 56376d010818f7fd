#include "uikit/qt/Accessible.h"

#include <gtest/gtest.h>

#include <QAccessible>

#include "uikit/qt/Fixture.h"

namespace tasklane::qt {
namespace {

/// The tree as an assistive program reads it: "role name" per line, indented.
std::string described(QAccessibleInterface* node, int depth = 0) {
  static const std::map<QAccessible::Role, std::string> names{
      {QAccessible::Dialog, "dialog"},     {QAccessible::ToolBar, "bar"},
      {QAccessible::Heading, "heading"},   {QAccessible::Button, "button"},
      {QAccessible::EditableText, "text"}, {QAccessible::List, "list"},
      {QAccessible::ListItem, "item"},     {QAccessible::Grouping, "group"},
      {QAccessible::StaticText, "label"}};
  const auto role = names.find(node->role());
  std::string text(static_cast<std::size_t>(depth) * 2, ' ');
  text += role == names.end() ? "role " + std::to_string(node->role()) : role->second;
  if (const auto name = node->text(QAccessible::Name); !name.isEmpty())
    text += " " + name.toStdString();
  if (node->state().disabled) text += " (disabled)";
  if (node->state().focused) text += " (focused)";
  text += "\n";
  // Below an editor there are only parts of Qt's own.
  const int children = node->role() == QAccessible::EditableText ? 0 : node->childCount();
  for (int i = 0; i < children; ++i) {
    EXPECT_EQ(node->indexOfChild(node->child(i)), i);
    text += described(node->child(i), depth + 1);
  }
  return text;
}

QAccessibleInterface* find(QAccessibleInterface* node, QAccessible::Role role,
                           const QString& name) {
  if (node->role() == role && node->text(QAccessible::Name) == name) return node;
  for (int i = 0; i < node->childCount(); ++i)
    if (auto* found = find(node->child(i), role, name)) return found;
  return nullptr;
}

TEST(Accessible, TheSheetIsADialogWhoseRowsSayNameAndValue) {
  const auto sheet = std::make_shared<Sheet>();
  const ShownWindow shown(sheet);
  EXPECT_EQ(described(QAccessible::queryAccessibleInterface(shown.widget())),
            "dialog Tasklane\n"
            "  bar\n"
            "    button Cancel\n"
            "    heading Tasklane\n"
            "    button Post\n"
            "  text (focused)\n"
            "  list\n"
            "    item Notes\n"
            "    item Project, Home\n"
            "    item Context\n");
}

TEST(Accessible, AnAssistiveProgramOpensARowChoosesInTheListAndSaves) {
  const auto sheet = std::make_shared<Sheet>();
  const ShownWindow shown(sheet);
  const auto press = [&](QAccessible::Role role, const char* name) {
    auto* node = find(QAccessible::queryAccessibleInterface(shown.widget()), role, name);
    ASSERT_NE(node, nullptr) << name;
    ASSERT_NE(node->actionInterface(), nullptr);
    node->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    UpdateQueue::shared().flush();
  };
  press(QAccessible::ListItem, "Project, Home");
  ASSERT_TRUE(sheet->list);
  ASSERT_TRUE(waitFor([&] { return sheet->list->tableView()->isFirstResponder(); }));
  const auto refusing = sheet->list->tableView()->cellForRowAtIndexPath({0, 4});
  refusing->setAccessibilityTraits(UIAccessibilityTraitNotEnabled);
  press(QAccessible::ListItem, "Project 4");
  EXPECT_EQ(sheet->list->chosen, std::vector<std::string>{"Project 4"}) << "as a tap does";
  EXPECT_TRUE(
      QAccessible::queryAccessibleInterface(ViewPeer::of(refusing)->widget())->state().disabled);
  press(QAccessible::ListItem, "Project 3");
  EXPECT_EQ(sheet->list->chosen.back(), "Project 3");
  auto* item = find(QAccessible::queryAccessibleInterface(shown.widget()), QAccessible::ListItem,
                    "Project 3");
  EXPECT_TRUE(item->state().selected);
  EXPECT_TRUE(item->state().focused);
  EXPECT_EQ(item->parent()->role(), QAccessible::List);
  press(QAccessible::Button, "Back, Tasklane");
  ASSERT_TRUE(waitFor([&] { return sheet->textView()->peer() != nullptr; }));
  press(QAccessible::Button, "Post");
  EXPECT_EQ(sheet->posts, 1);
}

TEST(Accessible, ARowsPlaceAmongItsSiblingsIsItsPlaceInTheList) {
  const auto screen = std::make_shared<ListScreen>(1000);
  const ShownWindow shown(screen);
  auto* window = QAccessible::queryAccessibleInterface(shown.widget());
  auto* third = find(window, QAccessible::ListItem, "Project 3");
  ASSERT_NE(third, nullptr);
  auto* list = third->parent();
  EXPECT_EQ(list->childCount(), 1000);
  EXPECT_EQ(list->indexOfChild(third), 3);
  EXPECT_EQ(list->child(1000), nullptr);
  auto* far = list->child(900);
  ASSERT_NE(far, nullptr);
  EXPECT_EQ(far->text(QAccessible::Name), "Project 900");
  EXPECT_EQ(list->indexOfChild(far), 900);
  EXPECT_EQ(far->parent(), list);
  EXPECT_TRUE(far->state().offscreen);
  EXPECT_LT(screen->tableView()->indexPathsForVisibleRows().back().row, 30u);
  far->actionInterface()->doAction(QAccessibleActionInterface::setFocusAction());
  UpdateQueue::shared().flush();
  auto* near = list->child(900);
  EXPECT_EQ(list->indexOfChild(near), 900);
  EXPECT_TRUE(near->state().focused);
  EXPECT_EQ(list->focusChild(), near);
  far->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  EXPECT_EQ(screen->chosen, std::vector<std::string>{"Project 900"});

  // What searches the list stands before it, wherever it has been scrolled to.
  auto* search = list->parent()->child(list->parent()->indexOfChild(list) - 1);
  EXPECT_EQ(ViewWidget::of(search->object())->view(), screen->search->searchBar().get());
  EXPECT_EQ(search->parent(), list->parent());
  screen->search->searchBar()->userDidChangeText("Project 90");
  UpdateQueue::shared().flush();
  EXPECT_EQ(list->childCount(), 11);
  EXPECT_FALSE(far->isValid());
}

TEST(Accessible, TheWidgetOfAViewThatHasGoneIsSilent) {
  const auto screen = std::make_shared<UIViewController>();
  const auto label = std::make_shared<UILabel>(CGRect{0, 0, 100, 20});
  label->setText("Here");
  screen->view()->addSubview(label);
  const ShownWindow shown(screen);
  auto* node = QAccessible::queryAccessibleInterface(widgetOf(label));
  ASSERT_EQ(node->text(QAccessible::Name), "Here");
  label->removeFromSuperview();
  EXPECT_EQ(node->text(QAccessible::Name), "");
  EXPECT_TRUE(node->state().invalid);
}

}  // namespace
}  // namespace tasklane::qt
