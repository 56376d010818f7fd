#include "common/BackgroundDelivery.h"

#include <cstdlib>
#include <string>
#include <string_view>

#include "delivery/DeliveryLock.h"
#include "foundation/base/ProgramStart.h"
#include "foundation/extension/NSBundle.h"

namespace tasklane {

namespace {

/// The command line beside which this program lies, or which this program is.
std::string programPath() {
  std::string bundle = NSBundle::mainBundle()->bundlePath();
  constexpr std::string_view kExtension = "/PlugIns/Share.appex";
  if (bundle.ends_with(kExtension)) bundle.resize(bundle.size() - kExtension.size());
  return bundle + "/tasklane";
}

}  // namespace

void deliverInBackground() {
  const char* wanted = std::getenv("TASKLANE_DELIVERY");
  if (wanted && std::string_view(wanted) == "0") return;
  if (DeliveryLock::isHeld(DeliveryLock::Of::Agent) ||
      DeliveryLock::isHeld(DeliveryLock::Of::Background))
    return;
  const std::string program = programPath();
  (void)startProgram({.program = program,
                      .arguments = {program, "deliver", "--background"},
                      .session = ProgramStart::Session::Own});
}

}  // namespace tasklane
