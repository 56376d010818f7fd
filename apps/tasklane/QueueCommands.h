#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "foundation/property-lists/PropertyList.h"
#include "shared-store/TLXExternalItem.h"

/// The commands about pending actions.
namespace tasklane {

enum class OutputFormat { Text, JSON };

/// The pending actions, oldest first.
void printQueue(OutputFormat format);
void clearQueue();

/// Queued entries as other programs get them: [{"type": …, "info": …}, …], null for what an entry
/// lacks.
nlohmann::json JSONFromEntries(const PropertyList::Array& entries);

/// Queues an action for a published item, found by its uuid at any depth.
void queueActionForItem(const std::string& uuid,
                        void (*action)(const std::shared_ptr<TLXExternalItem>& item));

}  // namespace tasklane
