#pragma once

#include <memory>

#include "foundation/property-lists/PropertyList.h"
#include "option-picker/SearchableOptionPickerController.h"
#include "uikit/compose-sheet/SLComposeSheetConfigurationItem.h"

namespace tasklane {

/// Ties one row of the sheet to one picker: fills the picker from the published catalogue and puts
/// the choice into the row. The row's tap handler keeps the helper; the helper keeps its picker,
/// and the row weakly.
class ConfigurationItemHelper : public NSObject {
 public:
  std::shared_ptr<SLComposeSheetConfigurationItem> configurationItem() const {
    return configurationItem_.lock();
  }
  void setConfigurationItem(const std::shared_ptr<SLComposeSheetConfigurationItem>& item) {
    configurationItem_ = item;
  }
  /// Whether it offers projects, else contexts.
  bool pickProjects() const { return pickProjects_; }
  void setPickProjects(bool pickProjects) { pickProjects_ = pickProjects; }

  /// The picker, made on first use, with the catalogue as it is now: it always opens without a
  /// checkmark.
  std::shared_ptr<SearchableOptionPickerController> pickerController();

  /// The picker's action: the chosen option's title becomes the row's value, and the picker is
  /// popped.
  void pickedItem();
  /// The "None" button's action: the row has no value any more, and the picker is popped.
  void pickedNone();
  /// An option of a catalogue entry: its title and, as detail, its path.
  std::shared_ptr<OptionPickerItem> optionItemWithDictionary(const PropertyList& entry) const;

 private:
  void makePicker();
  void popPicker();

  std::weak_ptr<SLComposeSheetConfigurationItem> configurationItem_;
  bool pickProjects_ = false;
  std::shared_ptr<SearchableOptionPickerController> pickerController_;
};

}  // namespace tasklane
