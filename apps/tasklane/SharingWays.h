#pragma once

#include <string>
#include <vector>

#include "foundation/base/NSError.h"

/// The ways by which other programs share, as far as they are files that these programs read. Main
/// thread.
namespace tasklane {

/// A file that another program reads.
struct WayFile {
  std::string resource;   ///< the template, below the bundle's resources
  std::string place;      ///< where one person's lies
  std::string everybody;  ///< where the installed one lies; "" where there is none

  /// What it holds when this program stands behind it; an error when there is no template, or this
  /// program's path cannot be written into it.
  Result<std::string> contents() const;
};

struct Way {
  enum class Kind { Menu, Browser, Sandboxed };

  std::string name;
  std::string program;  ///< whom it is for
  Kind kind;
  bool isUsed;  ///< whether that program seems to be there
  std::vector<WayFile> files;

  enum class State {
    Absent,
    OfPerson,     ///< all of it is there, and `tasklane integrate` has written it
    OfEverybody,  ///< a package has installed it
    OfOthers      ///< something else lies in its place
  };
  State state() const;
  /// The first file, where it is installed; "" where it is not.
  std::string installedPlace() const;
};

std::vector<Way> sharingWays();

/// Whether a file is there and has been written by `tasklane integrate`.
bool isWrittenByIntegrate(const std::string& path);

/// The program of a name on PATH; "" when there is none.
std::string programOnPath(const std::string& name);

/// What a key is to be bound to, since no desktop lets a program bind one by itself.
std::string commandForKey();

/// A bookmark that shares a page's title and address from a browser that reaches no other program.
extern const char* const kBookmark;

}  // namespace tasklane
