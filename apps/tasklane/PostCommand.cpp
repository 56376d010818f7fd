#include "Command.h"
#include "ShareCommand.h"

namespace tasklane {
void postWithoutWindow(const ShareRequest&, const PostOptions&) {
  throw Failure{ExitCode::Usage,
                "Saving without a window is not built into this program; show the sheet instead."};
}
}  // namespace tasklane
