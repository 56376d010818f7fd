#include "delivery/DeliveryReceipts.h"

#include <gtest/gtest.h>

#include <fstream>

#include "delivery/DeliveryTesting.h"

namespace tasklane {
namespace {

using std::chrono::seconds;

class DeliveryReceiptsTest : public DeliveryTesting {
 protected:
  static DeliveryReceipts::Receipt receipt(const std::string& uuid, double age,
                                           const char* type = DeliveryReceipts::kNewTask,
                                           const char* destination = "here") {
    DeliveryReceipts::Receipt receipt;
    receipt.type = type;
    receipt.when = NSDate(NSTimeInterval(kMorning - age));
    receipt.destination = destination;
    receipt.action.uuid = uuid;
    return receipt;
  }

  const std::string path_ = folder_ + "/receipts.jsonl";
  DeliveryReceipts receipts_{path_};
};

TEST_F(DeliveryReceiptsTest, KeepEveryText) {
  auto full = receipt("U-1", 0, "new", "a \"b\" \\ c");
  full.where = "line\nbreak \x01 \x7f";
  full.action.title = "ελ 👩‍👩‍👧 \t \xff";
  full.action.notes = "n";
  full.action.project = ListContainer{"i", "\"", {}};
  full.action.attachments = {"/a/1.jpg", "/a/ü \".png"};
  ASSERT_TRUE(receipts_.append({full, receipt("U-2", 0)}));
  std::ofstream(path_, std::ios::app) << "{\"uuid\":\"torn";
  ASSERT_TRUE(receipts_.append({receipt("U-3", 0, DeliveryReceipts::kTakenBack)}));
  const auto read = receipts_.receipts().value();
  ASSERT_EQ(read.size(), 3u);
  EXPECT_EQ(read[0].destination, full.destination);
  EXPECT_EQ(read[0].where, full.where);
  EXPECT_EQ(read[0].action.title, "ελ 👩‍👩‍👧 \t \uFFFD") << "what no JSON can hold";
  EXPECT_EQ(read[0].action.notes, "n");
  EXPECT_EQ(read[0].action.project->title, "\"");
  EXPECT_EQ(read[0].action.attachments, full.action.attachments);
  EXPECT_EQ(*receipts_.newTasks().value(), (std::unordered_set<std::string>{"U-1", "U-2"}));
}

TEST_F(DeliveryReceiptsTest, NameWhatIsToBeLookedAfter) {
  ASSERT_TRUE(receipts_.append({
      receipt("future", -3600),  // the clock was wrong, and has been set back
      receipt("old", 9),
      receipt("elsewhere", 3, "new", "there"),
      receipt("completed", 3, "completed"),
      receipt("taken back", 3),
      receipt("again", 3),
      receipt("taken back", 2, DeliveryReceipts::kTakenBack),
      receipt("new", 1),
      receipt("again", 1),
      receipt("undone by a wrong clock", 1),
      receipt("undone by a wrong clock", -3600, DeliveryReceipts::kTakenBack),
  }));
  const Clock::Fixed clock{NSDate(NSTimeInterval(kMorning))};
  std::vector<std::string> uuids;
  for (const auto& task : receipts_.newTasksOfLast(seconds(5), "here")) uuids.push_back(task.uuid);
  EXPECT_EQ(uuids, (std::vector<std::string>{"new", "again"}));
}

}  // namespace
}  // namespace tasklane
