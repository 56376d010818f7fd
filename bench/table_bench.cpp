#include <chrono>
#include <cstdlib>

#include "bench/Report.h"
#include "uikit/tables/UITableView.h"

// What a table costs: opening a long list beside a short one, and steps of scrolling through it.
// Without a screen, so that only the table's own work counts.

namespace tasklane {
namespace {

class Rows : public NSObject, public UITableViewDataSource, public UITableViewDelegate {
 public:
  explicit Rows(std::size_t count) : count_(count) {}
  std::size_t numberOfRowsInSection(UITableView&, std::size_t) override { return count_; }
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(UITableView& table,
                                                         NSIndexPath path) override {
    auto cell = table.dequeueReusableCellWithIdentifier("row", path);
    cell->textLabel()->setText("Row " + std::to_string(path.row));
    cell->detailTextLabel()->setText(path.row % 3 ? "" : "Folder");  // rows of two heights
    return cell;
  }

 private:
  std::size_t count_;
};

std::shared_ptr<UITableView> open(const std::shared_ptr<Rows>& rows) {
  auto table = std::make_shared<UITableView>(CGRect{0, 0, 400, 600}, UITableViewStyle::Plain);
  table->registerClassForCellReuseIdentifier(
      [](UITableViewCellStyle, const std::string& name) {
        return std::make_shared<UITableViewCell>(UITableViewCellStyle::Subtitle, name);
      },
      "row");
  table->setDataSource(rows);
  table->setDelegate(rows);
  table->layoutIfNeeded();
  return table;
}

/// The median and the slowest step, in milliseconds.
void reportSteps(const std::string& name, UITableView& table, CGFloat by, int steps) {
  std::vector<double> taken;
  for (int i = 0; i < steps; ++i) {
    const auto start = std::chrono::steady_clock::now();
    table.userDidScrollToOffset({0, table.contentOffset().y + by});
    table.layoutIfNeeded();
    taken.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
            .count());
  }
  constexpr double kFrame = 1000.0 / 60;
  bench::report(name + ", median", bench::median(taken), "ms", kFrame, "a frame");
  bench::report(name + ", slowest", *std::max_element(taken.begin(), taken.end()), "ms", kFrame,
                "a frame");
}

}  // namespace
}  // namespace tasklane

int main(int argc, char** argv) {
  using namespace tasklane;
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 200;
  const auto few = std::make_shared<Rows>(20), many = std::make_shared<Rows>(100'000);
  bench::compare({{"open a table of 100,000 rows", [&] { bench::keep(open(many)); }, {}},
                  {"open a table of 20 rows", [&] { bench::keep(open(few)); }, {}}},
                 rounds);
  const auto table = open(many);
  reportSteps("scroll 40 points in 100,000 rows", *table, 40, 2000);
  reportSteps("scroll a page in 100,000 rows", *table, 600, 500);
  reportSteps("scroll a page back", *table, -600, 500);
  table->setContentOffset({0, 2'000'000});
  reportSteps("scroll back over rows never seen", *table, -40, 2000);
  bench::compare({{"reload 100,000 rows",
                   [&] {
                     table->reloadData();
                     table->layoutIfNeeded();
                   },
                   {}}},
                 rounds);
}
