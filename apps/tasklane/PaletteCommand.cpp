#include "PaletteCommand.h"

#include "Command.h"
#include "appearance/PaletteCheck.h"
#include "foundation/base/NSLog.h"

namespace tasklane {

void checkPalette(const std::string& file) {
  const auto complaints = complaintsAboutPaletteAtPath(file);
  if (!complaints)
    throw Failure{exitCodeForInputError(complaints.error()),
                  "The palette cannot be read: " + complaints.error().description + "."};
  for (const auto& complaint : complaints.value()) NSLog("tasklane: " + file + ": " + complaint);
  if (!complaints.value().empty())
    throw Failure{ExitCode::BadData, "The palette " + file + " needs these corrections."};
  print("Nothing is wrong with " + file + ".\n");
}

}  // namespace tasklane
