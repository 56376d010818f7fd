#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uikit/headless/Headless.h"
#include "uikit/tables/UITableView.h"
#include "uikit/views/UIWindow.h"

/// A table on the screen whose list does as a test says.
namespace tasklane {

/// What cells and headers say of themselves, in order.
inline std::vector<std::string>& record() {
  static std::vector<std::string> lines;
  return lines;
}

class RecordingCell : public UITableViewCell {
 public:
  RecordingCell(UITableViewCellStyle style, const std::string& identifier)
      : UITableViewCell(style, identifier), number(++made) {}
  void prepareForReuse() override {
    UITableViewCell::prepareForReuse();
    record().push_back("prepare " + std::to_string(number));
  }
  CGSize systemLayoutSizeFittingSize(CGSize size) override {
    return height > 0 ? CGSize{size.width, height}
                      : UITableViewCell::systemLayoutSizeFittingSize(size);
  }
  static inline int made = 0;
  int number;
  CGFloat height = 0;
};

/// A list whose rows have the heights that it is told, as many sections and rows as it is told.
class RecordingList : public NSObject, public UITableViewDataSource, public UITableViewDelegate {
 public:
  std::size_t numberOfSectionsInTableView(UITableView&) override { return rows.size(); }
  std::size_t numberOfRowsInSection(UITableView&, std::size_t section) override {
    ++countsAsked;
    return rows.at(section);
  }
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(UITableView& table,
                                                         NSIndexPath path) override {
    EXPECT_LT(path.row, rows.at(path.section)) << "asked for a row that is gone";
    asked.push_back(path);
    auto cell = std::dynamic_pointer_cast<RecordingCell>(
        table.dequeueReusableCellWithIdentifier("row", path));
    cell->height = heightOf ? heightOf(path) : 0;
    cell->textLabel()->setText(std::to_string(path.row));
    if (onCell) onCell(table, path);
    return cell;
  }
  std::optional<std::string> titleForHeaderInSection(UITableView&, std::size_t section) override {
    return section < titles.size() ? titles[section] : std::nullopt;
  }
  void didSelectRowAtIndexPath(UITableView& table, NSIndexPath path) override {
    chosen.push_back(path);
    if (onChoose) onChoose(table, path);
  }
  void willDisplayHeaderView(UITableView&, UIView& header, std::size_t section) override {
    const auto& label = dynamic_cast<UITableViewHeaderFooterView&>(header).textLabel();
    record().push_back(std::to_string(section) + " " + label->text().value_or("-"));
  }

  std::vector<std::size_t> rows{3};
  std::vector<std::optional<std::string>> titles;
  std::function<CGFloat(NSIndexPath)> heightOf;
  std::function<void(UITableView&, NSIndexPath)> onCell, onChoose;
  std::vector<NSIndexPath> asked, chosen;
  int countsAsked = 0;
};

class UITableViewTest : public testing::Test {
 protected:
  UITableViewTest() {
    headless::reset();
    RecordingCell::made = 0;
    record().clear();
  }
  ~UITableViewTest() override { headless::reset(); }

  std::shared_ptr<UITableView> show(std::vector<std::size_t> rows,
                                    UITableViewStyle style = UITableViewStyle::Plain) {
    list->rows = std::move(rows);
    table = std::make_shared<UITableView>(CGRect{0, 0, 300, 440}, style);
    table->registerClassForCellReuseIdentifier<RecordingCell>("row");
    table->setDataSource(list);
    table->setDelegate(list);
    window->addSubview(table);
    window->makeKeyAndVisible();
    table->layoutIfNeeded();
    return table;
  }
  void scroll(CGFloat y) { table->userDidScrollToOffset({0, y}); }
  CGFloat screenY(NSIndexPath path) {
    return table->cellForRowAtIndexPath(path)->frame().minY() - table->contentOffset().y;
  }

  std::shared_ptr<RecordingList> list = std::make_shared<RecordingList>();
  std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRect{0, 0, 300, 440});
  std::shared_ptr<UITableView> table;
};

}  // namespace tasklane
