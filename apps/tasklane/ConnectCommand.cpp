#include "Command.h"
#include "DeliveryCommands.h"
#include "common/OutOfMemory.h"

namespace tasklane {

std::unique_ptr<Deliverer> makeDeliverer() {
  auto configuration = DeliveryConfiguration::load();
  if (!configuration) throw Failure{ExitCode::BadData, configuration.error().description + "."};
  auto destination = makeDestination(configuration.value().kind, configuration.value().options);
  if (!destination)
    throw Failure{ExitCode::BadData,
                  DeliveryConfiguration::path() + ": " + destination.error().description + "."};
  return std::make_unique<Deliverer>(std::move(destination).value(),
                                     std::move(configuration).value());
}

void connect(const std::string& kind, const DestinationKind::Options& options) {
  requireContainer();
  auto configuration = DeliveryConfiguration::load();
  if (!configuration) throw Failure{ExitCode::BadData, configuration.error().description + "."};
  configuration.value().kind = kind;
  configuration.value().options = options;
  auto destination = makeDestination(kind, options);
  if (!destination) throw Failure{ExitCode::Usage, destination.error().description + "."};
  const auto lists = destination.value()->lists();
  if (!lists)
    throw Failure{ExitCode::Unavailable, "Cannot connect " + destination.value()->description() +
                                             ": " + lists.error().description +
                                             ". Nothing was changed."};
  configuration.value().options.merge(destination.value()->choices());
  if (const auto saved = configuration.value().saveDestination(); !saved)
    throw Failure{ExitCode::WriteFailed, saved.error().description + "; nothing was changed."};
  OutOfMemory::changeHasSteps();
  print("Connected " + oneLine(destination.value()->description()) + ".\n");
  for (const auto& list : lists.value())
    print("  " + oneLine(list.title) +
          (list.id == list.title ? "" : "  (" + oneLine(list.id) + ")") + "\n");
  finishNews("It is connected, but what it offers could not be printed.");
  Deliverer deliverer(std::move(destination).value(), configuration.value());
  if (const auto published = deliverer.publish(); !published)
    throw Failure{ExitCode::Busy, "Its projects and items could not be published yet: " +
                                      published.error().description + "."};
}

}  // namespace tasklane
