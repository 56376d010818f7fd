#include "foundation/base/ProgramStart.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "foundation/base/FileSystem.h"

namespace tasklane {
namespace {

using Session = ProgramStart::Session;

struct Started {
  std::string output;
  pid_t process = -1, group = -1, session = -1;
};

ProgramStart shell(const std::string& script) {
  return {.program = "sh", .arguments = {"sh", "-c", script}};
}

/// Started, its output kept, and ended.
Started run(ProgramStart start) {
  const FileDescriptor output = unnamedFileHolding("");
  start.descriptors[1] = output.get();
  Started started;
  started.process = startProgram(std::move(start));
  started.group = ::getpgid(started.process);
  started.session = ::getsid(started.process);
  int status = -1;
  EXPECT_EQ(::waitpid(started.process, &status, 0), started.process);
  EXPECT_EQ(status, 0);
  ::lseek(output.get(), 0, SEEK_SET);
  started.output = readAll(output.get(), "the output").value();
  return started;
}

TEST(ProgramStartTest, GivesTheNamedDescriptorsAndNoOthers) {
  const FileDescriptor inherited(::open("/dev/null", O_RDWR));  // by an exec(3) of this process
  ASSERT_TRUE(inherited);
  const FileDescriptor input = unnamedFileHolding("line\n");
  const std::string script =
      "cat; [ /dev/null -ef /proc/$$/fd/2 ] && echo nothing;"
      "for n in 0 1 2 3 4 5 6 7 8 9; do [ ! -e /proc/$$/fd/$n ] || echo $n; done";
  auto start = shell(script);
  EXPECT_EQ(run(start).output, "nothing\n0\n1\n2\n");
  start.descriptors = {input.get(), -1, ProgramStart::kNothing, input.get()};
  EXPECT_EQ(run(start).output, "line\nnothing\n0\n1\n2\n3\n");
  start = shell("pwd; echo $A$HOME");
  start.folder = "/";
  start.environment = {"A=a"};
  EXPECT_EQ(run(start).output, "/\na\n");
}

TEST(ProgramStartTest, HoldsNoSignalBackAndLeavesTheSessionWhereItIsToldTo) {
  const std::string script =
      "while read name set; do case $name in SigBlk:|SigIgn:) echo $set;; esac; "
      "done < /proc/self/status";
  auto start = shell(script);
  const auto former = std::signal(SIGXFSZ, SIG_IGN);
  sigset_t blocked, before;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &blocked, &before);
  const std::string none(16, '0');
  for (const auto session : {Session::Same, Session::OwnGroup, Session::Own}) {
    start.session = session;
    const auto started = run(start);
    const bool isOwn = session == Session::Own;
    EXPECT_EQ(started.output.substr(0, 17), none + "\n");
    const auto ignored = std::stoull(started.output.substr(17), nullptr, 16);
    EXPECT_EQ((ignored >> (SIGXFSZ - 1) & 1) == 0, isOwn) << started.output;
    EXPECT_EQ(started.session, isOwn ? started.process : ::getsid(0));
    EXPECT_EQ(started.group, session == Session::Same ? ::getpgid(0) : started.process);
  }
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
  std::signal(SIGXFSZ, former);
}

TEST(ProgramStartTest, TellsWhyAProgramIsNotStarted) {
  EXPECT_LT(startProgram({.program = "/nowhere/program", .arguments = {"program"}}), 0);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace tasklane
