#include "common/InheritedConditions.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <locale>
#include <sstream>
#include <string_view>
#include <vector>

namespace tasklane {

namespace {

// linux/ioprio.h
constexpr int kIOPriorityOfProcess = 1;

rlimit limitOf(int resource) {
  rlimit limit{};
  ::getrlimit(static_cast<__rlimit_resource_t>(resource), &limit);
  return limit;
}

}  // namespace

std::string unchangeableConditions() {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << ::getuid() << ' ' << ::geteuid() << ' ' << ::getgid() << ' ' << ::getegid();
  std::vector<gid_t> groups(static_cast<std::size_t>(std::max(::getgroups(0, nullptr), 0)));
  if (::getgroups(static_cast<int>(groups.size()), groups.data()) >= 0)
    for (const gid_t group : groups) text << ' ' << group;
  for (int resource = 0; resource < RLIMIT_NLIMITS; ++resource)
    text << ' ' << limitOf(resource).rlim_max;
  text << ' ' << ::getpriority(PRIO_PROCESS, 0) << ' ' << ::sched_getscheduler(0) << ' '
       << ::syscall(SYS_ioprio_get, kIOPriorityOfProcess, 0) << ' '
       << ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0);
  cpu_set_t processors{};
  if (::sched_getaffinity(0, sizeof processors, &processors) == 0)
    text << ' ' << std::string_view(reinterpret_cast<const char*>(&processors), sizeof processors);
  return text.str();
}

std::string softLimits() {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  for (int resource = 0; resource < RLIMIT_NLIMITS; ++resource)
    text << limitOf(resource).rlim_cur << ' ';
  return text.str();
}

void adoptSoftLimits(const std::string& limits) {
  std::istringstream text(limits);
  text.imbue(std::locale::classic());
  for (int resource = 0; resource < RLIMIT_NLIMITS; ++resource) {
    rlimit limit = limitOf(resource);
    if (!(text >> limit.rlim_cur)) return;
    ::setrlimit(static_cast<__rlimit_resource_t>(resource), &limit);
  }
}

}  // namespace tasklane
