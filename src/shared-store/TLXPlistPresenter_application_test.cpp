#include <gtest/gtest.h>

#include <filesystem>

#include "foundation/extension/NSBundle.h"
#include "shared-store/SharedStoreTesting.h"
#include "shared-store/TLXPlistPresenter.h"

namespace tasklane {
namespace {

using namespace tasklane::testing;
using Entries = PropertyListDictionary;

TEST(TLXPlistPresenter, FindsTheApplicationThatContainsIt) {
  const std::string folder = scratchFolder() + "/applications";
  const auto makeBundle = [&](const std::string& name, const Entries& information) {
    std::filesystem::create_directories(folder + "/" + name);
    overwriteWithPlist(folder + "/" + name + "/Info.plist", information);
  };
  const auto named = [](const char* name) { return Entries{{"CFBundleIdentifier", name}}; };
  makeBundle("Outer.app", named("org.example.outer"));
  makeBundle("Outer.app/PlugIns/Share.appex", named("org.example.outer.share"));
  makeBundle("Myapp", named("org.example.myapp"));
  makeBundle("Alone.appex", named("org.example.alone"));
  // While it is brought up to date; and one that never says who it is.
  makeBundle("Torn.app/PlugIns/Share.appex", named("org.example.torn.share"));
  overwrite(folder + "/Torn.app/Info.plist", "");
  makeBundle("Nameless.app", {});
  const struct {
    const char* mainBundle;
    std::optional<std::string> identifier;
  } cases[] = {{"Outer.app", "org.example.outer"},
               {"Outer.app/PlugIns/Share.appex", "org.example.outer"},
               {"Myapp", "org.example.myapp"},
               {"Torn.app", std::nullopt},
               {"Torn.app/PlugIns/Share.appex", std::nullopt},
               {"Nameless.app", std::nullopt},
               {"Alone.appex", "<<UNKNOWN>>"}};
  const auto former = NSBundle::mainBundle();
  for (const auto& each : cases) {
    SCOPED_TRACE(each.mainBundle);
    NSBundle::setMainBundle(NSBundle::bundleWithPath(folder + "/" + each.mainBundle));
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(TLXPlistPresenter::_containingApplicationBundleIdentifier(), each.identifier);
    EXPECT_EQ(::testing::internal::GetCapturedStderr().find("NOTREACHED") != std::string::npos,
              each.identifier == "<<UNKNOWN>>");
  }
  makeBundle("Torn.app", named("org.example.torn"));
  NSBundle::setMainBundle(NSBundle::bundleWithPath(folder + "/Torn.app"));
  EXPECT_EQ(TLXPlistPresenter::_containingApplicationBundleIdentifier(), "org.example.torn")
      << "a moment's trouble is not kept";
  NSBundle::setMainBundle(former);
  EXPECT_TRUE(TLXPlistPresenter::sharedContainerURL()->path().ends_with(
      "/group.com.kestrelworks.Tasklane/com.kestrelworks.Tasklane"));
}

}  // namespace
}  // namespace tasklane
