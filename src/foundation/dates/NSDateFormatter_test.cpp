#include "foundation/dates/NSDateFormatter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "foundation/dates/NSCalendar.h"

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

// People set any of these; the shared files must not differ for it.
constexpr const char* locales[] = {"C",           "th_TH.UTF-8", "fa_IR.UTF-8",
                                   "ar_EG.UTF-8", "de_DE.UTF-8", "tr_TR.UTF-8"};

TEST(NSDateFormatter, WritesLocalTimeWithTheOffsetOfThatMomentInEveryLocale) {
  Environment locale("LC_ALL", nullptr), zone("TZ", nullptr);
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
      {"GMT+5", 1720000000, "2024-07-03-04:46:40 -0500"},  // west of Greenwich, as POSIX counts
      // Rules that have changed of late.
      {"America/Mexico_City", 1720000000, "2024-07-03-03:46:40 -0600"},
      {"Africa/Cairo", 1720000000, "2024-07-03-12:46:40 +0300"},
      {"Asia/Almaty", 1720000000, "2024-07-03-14:46:40 +0500"},
      {"Asia/Kathmandu", 1720000000, "2024-07-03-15:31:40 +0545"},
      {"Australia/Lord_Howe", 1720000000, "2024-07-03-20:16:40 +1030"},
      {"Australia/Lord_Howe", 1735000000, "2024-12-24-11:26:40 +1100"},
      // Offsets of odd seconds: -00:44:30, and -06:59:56 of the sun.
      {"Africa/Monrovia", 31536000, "1970-12-31-23:16:00 -0044"},
      {"UTC", -62135596800, "0001-01-01-00:00:00 +0000"},
      {"America/Denver", -62135596800, "0000-12-31-17:01:00 -0659"},
      {"UTC", 253402300799.5, "9999-12-31-23:59:59 +0000"},
  };
  for (const auto& c : cases)
    for (const char* const name : locales) {
      locale.set(name);
      zone.set(c.zone);
      EXPECT_EQ(formatter.stringFromDate(at(c.moment)), c.text) << c.zone << " " << name;
      EXPECT_EQ(formatter.dateFromString(c.text), at(std::floor(c.moment))) << c.zone;
      zone.set("Pacific/Auckland");  // the offset in the text counts, not the reader's zone
      EXPECT_EQ(formatter.dateFromString(c.text), at(std::floor(c.moment))) << c.zone;
    }
  zone.set("UTC");
  for (const double beyond : {253402300800.0, -1e12, HUGE_VAL, std::nan("")})
    EXPECT_EQ(formatter.stringFromDate(at(beyond)), "");
}

TEST(NSDateFormatter, ReadsOnlyWhatMatchesTheWholePattern) {
  NSDateFormatter formatter;
  formatter.setDateFormat(filePattern);
  for (const char* const text : {"",
                                 "2015",
                                 "2015-03-14",
                                 "2015-03-14-09:26:53",
                                 "2015-03-14-09:26:53 -0700 ",
                                 "2015-03-14-09:26:53 -0700x",
                                 "2015-13-14-09:26:53 -0700",
                                 "2015-02-30-09:26:53 -0700",
                                 "2015-03-14-25:26:53 -0700",
                                 "2015-03-14-09:60:53 -0700",
                                 "2015-03-14-09:26:60 -0700",
                                 "2015-03-00-09:26:53 -0700",
                                 "2015-00-14-09:26:53 -0700",
                                 "2015-03-14T09:26:53 -0700",
                                 "15-03-14-09:26:53 -0700",
                                 "12015-03-14-09:26:53 -0700",
                                 "+015-03-14-09:26:53 -0700",
                                 "2015-3-14-09:26:53 -0700",
                                 "2015-03-14-09:26:53 Z",
                                 "2015-03-14-09:26:53 +2",
                                 "2015-03-14-09:26:53 -07:00",
                                 "2015-03-14-09:26:53 GMT",
                                 "2015-03-14-09:26:53 -0760",
                                 "2015-03-14-09:26:53 -2500",
                                 "2015-03-14-09:26:53  -0700",
                                 "yyyy-MM-dd-HH:mm:ss ZZZ",
                                 "٢٠١٥-03-14-09:26:53 -0700",
                                 "\xFF"})
    EXPECT_FALSE(formatter.dateFromString(text)) << text;
  formatter.setDateFormat("EEEE yyyy-MM-dd-HH:mm:ss ZZZ");
  EXPECT_EQ(formatter.stringFromDate(at(0)), "") << "not a form that files exchange";
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
      {"Africa/Cairo", 1710054000 + 15 * 3600 - 1, true},  // 2024-03-10 there until 22:00 UTC
      {"Africa/Cairo", 1710054000 + 15 * 3600, false},
  };
  for (const auto& c : cases) {
    zone.set(c.zone);
    EXPECT_EQ(calendar.isDateInToday(at(c.moment)), c.today) << c.zone << " " << c.moment;
  }
}

}  // namespace
}  // namespace tasklane
