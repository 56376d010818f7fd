#include "foundation/dates/RelativeDate.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace tasklane {
namespace {

NSDate at(double seconds) { return NSDate(NSTimeInterval(seconds)); }

TEST(RelativeDate, TellsTheDayInWordsAndInThePersonsCalendar) {
  const struct {
    const char *locale, *zone;
    double moment;
    const char* text;
  } cases[] = {
      {"C", "UTC", 1774000000, "today 09:46"},
      {"C.UTF-8", "America/Mexico_City", 1774000000, "today 03:46"},
      {"", "UTC", 1774000000 - 36000, "yesterday 23:46"},
      {"en_US.UTF-8", "UTC", 1774000000 + 51240, "tomorrow 12:00\u202FAM"},
      {"de_DE.UTF-8", "UTC", 1774000000 + 49440, "heute 23:30"},
      {"de_DE@euro", "UTC", 0, "01.01.1970 00:00"},
      {"tr_TR.UTF-8", "UTC", 1774000000 + 86400, "yarın 09:46"},
      {"th_TH.UTF-8", "UTC", 1774000000 + 10 * 86400, "30 มี.ค. 2569 09:46"},
      {"fa_IR", "Asia/Kathmandu", 1774000000 + 10 * 86400, "۱۰ فروردین ۱۴۰۵ ۱۵:۳۱"},
      {"C", "Africa/Monrovia", 31536000, "31 Dec 1970 23:15"},  // 44 minutes 30 seconds behind
  };
  for (const auto& c : cases) {
    setenv("LC_ALL", c.locale, 1);
    setenv("TZ", c.zone, 1);
    const Clock::Fixed clock(at(1774000000));  // 2026-03-20 09:46:40 UTC
    EXPECT_EQ(relativeDateText(at(c.moment)), c.text) << c.locale;
  }
  unsetenv("LC_ALL");
  unsetenv("TZ");
}

}  // namespace
}  // namespace tasklane
