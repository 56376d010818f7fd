// A page of scrolling, painted: a table of 100,000 rows on a screen beside the toolkit's own list
// view with the same rows. Needs no display of its own: run it with QT_QPA_PLATFORM=offscreen where
// there is none.

#include <QApplication>
#include <QListView>
#include <QScrollBar>
#include <QStringListModel>

#include "bench/Report.h"
#include "uikit/base/Backend.h"
#include "uikit/tables/UITableViewController.h"
#include "uikit/views/UIWindow.h"

using namespace tasklane;

namespace {

constexpr std::size_t kRows = 100000;
constexpr int kWidth = 400, kHeight = 440, kPages = 200;

std::string titleOfRow(std::size_t row) { return "Row number " + std::to_string(row); }

class Rows : public UITableViewController {
 public:
  Rows() : UITableViewController(UITableViewStyle::Plain) {}
  void viewDidLoad() override {
    tableView()->registerClassForCellReuseIdentifier<UITableViewCell>("row");
  }
  std::size_t numberOfRowsInSection(UITableView&, std::size_t) override { return kRows; }
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(UITableView& table,
                                                         NSIndexPath indexPath) override {
    const auto cell = table.dequeueReusableCellWithIdentifier("row", indexPath);
    cell->textLabel()->setText(titleOfRow(indexPath.row));
    return cell;
  }
};

/// Turns the loop until what has changed is painted.
void paint() {
  for (int turn = 0; turn < 3; ++turn) QCoreApplication::processEvents();
}

}  // namespace

int main(int argc, char** argv) {
  backend::start(argc, argv, "scroll_bench");
  const auto rows = std::make_shared<Rows>();
  const auto window = std::make_shared<UIWindow>(CGRect(0, 0, kWidth, kHeight));
  window->setRootViewController(rows);
  window->makeKeyAndVisible();

  QStringList titles;
  for (std::size_t row = 0; row < kRows; ++row) {
    titles << QString::fromStdString(titleOfRow(row));
  }
  QStringListModel model(titles);
  QListView list;
  list.setUniformItemSizes(true);
  list.setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  list.setModel(&model);
  list.resize(kWidth, kHeight);
  list.show();
  paint();

  std::vector<double> table, toolkit;
  const auto milliseconds = [](auto run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    const auto taken = std::chrono::steady_clock::now() - start;
    return std::chrono::duration<double, std::milli>(taken).count();
  };
  for (int page = 1; page <= kPages; ++page) {
    table.push_back(milliseconds([&] {
      rows->tableView()->userDidScrollToOffset({0, static_cast<CGFloat>(page * kHeight)});
      paint();
    }));
    toolkit.push_back(milliseconds([&] {
      list.verticalScrollBar()->setValue(page * kHeight);
      paint();
    }));
  }
  bench::report("a page of scrolling, painted", bench::median(table), "ms", bench::median(toolkit),
                "the toolkit's list view");
  bench::report("the toolkit's list view", bench::median(toolkit), "ms");
  window->close();
  return 0;
}
