#pragma once

#include <functional>
#include <memory>
#include <string>

#include "shared-store/TLXExternalItem.h"

/// The commands about pending actions.
namespace tasklane {

enum class OutputFormat { Text, JSON };

/// The pending actions, oldest first.
void printQueue(OutputFormat format);
void clearQueue();

/// Queues an action for a published item, found by its uuid at any depth.
void queueActionForItem(const std::string& uuid,
                        void (*action)(const std::shared_ptr<TLXExternalItem>& item));

}  // namespace tasklane
