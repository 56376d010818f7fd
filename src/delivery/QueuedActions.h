#pragma once

#include <optional>
#include <string>

#include "delivery/Destination.h"
#include "foundation/property-lists/PropertyList.h"

namespace tasklane {

/// An entry of the queue as a destination needs it; none when it has no uuid or its type is unknown
/// here. Attachments that are missing are left out.
std::optional<DeliveryAction> deliveryActionOfEntry(const PropertyList& entry);

/// Empty when it has none.
std::string uuidOfEntry(const PropertyList& entry);

/// The entries without those that are gone: of entries that are alike one is left out for each gone
/// one, the oldest first.
PropertyList::Array entriesWithout(const PropertyList::Array& entries,
                                   const PropertyList::Array& gone);

}  // namespace tasklane
