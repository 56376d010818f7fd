#include "delivery/ContendedFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "delivery/DeliveryTesting.h"

namespace tasklane {
namespace {

class ContendedFileTest : public DeliveryTesting {
 protected:
  ContendedFileTest() { write("todo.txt", "one\n"); }

  static std::optional<std::string> withOurs(const std::string& text) { return text + "ours\n"; }
  static void append(int file, const std::string& text) {
    ASSERT_EQ(::write(file, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  const std::string path_ = folder_ + "/todo.txt";
};

TEST_F(ContendedFileTest, LosesNothingOfThoseWhoWriteMeanwhile) {
  // What another program does between our reading and our writing, once.
  const std::vector<std::pair<const char*, std::function<void()>>> others{
      {"one\ntheirs\nours\n",
       [&] { std::ofstream(path_, std::ios::app | std::ios::binary) << "theirs\n"; }},
      {"new\nours\n",
       [&] {
         write("sed", "new\n");
         std::filesystem::rename(folder_ + "/sed", path_);
       }},
      {"cut\nours\n", [&] { write("todo.txt", "cut\n"); }},
  };
  for (const auto& [expected, act] : others) {
    write("todo.txt", "one\n");
    int calls = 0;
    const auto changed = ContendedFile(path_).change([&, &other = act](const std::string& text) {
      if (++calls == 1) other();
      return withOurs(text);
    });
    EXPECT_TRUE(changed) << expected;
    EXPECT_EQ(contents("todo.txt"), expected);
  }
}

TEST_F(ContendedFileTest, BringsAlongWhatIsWrittenToTheFileThatWasReplaced) {
  for (const bool replacesAll : {false, true}) {
    write("todo.txt", "one\n");
    std::thread writer;
    const auto changed = ContendedFile(path_).change([&](const std::string& text) {
      if (writer.joinable()) return text.find("ours") == text.npos ? withOurs(text) : std::nullopt;
      const int file = ::open(path_.c_str(), O_WRONLY | (replacesAll ? 0 : O_APPEND) | O_CLOEXEC);
      struct stat before {};
      ::fstat(file, &before);
      writer = std::thread([=, this] {
        // Until our version stands in the place of the one that is open here.
        struct stat now {};
        do ::stat(path_.c_str(), &now);
        while (now.st_ino == before.st_ino);
        append(file, replacesAll ? "all theirs\n" : "theirs\n");
        ::close(file);
      });
      return withOurs(text);
    });
    writer.join();
    EXPECT_TRUE(changed);
    if (replacesAll) {
      EXPECT_EQ(contents("todo.txt"), "all theirs\nours\n");
    } else {  // whoever comes first
      EXPECT_THAT(contents("todo.txt"),
                  testing::AnyOf("one\nours\ntheirs\n", "one\ntheirs\nours\n"));
    }
  }
}

TEST_F(ContendedFileTest, KeepsModeAndLinkAndLeavesNoFiles) {
  ::chmod(path_.c_str(), 0640);
  const std::string link = folder_ + "/link";
  std::filesystem::create_symlink("todo.txt", link);
  ASSERT_TRUE(ContendedFile(link).change(withOurs));
  EXPECT_EQ(contents("todo.txt"), "one\nours\n");
  struct stat status {};
  ::lstat(path_.c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_), {}), 2);
}

TEST_F(ContendedFileTest, BeginsNoFileThatIsExpectedToComeBack) {
  for (const auto& path : {folder_ + "/away.txt", folder_ + "/away/todo.txt"}) {
    const auto changed = ContendedFile(path, ContendedFile::WhenMissing::Wait).change(withOurs);
    ASSERT_FALSE(changed);
    EXPECT_EQ(changed.error().kind, NSError::Kind::FileNotFound);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(ContendedFile(path).change(withOurs));
  }
}

}  // namespace
}  // namespace tasklane
