#include "foundation/NSDateFormatter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "foundation/NSCalendar.h"

namespace tasklane {
namespace {

constexpr const char* filePattern = "yyyy-MM-dd-HH:mm:ss ZZZ";

NSDate at(double seconds) { return NSDate(NSTimeInterval(seconds)); }

/// Sets an environment variable until the end of a test.
class Environment {
 public:
  Environment(const char* name, const char* value) : name_(name) {
    if (const char* const old = std::getenv(name)) old_ = old;
    set(value);
  }
  ~Environment() { set(old_ ? old_->c_str() : nullptr); }
  void set(const char* value) { value ? setenv(name_, value, 1) : unsetenv(name_); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(NSDateFormatter, WritesLocalTimeWithTheOffsetOfThatMoment) {
  Environment locale("LC_ALL", "en_US.UTF-8"), zone("TZ", nullptr);
  NSDateFormatter formatter;
  formatter.setDateFormat(filePattern);
  const struct {
    const char* zone;
    double moment;
    const char* text;
  } cases[] = {
      {"America/Phoenix", 1426350413, "2015-03-14-09:26:53 -0700"},
      {"UTC", 1426350413.999, "2015-03-14-16:26:53 +0000"},
      {"", 0, "1970-01-01-00:00:00 +0000"},
      {"Europe/Berlin", 1711846799, "2024-03-31-01:59:59 +0100"},
      {"Europe/Berlin", 1711846800, "2024-03-31-03:00:00 +0200"},  // the hour that is left out
      {":Europe/Berlin", 1729987200, "2024-10-27-02:00:00 +0200"},
      {"Europe/Berlin", 1729990800, "2024-10-27-02:00:00 +0100"},  // the hour that comes twice
      {"/usr/share/zoneinfo/Asia/Kolkata", -0.5, "1970-01-01-05:29:59 +0530"},
      {"<+0545>-5:45", 0, "1970-01-01-05:45:00 +0545"},
      {"XST5XDT,M3.2.0,M11.1.0", 1720000000, "2024-07-03-05:46:40 -0400"},
  };
  for (const auto& c : cases) {
    zone.set(c.zone);
    EXPECT_EQ(formatter.stringFromDate(at(c.moment)), c.text) << c.zone;
    EXPECT_EQ(formatter.dateFromString(c.text), at(std::floor(c.moment))) << c.zone;
    zone.set("Pacific/Auckland");  // the offset in the text counts, not the reader's zone
    EXPECT_EQ(formatter.dateFromString(c.text), at(std::floor(c.moment))) << c.zone;
  }
}

TEST(NSDateFormatter, ReadsOnlyWhatMatchesTheWholePattern) {
  Environment locale("LC_ALL", "C");
  NSDateFormatter formatter;
  formatter.setDateFormat(filePattern);
  for (const char* const text :
       {"", "2015", "2015-03-14", "2015-03-14-09:26:53", "2015-03-14-09:26:53 -0700 ",
        "2015-03-14-09:26:53 -0700x", "2015-13-14-09:26:53 -0700", "2015-02-30-09:26:53 -0700",
        "2015-03-14-25:26:53 -0700", "2015-03-14T09:26:53 -0700", "yyyy-MM-dd-HH:mm:ss ZZZ",
        "\xFF"})
    EXPECT_FALSE(formatter.dateFromString(text)) << text;
}

TEST(NSDateFormatter, FollowsTheLocale) {
  Environment zone("TZ", "UTC"), locale("LC_ALL", "de_DE.UTF-8");
  NSDateFormatter formatter;
  formatter.setDateFormat("EEEE, d. MMMM");
  EXPECT_EQ(formatter.stringFromDate(at(0)), "Donnerstag, 1. Januar");
  locale.set("fr_FR");
  EXPECT_EQ(formatter.stringFromDate(at(0)), "jeudi, 1. janvier");
  locale.set("C");
  EXPECT_EQ(formatter.stringFromDate(at(0)), "Thursday, 1. January");
}

TEST(NSCalendar, KnowsTodayInTheCurrentZone) {
  Environment zone("TZ", "America/Denver");
  const NSCalendar& calendar = NSCalendar::autoupdatingCurrentCalendar();
  Clock::Fixed clock(at(1710054000));  // 2024-03-10 00:00 in Denver, a day of 23 hours
  const struct {
    const char* zone;
    double moment;
    bool today;
  } cases[] = {
      {"America/Denver", 1710054000 - 0.001, false},
      {"America/Denver", 1710054000, true},
      {"America/Denver", 1710054000 + 23 * 3600 - 0.001, true},
      {"America/Denver", 1710054000 + 23 * 3600, false},
      {"UTC", 1710054000 + 17 * 3600 - 1, true},
      {"UTC", 1710054000 - 7 * 3600, true},
      {"America/Denver", 1710054000 - 366 * 86400.0, false},
      {"America/Denver", HUGE_VAL, false},
  };
  for (const auto& c : cases) {
    zone.set(c.zone);
    EXPECT_EQ(calendar.isDateInToday(at(c.moment)), c.today) << c.zone << " " << c.moment;
  }
}

}  // namespace
}  // namespace tasklane
