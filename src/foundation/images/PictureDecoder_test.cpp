#include "foundation/images/PictureDecoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <fstream>
#include <thread>
#include <vector>

#include "foundation/images/TestPictures.h"

namespace tasklane {
namespace {

Result<EncodedImage::Pixels> thumbnail(PictureDecoder& decoder, const std::string& bytes) {
  const auto image = pictures::imageOf(bytes);
  const auto scratch = UnnamedFile::makeInFolder(::testing::TempDir());
  return decoder.decode({.format = image.value()->format(), .thumbnailSide = 16},
                        {image.value()->fileDescriptor(), scratch.value()->fileDescriptor(), -1});
}

TEST(PictureDecoder, APictureIsRefusedInASentenceWhereThereIsNoDecoder) {
  for (const char* program : {"/nonexistent/picture-decoder", "/bin/true", "/etc/passwd"}) {
    PictureDecoder decoder(program);
    const auto none = thumbnail(decoder, pictures::jpeg({}));
    ASSERT_FALSE(none.ok()) << program;
    EXPECT_EQ(NSError::Kind::Io, none.error().kind);
    EXPECT_THAT(none.error().description, ::testing::HasSubstr("picture decoder"));
  }
}

TEST(PictureDecoder, IsStartedAgainWhenSomebodyEndedIt) {
  PictureDecoder decoder;
  ASSERT_TRUE(thumbnail(decoder, pictures::jpeg({})).ok());
  std::ifstream children("/proc/thread-self/children");
  if (!children) GTEST_SKIP() << "the system does not tell a process's children";
  std::vector<pid_t> processes;
  for (pid_t process = 0; children >> process;) processes.push_back(process);
  ASSERT_FALSE(processes.empty());
  ::kill(processes.back(), SIGKILL);
  siginfo_t ended;
  ASSERT_EQ(0, ::waitid(P_PID, static_cast<id_t>(processes.back()), &ended, WEXITED | WNOWAIT));
  EXPECT_TRUE(thumbnail(decoder, pictures::jpeg({})).ok());
}

TEST(PictureDecoder, SeveralPicturesAtOnceGetEachItsOwn) {
  PictureDecoder decoder;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&decoder, thread] {
      for (int i = 0; i < 10; ++i) {
        const bool wide = (thread + i) % 2 == 0;
        const auto small = thumbnail(decoder, wide ? pictures::png({.width = 80, .height = 40})
                                                   : pictures::jpeg({.width = 40, .height = 80}));
        ASSERT_TRUE(small.ok()) << small.error().description;
        EXPECT_EQ(wide ? 16 : 8, small.value().width);
        EXPECT_EQ(wide ? 8 : 16, small.value().height);
      }
    });
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace tasklane
