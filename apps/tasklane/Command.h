#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "common/ExitCode.h"
#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"
#include "shared-store/TLXPlistPresenter.h"

/// What every command of the command line shares: how it ends, prints, and changes a shared file.
namespace tasklane {

/// Thrown to end the program: one plain sentence that says what is wrong and what to do.
struct Failure {
  ExitCode code;
  std::string sentence;
};

/// Writes to standard output. Failures show in finishOutput().
void print(std::string_view text);
/// Throws when anything printed did not arrive, with what to tell the person.
void finishOutput(const char* sentence = "The output could not be written; make room for it.");
/// The same where what was printed only tells of what is done already: the sentence goes to the
/// console, and the command has succeeded all the same.
void finishNews(const char* sentence);

/// Indented, with a line break at its end; always valid UTF-8.
std::string textOf(const nlohmann::json& value);
void printJSON(const nlohmann::json& value);

/// A text of a person on one line, harmless for a terminal: control characters and those that turn
/// the direction of the text after them are blanks, invalid UTF-8 is U+FFFD.
std::string oneLine(std::string_view text);

/// An item's dictionary, or another value, as JSON. Dates of an item, which are texts with an
/// offset, are told as moments too: "due" by "dueDate", in RFC 3339 and UTC.
nlohmann::json JSONFromItem(const PropertyList& item);

/// Makes sure that the shared container can be used, or throws.
void requireContainer();
/// Throws when the presenter's file could not be read because others held it for too long, or the
/// person did not want to wait for them.
void requireFree(const TLXPlistPresenter& presenter);
/// Throws when the presenter's file is there but could not be read, whatever the reason.
void requireReadable(const TLXPlistPresenter& presenter);

/// Runs a change of a shared file as one step; throws when it did not reach the disk, and nothing
/// is changed then; who has waited for others in vain to read the file does not wait once more.
/// Afterwards, still in the same step, the file's contents are given to `look`, if there is one.
void changeSharedFile(const std::shared_ptr<TLXPlistPresenter>& presenter,
                      const std::function<void()>& change,
                      const std::function<void(const PropertyList& contents)>& look = {});

/// Why the last change of a presenter's file did not reach the disk, and the exit code for it; none
/// when it did.
std::optional<Failure> failureOfLastChange(const TLXPlistPresenter& presenter);

}  // namespace tasklane
