#include "foundation/files/UserFolder.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace tasklane {

namespace {

std::string homeFolder() {
  if (const char* const home = std::getenv("HOME"); home && *home == '/') return home;
  passwd entry{};
  passwd* found = nullptr;
  std::string buffer(16384, '\0');
  getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
  return found && found->pw_dir ? found->pw_dir : "";
}

struct Place {
  const char* variable;
  const char* usual;  // in the home folder
};

Place placeOf(UserFolder folder) {
  switch (folder) {
    case UserFolder::Config:
      return {"XDG_CONFIG_HOME", "/.config"};
    case UserFolder::Data:
      return {"XDG_DATA_HOME", "/.local/share"};
    case UserFolder::Cache:
      return {"XDG_CACHE_HOME", "/.cache"};
    case UserFolder::State:
      return {"XDG_STATE_HOME", "/.local/state"};
  }
  return {};
}

}  // namespace

std::string pathOfUserFolder(UserFolder folder) {
  const Place place = placeOf(folder);
  const char* const named = std::getenv(place.variable);
  return named && *named == '/' ? named : homeFolder() + place.usual;
}

}  // namespace tasklane
